#include "platform/qt/ToolTips.h"

#include <QAbstractItemView>
#include <QFontMetrics>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QScreen>
#include <QStringList>
#include <QTextLayout>
#include <QToolTip>
#include <algorithm>

namespace qt {

namespace {

// A line of about this many characters reads well; longer ones lose the eye.
constexpr int kReadableCharacters = 80;

// Shows the fitted tooltips of one view's items.
class ToolTipFitter final : public QObject {
 public:
  explicit ToolTipFitter(QAbstractItemView& view) : QObject(&view), view_(view) {}

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::ToolTip || watched != view_.viewport()) return false;
    const auto* help = static_cast<QHelpEvent*>(event);
    const QModelIndex index = view_.indexAt(help->pos());
    const QString plain = index.data(Qt::ToolTipRole).toString();
    if (plain.isEmpty()) {
      QToolTip::hideText();
      return true;
    }
    const QScreen* screen = QGuiApplication::screenAt(help->globalPos());
    if (!screen) screen = view_.screen();
    const QFont font = QToolTip::font();
    const QSize room =
        ToolTipRoom(help->globalPos(), screen->availableGeometry(),
                    QFontMetrics(font).averageCharWidth() * (kReadableCharacters + 4));
    QToolTip::showText(help->globalPos(), FittedToolTip(plain, font, room), view_.viewport(),
                       view_.visualRect(index));
    return true;
  }

 private:
  QAbstractItemView& view_;
};

// `text` without the blanks at its end: those of a line's break, which show nothing.
void ChopBlanks(QString& text) {
  while (!text.isEmpty() && text.back().isSpace())
    text.chop(1);
}

}  // namespace

QString FittedToolTip(const QString& plain, const QFont& font, QSize room) {
  if (plain.isEmpty()) return {};
  const QFontMetricsF metrics(font);
  const qreal character = std::max<qreal>(metrics.averageCharWidth(), 1);
  const qreal spacing = std::max<qreal>(metrics.lineSpacing(), 1);
  // The tip's frame and margins take a little of the room on each side.
  const qreal width = std::clamp<qreal>(room.width() - 4 * character, 8 * character,
                                        kReadableCharacters * character);
  const int most = std::max(1, static_cast<int>((room.height() - 2 * spacing) / spacing));

  // No line holds more than a few times its readable count of characters, so that a value of a
  // megabyte is not laid out whole for the few lines that show.
  QString text = plain.left(static_cast<qsizetype>(most) * kReadableCharacters * 4);
  bool more = text.size() < plain.size();
  if (more && text.back().isHighSurrogate()) text.chop(1);
  text.replace(QLatin1Char('\n'), QChar::LineSeparator);

  QTextLayout layout(text, font);
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  layout.setTextOption(option);
  QStringList lines;
  layout.beginLayout();
  for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
    if (lines.size() == most) {
      more = true;
      break;
    }
    line.setLineWidth(width);
    lines << text.mid(line.textStart(), line.textLength());
    ChopBlanks(lines.back());
  }
  layout.endLayout();

  if (more && !lines.isEmpty()) {
    const QString ellipsis(QChar(0x2026));
    QString& last = lines.back();
    while (!last.isEmpty() && metrics.horizontalAdvance(last + ellipsis) > width)
      last.chop(last.size() >= 2 && last.back().isLowSurrogate() ? 2 : 1);
    ChopBlanks(last);
    last += ellipsis;
  }
  // Lines that don't break again: the tip is as wide as its widest line.
  QString rich = QStringLiteral("<p style='white-space:pre'>");
  for (qsizetype i = 0; i < lines.size(); ++i) {
    if (i > 0) rich += QStringLiteral("<br>");
    rich += lines[i].toHtmlEscaped();
  }
  return rich + QStringLiteral("</p>");
}

QSize ToolTipRoom(QPoint pointer, const QRect& available, int readable) {
  // Qt puts a tip 2 points right of the pointer and 16 below it, or, where it doesn't fit
  // there, 2 left of it and 8 above it.
  const int right = available.x() + available.width() - pointer.x() - 2;
  const int left = pointer.x() - 2 - available.x();
  const int below = available.y() + available.height() - pointer.y() - 16;
  const int above = pointer.y() - 8 - available.y();
  const QSize beside(std::max({right, left, 0}), available.height());
  const QSize across(available.width(), std::max({below, above, 0}));
  const auto holds = [readable](QSize room) {
    return static_cast<qint64>(std::min(room.width(), readable)) * room.height();
  };
  return holds(beside) >= holds(across) ? beside : across;
}

void FitToolTips(QAbstractItemView& view) {
  view.viewport()->installEventFilter(new ToolTipFitter(view));
}

}  // namespace qt
