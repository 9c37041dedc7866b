#include "app/Shutdown.h"

#include <algorithm>
#include <cstddef>

#include "common/Services.h"
#include "common/Translation.h"
#include "store/FailureWords.h"

namespace korvane::app {

void Shutdown::QueryUnload(SystemsWindow& systems) {
  services_.State.gShuttingDown = true;
  systems.DisableTimers();
  for (std::size_t row = 0; row < systems.RowCount(); ++row) {
    pending_ += systems.RowTraps(row);
  }
  services_.State.gTrapsPending = pending_ > 0;
  if (services_.State.gTrapsPending) {
    AskToAcknowledge();
  }
  const BusyScope busy(services_.Busy, Translated("Saving New Data"));
  // Before anything is written or closed: the receiver's thread reads the same store.
  StopReceiver();
  SaveSystems();
}

void Shutdown::Unload(MainWindow& window) {
  if (services_.State.gTrapsPending) {
    const BusyScope busy(services_.Busy, Translated("Acknowledging Trap(s)"));
    if (services_.State.gAckAllAnswer == static_cast<std::int16_t>(PromptAnswer::Yes)) {
      AcknowledgeAll();
    }
  }
  const BusyScope busy(services_.Busy, Translated("Unloading..."));
  SavePlacement(services_.Settings, window.Placement());
  window.DestroyChildren();
  services_.Store.CloseDatabase();
  services_.Store.ReleaseLists();
  CleanupWinsock(services_.Sockets, services_.Prompt);
}

void Shutdown::AskToAcknowledge() {
  const PromptAnswer answer = services_.Prompt.Ask(Translated("Do you want to acknowledge all traps?"),
                                                   PromptButtons::NoYes, PromptIcon::Question);
  services_.State.gAckAllAnswer = static_cast<std::int16_t>(answer);
}

void Shutdown::StopReceiver() {
  if (services_.Library.StopRecvEvents() == intake::kReceiverThreadOk) {
    return;
  }
  try {
    services_.DebugLog.WriteLog("Could not stop the thread that receives new traps.");
  } catch (const std::exception&) {
    // The line is for the log alone, and a log that can't be written is no reason to stay open.
  }
}

void Shutdown::SaveSystems() {
  try {
    services_.Store.SaveSystems();
  } catch (const std::exception& error) {
    store::ShowFailure(services_.Prompt, Translated("The list of systems was not saved."), error,
                       store::Attempt::Changing);
  }
}

void Shutdown::AcknowledgeAll() {
  try {
    // Strictly below the mark: traps stored after the newest one that was seen here, and that one, stay new.
    const store::Acknowledgement done = services_.Store.AcknowledgeAll(
        services_.State.gLastTrapTime,
        [this](std::int64_t rows) { return StepDone(services_.Busy, rows, std::max(rows, pending_)); });
    if (done.Failure) {
      store::ShowFailure(services_.Prompt, Translated("Some of the traps were not acknowledged."),
                         *done.Failure, store::Attempt::OneOfSeveral);
    }
  } catch (const std::exception& error) {
    store::ShowFailure(services_.Prompt, Translated("The traps were not acknowledged."), error,
                       store::Attempt::Changing);
  }
}

}  // namespace korvane::app
