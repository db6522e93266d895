#pragma once

// What this stand-in tells about itself beyond the platform's API, so that tests can prove
// that every object handed out was given back and that no call named a dead handle.

#include <cstdint>
#include <string>
#include <vector>

namespace iokit {

// How many handles are live: handed out and not yet given back to their last count.
std::int64_t LiveObjects();
// A line for each live handle: its number, its kind, its count, such as
// "0x1003 IOEthernetInterface en0 (1)".
std::vector<std::string> DescribeLiveObjects();
// How many calls named a handle that is no live object of the kind the call takes.
std::int64_t Refusals();

}  // namespace iokit
