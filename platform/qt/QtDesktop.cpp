#include "platform/qt/QtDesktop.h"

#include <QApplication>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "platform/toolkit/ListModel.h"

namespace qt {

namespace {

QString ToQString(const toolkit::String& s) {
  const std::string_view v = s.View();
  return QString::fromUtf8(v.data(), static_cast<qsizetype>(v.size()));
}

// `text` with each key that it writes in menu symbols ("⌘G", "⇧⌘R") spelled as this
// platform's menus spell it ("Ctrl+G", "Ctrl+Shift+R"): the command key is Ctrl here, as in the
// menus' shortcuts.
QString WithNativeKeys(const QString& text) {
  static const QRegularExpression keys(QStringLiteral("([\u2303\u2325\u21E7\u2318]+)(\\S)"));
  QString shown;
  qsizetype from = 0;
  for (auto it = keys.globalMatch(text); it.hasNext();) {
    const QRegularExpressionMatch m = it.next();
    QString portable;
    const QString symbols = m.captured(1);
    if (symbols.contains(QChar(0x2303))) portable += QStringLiteral("Meta+");
    if (symbols.contains(QChar(0x2325))) portable += QStringLiteral("Alt+");
    if (symbols.contains(QChar(0x21E7))) portable += QStringLiteral("Shift+");
    if (symbols.contains(QChar(0x2318))) portable += QStringLiteral("Ctrl+");
    const QString native =
        QKeySequence::fromString(portable + m.captured(2).toUpper(), QKeySequence::PortableText)
            .toString(QKeySequence::NativeText);
    shown += text.mid(from, m.capturedStart() - from);
    shown += native.isEmpty() ? m.captured() : native;
    from = m.capturedEnd();
  }
  return shown + text.mid(from);
}

}  // namespace

EventScope::~EventScope() {
  if (--depth_ > 0) return;
  // One at a time from the front: a listener told may make others go, or ask again.
  while (!listeners_.empty()) {
    EventEndListener* const listener = listeners_.front();
    listeners_.erase(listeners_.begin());
    listener->EventEnded();
  }
}

void EventScope::TellAtEnd(EventEndListener* listener) {
  if (Open() && std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end())
    listeners_.push_back(listener);
}

void EventScope::Forget(EventEndListener* listener) {
  listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
}

QtEventLoop::QtEventLoop() = default;
QtEventLoop::~QtEventLoop() = default;

void QtEventLoop::Post(std::function<void()> task) {
  QMetaObject::invokeMethod(
      &context_, [task = std::move(task)] { Guard([&] { task(); }); }, Qt::QueuedConnection);
}

void QtEventLoop::Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) {
  auto* timer = new QTimer(&context_);
  timer->setTimerType(Qt::PreciseTimer);
  timer->setSingleShot(!repeating);
  timer->setInterval(static_cast<int>(periodMs));
  QObject::connect(timer, &QTimer::timeout, timer, [timer, repeating, tick = std::move(tick)] {
    const bool again = Guard([&] { return tick(); });
    if (!again || !repeating) timer->deleteLater();
  });
  timer->start();
}

void QtEventLoop::Quit() {
  QCoreApplication::exit(0);
}

void ReportUnhandled(const char* what) {
  std::fprintf(stderr, "quellmark: unhandled exception: %s\n", what);
  if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) return;
  auto* box = new QMessageBox(
      QMessageBox::Warning, QCoreApplication::applicationName(),
      QStringLiteral("An exception was not handled:\n%1").arg(QString::fromUtf8(what)),
      QMessageBox::Ok, QApplication::activeWindow());
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

QtLabel::QtLabel() : widget_(new QLabel) {
  widget_->setAccessibleName(QStringLiteral("Label"));
}

QtLabel::~QtLabel() {
  // A label never placed in a window has no parent to delete it.
  if (widget_ && !widget_->parent()) delete widget_.data();
}

void ApplyControlDesign(QWidget& widget, const toolkit::ControlDesign& design) {
  // What the font doesn't set, the widget takes from its window and the desktop.
  QFont font;
  if (design.FontName != "System") font.setFamily(ToQString(design.FontName));
  if (design.FontSize > 0) font.setPointSizeF(design.FontSize);
  widget.setFont(font);
  widget.setEnabled(design.Enabled);
}

void QtLabel::ApplyDesign(const toolkit::LabelDesign& design) {
  design_ = design;
  if (widget_) {
    widget_->setWordWrap(design.Multiline);
    Qt::Alignment align = Qt::AlignVCenter;
    if (design.TextAlignment == 2) align = Qt::AlignCenter;
    if (design.TextAlignment == 3) align = Qt::AlignRight | Qt::AlignVCenter;
    if (design.Multiline) align = (align & Qt::AlignHorizontal_Mask) | Qt::AlignTop;
    widget_->setAlignment(align);
    // A selectable label that is a tab stop takes the focus, to be selected from the keyboard.
    Qt::TextInteractionFlags interaction = Qt::NoTextInteraction;
    if (design.Selectable) {
      interaction = Qt::TextSelectableByMouse;
      if (design.TabStop) interaction |= Qt::TextSelectableByKeyboard;
    }
    widget_->setTextInteractionFlags(interaction);
    if (design.Selectable && design.TabStop) widget_->setFocusPolicy(Qt::StrongFocus);
    widget_->setAutoFillBackground(!design.Transparent);
    ApplyControlDesign(*widget_, design);
    // The design's text colour is left out: the palette's colour follows dark and light.
  }
  Visible(design.Visible);
  Text(design.Text);
}

void QtLabel::Visible(bool visible) {
  visible_ = visible;
  if (widget_ && widget_->parent()) widget_->setVisible(visible);
}

void QtLabel::Text(const toolkit::String& text) {
  text_ = text;
  if (!widget_) return;
  // The toolkit's line ends are carriage returns.
  QString shown = WithNativeKeys(ToQString(text));
  shown.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  widget_->setText(shown);
  widget_->setAccessibleName(shown.isEmpty() ? QStringLiteral("Status") : shown);
}

namespace {
QtDesktop* installed = nullptr;
}  // namespace

QtDesktop::QtDesktop() : previous_(Install(this)) {
  installed = this;
}

QtDesktop::~QtDesktop() {
  if (installed == this) installed = nullptr;
  // Only put back what this one replaced if nobody has installed another meanwhile.
  Desktop* const now = Install(previous_);
  if (now != this) Install(now);
}

QtDesktop* QtDesktop::Current() {
  return installed;
}

void QtDesktop::MsgBox(const toolkit::String& text) {
  QMessageBox box(QMessageBox::NoIcon, QCoreApplication::applicationName(), ToQString(text),
                  QMessageBox::Ok, QApplication::activeWindow());
  box.exec();
}

void QtDesktop::Beep() {
  QApplication::beep();
}

bool QtDesktop::OptionKey() {
  const Qt::KeyboardModifiers m =
      modifiers_ ? *modifiers_ : QGuiApplication::queryKeyboardModifiers();
  return m.testFlag(Qt::AltModifier);
}

toolkit::Ref<toolkit::Listbox> QtDesktop::NewListbox() {
  // The window's view shows this model; it is the one store of the rows.
  return toolkit::Ref<toolkit::ListModel>::New();
}

toolkit::Ref<toolkit::Label> QtDesktop::NewLabel() {
  return toolkit::Ref<QtLabel>::New();
}

}  // namespace qt
