#include "params/FilterInfoForm.h"

#include "common/Translation.h"

namespace korvane::params {

bool FilterInfoForm::Ok() {
  const FilterValues& filter = Filter();
  if (ConditionOf(filter.SourceAgent).empty() && filter.GenericTrap == -1 && filter.EnterpriseOid.empty() &&
      ConditionOf(filter.VarBinds).empty()) {
    prompts_.Show(
        Translated("You have not selected any unique property. Please make atleast one property unique."),
        PromptIcon::Information);
    return false;
  }
  return true;
}

}  // namespace korvane::params
