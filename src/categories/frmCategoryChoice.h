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

class frmCategoryChoice : public QDialog {
  Q_OBJECT

 public:
  // Writes the choice back when it is accepted.  offered must outlive the dialog.
  frmCategoryChoice(std::vector<OfferedCategory>& offered, const QString& caption, const QString& text,
                    const QString& accept, QWidget* parent = nullptr);
  ~frmCategoryChoice() override;

 private:
  void Fill();
  void CheckAll(bool checked);
  void Accept();
  void EnableButtons();
  std::size_t ChosenCount() const;

  std::vector<OfferedCategory>& offered_;
  std::unique_ptr<Ui::frmCategoryChoice> ui_;
  QStandardItemModel* table_;
  QPushButton* cmdOK_;
};

}  // namespace korvane::categories
