// What a Traps window is given by the frame beside the windows that are open.
#pragma once

#include <string>

#include "common/Desk.h"
#include "intake/LoadBounds.h"
#include "intake/StoreChanges.h"
#include "intake/StoredTraps.h"
#include "intake/Systems.h"
#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "systems/SystemAcknowledge.h"
#include "traplist/PrintedReport.h"

namespace korvane::traps {

struct TrapsServices {
  korvane::Desk& Desk;
  store::Connection& Connection;
  store::TrapNames& Names;
  params::CategoryInformation& Categories;
  params::TrapFilters& Filters;
  intake::LoadBounds& Bounds;
  intake::Systems& SystemList;
  intake::StoredTraps& Stored;
  intake::StoreChanges& Changes;
  systems::SystemAcknowledge& Acknowledge;
  traplist::ReportPrinter& Printer;
  std::string HowToSend = {};  // what an empty window says before the first trap: see intake/FirstTrap.h
};

}  // namespace korvane::traps
