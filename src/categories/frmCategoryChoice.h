// Asks which of some categories are meant, for export and import: a list with check marks.  One object per
// use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>
#include <vector>

#include "categories/CategoryCopies.h"

class QPushButton;
class QStandardItemModel;
namespace Ui {
class frmCategoryChoice;
}

namespace korvane::categories {

enum class CategoryChoice { Export, Import };

class frmCategoryChoice : public QDialog {
  Q_OBJECT

 public:
  // Writes the choice back when it is accepted.  offered must outlive the dialog.
  frmCategoryChoice(CategoryChoice choice, std::vector<OfferedCategory>& offered, QWidget* parent = nullptr);
  ~frmCategoryChoice() override;

  void accept() override;

 private:
  void Fill();
  void SetUpList(CategoryChoice choice);
  void CheckAll(bool checked);
  void EnableButtons();
  std::size_t ChosenCount() const;

  std::vector<OfferedCategory>& offered_;
  std::unique_ptr<Ui::frmCategoryChoice> ui_;
  QStandardItemModel* table_;
  QPushButton* cmdOK_;
};

}  // namespace korvane::categories
