// Everything the windows of alerts are given by the frame, and the actions of an alert.
#pragma once

#include <cstdint>

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "intake/ReceiverLibrary.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::alerts {

struct AlertServices {
  store::Connection& Connection;
  store::TrapNames& Names;
  Prompts& Prompt;
  platform::RegistryStore& Registry;
  platform::SettingsStore& Settings;
  intake::ReceiverLibrary& Library;  // knows the mail settings of this machine
};

// Keys of the action tables.  Row 1 of each means no action, so an action is in use when its ID is above 1.
inline constexpr std::int32_t kNoAction = 1;

struct ActionIds {
  std::int32_t Beep = kNoAction;
  std::int32_t Email = kNoAction;
  std::int32_t Message = kNoAction;
  std::int32_t Custom = kNoAction;
  bool operator==(const ActionIds&) const = default;
};

}  // namespace korvane::alerts
