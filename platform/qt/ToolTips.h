#pragma once

#include <QFont>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

class QAbstractItemView;

namespace qt {

// A tooltip that shows `plain` as the text it is, in `font`, on a screen with `room` for it:
// broken into lines of a readable width (80 average characters of the font, or the room's width
// less a margin where that is narrower), where it can between words and anywhere in a longer
// run, with as many lines as fit into the room's height; the last one ends in "…" where the text
// goes on. Rich text in which every character of `plain` is escaped, so that none is taken for
// markup; empty for an empty text.
QString FittedToolTip(const QString& plain, const QFont& font, QSize room);

// The room for a tooltip shown for a pointer at `pointer` on a screen with `available` room
// for it (global coordinates), in which Qt places a tip without covering the pointer: beside
// it, the screen's height by the wider side, or below or above it, the screen's width by the
// taller side, whichever holds more of a text whose lines are at most `readable` wide. A tip
// under the pointer would hide at the pointer's next move.
QSize ToolTipRoom(QPoint pointer, const QRect& available, int readable);

// From now on the tooltip of an item of `view`, its Qt::ToolTipRole as plain text, shows as
// FittedToolTip in the tooltips' font, in the ToolTipRoom of the screen under the pointer. The
// view owns what this sets up.
void FitToolTips(QAbstractItemView& view);

}  // namespace qt
