// Which filters and category rows can still matter for a kind of trap: TrapNames asks once per kind, and a
// trap then costs only the rules that depend on its source or bindings.  User-interface thread only.
#pragma once

#include <memory>

#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/TrapNames.h"

namespace korvane::params {

class DefinitionVerdicts : public store::TrapVerdicts {
 public:
  // Both must outlive the verdicts.  A verdict notices when either list was reloaded and works itself out
  // anew, so it never answers by rules that are gone.
  DefinitionVerdicts(const TrapFilters& filters, const CategoryInformation& categories)
      : filters_(filters), categories_(categories) {}

  std::unique_ptr<store::TrapVerdict> VerdictFor(std::string_view enterpriseOid, std::int32_t specificTrap,
                                                 std::int32_t genericTrap) override;

 private:
  const TrapFilters& filters_;
  const CategoryInformation& categories_;
};

}  // namespace korvane::params
