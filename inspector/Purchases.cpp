#include "inspector/Purchases.h"

#include <array>

#include "inspector/Words.h"
#include "platform/qt/ListItemModel.h"

namespace inspector {

namespace {

namespace N = Examination::Numbers;

struct Column {
  std::int64_t number;
  const char* title;
};

constexpr std::array kColumns = {
    Column{N::kProductId, "Product"},
    Column{N::kTransactionId, "Transaction"},
    Column{N::kOriginalTransactionId, "Original transaction"},
    Column{N::kPurchaseDate, "Purchased"},
    Column{N::kOriginalPurchaseDate, "First purchased"},
    Column{N::kSubscriptionExpirationDate, "Expires"},
    Column{N::kCancellationDate, "Cancelled"},
    Column{N::kQuantity, "Quantity"},
    Column{N::kProductType, "Type"},
    Column{N::kTrialPeriod, "Trial"},
    Column{N::kWebOrderLineItemId, "Web order line item"},
};

}  // namespace

QString RawText(const Examination::Attribute& attribute) {
  const auto& raw = attribute.raw;
  QByteArray bytes(reinterpret_cast<const char*>(raw.data()), static_cast<qsizetype>(raw.size()));
  return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

QString ValueText(const Examination::Attribute& a) {
  using Examination::ValueKind;
  switch (a.kind) {
    case ValueKind::Integer:
      return QString::number(a.integer);
    case ValueKind::Utf8String:
    case ValueKind::Ia5String:
      if (a.date && a.date->unixMillis) return FromUtf8(a.date->Utc());
      return a.textIsUtf8 ? qt::ShownText(a.text) : RawText(a);
    case ValueKind::Set:
      return a.fields.size() == 1 ? QStringLiteral("1 field")
                                  : QStringLiteral("%1 fields").arg(a.fields.size());
    case ValueKind::Raw:
      break;
  }
  return RawText(a);
}

void Purchases::Show(const Examination::Report* report) {
  beginResetModel();
  rows_.clear();
  if (report) {
    rows_.reserve(report->receipt.purchases.size());
    for (const std::size_t i : report->receipt.purchases)
      rows_.push_back(&report->receipt.attributes[i]);
  }
  endResetModel();
}

int Purchases::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int Purchases::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(kColumns.size());
}

QVariant Purchases::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= static_cast<int>(rows_.size())) return {};
  const auto* field = rows_[static_cast<std::size_t>(index.row())]->Field(
      kColumns[static_cast<std::size_t>(index.column())].number);
  switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
      return field ? ValueText(*field) : QString();
    case Qt::ToolTipRole:
      return field ? RawText(*field) : QVariant();
    case kSortRole:
      if (!field) return {};
      if (field->kind == Examination::ValueKind::Integer)
        return static_cast<qlonglong>(field->integer);
      if (field->date && field->date->unixMillis)
        return static_cast<qlonglong>(*field->date->unixMillis);
      return ValueText(*field);
    default:
      return {};
  }
}

QVariant Purchases::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || section < 0) return {};
  if (orientation == Qt::Vertical) return section + 1;
  if (section >= static_cast<int>(kColumns.size())) return {};
  return QString::fromLatin1(kColumns[static_cast<std::size_t>(section)].title);
}

}  // namespace inspector
