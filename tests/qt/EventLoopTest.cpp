#include <gtest/gtest.h>

#include <QTest>

#include "platform/qt/QtDesktop.h"

namespace {

// A timer of Qt's event loop ticks until its tick answers false, or once when it doesn't
// repeat, whatever its tick answers.
TEST(QtEventLoopTest, ATimerTicksUntilItsTickSaysStopOrOnceWhenItDoesNotRepeat) {
  const struct {
    bool repeating;
    int stopAt;  // the tick that answers false
    int ticks;
    const char* why;
  } kRows[] = {
      {true, 3, 3, "repeats until told to stop"},
      {true, 1, 1, "stops at once when told"},
      {false, 3, 1, "one tick without repeating"},
  };
  for (const auto& row : kRows) {
    qt::QtEventLoop loop;
    int ticks = 0;
    loop.Schedule(1, row.repeating, [&] { return ++ticks < row.stopAt; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return ticks >= row.ticks; }, 5000)) << row.why;
    QTest::qWait(20);  // room for a tick too many
    EXPECT_EQ(ticks, row.ticks) << row.why;
  }
}

}  // namespace
