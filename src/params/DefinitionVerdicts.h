// Which filters and category rows can still matter for a kind of trap: TrapNames asks once per kind, and a
// trap then costs only the rules that depend on its source or bindings.
#pragma once

#include <memory>

#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/TrapNames.h"

namespace korvane::params {

class DefinitionVerdicts : public store::TrapVerdicts {
 public:
  // Both must outlive this object and the trap-name cache; clear that cache whenever either is reloaded.
  DefinitionVerdicts(const TrapFilters& filters, const CategoryInformation& categories)
      : filters_(filters), categories_(categories) {}

  std::unique_ptr<store::TrapVerdict> VerdictFor(std::string_view enterpriseOid, std::int32_t specificTrap,
                                                 std::int32_t genericTrap) override;

 private:
  const TrapFilters& filters_;
  const CategoryInformation& categories_;
};

}  // namespace korvane::params
