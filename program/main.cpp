// Quellmark's entry point: the toolkit's runtime on Qt, the application, the window, the event
// loop. The program reads no arguments and no environment of its own.
#include <QApplication>
#include <QGuiApplication>
#include <QIcon>
#include <cstdio>

#include "app/App.h"
#include "inspector/Inspector.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "window/Window1.h"

namespace {

int Run(int argc, char** argv) {
  // High resolution: logical sizes scale by the screen's exact factor. The palette is the
  // system's, dark or light, as long as nothing sets colours of its own.
  QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
      Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
  QApplication qapp(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Quellmark"));
  QApplication::setDesktopFileName(QStringLiteral("org.quellmark.Quellmark"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.quellmark.Quellmark")));
  // Closing the window ends the program through the application object's AutoQuit.
  QApplication::setQuitOnLastWindowClosed(false);
  qt::QtDesktop desktop;

  // An exception during start-up ends the program in main; once the loop runs, each event
  // that Qt delivers is guarded on its own.
  const auto app = StartApplication();
  const auto window = Window1::Instance();
  qt::WindowHost host(window);             // shown as the window's design says
  new inspector::Inspector(host, window);  // the host's child
  window->RaiseOpen();
  app->RaiseOpen();
  host.SyncMenus();
  const int status = QApplication::exec();
  if (window->IsOpen()) window->RaiseClose();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "quellmark: %s\n", e.what());
    return 1;
  }
}
