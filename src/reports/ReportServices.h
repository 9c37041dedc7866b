// What a Report / History window is given by the frame beside the windows that are open.
#pragma once

#include <functional>
#include <memory>

#include "common/Desk.h"
#include "intake/Systems.h"
#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "traplist/PrintedReport.h"

namespace korvane::reports {

struct ReportServices {
  korvane::Desk& Desk;
  store::Connection& Connection;
  // A connection of its own, for the long read.  Safe on any thread; throws DatabaseError.
  std::function<std::unique_ptr<store::Connection>(store::ConnectionOptions)> OpenConnection;
  store::TrapNames& Names;
  params::CategoryInformation& Categories;
  params::TrapFilters& Filters;
  intake::Systems& SystemList;
  traplist::ReportPrinter& Printer;
};

}  // namespace korvane::reports
