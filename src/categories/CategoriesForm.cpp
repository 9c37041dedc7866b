#include "categories/CategoriesForm.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::categories {

namespace {

// Before the connection's end is taken for done: the receiver may be waiting for what it held.
constexpr int kSettleMilliseconds = 500;

constexpr std::string_view kUndoQuestion = Translatable(
    "This action will undo the changes you have made. Select 'Yes' to save the changes and exit or select "
    "'No' to exit without saving the changes.");

class BusyPointer {
 public:
  explicit BusyPointer(CategoriesWindow& window) : window_(window) { window_.ShowBusyPointer(true); }
  ~BusyPointer() { window_.ShowBusyPointer(false); }
  BusyPointer(const BusyPointer&) = delete;
  BusyPointer& operator=(const BusyPointer&) = delete;

 private:
  CategoriesWindow& window_;
};

}  // namespace

CategoriesForm::CategoriesForm(const CategoryServices& services, CategoriesWindow& window)
    : services_(services), window_(window) {}

CategoriesForm::~CategoriesForm() = default;

bool CategoriesForm::Open() {
  if (IsOpen()) {
    return true;
  }
  try {
    const BusyPointer busy(window_);
    connection_ = services_.OpenConnection(kCategoryTimeouts);
    transaction_ = std::make_unique<CategoryTransaction>(*connection_);
    store_ = std::make_unique<CategoryStore>(*transaction_);
  } catch (const store::DatabaseError& error) {
    connection_.reset();
    store::ShowFailure(services_.Prompt, Translated("The categories can't be changed now."), error,
                       store::Attempt::Reading);
    return false;
  }
  LoadCategoryTree({});
  return true;
}

// The first of that name ignoring case is selected, else the first of all.
void CategoriesForm::LoadCategoryTree(std::string_view nameToSelect) {
  try {
    const BusyPointer busy(window_);
    categories_ = store_->LoadCategoryTree();
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The categories could not be read."), error,
                       store::Attempt::Reading);
    return;
  }
  const auto found = std::ranges::find_if(
      categories_, [&](const std::string& name) { return EqualsIgnoreCase(name, nameToSelect); });
  SelectCategory(found == categories_.end() ? 0 : static_cast<std::size_t>(found - categories_.begin()));
}

std::string_view CategoriesForm::SelectedName() const {
  return selected_ ? std::string_view(categories_[*selected_]) : std::string_view();
}

void CategoriesForm::SelectCategory(std::size_t position) {
  selected_ = position < categories_.size() ? std::optional(position) : std::nullopt;
  LoadTrapDetails();
}

void CategoriesForm::LoadTrapDetails() {
  details_ = {};
  namesError_.reset();
  namesFail_ = false;
  if (!selected_) {
    return;
  }
  try {
    const BusyPointer busy(window_);
    details_ = store_->LoadTrapDetails(SelectedName());
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The traps of this category could not be read."), error,
                       store::Attempt::Reading);
  }
}

TrapDetailTexts CategoriesForm::TextsOf(const TrapDetail& trap) {
  if (!namesFail_) {
    try {
      return categories::TextsOf(trap, services_.Names);
    } catch (const store::DatabaseError& error) {
      namesFail_ = true;
      namesError_ = error.what();
    }
  }
  return PlainTextsOf(trap);
}

std::optional<std::string> CategoriesForm::TakeNamesError() {
  return std::exchange(namesError_, std::nullopt);
}

// True when the lists are to be read anew.  A wizard that was cancelled after an error may have written a
// part of what it was to write: the lists show it, and whoever leaves is asked.
bool CategoriesForm::RunWizard(WizardTask& task) {
  const int before = transaction_->ChangesBegun();
  window_.RunWizard(task, *transaction_);
  modified_ = modified_ || transaction_->Changed();
  return !task.Cancelled || transaction_->ChangesBegun() != before;
}

