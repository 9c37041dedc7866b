// The rules of "Manage Categories" without its window: what is listed and chosen, what each command asks and
// changes, and how the window is left.  The window shows what this holds after every call.  All changes are
// one transaction on a connection of the form's own, which only Ok commits (or Yes to Cancel's question).
// User-interface thread only; database errors are shown here and leave the transaction as it was.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryServices.h"
#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"
#include "categories/TrapDetailTexts.h"
#include "categories/WizardTask.h"
#include "store/Connection.h"

namespace korvane::categories {

enum class Direction { Up, Down };

// Rows of the list that lie together; both ends belong to them.
struct RowRange {
  std::size_t First = 0;
  std::size_t Last = 0;
};

// What the form has its window do.
class CategoriesWindow {
 public:
  virtual ~CategoriesWindow() = default;
  // Shows the wizard and returns once it was closed; the task then says how it went.
  virtual void RunWizard(WizardTask& task, CategoryTransaction& transaction) = 0;
  virtual void ShowBusyPointer(bool busy) = 0;
};

class CategoriesForm {
 public:
  // Everything must outlive the form.  Leaves it to Open to reach the database.
  CategoriesForm(const CategoryServices& services, CategoriesWindow& window);
  ~CategoriesForm();  // rolls back what was not committed

  // Connects, begins the transaction and lists the categories; a second call does nothing.  False after its
  // message when there is no connection: the window is not to open.
  bool Open();

  // Names in stored order.
  const std::vector<std::string>& Categories() const { return categories_; }
  std::optional<std::size_t> Selected() const { return selected_; }
  std::string_view SelectedName() const;
  const std::string& Description() const { return details_.Description; }
  const std::vector<TrapDetail>& Traps() const { return details_.Traps; }

  // In words, for a row that is about to be painted.  When the names can't be read the row stands with its
  // OIDs and numbers, and the error waits for TakeNamesError; the store is not asked again for this list.
  TrapDetailTexts TextsOf(const TrapDetail& trap);
  bool NamesRead() const { return !namesFail_; }
  std::optional<std::string> TakeNamesError();

  // A position that is not there selects nothing.
  void SelectCategory(std::size_t position);
  // True: the lists were read anew, which also happens when the wizard was cancelled after an error in the
  // middle of its writing.
  bool CreateCategory();
  // These do nothing without a selected category or a row that is there.
  bool EditCategory();  // as CreateCategory
  bool
  DeleteCategory();  // true: the selected one, and nothing else, left the list; its neighbour is selected
  // The row to be selected now: the first that is new to the list, else that of the trap to be edited.
  std::optional<std::size_t> AddTraps();
  std::optional<std::size_t> EditTrap(std::size_t row);
  bool RemoveTrap(std::size_t row);  // true: this row, and nothing else, left the list
  // By one place; nothing is asked.  True: the selected category has changed places with its neighbour and is
  // still selected, the neighbour of the rows has gone to their other side.
  bool CanMoveCategory(Direction to) const;
  bool MoveCategory(Direction to);
  bool CanMoveTraps(RowRange rows, Direction to) const;
  bool MoveTraps(RowRange rows, Direction to);

  // Something was changed here and is not saved.
  bool Modified() const { return modified_; }
  // After somebody else changed the categories: the lists are read anew, with what is changed here, and the
  // selected category stays selected if it is still there.  When they can't be read they stay.
  void StoreChanged();

  // True when the window is to close.
  bool Ok();
  bool Cancel();
  void CloseBox();
  // After the window was closed: gives the connection back and has everybody see what was changed.
  void Unload();

 private:
  bool IsOpen() const { return transaction_ != nullptr; }
  bool Commit();
  void LoadCategoryTree(std::string_view nameToSelect);
  void LoadTrapDetails();
  bool RunWizard(WizardTask& task);
  std::optional<std::size_t> WizardForTraps(WizardMode mode, std::int32_t trapTableId);
  bool Change(std::string_view failure, const std::function<void()>& change);

  CategoryServices services_;
  CategoriesWindow& window_;
  // In the order in which they are made; each uses the one before.
  std::unique_ptr<store::Connection> connection_;
  std::unique_ptr<CategoryTransaction> transaction_;
  std::unique_ptr<CategoryStore> store_;
  std::vector<std::string> categories_;
  std::optional<std::size_t> selected_;
  CategoryDetails details_;
  std::optional<std::string> namesError_;
  bool namesFail_ = false;
  bool modified_ = false;
};

}  // namespace korvane::categories
