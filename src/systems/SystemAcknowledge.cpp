#include "systems/SystemAcknowledge.h"

#include <fmt/format.h>

#include <optional>
#include <string>
#include <vector>

#include "common/Text.h"
#include "intake/Systems.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::systems {
namespace {

// The traps of the source that were acknowledged although nobody has been handed them yet: they are stored,
// and still in the receiver library's list.  All that was acknowledged before may be very many, so it is
// asked for by ranges that an index holds.
void ReadUndelivered(store::Connection& connection, std::string_view source, std::int32_t beforeTime,
                     const intake::LoadBounds& bounds, std::vector<std::int32_t>& numbers) {
  const bool sinceStart = bounds.Settled && bounds.HighestDelivered <= bounds.StartNumber;
  std::vector<std::string> ranges = {
      fmt::format("SequenceNumber > {}", sinceStart ? bounds.StartNumber : bounds.HighestDelivered)};
  if (sinceStart) {
    ranges.push_back(fmt::format("EventTime >= {}", bounds.StartMark));  // the first that the list brings
  }
  for (const std::string& range : ranges) {
    store::Recordset rows =
        connection.OpenRecordset(fmt::format("SELECT SequenceNumber FROM {}", store::kEventTrap),
                                 fmt::format("EventAck = 1 AND Source = {} AND EventTime < {} AND {}",
                                             store::Quoted(source), beforeTime, range));
    while (rows.Next()) {
      numbers.push_back(rows.Integer("SequenceNumber"));
    }
  }
}

}  // namespace

std::optional<std::string> SystemAcknowledge::Acknowledge(const intake::System& system,
                                                          std::int32_t beforeTime) {
  std::vector<std::int32_t> undelivered;
  try {
    const std::vector<std::string> sources = intake::Systems::SourcesOf(system, connection_);
    store::Transaction transaction(connection_);
    for (const std::string& source : sources) {
      connection_.Execute(store::AcknowledgeSourceStatement(source, beforeTime));
      ReadUndelivered(connection_, source, beforeTime, bounds_, undelivered);
    }
    transaction.Commit();
  } catch (const store::DatabaseError& error) {
    return error.what();
  }
  for (const std::int32_t number : undelivered) {
    bounds_.Acknowledged.Insert(number);
  }
  return std::nullopt;
}

SystemAcknowledgement SystemAcknowledge::Ask(intake::ViewWindows& windows, const intake::System& system,
                                             std::string_view shownAs,
                                             const std::function<std::int32_t()>& beforeTime) {
  const std::string question =
      fmt::format("Do you want to acknowledge all traps for '{}'?", VisibleText(shownAs));
  if (desk_.Prompt.Ask(question, PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return SystemAcknowledgement::Declined;
  }
  std::optional<std::string> failure;
  {
    const BusyScope busy(desk_.Busy, "Acknowledging Trap(s)");
    const std::int32_t bound = beforeTime();
    failure = Acknowledge(system, bound);
    if (!failure) {
      windows.SystemAcknowledged(system, bound);
      return SystemAcknowledgement::Done;
    }
  }
  desk_.Prompt.Show(*failure, PromptIcon::Critical);
  return SystemAcknowledgement::Refused;
}

}  // namespace korvane::systems
