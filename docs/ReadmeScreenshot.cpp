// Makes the README's picture: the window as the program starts it beside the sample receipts of
// the source tree, on Qt's offscreen platform, with the last row open and, where the App Store's
// receipts are beside the checkout, one of them opened and shown in the inspector. Not a test;
// the target readme-screenshot runs it with the picture's path.
#include <QApplication>
#include <QImage>
#include <QTest>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "app/App.h"
#include "inspector/Inspector.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "window/Window1.h"

namespace {

// Window1 with its start-up folder in the source tree rather than beside this executable.
class SourceTreeWindow : public Window1 {
 public:
  toolkit::Ref<toolkit::FolderItem> GetFolderItem(const toolkit::String& path,
                                                  int pathType) const override {
    (void)pathType;
    return toolkit::Ref<toolkit::FolderItem>::New(std::filesystem::path(QM_SOURCE_DIR) /
                                                  path.Bytes());
  }
};

void Grab(const char* picture) {
  qt::QtDesktop desktop;
  const auto app = StartApplication();
  const auto window = toolkit::Window::Make<SourceTreeWindow>();
  qt::WindowHost host(window);
  auto* inspector = new inspector::Inspector(host, window);
  window->RaiseOpen();
  app->RaiseOpen();
  const auto rows = window->lb()->ListCount();
  if (rows < 2) throw std::runtime_error("the sample receipts are not in the list");
  host.ListView()->expand(host.ItemModel()->index(host.ItemModel()->rowCount() - 1, 0));
  if (!QTest::qWaitFor([&] { return host.ListView()->isVisible(); }, 2000))
    throw std::runtime_error("the window did not show");
  if (window->lb()->ListCount() <= rows)
    throw std::runtime_error("the last sample did not open into its attributes");
  const std::filesystem::path real =
      std::filesystem::path(QM_SOURCE_DIR) / "../shared/receipts/mac-2023-sha256-purchases.receipt";
  if (std::filesystem::exists(real)) {
    inspector->SetChooser([&](QWidget*) { return QStringList{QString::fromStdString(real)}; });
    inspector->Open();
    host.resize(1000, 560);
    host.ListView()->setCurrentIndex(host.ItemModel()->IndexOf(window->lb()->LastIndex()));
    inspector->SetShown(true);
    QTest::qWait(50);
  }
  if (!host.grab().toImage().save(picture)) throw std::runtime_error("cannot write the picture");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s PICTURE.png\n", argv[0]);
    return 2;
  }
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication qapp(argc, argv);
  try {
    Grab(argv[1]);
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "readme_screenshot: %s\n", e.what());
    return 1;
  }
}
