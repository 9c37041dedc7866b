#include "categories/WizardForm.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Statements.h"

namespace korvane::categories {

namespace {

constexpr std::size_t kClearPosition = 0;

params::TrapCriteria CriteriaOf(const TrapDetail& trap) {
  return {.SourceAgent = trap.Source,
          .GenericTrap = trap.GenericTrap,
          .EnterpriseOid = trap.EnterpriseOid,
          .SpecificTrap = store::StoredSpecificCode(trap.SpecificTrap).value_or(0),
          .VarBinds = trap.VarBinds};
}

bool IsDistinguished(const TrapDetail& trap) {
  return !trap.Source.empty() || !trap.VarBinds.empty() || trap.GenericTrap != -1 ||
         !trap.EnterpriseOid.empty();
}

}  // namespace

WizardForm::WizardForm(WizardTask& task, CategoryTransaction& transaction, const WizardServices& services)
    : task_(task),
      transaction_(transaction),
      writer_(transaction),
      names_(services.Names),
      prompts_(services.Prompt),
      busy_(services.Busy),
      page_(task.Mode == WizardMode::AddCategory || task.Mode == WizardMode::EditCategory
                ? WizardPage::Category
                : WizardPage::Traps),
      name_(task.CategoryName),
      edited_(StoredTrap()),
      criteria_(CriteriaOf(edited_), names_, prompts_, params::GenericChoice::OneOrAll, {}) {
  severity_.Items.assign(store::kSeverityNames.begin(), store::kSeverityNames.end());
  params::Choose(severity_, static_cast<std::size_t>(edited_.Severity));
  added_ = EnteredTrap();
}

// The trap to edit; also reads the description of a category to edit.
TrapDetail WizardForm::StoredTrap() {
  if (task_.Mode == WizardMode::AddCategory || task_.Mode == WizardMode::AddTrapDetails) {
    return {};
  }
  try {
    const CategoryDetails details = CategoryStore(transaction_).LoadTrapDetails(task_.CategoryName);
    description_ = details.Description;
    categorySeverity_ = details.Severity;
    const auto trap = std::ranges::find(details.Traps, task_.TrapTableId, &TrapDetail::TrapTableId);
    if (trap != details.Traps.end()) {
      return *trap;
    }
    const bool category = task_.Mode == WizardMode::EditCategory;
    if (!category || !writer_.NamesInUse().contains(FoldCase(task_.CategoryName))) {
      wasRead_ = false;
      prompts_.Show(category ? Translated("This category was removed meanwhile.")
                             : Translated("This trap was removed from its category meanwhile."),
                    PromptIcon::Information);
    }
  } catch (const store::DatabaseError& error) {
    wasRead_ = false;
    store::ShowFailure(prompts_, Translated("The category could not be read."), error,
                       store::Attempt::Reading);
  }
  return {};
}

std::string_view WizardForm::Title() const {
  switch (task_.Mode) {
    case WizardMode::AddCategory:
      return Translated("Add Category");
    case WizardMode::EditCategory:
      return Translated("Edit Category");
    case WizardMode::AddTrapDetails:
      return Translated("Add Trap Detail");
    case WizardMode::EditTrapDetail:
      break;
  }
  return Translated("Edit Trap Detail");
}

std::string_view WizardForm::NextCaption() const {
  return task_.Mode == WizardMode::AddCategory && page_ == WizardPage::Category ? Translated("&Next >")
                                                                                : Translated("&Finish");
}

std::string WizardForm::InfoText() const {
  if (page_ == WizardPage::Category) {
    return task_.Mode == WizardMode::EditCategory
               ? Translated("Edit the description for this category.")
               : Translated("Provide information about new trap category that you want to create.");
  }
  if (task_.Mode == WizardMode::EditTrapDetail) {
    return Phrase("Edit Trap information. Note that Enterprise can be selected only when Generic is '{}'.",
                  store::GenericTrapName(store::kEnterpriseSpecific));
  }
  return Translated(
      "Add Traps to the category. Note that Enterprise can be selected only when Generic is "
      "'enterpriseSpecific'.");
}

bool WizardForm::NameIsFixed() const {
  return task_.Mode != WizardMode::AddCategory;
}

bool WizardForm::ListShows() const {
  return task_.Mode != WizardMode::EditTrapDetail;
}

std::string WizardForm::TrapDescription() {
  const params::TrapCriteria& criteria = criteria_.Criteria();
  if (criteria.SpecificTrap == 0) {
    return {};
  }
  store::IncomingTrap trap;
  trap.EnterpriseOid = criteria.EnterpriseOid;
  trap.SpecificTrap = criteria.SpecificTrap;
  trap.GenericTrap = store::kEnterpriseSpecific;
  try {
    names_.GetTrapName(trap);
  } catch (const store::DatabaseError&) {
    return {};  // only a help to the reader
  }
  return std::string(trap.FurtherDescription());
}

TrapDetail WizardForm::EnteredTrap() const {
  const params::TrapCriteria& criteria = criteria_.Criteria();
  return {.Source = criteria.SourceAgent,
          .GenericTrap = criteria.GenericTrap,
          .EnterpriseOid = criteria.EnterpriseOid,
          .SpecificTrap = fmt::to_string(criteria.SpecificTrap),
          .VarBinds = criteria.VarBinds,
          .Severity = static_cast<std::int32_t>(severity_.Position)};
}

bool WizardForm::Unadded() const {
  const TrapDetail trap = EnteredTrap();
  return page_ == WizardPage::Traps && ListShows() && IsDistinguished(trap) && trap != added_;
}

bool WizardForm::EnteredIsComplete() {
  if (!IsDistinguished(EnteredTrap())) {
    prompts_.Show(Translated("Please select atleast one unique property."), PromptIcon::Information);
    return false;
  }
  if (severity_.Position == kClearPosition) {
    prompts_.Show(Translated("Severity should be other than the default 'Clear'."), PromptIcon::Information);
    return false;
  }
  return true;
}

void WizardForm::Add() {
  if (!EnteredIsComplete()) {
    return;
  }
  PendingTrap entry{.Trap = EnteredTrap(), .Texts = {}};
  try {
    entry.Texts = TextsOf(entry.Trap, names_);
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The trap could not be added to the list."), error,
                       store::Attempt::Reading);
    return;
  }
  added_ = entry.Trap;
  pending_.push_back(std::move(entry));
}

