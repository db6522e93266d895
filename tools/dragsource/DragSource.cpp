// quellmark-dragsource: another program that drags files, so that a drop onto Quellmark can be
// tried from outside, as a file manager makes one. It shows a small window at a place of its
// own; a press on it and a move away (by hand, or with xdotool) drags the files named on its
// command line as a text/uri-list, in their order, and it prints how the drag ended ("accepted"
// or "ignored"). It then waits a moment, since the target asks the source for the data only
// after the drop, and ends.
//
//   quellmark-dragsource [--at X,Y] FILE...
//   quellmark-dragsource [--at X,Y] @LIST     the files named in LIST, one a line
//
// Not installed: scripts/window-check uses it from the build tree.

#include <QApplication>
#include <QDrag>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QTextStream>
#include <QTimer>
#include <QUrl>
#include <cstdio>

namespace {

class Source final : public QLabel {
 public:
  explicit Source(QList<QUrl> urls) : urls_(std::move(urls)) {
    setText(QStringLiteral("Drag %1 files").arg(urls_.size()));
    setAlignment(Qt::AlignCenter);
    setWindowTitle(QStringLiteral("quellmark-dragsource"));
    setMinimumSize(200, 80);
  }

 protected:
  void mousePressEvent(QMouseEvent* event) override { start_ = event->position().toPoint(); }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (dragging_ || !(event->buttons() & Qt::LeftButton) ||
        (event->position().toPoint() - start_).manhattanLength() <
            QApplication::startDragDistance())
      return;
    dragging_ = true;
    auto* mime = new QMimeData;
    mime->setUrls(urls_);
    auto* drag = new QDrag(this);
    drag->setMimeData(mime);
    const Qt::DropAction action = drag->exec(Qt::CopyAction);
    std::printf("drag: %s\n", action == Qt::CopyAction ? "accepted" : "ignored");
    std::fflush(stdout);
    // The target fetches the URLs after the drop: keep them on offer for a while.
    QTimer::singleShot(3000, qApp, &QCoreApplication::quit);
  }

 private:
  QList<QUrl> urls_;
  QPoint start_;
  bool dragging_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QStringList args = QApplication::arguments().mid(1);
  QPoint at(900, 600);
  if (args.size() >= 2 && args.front() == QStringLiteral("--at")) {
    const QStringList xy = args.at(1).split(QLatin1Char(','));
    if (xy.size() == 2) at = QPoint(xy.at(0).toInt(), xy.at(1).toInt());
    args = args.mid(2);
  }
  QList<QUrl> urls;
  for (const QString& arg : args) {
    if (!arg.startsWith(QLatin1Char('@'))) {
      urls << QUrl::fromLocalFile(QFileInfo(arg).absoluteFilePath());
      continue;
    }
    QFile list(arg.mid(1));
    if (!list.open(QIODevice::ReadOnly | QIODevice::Text)) {
      std::fprintf(stderr, "quellmark-dragsource: can't read %s\n", qPrintable(list.fileName()));
      return 2;
    }
    QTextStream lines(&list);
    while (!lines.atEnd()) {
      const QString line = lines.readLine();
      if (!line.isEmpty()) urls << QUrl::fromLocalFile(QFileInfo(line).absoluteFilePath());
    }
  }
  if (urls.isEmpty()) {
    std::fprintf(stderr, "usage: quellmark-dragsource [--at X,Y] FILE... | @LIST\n");
    return 2;
  }
  Source source(urls);
  source.move(at);
  source.show();
  return QApplication::exec();
}
