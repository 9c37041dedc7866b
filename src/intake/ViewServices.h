// Everything a Systems, Traps or Report window is given.  Put together once by app/; the parts outlive every
// window.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/BusyIndicator.h"
#include "common/Log.h"
#include "common/OpenForms.h"
#include "common/ProcessState.h"
#include "common/Prompts.h"
#include "intake/LoadBounds.h"
#include "intake/ReceiverLibrary.h"
#include "params/CategoryInformation.h"
#include "params/WindowParameters.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::intake {

class Systems;
struct System;

// 2 and 3 are the numbers that the kinds have always had; Selected windows take what their parameters accept.
enum class WindowKind : int { Selected = 1, PerSystem = 2, NoLiveTraps = 3 };

// The windows that are open, as one window needs the others.  The frame window implements it.
class ViewWindows {
 public:
  virtual ~ViewWindows() = default;
  virtual void OpenSystemTraps(
      const System& system) = 0;  // a per-system Traps window, or raises the open one
  // Traps were acknowledged in the store: they leave every Traps window and the Systems window's counts.
  virtual void TrapsAcknowledged(const std::vector<std::int32_t>& sequenceNumbers) = 0;
  virtual void SystemAcknowledged(const System& system, std::int32_t beforeTime) = 0;
  // The operator's notes on a trap were stored: every list that holds the trap shows them.
  virtual void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) = 0;
};

struct ViewServices {
  store::Connection& Connection;
  store::TrapNames& Names;
  params::CategoryInformation& Categories;
  Systems& SystemList;
  LoadBounds& Bounds;
  ProcessState& State;
  Prompts& Prompt;
  BusyIndicator& Busy;
  Log& DebugLog;
  platform::Clock& Clock;
  platform::SettingsStore& Settings;
  intake::ReceiverLibrary& Library;
  platform::Programs& Programs;
  std::string InstallPath;  // where the printed report goes
  // A connection of one's own: for a long read, or a transaction.  Safe on any thread; throws DatabaseError.
  std::function<std::unique_ptr<store::Connection>(store::ConnectionOptions)> OpenConnection;
};

}  // namespace korvane::intake
