// What every window has at hand: who speaks to the operator, what the process knows, the clock, and what the
// operator likes kept.  Put together once by app/; the parts outlive every window.
#pragma once

#include "common/BusyIndicator.h"
#include "common/Log.h"
#include "common/NumberText.h"
#include "common/ProcessState.h"
#include "common/Prompts.h"
#include "common/StripLines.h"
#include "platform/Platform.h"

namespace korvane {

struct Desk {
  ProcessState& State;
  Prompts& Prompt;
  BusyIndicator& Busy;
  Log& DebugLog;
  platform::Clock& Clock;
  platform::SettingsStore& Settings;
  StripLines& Strip;
  NumberText WriteNumber = PlainNumber;  // in texts that no window composes: of the strip, of notifications
};

}  // namespace korvane
