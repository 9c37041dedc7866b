// The controls that say which traps are meant (source, generic trap, enterprise, trap, a text in the
// bindings) without a window: what each shows, when it may be used, and the criteria that they stand for.
// Filters, alerts and the traps of categories are chosen with it.  What the operator leaves alone stays
// exactly as it was stored, also where no item of a list stands for it.  User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/Prompts.h"
#include "params/FilterTexts.h"
#include "params/FormControls.h"
#include "store/TrapNames.h"

namespace korvane::params {

struct TrapCriteriaControls {
  TextControl txtSource;
  ListControl cboGeneric;
  ListControl cboEnterprise;
  ListControl lvTraps;
  TextControl txtVarBinds;
};

// Whether "-All-" stands before the generic traps.
enum class GenericChoice { OneOrAll, OneOfThem };

class TrapCriteriaForm {
 public:
  // criteria: what is to be edited.  anySource: how the source control shows that there is no condition.  The
  // lists are read now and with each enterprise chosen; a database error is shown and leaves a list with
  // "-All-" and what the criteria hold.
  TrapCriteriaForm(TrapCriteria criteria, store::TrapNames& names, Prompts& prompts, GenericChoice choice,
                   std::string_view anySource = kAll);

  const TrapCriteriaControls& Controls() const { return controls_; }

  void EditSource(std::string_view text);
  void ChooseGeneric(std::size_t position);
  void ChooseEnterprise(std::size_t position);
  // A standard trap is stored as a generic one, so it is that which is chosen then, and no enterprise.
  void ChooseTrap(std::size_t position);
  void EditVarBinds(std::string_view text);

  const TrapCriteria& Criteria() const { return criteria_; }

 private:
  bool HasAll() const { return choice_ == GenericChoice::OneOrAll; }
  bool EnterpriseIsOpen() const;
  std::int32_t ChosenGeneric() const;
  void ShowGeneric();
  void ShowEnterprise();
  void ShowTraps();
  void TakeEnterprise(std::size_t position);
  std::string OidOfEnterprise();

  store::TrapNames& names_;
  Prompts& prompts_;
  const GenericChoice choice_;
  const TrapCriteria initial_;
  FilterTexts initialTexts_;
  std::size_t initialEnterprise_ = 0;  // where the list of enterprises has it
  TrapCriteria criteria_;
  TrapCriteriaControls controls_;
  std::string enterpriseOid_;            // of the chosen enterprise as a whole
  std::vector<store::NamedTrap> traps_;  // of the chosen enterprise, as they stand behind "-All-"
};

}  // namespace korvane::params
