#pragma once

// What this stand-in tells about itself beyond the platform's API, so that tests can prove
// that nothing leaked and that the platform was called only as it accepts.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cf {

// How many objects made by Create and Copy functions are not yet freed. Constants don't
// count.
std::int64_t LiveObjects();
// The descriptions of those objects, for a report of what leaked.
std::vector<std::string> DescribeLiveObjects();
// How many calls the C API has had in this process.
std::int64_t Calls();
// How many of them were refused (see CFBase.h).
std::int64_t Refusals();

// Makes the framework bundles answer NULL for the function of that name (or answer it again),
// so that a test can take the path of a caller that finds a function missing.
void HideFrameworkFunction(std::string_view name, bool hidden);

}  // namespace cf