// False after its message.  What a change that failed has written is there to be saved or taken back, too.
bool CategoriesForm::Change(std::string_view failure, const std::function<void()>& change) {
  try {
    const BusyPointer busy(window_);
    change();
  } catch (const store::DatabaseError& error) {
    modified_ = modified_ || transaction_->Changed();
    store::ShowFailure(services_.Prompt, failure, error, store::Attempt::OneOfSeveral);
    return false;
  }
  modified_ = modified_ || transaction_->Changed();
  return true;
}

bool CategoriesForm::CreateCategory() {
  if (!IsOpen()) {
    return false;
  }
  WizardTask task;
  if (!RunWizard(task)) {
    return false;
  }
  LoadCategoryTree(task.Cancelled ? std::string(SelectedName()) : task.CategoryName);
  return true;
}

bool CategoriesForm::EditCategory() {
  if (!selected_) {
    return false;
  }
  WizardTask task{.Mode = WizardMode::EditCategory, .CategoryName = std::string(SelectedName())};
  if (!RunWizard(task)) {
    return false;
  }
  LoadCategoryTree(task.CategoryName);
  return true;
}

bool CategoriesForm::DeleteCategory() {
  if (!selected_) {
    return false;
  }
  const std::string name(SelectedName());
  if (services_.Prompt.Ask(Phrase("Do you want to remove the selected Category - '{}'?", name),
                           PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return false;
  }
  if (!Change(Translated("The category could not be removed. Cancel takes back what was begun."),
              [&] { store_->DeleteCategory(name); })) {
    return false;
  }
  const std::size_t position = *selected_;
  categories_.erase(categories_.begin() + static_cast<std::ptrdiff_t>(position));
  // The next one takes its place; behind the last there is the one before.
  SelectCategory(position < categories_.size() || position == 0 ? position : position - 1);
  return true;
}

std::optional<std::size_t> CategoriesForm::WizardForTraps(WizardMode mode, std::int32_t trapTableId) {
  WizardTask task{.Mode = mode, .CategoryName = std::string(SelectedName()), .TrapTableId = trapTableId};
  const bool changed = RunWizard(task);
  const auto placeOf = [this](std::int32_t id) {
    const auto row = std::ranges::find(Traps(), id, &TrapDetail::TrapTableId);
    return row == Traps().end() ? std::nullopt
                                : std::optional(static_cast<std::size_t>(row - Traps().begin()));
  };
  if (!changed) {
    return placeOf(trapTableId);
  }
  std::unordered_set<std::int32_t> known;
  for (const TrapDetail& trap : Traps()) {
    known.insert(trap.TrapTableId);
  }
  LoadTrapDetails();
  const auto added = std::ranges::find_if(
      Traps(), [&](const TrapDetail& trap) { return !known.contains(trap.TrapTableId); });
  return placeOf(added == Traps().end() ? trapTableId : added->TrapTableId);
}

std::optional<std::size_t> CategoriesForm::AddTraps() {
  return selected_ ? WizardForTraps(WizardMode::AddTrapDetails, 0) : std::nullopt;
}

std::optional<std::size_t> CategoriesForm::EditTrap(std::size_t row) {
  return row < Traps().size() ? WizardForTraps(WizardMode::EditTrapDetail, Traps()[row].TrapTableId)
                              : std::nullopt;
}

bool CategoriesForm::RemoveTrap(std::size_t row) {
  if (row >= Traps().size() ||
      services_.Prompt.Ask(Translated("Are you sure you want to remove selected Trap Detail?"),
                           PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return false;
  }
  if (!Change(Translated("The trap could not be removed from its category."),
              [&] { store_->RemoveTrapDetail(SelectedName(), Traps()[row].TrapTableId); })) {
    return false;
  }
  details_.Traps.erase(details_.Traps.begin() + static_cast<std::ptrdiff_t>(row));
  return true;
}

bool CategoriesForm::CanMoveCategory(Direction to) const {
  return selected_ && (to == Direction::Up ? *selected_ > 0 : *selected_ + 1 < categories_.size());
}

bool CategoriesForm::MoveCategory(Direction to) {
  if (!CanMoveCategory(to)) {
    return false;
  }
  const bool up = to == Direction::Up;
  const std::size_t other = up ? *selected_ - 1 : *selected_ + 1;
  bool moved = false;
  Change(Translated("The category could not be moved."), [&] {
    moved = store_->MoveCategory(categories_[other], up ? Side::Behind : Side::Before, SelectedName());
  });
  if (moved) {
    std::swap(categories_[*selected_], categories_[other]);
    selected_ = other;
  }
  return moved;
}

bool CategoriesForm::CanMoveTraps(RowRange rows, Direction to) const {
  return rows.First <= rows.Last && rows.Last < Traps().size() &&
         (to == Direction::Up ? rows.First > 0 : rows.Last + 1 < Traps().size());
}

// The neighbour goes to the other side of the rows, however many these are.
bool CategoriesForm::MoveTraps(RowRange rows, Direction to) {
  if (!CanMoveTraps(rows, to)) {
    return false;
  }
  const bool up = to == Direction::Up;
  const auto idOf = [this](std::size_t row) { return Traps()[row].TrapTableId; };
  bool moved = false;
  Change(Translated("The trap could not be moved."), [&] {
    moved = up ? store_->MoveTrapDetail(SelectedName(), idOf(rows.First - 1), Side::Behind, idOf(rows.Last))
               : store_->MoveTrapDetail(SelectedName(), idOf(rows.Last + 1), Side::Before, idOf(rows.First));
  });
  if (moved) {
    const auto at = [this](std::size_t row) {
      return details_.Traps.begin() + static_cast<std::ptrdiff_t>(row);
    };
    if (up) {
      std::rotate(at(rows.First - 1), at(rows.First), at(rows.Last + 1));
    } else {
      std::rotate(at(rows.First), at(rows.Last + 1), at(rows.Last + 2));
    }
  }
  return moved;
}

void CategoriesForm::StoreChanged() {
  if (!IsOpen()) {
    return;
  }
  const std::string name(SelectedName());
  const std::size_t position = selected_.value_or(0);
  try {
    const BusyPointer busy(window_);
    transaction_->ReadAnew();
    categories_ = store_->LoadCategoryTree();
  } catch (const store::DatabaseError&) {
    return;  // said elsewhere, and what is changed here is not lost
  }
  const auto found = std::ranges::find(categories_, name);
  // Of one that is gone the next takes its place.
  SelectCategory(found != categories_.end() ? static_cast<std::size_t>(found - categories_.begin())
                 : position < categories_.size() || position == 0 ? position
                                                                  : categories_.size() - 1);
}

bool CategoriesForm::Commit() {
  if (!IsOpen()) {
    return true;
  }
  try {
    const BusyPointer busy(window_);
    transaction_->Commit();
    return true;
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The changes were not saved."), error,
                       store::Attempt::Changing);
    return false;
  }
}

bool CategoriesForm::Ok() {
  return Commit();
}

bool CategoriesForm::Cancel() {
  if (modified_) {
    switch (services_.Prompt.Ask(Translated(kUndoQuestion), PromptButtons::YesNoCancel,
                                 PromptIcon::Information)) {
      case PromptAnswer::Yes:
        return Commit();
      case PromptAnswer::No:
        break;
      default:
        return false;
    }
  }
  if (IsOpen()) {
    transaction_->Rollback();
  }
  return true;
}

void CategoriesForm::CloseBox() {
  if (IsOpen()) {
    transaction_->Rollback();
  }
  modified_ = false;
}

void CategoriesForm::Unload() {
  if (!IsOpen()) {
    return;
  }
  {
    const BusyPointer busy(window_);
    store_.reset();
    transaction_.reset();
    connection_->Close();
    connection_.reset();
    services_.Clock.SleepMilliseconds(kSettleMilliseconds);
  }
  if (std::exchange(modified_, false)) {
    CategoriesSaved(services_);
  }
}

}  // namespace korvane::categories
