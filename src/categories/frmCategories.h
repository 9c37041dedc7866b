// The window "Manage Categories": the categories, the traps of the chosen one, and what can be done with
// them. All of it is one transaction on a connection of the window's own, which OK commits; the frame runs
// exec(), which shows nothing when there is no connection. One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "categories/CategoriesForm.h"
#include "categories/CategoryNamesModel.h"
#include "categories/CategoryServices.h"
#include "categories/PaneCommands.h"
#include "categories/TrapDetailsModel.h"
#include "common/qt/ColumnWidths.h"

namespace korvane {
class NoticeBar;
}
namespace Ui {
class frmCategories;
}

namespace korvane::categories {

class frmCategories : public QDialog, private CategoriesWindow {
  Q_OBJECT

 public:
  explicit frmCategories(const CategoryServices& services, QWidget* parent = nullptr);
  ~frmCategories() override;

  // What exec() begins with.  False after its message: the window is not to be shown.
  bool Open();
  int exec() override;

  // For a position of the bar between the lists, in twips.
  void SizeControls(int position);
  // Of the first category of that name; nothing when there is none.
  void LoadTrapDetails(std::string_view categoryName);

  // The categories were changed elsewhere: shows the lists anew, with what is not saved here, and keeps the
  // selection.  Waits until the question or wizard is answered that stands in front.
  void StoreChanged();

  void accept() override;  // OK
  void reject() override;  // Cancel and Escape
  void done(int result) override;

 protected:
  void closeEvent(QCloseEvent* event) override;  // the close box
  void changeEvent(QEvent* event) override;

 private:
  void RunWizard(WizardTask& task, CategoryTransaction& transaction) override;
  void ShowBusyPointer(bool busy) override;

  void RestorePlace();
  void SetUpLists();
  void SetUpCommands();
  void Do(const std::function<void()>& act);

  void Create();
  void Edit();
  void Delete();
  void AddTraps();
  void EditTrap();
  void RemoveTrap();
  void MoveCategory(Direction to);
  void MoveTraps(Direction to);

  std::optional<RowRange> SelectedRows() const;  // when they lie together
  std::optional<int> SelectedRow() const;        // the one selected trap
  void CategoryChosen();
  void ShowCategories();
  void ShowSelected();
  void ShowTraps();
  void SelectTrap(int row);
  void ShowCommands();
  void ShowHelpPicture();
  void ReportNames();

  CategoryServices services_;
  CategoriesForm form_;
  CategoryNamesModel names_;
  TrapDetailsModel traps_;
  std::unique_ptr<Ui::frmCategories> ui_;
  std::unique_ptr<ColumnWidths> widths_;
  NoticeBar* notice_ = nullptr;
  bool acting_ = false;   // a question or the wizard may stand in front
  bool changed_ = false;  // elsewhere, meanwhile
  bool showing_ = false;  // the lists are being filled: what gets selected is no choice
};

}  // namespace korvane::categories
