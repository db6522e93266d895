#include "tests/cf/LiveObjectCheck.h"

int main(int argc, char** argv) {
  return cf_test::RunAllTests(argc, argv);
}
