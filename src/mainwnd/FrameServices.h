// Everything the frame window is given.  Put together by app/; all of it outlives the frame, but for frmWait,
// which becomes its child.
#pragma once

#include "intake/ViewServices.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "platform/Platform.h"
#include "systems/SystemsModel.h"

namespace korvane::mainwnd {

class frmWait;

// What closing the console means beyond the frame.
class CloseSteps {
 public:
  virtual ~CloseSteps() = default;
  // All of it, in order, while the frame is still there: questions, saving, releasing.  May destroy the
  // frame's child windows.
  virtual void CloseConsole() = 0;
  // The frame is gone from the screen.
  virtual void EndProcess() = 0;
};

struct FrameServices {
  intake::ViewServices& View;
  systems::SystemsModel& Systems;
  params::ParametersLists& Lists;
  params::TrapFilters& Filters;
  platform::RegistryStore& Registry;
  platform::Programs& Programs;
  platform::ServiceControl& Services;
  frmWait& Wait;
  CloseSteps& Closing;
};

}  // namespace korvane::mainwnd
