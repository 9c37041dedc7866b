#include "traps/Acknowledging.h"

#include "common/Translation.h"
#include "store/Acknowledge.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::traps {
namespace {

// What was done, the refusal in it.
store::Acknowledgement CarryOut(TrapsServices& services, std::span<const store::TrapKey> traps,
                                std::string_view ofSystem) {
  store::Acknowledgement result;
  try {
    result = store::AcknowledgeTraps(services.Connection, traps, [&](std::int64_t done) {
      return StepDone(services.Desk.Busy, done, std::ssize(traps));
    });
    services.Changes.Acknowledged(result, ofSystem);
  } catch (const store::DatabaseError& error) {
    result.Failure = error;
  }
  return result;
}

}  // namespace

bool AcknowledgeRows(TrapsServices& services, std::span<const store::TrapKey> traps,
                     std::string_view ofSystem) {
  store::Acknowledgement result;
  {
    const BusyScope busy(services.Desk.Busy, Translated("Acknowledging Trap(s)"));
    result = CarryOut(services, traps, ofSystem);
  }
  if (result.Failure) {
    const bool some = !result.Leaving.empty();
    store::ShowFailure(services.Desk.Prompt,
                       some ? Translated("Some of the traps were not acknowledged.")
                            : Translated("The traps were not acknowledged."),
                       *result.Failure, some ? store::Attempt::OneOfSeveral : store::Attempt::Changing);
  }
  return !result.Failure;
}

AcknowledgeOutcome AcknowledgeOne(TrapsServices& services, const store::TrapKey& trap,
                                  std::string_view ofSystem) {
  const store::Acknowledgement done = CarryOut(services, std::span(&trap, 1), ofSystem);
  if (done.Failure) {
    store::ShowFailure(services.Desk.Prompt, Translated("The trap was not acknowledged."), *done.Failure,
                       store::Attempt::Changing);
    return AcknowledgeOutcome::Refused;
  }
  return done.Gone > 0 ? AcknowledgeOutcome::Gone : AcknowledgeOutcome::Done;
}

}  // namespace korvane::traps
