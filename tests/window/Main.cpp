// The window's tests run under the checks of CoreFoundation's live objects and IOKit's
// handles: the "MACs" row reaches both.
#include "tests/iokit/HandleCheck.h"

int main(int argc, char** argv) {
  return iokit_test::RunAllTests(argc, argv);
}
