// Everything the windows of alerts are given by the frame, and the actions of an alert.
#pragma once

#include <cstdint>

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "intake/ReceiverLibrary.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/Tables.h"
#include "store/TrapNames.h"

namespace korvane::alerts {

struct AlertServices {
  store::Connection& Connection;
  store::TrapNames& Names;
  Prompts& Prompt;
  platform::RegistryStore& Registry;
  platform::SettingsStore& Settings;
  intake::ReceiverLibrary& Library;  // knows the mail settings of this machine
  std::int32_t TimeZoneBias;         // seconds, as gTimeZoneBias
  bool& SignalFailureTold;           // that the receiver can't be signalled is said once in a run
};

using store::kNoAction;

// Keys of the action tables.
struct ActionIds {
  std::int32_t Beep = kNoAction;
  std::int32_t Email = kNoAction;
  std::int32_t Message = kNoAction;
  std::int32_t Custom = kNoAction;
  bool operator==(const ActionIds&) const = default;
};

}  // namespace korvane::alerts
