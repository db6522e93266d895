#include "inspector/InspectorPane.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QStyle>
#include <QTabWidget>
#include <QTableView>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "examination/Recheck.h"
#include "inspector/Purchases.h"
#include "platform/qt/ToolTips.h"

namespace inspector {

namespace {

QStyle::StandardPixmap Icon(Mark mark) {
  switch (mark) {
    case Mark::Good:
      return QStyle::SP_DialogApplyButton;
    case Mark::Warning:
      return QStyle::SP_MessageBoxWarning;
    case Mark::Bad:
      return QStyle::SP_MessageBoxCritical;
    case Mark::Info:
      break;
  }
  return QStyle::SP_MessageBoxInformation;
}

// What the mark says, for those who don't see it; the line's words say it too.
QString MarkName(Mark mark) {
  switch (mark) {
    case Mark::Good:
      return QStringLiteral("Holds");
    case Mark::Warning:
      return QStringLiteral("Warning");
    case Mark::Bad:
      return QStringLiteral("Fails");
    case Mark::Info:
      break;
  }
  return QStringLiteral("Note");
}

QTreeWidget* NewTable(QWidget* parent, const QString& name, const QStringList& headings) {
  auto* tree = new QTreeWidget(parent);
  tree->setAccessibleName(name);
  tree->setHeaderLabels(headings);
  tree->setUniformRowHeights(true);
  tree->setAlternatingRowColors(true);
  tree->setSelectionBehavior(QAbstractItemView::SelectRows);
  tree->header()->setStretchLastSection(true);
  qt::FitToolTips(*tree);
  return tree;
}

}  // namespace

InspectorPane::InspectorPane(QWidget* parent)
    : QWidget(parent),
      identifier_(new QLineEdit(this)),
      identifierStatus_(new QLabel(this)),
      tabs_(new QTabWidget(this)),
      certificates_(
          NewTable(tabs_, QStringLiteral("Certificates"),
                   {QStringLiteral("Role"), QStringLiteral("Subject"), QStringLiteral("Issuer"),
                    QStringLiteral("Valid from"), QStringLiteral("Valid to"),
                    QStringLiteral("Algorithm"), QStringLiteral("SHA-256 fingerprint")})),
      attributes_(
          NewTable(nullptr, QStringLiteral("Attributes"),
                   {QStringLiteral("Number"), QStringLiteral("Name"), QStringLiteral("Value")})),
      rawBytes_(new QCheckBox(QStringLiteral("Show raw &bytes"))),
      purchases_(new Purchases(this)),
      sorted_(new QSortFilterProxyModel(this)),
      purchaseView_(new QTableView) {
  setObjectName(QStringLiteral("InspectorPane"));
  auto* layout = new QVBoxLayout(this);
  auto* lines = new QGridLayout;
  lines->setColumnStretch(1, 1);
  const QString questions[] = {QStringLiteral("Signature"), QStringLiteral("Device"),
                               QStringLiteral("Purchases")};
  for (int i = 0; i < 3; ++i) {
    auto* mark = new QLabel(this);
    auto* text = new QLabel(this);
    text->setWordWrap(true);
    text->setTextFormat(Qt::PlainText);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setFocusPolicy(Qt::StrongFocus);  // Tab reaches each line, and a screen reader with it
    text->setAccessibleDescription(questions[i]);
    text->setObjectName(QStringLiteral("Verdict") + questions[i]);
    lines->addWidget(mark, i, 0, Qt::AlignTop);
    lines->addWidget(text, i, 1);
    marks_.push_back(mark);
    lines_.push_back(text);
  }
  layout->addLayout(lines);

  auto* field = new QHBoxLayout;
  auto* label = new QLabel(QStringLiteral("Device &identifier:"), this);
  label->setBuddy(identifier_);
  identifier_->setAccessibleName(QStringLiteral("Device identifier"));
  identifier_->setAccessibleDescription(
      QStringLiteral("A MAC address, a UUID, or bytes in hex or base64, checked against the "
                     "receipt's device hash"));
  identifier_->setPlaceholderText(QStringLiteral("MAC, UUID, hex or base64"));
  identifier_->setClearButtonEnabled(true);
  field->addWidget(label);
  field->addWidget(identifier_, 1);
  layout->addLayout(field);
  identifierStatus_->setWordWrap(true);
  identifierStatus_->setTextFormat(Qt::PlainText);
  identifierStatus_->setAccessibleDescription(QStringLiteral("Device identifier"));
  identifierStatus_->hide();
  layout->addWidget(identifierStatus_);
  connect(identifier_, &QLineEdit::textChanged, this, [this] { Recheck(); });

  sorted_->setSourceModel(purchases_);
  sorted_->setSortRole(Purchases::kSortRole);
  purchaseView_->setModel(sorted_);
  purchaseView_->setAccessibleName(QStringLiteral("Purchases"));
  qt::FitToolTips(*purchaseView_);
  purchaseView_->setSortingEnabled(true);
  purchaseView_->sortByColumn(-1, Qt::AscendingOrder);
  purchaseView_->setSelectionBehavior(QAbstractItemView::SelectRows);
  purchaseView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  purchaseView_->setAlternatingRowColors(true);
  purchaseView_->setWordWrap(false);
  purchaseView_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  purchaseView_->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
  purchaseView_->horizontalHeader()->setDefaultSectionSize(
      purchaseView_->fontMetrics().horizontalAdvance(QStringLiteral("0000-00-00T00:00:00Z")));

  auto* attributesTab = new QWidget;
  auto* attributesLayout = new QVBoxLayout(attributesTab);
  attributesLayout->setContentsMargins(0, 0, 0, 0);
  attributesLayout->addWidget(rawBytes_);
  attributes_->setParent(attributesTab);
  attributesLayout->addWidget(attributes_);
  connect(rawBytes_, &QCheckBox::toggled, this, [this] { FillAttributes(); });

  tabs_->addTab(purchaseView_, QStringLiteral("&Purchases"));
  tabs_->addTab(attributesTab, QStringLiteral("&Attributes"));
  tabs_->addTab(certificates_, QStringLiteral("&Certificates"));
  layout->addWidget(tabs_, 1);
  ShowMessage(QStringLiteral("Select a receipt to inspect it."));
}

InspectorPane::~InspectorPane() = default;

void InspectorPane::SetLine(std::size_t i, const Line& line) {
  const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
  marks_[i]->setPixmap(style()->standardIcon(Icon(line.mark), nullptr, this).pixmap(size, size));
  marks_[i]->setAccessibleName(MarkName(line.mark));
  marks_[i]->setVisible(true);
  lines_[i]->setText(line.text);
  lines_[i]->setAccessibleName(line.text);
  lines_[i]->setVisible(true);
}

void InspectorPane::ShowMessage(const QString& text) {
  report_.reset();
  purchases_->Show(nullptr);
  certificates_->clear();
  attributes_->clear();
  SetLine(0, {Mark::Info, text});
  for (std::size_t i = 1; i < lines_.size(); ++i) {
    marks_[i]->setVisible(false);
    lines_[i]->setVisible(false);
  }
  identifier_->setEnabled(false);
  identifierStatus_->hide();
  tabs_->setVisible(false);
}

void InspectorPane::Show(Examination::Report report,
                         std::vector<Examination::DeviceIdentifier> machine) {
  report_ = std::make_unique<Examination::Report>(std::move(report));
  machine_ = std::move(machine);
  SetLine(0, SignatureLine(*report_));
  Recheck();
  SetLine(2, PurchasesLine(*report_));
  identifier_->setEnabled(true);
  tabs_->setVisible(true);

  purchases_->Show(report_.get());
  purchaseView_->resizeColumnToContents(0);

  certificates_->clear();
  QList<QTreeWidgetItem*> items;
  for (const auto& c : report_->certificates) {
    auto* item = new QTreeWidgetItem(
        {FromUtf8(std::string(Examination::RoleName(c.role))), FromUtf8(c.subject),
         FromUtf8(c.issuer), FromUtf8(c.notBefore), FromUtf8(c.notAfter),
         FromUtf8(c.signatureAlgorithm), FromUtf8(c.sha256Fingerprint)});
    item->setToolTip(1, FromUtf8(c.subject));
    item->setToolTip(2, FromUtf8(c.issuer));
    items << item;
  }
  certificates_->addTopLevelItems(items);
  FillAttributes();
}

void InspectorPane::FillAttributes() {
  attributes_->clear();
  if (!report_) return;
  const bool raw = rawBytes_->isChecked();
  const auto make = [raw](const Examination::Attribute& a) {
    auto* item = new QTreeWidgetItem({QString::number(a.number),
                                      FromUtf8(std::string(a.title.empty() ? a.name : a.title)),
                                      raw ? RawText(a) : ValueText(a)});
    if (!a.problem.empty()) item->setToolTip(1, FromUtf8(a.problem));
    return item;
  };
  QList<QTreeWidgetItem*> items;
  items.reserve(static_cast<qsizetype>(report_->receipt.attributes.size()));
  for (const auto& a : report_->receipt.attributes) {
    QTreeWidgetItem* item = make(a);
    for (const auto& f : a.fields)
      item->addChild(make(f));
    items << item;
  }
  attributes_->addTopLevelItems(items);
}

void InspectorPane::Recheck() {
  if (!report_) return;
  std::vector<Examination::DeviceIdentifier> ids = machine_;
  const QString text = identifier_->text().trimmed();
  if (!text.isEmpty()) {
    const auto parsed = Examination::ParseIdentifier(text.toStdString());
    if (parsed.identifier) {
      ids.push_back(*parsed.identifier);
      identifierStatus_->setText(QStringLiteral("Read as %1 bytes: %2")
                                     .arg(parsed.identifier->bytes.size())
                                     .arg(FromUtf8(parsed.identifier->text)));
    } else {
      identifierStatus_->setText(QStringLiteral("Not an identifier: ") + FromUtf8(parsed.reason));
    }
    identifierStatus_->setAccessibleName(identifierStatus_->text());
  }
  identifierStatus_->setVisible(!text.isEmpty());
  Examination::RecheckDevice(*report_, ids);
  SetLine(1, DeviceLine(*report_, machine_.size()));
}

}  // namespace inspector
