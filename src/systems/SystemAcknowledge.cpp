#include "systems/SystemAcknowledge.h"

#include <fmt/format.h>

#include <optional>
#include <string>
#include <vector>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/Acknowledge.h"
#include "store/FailureWords.h"

namespace korvane::systems {
namespace {

// Of more source texts it would take longer to count than anybody waits for a bar: a count alone is shown.
constexpr std::size_t kMostSourcesCounted = 200;

}  // namespace

store::Acknowledgement SystemAcknowledge::Acknowledge(const intake::System& system, std::int32_t beforeTime) {
  store::Acknowledgement result;
  try {
    const std::vector<std::string> sources = intake::Systems::SourcesOf(system, connection_);
    std::optional<std::int64_t> total;
    result = store::AcknowledgeSources(connection_, sources, beforeTime, [&](std::int64_t done) {
      if (!total) {
        total = sources.size() > kMostSourcesCounted
                    ? 0
                    : done + store::CountUnacknowledged(connection_, sources, beforeTime);
      }
      return StepDone(desk_.Busy, done, *total);
    });
    changes_.Acknowledged(result, system.Name);
  } catch (const store::DatabaseError& error) {
    result.Failure = error;
  }
  return result;
}

SystemAcknowledgement SystemAcknowledge::Ask(const intake::System& system, std::string_view shownAs,
                                             const std::function<std::int32_t()>& beforeTime) {
  const std::string question = Phrase("Do you want to acknowledge all traps for '{}'?", VisibleText(shownAs));
  if (desk_.Prompt.Ask(question, PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return SystemAcknowledgement::Declined;
  }
  store::Acknowledgement result;
  {
    const BusyScope busy(desk_.Busy, Translated("Acknowledging Trap(s)"));
    result = Acknowledge(system, beforeTime());
  }
  if (!result.Failure) {
    return result.Stopped ? SystemAcknowledgement::Stopped : SystemAcknowledgement::Done;
  }
  const bool some = !result.Portions.empty();
  store::ShowFailure(desk_.Prompt,
                     some ? Translated("Some of the traps of this system were not acknowledged.")
                          : Translated("The traps of this system were not acknowledged."),
                     *result.Failure, some ? store::Attempt::OneOfSeveral : store::Attempt::Changing);
  return SystemAcknowledgement::Refused;
}

}  // namespace korvane::systems
