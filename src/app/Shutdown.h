// The end of the console: what happens between the operator's wish to close and the end of the process, in a
// fixed order.  Nothing cancels it once begun, and nothing that fails on the way keeps the rest from being
// done: a database error is shown with its own text, a receiver thread that does not stop is logged.
// Called once by ConsoleApp, on the user-interface thread.
#pragma once

#include <cstdint>
#include <exception>

#include "app/StartupParts.h"
#include "common/BusyIndicator.h"
#include "common/Log.h"
#include "common/ProcessState.h"
#include "common/Prompts.h"
#include "intake/ReceiverLibrary.h"
#include "platform/Platform.h"

namespace korvane::app {

struct ShutdownServices {
  platform::SettingsStore& Settings;
  platform::Sockets& Sockets;
  Prompts& Prompt;
  BusyIndicator& Busy;
  Log& DebugLog;
  ProcessState& State;
  SharedStore& Store;
  intake::ReceiverLibrary& Library;
};

class Shutdown {
 public:
  explicit Shutdown(const ShutdownServices& services) : services_(services) {}

  // Stops the intake, asks whether to acknowledge everything, writes the systems back.
  void QueryUnload(SystemsWindow& systems);

  // Acknowledges if asked to, as far as the operator does not stop it, saves the placement, releases the
  // store.  Afterwards the process ends without any window asking its own close question.
  void Unload(MainWindow& window);

 private:
  void AskToAcknowledge();
  void StopReceiver();
  void SaveSystems();
  void AcknowledgeAll();

  ShutdownServices services_;
  std::int64_t pending_ = 0;  // traps that the Systems window counts
};

}  // namespace korvane::app
