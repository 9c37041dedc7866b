// The rules of the dialog "Trap Filter" without a window: the criteria, and what OK refuses.  User-interface
// thread only.
#pragma once

#include "common/Prompts.h"
#include "params/FilterStore.h"
#include "params/TrapCriteriaForm.h"
#include "store/TrapNames.h"

namespace korvane::params {

class FilterInfoForm : public TrapCriteriaForm {
 public:
  // filter: the one to edit, or a default one.
  FilterInfoForm(const FilterValues& filter, store::TrapNames& names, Prompts& prompts)
      : TrapCriteriaForm(filter, names, prompts, GenericChoice::OneOrAll), prompts_(prompts) {}

  // False when the filter would hide every trap: the operator was told, and the dialog stays open.
  bool Ok();
  const FilterValues& Filter() const { return Criteria(); }

 private:
  Prompts& prompts_;
};

}  // namespace korvane::params
