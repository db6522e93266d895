#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <vector>

#include "examination/Examination.h"

namespace inspector {

// The text of an attribute's value as a person reads it: a number, the text, the date as
// written, "N fields" for a set, and the bytes in hex for anything else.
QString ValueText(const Examination::Attribute& attribute);
// The attribute's bytes in hex, two digits a byte, spaced.
QString RawText(const Examination::Attribute& attribute);

// The in-app purchases of a report, one row each, in a column for each field Apple documents.
// Qt::DisplayRole gives the text; kSortRole a key that sorts numbers as numbers and dates by
// their instant.
class Purchases final : public QAbstractTableModel {
 public:
  static constexpr int kSortRole = Qt::UserRole + 1;

  explicit Purchases(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

  // The purchases of `report`, which must outlive the model's use of them or the next Show.
  void Show(const Examination::Report* report);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

 private:
  std::vector<const Examination::Attribute*> rows_;
};

}  // namespace inspector
