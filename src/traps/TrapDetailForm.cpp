#include "traps/TrapDetailForm.h"

#include <fmt/format.h>

#include <utility>

#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/EventTime.h"
#include "store/NotesWrite.h"

namespace korvane::traps {

namespace {

constexpr std::string_view kYourText = "---------- your text ----------";

std::string BothTexts(const std::string& stored, const std::string& typed) {
  if (stored.empty() || typed.empty()) {
    return stored + typed;
  }
  return fmt::format("{}{}{}\n{}", stored, stored.ends_with('\n') ? "" : "\n", kYourText, typed);
}

std::string_view ConflictText(std::string_view stored, std::string_view typed) {
  if (stored.empty()) {
    return "The notes on this trap were removed meanwhile. Choose OK again to write yours.";
  }
  if (typed.empty()) {
    return "The notes on this trap were changed meanwhile, so they were not removed. They are shown now.";
  }
  return "The notes on this trap were changed meanwhile. Nothing was written yet: both texts are shown now, "
         "yours below the line. Make one text of them and choose OK again.";
}

}  // namespace

TrapDetail DetailOf(const traplist::ShownTraps& list, std::size_t position) {
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

TrapDetailForm::TrapDetailForm(store::Connection& connection, intake::ViewWindows& windows, Prompts& prompts,
                               Unedited unedited)
    : connection_(connection), windows_(windows), prompts_(prompts), unedited_(std::move(unedited)) {}

void TrapDetailForm::Show(const traplist::ShownTraps& list, std::size_t position) {
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

std::optional<TrapDetailForm::Refusal> TrapDetailForm::Save(std::int32_t sequenceNumber, const Draft& draft) {
  try {
    store::NotesResult result =
        store::WriteNotes(connection_, sequenceNumber, draft.Of.Trap.StoredNotes, draft.Text);
    switch (result.Outcome) {
      case store::NotesOutcome::Written:
        windows_.NotesSaved(sequenceNumber, draft.Text);
        break;
      case store::NotesOutcome::NoSuchTrap:
        break;
      case store::NotesOutcome::ChangedMeanwhile:
        windows_.NotesSaved(sequenceNumber, result.Stored);
        return Refusal{std::string(ConflictText(result.Stored, draft.Text)), PromptIcon::Exclamation,
                       std::move(result.Stored)};
    }
    return std::nullopt;
  } catch (const store::DatabaseError& error) {
    return Refusal{error.what(), PromptIcon::Critical, std::nullopt};
  }
}

bool TrapDetailForm::Ok(const traplist::ShownTraps& list) {
  std::optional<Refusal> first;
  // One trap's notes that are not written must not keep the others from it.
  for (auto at = drafts_.begin(); at != drafts_.end();) {
    auto refusal = Save(at->first, at->second);
    if (!refusal) {
      at = drafts_.erase(at);
      continue;
    }
    if (!first) {
      first = std::move(refusal);
    }
    ++at;
  }
  if (!first) {
    return true;
  }
  // The others are left as they are: nobody would see what became of them.
  Draft& draft = drafts_.begin()->second;
  if (first->Stored) {
    draft.Text = BothTexts(*first->Stored, draft.Text);
    draft.Of.Trap.StoredNotes = *std::move(first->Stored);
  }
  shown_ = draft.Of;
  shown_.Place.ListChanged(list);
  prompts_.Show(first->Text, first->Icon);
  return false;
}

}  // namespace korvane::traps
