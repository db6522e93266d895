#include <gtest/gtest.h>

#include <QApplication>

// One QApplication for all tests, on the offscreen platform so that no display is needed.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  ::testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
