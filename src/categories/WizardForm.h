// The rules of the category wizard without its window: its pages by mode, the checks of Next, Add and Finish,
// the list of traps that wait to be written, and the writing.  User-interface thread only; database errors
// are shown here, and what was written before one stays in the opener's transaction.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"
#include "categories/CategoryWriter.h"
#include "categories/TrapDetailTexts.h"
#include "categories/WizardTask.h"
#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "params/FormControls.h"
#include "params/TrapCriteriaForm.h"
#include "store/TrapNames.h"

namespace korvane::categories {

enum class WizardPage { Category, Traps };

struct PendingTrap {
  TrapDetail Trap;
  TrapDetailTexts Texts;  // as the list shows it
};

struct WizardServices {
  store::TrapNames& Names;
  Prompts& Prompt;
  BusyIndicator& Busy;
};

class WizardForm {
 public:
  // Everything must outlive the form.
  WizardForm(WizardTask& task, CategoryTransaction& transaction, const WizardServices& services);

  // False when what is to be edited could not be read: the wizard is not to show, since Finish would write
  // its empty fields over it.
  bool WasRead() const { return wasRead_; }

  std::string_view Title() const;
  WizardPage Page() const { return page_; }
  std::string_view NextCaption() const;  // "&Next >" or "&Finish"
  std::string InfoText() const;          // of the page that shows
  bool NameIsFixed() const;
  bool ListShows() const;  // the pending list and its button

  const std::string& Name() const { return name_; }
  const std::string& Description() const { return description_; }
  void EditName(std::string_view text) { name_ = text; }
  void EditDescription(std::string_view text) { description_ = text; }

  params::TrapCriteriaForm& Criteria() { return criteria_; }
  const params::ListControl& Severity() const { return severity_; }
  void ChooseSeverity(std::size_t position) { params::Choose(severity_, position); }
  // What the trap-name table says of the chosen trap.
  std::string TrapDescription();

  const std::vector<PendingTrap>& Pending() const { return pending_; }
  // What the fields describe is neither listed nor described by what was listed last: Add would take it, and
  // Finish asks about it.
  bool Unadded() const;
  void Add();
  void RemovePending(std::size_t row);

  // Next on the first of two pages, Finish on the last.  True when the wizard closes.
  bool NextOrFinish();

 private:
  TrapDetail StoredTrap();
  TrapDetail EnteredTrap() const;
  bool EnteredIsComplete();
  bool MayLeaveFirstPage();
  bool FieldsAreSettled();
  bool OperatorAgrees();
  void Write();
  void WriteTask(const std::vector<TrapDetail>& traps);

  WizardTask& task_;
  CategoryTransaction& transaction_;
  CategoryWriter writer_;
  store::TrapNames& names_;
  Prompts& prompts_;
  BusyIndicator& busy_;
  WizardPage page_;
  std::string name_;
  std::string description_;
  std::int32_t categorySeverity_ = 0;  // of a category that is edited
  bool wasRead_ = true;                // set while the next one is made
  TrapDetail edited_;                  // of mode 10
  params::TrapCriteriaForm criteria_;
  params::ListControl severity_;
  std::vector<PendingTrap> pending_;
  TrapDetail added_;  // what the fields described when they were last settled
};

}  // namespace korvane::categories
