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
#include <QDir>
#include <QDrag>
#include <QFile>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
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

// The file URL of `path` as a file manager writes it: the path's own bytes, percent-encoded, so
// that a name that isn't UTF-8 reaches the target as it stands on disk.
QUrl FileUrl(const QByteArray& path) {
  const QByteArray absolute =
      path.startsWith('/') ? path : QFile::encodeName(QDir::currentPath()) + '/' + path;
  return QUrl::fromEncoded("file://" + absolute.toPercentEncoding("/"), QUrl::StrictMode);
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  // The arguments as bytes: QApplication::arguments() would decode them, and lose those that
  // aren't UTF-8.
  QList<QByteArray> args;
  for (int i = 1; i < argc; ++i)
    args << QByteArray(argv[i]);
  QPoint at(900, 600);
  if (args.size() >= 2 && args.front() == "--at") {
    const QList<QByteArray> xy = args.at(1).split(',');
    if (xy.size() == 2) at = QPoint(xy.at(0).toInt(), xy.at(1).toInt());
    args = args.mid(2);
  }
  QList<QUrl> urls;
  for (const QByteArray& arg : args) {
    if (!arg.startsWith('@')) {
      urls << FileUrl(arg);
      continue;
    }
    QFile list(QFile::decodeName(arg.mid(1)));
    if (!list.open(QIODevice::ReadOnly)) {
      std::fprintf(stderr, "quellmark-dragsource: can't read %s\n", arg.mid(1).constData());
      return 2;
    }
    while (!list.atEnd()) {
      QByteArray line = list.readLine();
      if (line.endsWith('\n')) line.chop(1);
      if (!line.isEmpty()) urls << FileUrl(line);
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
