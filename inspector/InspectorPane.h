#pragma once

#include <QWidget>
#include <memory>
#include <vector>

#include "examination/Examination.h"
#include "inspector/Words.h"

class QLabel;
class QLineEdit;
class QSortFilterProxyModel;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QTreeWidget;
class QCheckBox;

namespace inspector {

class Purchases;

// What the inspector shows: the verdict in a line for each question, the device identifier
// to check, and the certificates, attributes and purchases of one report; or a sentence in
// their place. Knows nothing of the window's list.
class InspectorPane final : public QWidget {
 public:
  explicit InspectorPane(QWidget* parent = nullptr);
  ~InspectorPane() override;

  // Shows `report`, checking its device hash against `machine` and what the field holds.
  void Show(Examination::Report report, std::vector<Examination::DeviceIdentifier> machine);
  // Shows `text` alone, in the verdict's place.
  void ShowMessage(const QString& text);

  // The report shown, or null.
  const Examination::Report* Shown() const { return report_.get(); }
  // The verdict lines' labels, in order: signature, device, purchases.
  const std::vector<QLabel*>& Lines() const { return lines_; }
  QLineEdit* IdentifierField() const { return identifier_; }
  QTableView* PurchaseView() const { return purchaseView_; }

 private:
  void SetLine(std::size_t i, const Line& line);
  // Checks the device hash again for the field's text, and says what it found.
  void Recheck();
  void FillAttributes();

  std::unique_ptr<Examination::Report> report_;
  std::vector<Examination::DeviceIdentifier> machine_;
  std::vector<QLabel*> marks_;
  std::vector<QLabel*> lines_;
  QLineEdit* identifier_;
  QLabel* identifierStatus_;
  QTabWidget* tabs_;
  QTreeWidget* certificates_;
  QTreeWidget* attributes_;
  QCheckBox* rawBytes_;
  Purchases* purchases_;
  QSortFilterProxyModel* sorted_;
  QTableView* purchaseView_;
};

}  // namespace inspector
