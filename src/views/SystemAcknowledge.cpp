#include "views/SystemAcknowledge.h"

#include <fmt/format.h>

#include <optional>
#include <string>
#include <vector>

#include "common/Text.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "views/Systems.h"

namespace korvane::views {
namespace {

// The database's text when it refused.
std::optional<std::string> Acknowledge(store::Connection& connection, const System& system,
                                       std::int32_t beforeTime) {
  const std::vector<std::string> sources =
      system.Sources.empty() ? std::vector<std::string>{system.Name} : system.Sources;
  try {
    store::Transaction transaction(connection);
    for (const std::string& source : sources) {
      connection.Execute(store::AcknowledgeSourceStatement(source, beforeTime));
    }
    transaction.Commit();
  } catch (const store::DatabaseError& error) {
    return error.what();
  }
  return std::nullopt;
}

}  // namespace

SystemAcknowledgement AskAndAcknowledgeSystem(ViewServices& services, ViewWindows& windows,
                                              const System& system, std::string_view shownAs,
                                              const std::function<std::int32_t()>& beforeTime) {
  const std::string question =
      fmt::format("Do you want to acknowledge all traps for '{}'?", VisibleText(shownAs));
  if (services.Prompt.Ask(question, PromptButtons::YesNo, PromptIcon::Question) != PromptAnswer::Yes) {
    return SystemAcknowledgement::Declined;
  }
  std::optional<std::string> failure;
  {
    const BusyScope busy(services.Busy, "Acknowledging Trap(s)");
    const std::int32_t bound = beforeTime();
    failure = Acknowledge(services.Connection, system, bound);
    if (!failure) {
      windows.SystemAcknowledged(system, bound);
      return SystemAcknowledgement::Done;
    }
  }
  services.Prompt.Show(*failure, PromptIcon::Critical);
  return SystemAcknowledgement::Refused;
}

}  // namespace korvane::views
