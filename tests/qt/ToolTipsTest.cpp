// Tooltips that fit a screen: a readable width, at most a screenful, the text shown as it is.

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetricsF>
#include <QTextDocument>
#include <QToolTip>

#include "platform/qt/ToolTips.h"

namespace {

// The lines that a tooltip shows, read back as Qt reads its rich text.
QStringList Lines(const QString& rich) {
  QTextDocument document;
  document.setHtml(rich);
  return document.toPlainText().split(QLatin1Char('\n'));
}

// `text` without its blanks: what the lines of a tooltip must keep of it, in order.
QString Inked(QString text) {
  text.remove(QChar::LineSeparator);
  text.remove(QLatin1Char(' '));
  text.remove(QLatin1Char('\n'));
  return text;
}

// A text of `count` words of five letters each, some with markup in them.
QString Words(int count) {
  QString text;
  for (int i = 0; i < count; ++i)
    text += (i % 7 == 3 ? QStringLiteral("<b>&x") : QStringLiteral("word") + QChar('a' + i % 26)) +
            QLatin1Char(' ');
  return text.trimmed();
}

TEST(ToolTips, AReadableWidthAtMostAScreenfulAndTheTextAsItIs) {
  const QFont font = QToolTip::font();
  const QFontMetricsF metrics(font);
  const qreal character = metrics.averageCharWidth(), spacing = metrics.lineSpacing();
  const QSize large(1280, 800), narrow(320, 800), low(1280, 200);
  const struct {
    const char* why;
    QString plain;
    QSize room;
    int lines;  // how many show; -1: as many as fit the room's height; 0: any
    bool cut;   // whether the last ends in "…"
  } cases[] = {
      {"a short value: one line, as it is", QStringLiteral("com.example.app"), large, 1, false},
      {"a sentence a little longer than a line: two", Words(16), large, 2, false},
      {"a line end stays one", QStringLiteral("first\nsecond"), large, 2, false},
      {"5,000 characters without a blank: a screenful, cut", QString(5000, QLatin1Char('m')), large,
       -1, true},
      {"5,000 characters of words: a screenful, cut", Words(834), large, -1, true},
      {"on a low screen: fewer lines", Words(834), low, -1, true},
      {"on a narrow screen: narrower lines", Words(40), narrow, 0, false},
      {"a megabyte: cut before it is laid out", QString(1 << 20, QLatin1Char('9')), large, -1,
       true},
      {"wide characters are cut whole", QString::fromUtf8("\U0001F600").repeated(4000), large, -1,
       true},
      {"markup is text", QStringLiteral("<img src=\"nowhere.png\"> & <b>bold</b>"), large, 1,
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const QString rich = qt::FittedToolTip(c.plain, font, c.room);
    const QStringList lines = Lines(rich);
    const qreal widest = std::min<qreal>(80 * character, c.room.width());
    const int most = static_cast<int>(c.room.height() / spacing);
    EXPECT_LE(lines.size(), most) << "more lines than the screen holds";
    if (c.lines > 0) {
      EXPECT_EQ(lines.size(), c.lines);
    } else if (c.lines < 0) {
      EXPECT_GE(lines.size(), most - 3) << "the screen not used";
    }
    for (const QString& line : lines)
      EXPECT_LE(metrics.horizontalAdvance(line), widest + 1) << line.toStdString();
    // Long texts use the readable width, not a narrow block.
    if (lines.size() > 2 && c.room == large) {
      EXPECT_GE(metrics.horizontalAdvance(lines[0]), 60 * character);
    }
    QString shown = lines.join(QString());
    EXPECT_EQ(shown.endsWith(QChar(0x2026)), c.cut);
    if (c.cut) shown.chop(1);
    // Nothing is lost or added: what shows is the text or its beginning, wide characters whole.
    EXPECT_TRUE(Inked(c.plain).startsWith(Inked(shown)));
    EXPECT_EQ(Inked(shown) == Inked(c.plain), !c.cut) << "the whole text unless it is cut";
    EXPECT_FALSE(rich.contains(QStringLiteral("<img"))) << "markup escaped";
  }
  EXPECT_EQ(qt::FittedToolTip(QString(), font, large), QString());
}

// A tip as tall as the screen goes beside the pointer, on its wider side; where neither side
// holds a readable line, it goes below or above, across the screen.
TEST(ToolTips, TheRoomBesideOrAboveThePointer) {
  const QRect screen(0, 0, 1280, 800), scaled(0, 0, 640, 400), second(1280, 0, 1280, 800);
  const int readable = 500;
  const struct {
    const char* why;
    QPoint pointer;
    QRect available;
    QSize room;
  } cases[] = {
      {"room on the right", {500, 400}, screen, {778, 800}},
      {"more room on the left", {900, 400}, screen, {898, 800}},
      {"in the middle of a small screen: above", {320, 380}, scaled, {640, 372}},
      {"in the middle of a small screen: below", {320, 20}, scaled, {640, 364}},
      {"near the left edge of a small screen", {100, 200}, scaled, {538, 400}},
      {"on a second screen", {1780, 400}, second, {778, 800}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(qt::ToolTipRoom(c.pointer, c.available, readable), c.room) << c.why;
}

}  // namespace
