#include "views/TrapDetailForm.h"

#include <fmt/format.h>

#include <utility>

#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/EventTime.h"
#include "store/Tables.h"

namespace korvane::views {

TrapDetail DetailOf(const ShownTraps& list, std::size_t position) {
  const store::IncomingTrap trap = list.At(position);
  return {.SequenceNumber = trap.SequenceNumber,
          .SeverityCode = trap.Severity,
          .DateTime = store::FormatDateTime(store::EventTimeToLocal(trap.EventTime, list.TimeZoneBias)),
          .Source = std::string(list.SourceText(trap)),
          .IPAddress = std::string(trap.SystemAddress),
          .Severity = std::string(store::SeverityName(trap.Severity)),
          .Enterprise = fmt::format("{} ({})", trap.EnterpriseName(), trap.EnterpriseOid),
          .Generic = std::string(store::GenericTrapName(trap.GenericTrap)),
          .TrapID = fmt::format("{} ({})", trap.TrapName(), trap.SpecificTrap),
          .VarBinds = std::string(trap.VarBinds),
          .MoreInformation = std::string(trap.FurtherDescription()),
          .StoredNotes = std::string(trap.EventNotes)};
}

TrapDetailForm::TrapDetailForm(store::Connection& connection, ViewWindows& windows, Prompts& prompts,
                               Unedited unedited)
    : connection_(connection), windows_(windows), prompts_(prompts), unedited_(std::move(unedited)) {}

void TrapDetailForm::Show(const ShownTraps& list, std::size_t position) {
  shown_ = {.Trap = DetailOf(list, position), .Place = FollowedTrap(list, position)};
}

std::string_view TrapDetailForm::Notes() const {
  const auto draft = drafts_.find(shown_.Trap.SequenceNumber);
  return draft != drafts_.end() ? draft->second.Text : shown_.Trap.StoredNotes;
}

void TrapDetailForm::EditNotes(std::string text) {
  const std::int32_t number = shown_.Trap.SequenceNumber;
  if (text == unedited_(shown_.Trap.StoredNotes)) {
    drafts_.erase(number);
  } else {
    drafts_.insert_or_assign(number, Draft{.Of = shown_, .Text = std::move(text)});
  }
}

void TrapDetailForm::Save(std::int32_t sequenceNumber, const std::string& notes) {
  store::Recordset rows =
      connection_.OpenRecordset(store::kEventTrap, fmt::format("SequenceNumber = {}", sequenceNumber));
  if (!rows.Next()) {
    return;
  }
  rows.Set("EventNotes", notes);
  if (rows.Update() > 0) {
    windows_.NotesSaved(sequenceNumber, notes);
  }
}

bool TrapDetailForm::Ok(const ShownTraps& list) {
  std::string failure;
  // One trap's notes that the store refuses must not keep the others from it.
  for (auto at = drafts_.begin(); at != drafts_.end();) {
    try {
      Save(at->first, at->second.Text);
      at = drafts_.erase(at);
    } catch (const store::DatabaseError& error) {
      if (failure.empty()) {
        failure = error.what();
      }
      ++at;
    }
  }
  if (drafts_.empty()) {
    return true;
  }
  shown_ = drafts_.begin()->second.Of;
  shown_.Place.ListChanged(list);
  prompts_.Show(failure, PromptIcon::Critical);
  return false;
}

}  // namespace korvane::views
