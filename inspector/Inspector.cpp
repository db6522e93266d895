#include "inspector/Inspector.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QScrollArea>
#include <QTreeView>

#include "examination/Json.h"
#include "examination/Machine.h"
#include "inspector/InspectorPane.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "platform/toolkit/DragItem.h"
#include "window/Window1.h"

namespace inspector {

namespace {

// The file a receipt row was read from, behind a bundle's row the bundle's receipt.
std::filesystem::path ReceiptPath(const toolkit::Ref<toolkit::FolderItem>& source) {
  const std::filesystem::path& path = source->Path();
  if (Window1::IsBundleName(source->Name())) return path / "Contents" / "_MASReceipt" / "receipt";
  return path;
}

QAction* Find(QMenu* menu, const char* name) {
  for (QAction* a : menu->actions()) {
    if (a->objectName() == QLatin1String(name)) return a;
  }
  return nullptr;
}

}  // namespace

QStringList ChooseFiles(QWidget* parent) {
  QFileDialog dialog(parent, QStringLiteral("Open Receipts"));
  dialog.setFileMode(QFileDialog::ExistingFiles);
  dialog.setNameFilters({QStringLiteral("Receipts and apps (receipt *.receipt *.app)"),
                         QStringLiteral("All files (*)")});
  // A bundle is a folder: entering one chooses it, as it is what a person opens.
  QStringList bundle;
  QObject::connect(&dialog, &QFileDialog::directoryEntered, &dialog, [&](const QString& dir) {
    if (!Window1::IsBundleName(QFileInfo(dir).fileName().toStdString())) return;
    bundle = {dir};
    static_cast<QDialog&>(dialog).done(QDialog::Accepted);
  });
  if (dialog.exec() != QDialog::Accepted) return {};
  return bundle.isEmpty() ? dialog.selectedFiles() : bundle;
}

Inspector::Inspector(qt::WindowHost& host, toolkit::Ref<toolkit::Window> window)
    : QObject(&host),
      host_(host),
      window_(std::move(window)),
      dock_(new QDockWidget(QStringLiteral("Inspector"), &host)),
      pane_(new InspectorPane),
      chooser_(ChooseFiles) {
  dock_->setObjectName(QStringLiteral("Inspector"));
  dock_->setAccessibleName(QStringLiteral("Inspector"));
  dock_->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);
  dock_->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
  // The pane scrolls rather than pushing the window past a small screen.
  auto* scroll = new QScrollArea(dock_);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setWidget(pane_);
  pane_->setMinimumWidth(pane_->fontMetrics().averageCharWidth() * 28);
  dock_->setWidget(scroll);
  host_.addDockWidget(Qt::RightDockWidgetArea, dock_);
  dock_->hide();
  AddMenus();

  if (QTreeView* view = host_.ListView()) {
    connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { Follow(); });
    connect(host_.ItemModel(), &QAbstractItemModel::rowsRemoved, this, [this] { Follow(); });
    connect(host_.ItemModel(), &QAbstractItemModel::modelReset, this, [this] { Follow(); });
    view->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(view, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& at) { ContextMenu(at); });
  }
  connect(dock_, &QDockWidget::visibilityChanged, this, [this] {
    // A window that goes hides its children first, the host already gone but for its QWidget:
    // with the window hidden there is nothing to follow.
    if (!dock_->window()->isVisible()) return;
    show_->setChecked(!dock_->isHidden());
    Follow();
  });
}

Inspector::~Inspector() = default;

void Inspector::AddMenus() {
  QMenuBar* bar = host_.menuBar();
  const auto menu = [&](const char* name) { return bar->findChild<QMenu*>(QLatin1String(name)); };

  open_ = new QAction(QStringLiteral("&Open…"), this);
  open_->setObjectName(QStringLiteral("FileOpen"));
  open_->setShortcut(QKeySequence::Open);
  connect(open_, &QAction::triggered, this, [this] { Open(); });
  if (QMenu* file = menu("FileMenu")) {
    QAction* first = file->actions().value(0);
    file->insertAction(first, open_);
    file->insertSeparator(first);
  }

  copyJson_ = new QAction(QStringLiteral("Copy as &JSON"), this);
  copyJson_->setObjectName(QStringLiteral("EditCopyJson"));
  copyJson_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+C")));
  copyJson_->setEnabled(false);
  connect(copyJson_, &QAction::triggered, this, [this] { CopyJson(); });
  QMenu* edit = menu("EditMenu");
  if (edit) {
    const QList<QAction*> items = edit->actions();
    QAction* copy = Find(edit, "EditCopy");
    const auto after = copy ? items.indexOf(copy) + 1 : items.size();
    edit->insertAction(items.value(after), copyJson_);
  }

  show_ = new QAction(QStringLiteral("&Inspector"), this);
  show_->setObjectName(QStringLiteral("ViewInspector"));
  show_->setCheckable(true);
  show_->setShortcut(QKeySequence(QStringLiteral("Ctrl+I")));
  connect(show_, &QAction::toggled, this, [this](bool on) { SetShown(on); });
  auto* view = new QMenu(QStringLiteral("&View"), bar);
  view->setObjectName(QStringLiteral("ViewMenu"));
  view->addAction(show_);
  const QList<QAction*> menus = bar->actions();
  const auto at = edit ? menus.indexOf(edit->menuAction()) + 1 : menus.size();
  bar->insertMenu(menus.value(at), view);

  // Shortcuts work while the menus are closed, as the window's own do.
  for (QAction* a : {open_, copyJson_, show_}) {
    a->setShortcutContext(Qt::WindowShortcut);
    host_.addAction(a);
  }
}

