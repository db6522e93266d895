// This executable's own Stubs::DebugLog, which keeps what it is given so that tests can read
// it. Being defined here, it takes the place of the app library's, which is then not linked in.

#include "app/Stubs.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {

std::vector<std::string>& DebugLogLines() {
  static std::vector<std::string> lines;
  return lines;
}

}  // namespace corefoundation_test

namespace Stubs {

void DebugLog(const toolkit::String& message) {
  corefoundation_test::DebugLogLines().push_back(message.Bytes());
}

}  // namespace Stubs