void WizardForm::RemovePending(std::size_t row) {
  if (row < pending_.size()) {
    pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(row));
  }
}

bool WizardForm::NextOrFinish() {
  try {
    if (task_.Mode == WizardMode::AddCategory && page_ == WizardPage::Category) {
      if (MayLeaveFirstPage()) {
        page_ = WizardPage::Traps;
      }
      return false;
    }
    if (!FieldsAreSettled() || !OperatorAgrees()) {
      return false;
    }
    Write();
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The entries could not be saved."), error,
                       store::Attempt::OneOfSeveral);
    return false;
  }
  task_.CategoryName = name_;
  task_.Cancelled = false;
  return true;
}

bool WizardForm::MayLeaveFirstPage() {
  if (name_.empty()) {
    prompts_.Show(Translated("Please assign a name to the category."), PromptIcon::Information);
    return false;
  }
  store::Quoted(name_);  // throws for what no statement can hold
  if (writer_.NamesInUse().contains(FoldCase(name_))) {
    prompts_.Show(
        Phrase("A category with this name viz. '{}' already exists. Please assign a unique name.", name_),
        PromptIcon::Information);
    return false;
  }
  return true;
}

// While nothing is listed the question about that says as much.
bool WizardForm::FieldsAreSettled() {
  if (pending_.empty() || !Unadded()) {
    return true;
  }
  const std::size_t before = pending_.size();
  switch (prompts_.Ask(
      Translated(
          "The trap that the fields describe is not in the list. Select 'Yes' to add it, or 'No' to finish "
          "without it."),
      PromptButtons::YesNoCancel, PromptIcon::Question)) {
    case PromptAnswer::Yes:
      Add();
      return pending_.size() > before;
    case PromptAnswer::No:
      return true;
    default:
      return false;
  }
}

bool WizardForm::OperatorAgrees() {
  if (!pending_.empty()) {
    return true;
  }
  switch (task_.Mode) {
    case WizardMode::AddCategory:
      return prompts_.Ask(Phrase("Do you want to proceed without adding any members to '{}'?", name_),
                          PromptButtons::YesNo, PromptIcon::Question) == PromptAnswer::Yes;
    case WizardMode::AddTrapDetails:
      return prompts_.Ask(Translated("Do you want to proceed without adding any new members?"),
                          PromptButtons::YesNo, PromptIcon::Question) == PromptAnswer::Yes;
    case WizardMode::EditTrapDetail:
      return EnteredIsComplete();
    case WizardMode::EditCategory:
      break;
  }
  return true;
}

void WizardForm::Write() {
  std::vector<TrapDetail> traps;
  for (const PendingTrap& entry : pending_) {
    traps.push_back(entry.Trap);
  }
  try {
    const BusyScope busy(busy_, Translated("Saving New Data"));
    const std::size_t before = writer_.Written();
    writer_.ReportTo([&](std::size_t written) {
      busy_.ShowProgress(static_cast<std::int64_t>(written - before),
                         static_cast<std::int64_t>(traps.size()));
    });
    WriteTask(traps);
  } catch (const RelationExists& error) {
    // The category is written; only its place below the root was taken already.
    prompts_.Show(error.what(), PromptIcon::Critical);
  }
}

void WizardForm::WriteTask(const std::vector<TrapDetail>& traps) {
  switch (task_.Mode) {
    case WizardMode::AddCategory:
      writer_.AddCategory(name_, description_, traps.empty() ? 0 : traps.front().Severity, traps);
      break;
    case WizardMode::EditCategory:
      writer_.EditCategory(name_, description_, categorySeverity_);
      break;
    case WizardMode::AddTrapDetails:
      writer_.AddTrapDetails(name_, traps);
      break;
    case WizardMode::EditTrapDetail:
      writer_.EditTrapDetail(name_, task_.TrapTableId, EnteredTrap());
      break;
  }
}

}  // namespace korvane::categories
