#include "systems/SystemAcknowledge.h"

#include <fmt/format.h>

#include <string>
#include <vector>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/Acknowledge.h"
#include "store/FailureWords.h"

namespace korvane::systems {

std::optional<store::DatabaseError> SystemAcknowledge::Acknowledge(const intake::System& system,
                                                                   std::int32_t beforeTime) {
  try {
    const std::vector<std::string> sources = intake::Systems::SourcesOf(system, connection_);
    const store::Acknowledgement done = store::AcknowledgeSources(connection_, sources, beforeTime);
    changes_.Acknowledged(done, system.Name);
    return std::nullopt;
  } catch (const store::DatabaseError& error) {
    return error;
  }
}

SystemAcknowledgement SystemAcknowledge::Ask(const intake::System& system, std::string_view shownAs,
                                             const std::function<std::int32_t()>& beforeTime) {
  const std::string question = Phrase("Do you want to acknowledge all traps for '{}'?", VisibleText(shownAs));
  if (desk_.Prompt.Ask(question, PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return SystemAcknowledgement::Declined;
  }
  std::optional<store::DatabaseError> failure;
  {
    const BusyScope busy(desk_.Busy, Translated("Acknowledging Trap(s)"));
    failure = Acknowledge(system, beforeTime());
  }
  if (!failure) {
    return SystemAcknowledgement::Done;
  }
  store::ShowFailure(desk_.Prompt, Translated("The traps of this system were not acknowledged."), *failure,
                     store::Attempt::Changing);
  return SystemAcknowledgement::Refused;
}

}  // namespace korvane::systems
