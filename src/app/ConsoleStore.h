// The trap store as the running console holds it: the shared connection, the names of traps, and the lists
// read into memory at start-up.  Owned by ConsoleApp; windows and intake are given its parts by reference.
// User-interface thread only.
#pragma once

#include <string_view>

#include "app/StartupParts.h"
#include "common/BusyIndicator.h"
#include "intake/Systems.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::app {

class ConsoleStore : public SharedStore {
 public:
  // busy: where the operator waits for the store; outlives this object.
  explicit ConsoleStore(BusyIndicator& busy);

  void OpenDatabase() override;
  store::ReadOutcome LoadSystems() override;
  store::ReadOutcome ReloadCategoryInformation() override;
  store::ReadOutcome LoadFilters() override;
  void SaveSystems() override;
  store::Acknowledgement AcknowledgeAll(std::int32_t beforeTime, const store::GoOn& goOn) override;
  void CloseDatabase() override;
  void ReleaseLists() override;

  store::Connection Database;
  store::TrapNames Names{Database};
  params::TrapFilters Filters;
  params::CategoryInformation Categories;
  intake::Systems SystemList;
  params::StoredParametersLists ParametersLists{Database, Names};

 private:
  params::DefinitionVerdicts verdicts_{Filters, Categories};
};

}  // namespace korvane::app
