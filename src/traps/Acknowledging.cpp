#include "traps/Acknowledging.h"

#include <fmt/format.h>

#include "common/Translation.h"
#include "store/Acknowledge.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Tables.h"

namespace korvane::traps {
namespace {

// What was done, the refusal in it.
store::Acknowledgement CarryOut(TrapsServices& services, std::span<const std::int32_t> numbers,
                                std::string_view ofSystem,
                                const std::function<void(std::size_t done)>& done) {
  store::Acknowledgement result;
  try {
    result = store::AcknowledgeTraps(services.Connection, numbers, done);
    services.Changes.Acknowledged(result, ofSystem);
  } catch (const store::DatabaseError& error) {
    result.Failure = error;
  }
  return result;
}

// As far as can be seen: without an answer nothing is claimed of it.
bool HasLeftStore(store::Connection& connection, std::int32_t number) {
  try {
    return !connection
                .OpenRecordset(fmt::format("SELECT SequenceNumber FROM {}", store::kEventTrap),
                               fmt::format("SequenceNumber = {}", number))
                .Next();
  } catch (const store::DatabaseError&) {
    return false;
  }
}

}  // namespace

bool AcknowledgeNumbers(TrapsServices& services, std::span<const std::int32_t> numbers,
                        std::string_view ofSystem, const std::function<void(std::size_t done)>& done) {
  std::optional<store::DatabaseError> failure;
  bool some = false;
  {
    const BusyScope busy(services.Desk.Busy, Translated("Acknowledging Trap(s)"));
    const store::Acknowledgement result = CarryOut(services, numbers, ofSystem, done);
    failure = result.Failure;
    some = !result.Leaving.empty();
  }
  if (failure) {
    store::ShowFailure(services.Desk.Prompt,
                       some ? Translated("Some of the traps were not acknowledged.")
                            : Translated("The traps were not acknowledged."),
                       *failure, some ? store::Attempt::OneOfSeveral : store::Attempt::Changing);
  }
  return !failure;
}

AcknowledgeOutcome AcknowledgeOne(TrapsServices& services, std::int32_t number, std::string_view ofSystem) {
  const store::Acknowledgement done = CarryOut(services, std::span(&number, 1), ofSystem, [](std::size_t) {});
  if (done.Failure) {
    store::ShowFailure(services.Desk.Prompt, Translated("The trap was not acknowledged."), *done.Failure,
                       store::Attempt::Changing);
    return AcknowledgeOutcome::Refused;
  }
  const bool changed = !done.Changed.Numbers.empty();
  return !changed && HasLeftStore(services.Connection, number) ? AcknowledgeOutcome::Gone
                                                               : AcknowledgeOutcome::Done;
}

}  // namespace korvane::traps
