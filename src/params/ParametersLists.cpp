#include "params/ParametersLists.h"

#include <utility>

#include "params/CategoryInformation.h"
#include "store/Codes.h"

namespace korvane::params {

std::vector<std::string> StoredParametersLists::CategoryNames() {
  return TrapCategoryNames(connection_);
}

std::vector<std::string> StoredParametersLists::EnterpriseNames() {
  return names_.EnterpriseNames();
}

std::vector<std::string> StoredParametersLists::TrapNamesOf(std::string_view enterpriseName) {
  std::vector<std::string> trapNames;
  for (store::NamedTrap& trap : names_.TrapsOfEnterprise(enterpriseName)) {
    trapNames.push_back(std::move(trap.TrapName));
  }
  return trapNames;
}

std::optional<std::int32_t> StoredParametersLists::GenericTrapOf(std::string_view enterpriseName,
                                                                 std::string_view trapName) {
  for (const store::NamedTrap& trap : names_.TrapsOfEnterprise(enterpriseName)) {
    if (trap.TrapName == trapName) {
      return store::GenericCodeOf(store::WithoutInstance(trap.EnterpriseOid), trap.SpecificTrap);
    }
  }
  return std::nullopt;
}

}  // namespace korvane::params