void Inspector::SetMachineIdentifiers(std::vector<Examination::DeviceIdentifier> identifiers) {
  machine_ = std::move(identifiers);
  machineRead_ = true;
}

void Inspector::SetShown(bool shown) {
  if (shown == Shown()) return;
  dock_->setVisible(shown);
  // The first time, the pane takes two fifths of the window; after that, what the person set.
  if (shown && !sized_) {
    sized_ = true;
    host_.resizeDocks({dock_}, {host_.width() * 2 / 5}, Qt::Horizontal);
  }
  show_->setChecked(shown);
  Follow();
}

bool Inspector::Shown() const {
  return !dock_->isHidden();
}

std::int64_t Inspector::TopRow(std::int64_t row) const {
  const auto* model = host_.ItemModel();
  if (!model || row < 0 || row >= model->List()->ListCount()) return -1;
  while (model->List()->ParentRow(row) >= 0)
    row = model->List()->ParentRow(row);
  return row;
}

std::int64_t Inspector::SelectedTop() const {
  const QTreeView* view = host_.ListView();
  if (!view) return -1;
  return TopRow(host_.ItemModel()->ListRow(view->currentIndex()));
}

bool Inspector::IsReceipt(std::int64_t top) const {
  const auto& list = host_.ItemModel()->List();
  return top >= 0 && list->RowIsFolder(top) && !list->RowTag(top).IsNull() && list->RowSource(top);
}

Examination::Report Inspector::Examine(const std::filesystem::path& path) {
  if (!machineRead_) SetMachineIdentifiers(Examination::MachineIdentifiers());
  ++examinations_;
  return Examination::ExamineFile(path, {machine_, nullptr, std::nullopt});
}

void Inspector::Follow() {
  const std::int64_t top = SelectedTop();
  copyJson_->setEnabled(top >= 0 && IsReceipt(top));
  if (!Shown()) {
    shownId_ = 0;  // looked at again when the pane shows
    return;
  }
  const auto& list = host_.ItemModel()->List();
  const std::uint64_t id = top >= 0 ? list->RowId(top) : 0;
  if (id != 0 && id == shownId_) return;  // another row of the receipt shown
  shownId_ = id;
  if (top < 0) {
    pane_->ShowMessage(QStringLiteral("Select a receipt to inspect it."));
    return;
  }
  const auto source = list->RowSource(top);
  if (IsReceipt(top)) {
    // Examine reads the machine's addresses the first time: it runs before they are handed on.
    Examination::Report report = Examine(ReceiptPath(source));
    pane_->Show(std::move(report), machine_);
    return;
  }
  if (!source) {
    pane_->ShowMessage(QStringLiteral("This row is no receipt. Select a receipt to inspect it."));
    return;
  }
  const QString row = qt::ShownText(list->Cell(top, 2).View());
  if (source->Directory() && !Window1::IsBundleName(source->Name())) {
    pane_->ShowMessage(QStringLiteral("%1: %2 is a folder. Drop a receipt file or an app bundle.")
                           .arg(row, FromUtf8(source->Path().string())));
    return;
  }
  const auto examine = [this](const std::filesystem::path& p) { return Examine(p); };
  pane_->ShowMessage(row + QStringLiteral(": ") + WhyNoReceipt(ReceiptPath(source), examine));
}

bool Inspector::CopyJson() {
  const std::int64_t top = SelectedTop();
  if (!IsReceipt(top)) return false;
  const auto& list = host_.ItemModel()->List();
  std::string json;
  if (Shown() && shownId_ == list->RowId(top) && pane_->Shown())
    json = Examination::ToJson(*pane_->Shown());
  else
    json = Examination::ToJson(Examine(ReceiptPath(list->RowSource(top))));
  QApplication::clipboard()->setText(FromUtf8(json));
  return true;
}

void Inspector::Open() {
  const QStringList paths = chooser_(&host_);
  if (paths.isEmpty() || !window_->IsOpen() || window_->AcceptedFileTypes().empty()) return;
  std::vector<toolkit::Ref<toolkit::FolderItem>> files;
  files.reserve(static_cast<std::size_t>(paths.size()));
  for (const QString& p : paths) {
    const QByteArray bytes = QFile::encodeName(p);
    files.push_back(toolkit::Ref<toolkit::FolderItem>::New(std::filesystem::path(
        std::string(bytes.constData(), static_cast<std::size_t>(bytes.size())))));
  }
  toolkit::FileDragItem item(std::move(files));
  qt::QtDesktop* desktop = qt::QtDesktop::Current();
  if (desktop) desktop->EventModifiers(Qt::NoModifier);
  qt::Guard([&] { window_->RaiseDropObject(item, 0); });
  if (desktop) desktop->EventModifiers(std::nullopt);
}

void Inspector::ContextMenu(const QPoint& at) {
  QTreeView* view = host_.ListView();
  const QModelIndex index = view->indexAt(at);
  const std::int64_t top = TopRow(host_.ItemModel()->ListRow(index));
  if (top < 0) return;
  view->setCurrentIndex(index);
  QMenu menu(view);
  QAction* inspect = menu.addAction(QStringLiteral("&Inspect"));
  connect(inspect, &QAction::triggered, this, [this] { SetShown(true); });
  if (IsReceipt(top)) menu.addAction(copyJson_);
  menu.exec(view->viewport()->mapToGlobal(at));
}

}  // namespace inspector
