#include "tests/iokit/HandleCheck.h"

int main(int argc, char** argv) {
  return iokit_test::RunAllTests(argc, argv);
}
