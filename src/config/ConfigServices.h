// What the configuration dialog is given by the frame.
#pragma once

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "platform/Platform.h"

namespace korvane::config {

struct ConfigServices {
  platform::RegistryStore& Registry;
  platform::ServiceControl& Services;
  platform::Clock& Clock;
  Prompts& Prompt;
  BusyIndicator& Busy;
};

}  // namespace korvane::config
