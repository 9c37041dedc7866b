// Everything the frame window is given.  Put together by app/; all of it outlives the frame, but for frmWait,
// which becomes its child.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "common/Desk.h"
#include "intake/StoredTraps.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "platform/Platform.h"
#include "reports/ReportServices.h"
#include "store/Connection.h"
#include "systems/SystemAcknowledge.h"
#include "systems/SystemsModel.h"
#include "traps/TrapsServices.h"

namespace korvane::mainwnd {

class frmWait;

// What closing the console means beyond the frame.
class CloseSteps {
 public:
  virtual ~CloseSteps() = default;
  // All of it, in order, while the frame is still there: questions, saving, releasing.  May destroy the
  // frame's child windows.  unasked: shows nothing that waits for an answer, which is no.
  virtual void CloseConsole(bool unasked) = 0;
  // The frame is gone from the screen.
  virtual void EndProcess() = 0;
};

struct FrameServices {
  korvane::Desk& Desk;
  traps::TrapsServices& Traps;
  reports::ReportServices& Reports;
  // A connection of its own for a dialog, which waits for its calls beside them (CallsBeside).  Of the
  // user-interface thread; throws DatabaseError.
  std::function<std::unique_ptr<store::Connection>(store::ConnectionOptions)> OpenConnection;
  intake::StoredTraps& Stored;
  systems::SystemAcknowledge& Acknowledge;
  systems::SystemsModel& Systems;
  systems::CriticalNews& News;
  intake::ReceiverLibrary& Library;
  params::ParametersLists& Lists;
  params::TrapFilters& Filters;
  platform::RegistryStore& Registry;
  platform::Programs& Programs;
  platform::ServiceControl& Services;
  frmWait& Wait;
  CloseSteps& Closing;
  std::string InstallPath;  // holds the guide and the helper programs
};

}  // namespace korvane::mainwnd
