#include "traps/TrapDetailForm.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "common/Translation.h"
#include "store/Codes.h"
#include "store/EventTime.h"
#include "store/FailureWords.h"
#include "store/NotesWrite.h"

namespace korvane::traps {

namespace {

constexpr std::string_view kNotAcknowledged = Translatable("No");
constexpr std::string_view kByNobodyKnown = Translatable("Yes");
constexpr std::string_view kNotStored = Translatable("No longer in the store");
constexpr std::string_view kBetweenTexts = "----------";

// The first line, without its end; the text goes on behind it.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

// What of the text stands behind the lines with which both begin: mostly those that both writers have read.
std::string_view BehindCommonLines(std::string_view text, std::string_view other) {
  while (!text.empty() && !other.empty()) {
    std::string_view rest = text;
    if (TakeLine(rest) != TakeLine(other)) {
      break;
    }
    text = rest;
  }
  return text;
}

std::string AcknowledgedText(const std::optional<store::ChangeStamp>& by, std::int32_t timeZoneBias) {
  const std::string known = by ? store::WhoAndWhenText(*by, timeZoneBias) : std::string();
  return known.empty() ? Translated(kByNobodyKnown) : Phrase("By {}", known);
}

std::string AcknowledgedText(const traplist::ShownTraps& list, const store::IncomingTrap& trap) {
  return trap.EventAck == 0 ? Translated(kNotAcknowledged)
                            : AcknowledgedText(list.AcknowledgedBy(trap), list.TimeZoneBias);
}

}  // namespace

std::string BothNotes(std::string_view theirs, std::string_view mine) {
  if (theirs.empty()) {
    return std::string(mine);
  }
  const std::string_view added = BehindCommonLines(mine, theirs);
  if (added.empty()) {
    return std::string(theirs);
  }
  return fmt::format("{}{}{}\n{}", theirs, theirs.ends_with('\n') ? "" : "\n", kBetweenTexts, added);
}

TrapDetail DetailOf(const traplist::ShownTraps& list, std::size_t position) {
  const store::IncomingTrap trap = list.At(position);
  return {.SequenceNumber = trap.SequenceNumber,
          .EventTime = trap.EventTime,
          .SeverityCode = trap.Severity,
          .StoredSource = std::string(trap.Source),
          .SystemName = std::string(trap.SystemName),
          .DateTime = store::FormatDateTime(store::EventTimeToLocal(trap.EventTime, list.TimeZoneBias)),
          .Source = std::string(list.SourceText(trap)),
          .IPAddress = std::string(trap.SystemAddress),
          .Severity = Translated(store::SeverityName(trap.Severity)),
          .Enterprise = fmt::format("{} ({})", trap.EnterpriseName(), trap.EnterpriseOid),
          .Generic = std::string(store::GenericTrapName(trap.GenericTrap)),
          .TrapID = fmt::format("{} ({})", trap.TrapName(), trap.SpecificTrap),
          .IsAcknowledged = trap.EventAck != 0,
          .IsGone = false,
          .Acknowledged = AcknowledgedText(list, trap),
          .VarBinds = std::string(trap.VarBinds),
          .MoreInformation = std::string(trap.FurtherDescription()),
          .StoredNotes = std::string(trap.EventNotes)};
}

TrapDetailForm::TrapDetailForm(store::Connection& connection, intake::ViewWindows& windows, Prompts& prompts,
                               Unedited unedited, AskChoice askChoice, AcknowledgeTrap acknowledge)
    : connection_(connection),
      windows_(windows),
      prompts_(prompts),
      unedited_(std::move(unedited)),
      askChoice_(std::move(askChoice)),
      acknowledge_(std::move(acknowledge)) {}

void TrapDetailForm::Show(const traplist::ShownTraps& list, std::size_t position) {
  shown_ = {.Trap = DetailOf(list, position), .Place = FollowedTrap(list, position)};
  replaced_ = replaced_ && !acknowledge_;  // a report goes on with what it has
  if (replaced_) {
    StoreReplaced();
  }
  const auto draft = drafts_.find(shown_.Trap.SequenceNumber);
  if (draft != drafts_.end()) {
    // The list may show others since: what was typed was typed over these.
    shown_.Trap.StoredNotes = draft->second.Of.Trap.StoredNotes;
  }
}

std::string_view TrapDetailForm::Notes() const {
  const auto draft = drafts_.find(shown_.Trap.SequenceNumber);
  return draft != drafts_.end() ? draft->second.Text : shown_.Trap.StoredNotes;
}

void TrapDetailForm::StoreReplaced() {
  replaced_ = true;
  lostNotes_ = lostNotes_ || !drafts_.empty();
  if (!inOk_) {  // else they go there
    drafts_.clear();
    news_.clear();
  }
  shown_.Trap.IsGone = true;
  shown_.Trap.Acknowledged = Translated(kNotStored);
  if (acknowledge_) {
    shown_.Place.Lose();
  }
}

void TrapDetailForm::EditNotes(std::string text) {
  if (inOk_) {
    return;
  }
  if (replaced_) {
    lostNotes_ = lostNotes_ || text != unedited_(shown_.Trap.StoredNotes);
    return;
  }
  const std::int32_t number = shown_.Trap.SequenceNumber;
  if (text == unedited_(shown_.Trap.StoredNotes)) {
    drafts_.erase(number);
  } else {
    drafts_.insert_or_assign(number, Draft{.Of = shown_, .Text = std::move(text)});
  }
}

bool TrapDetailForm::NotesChanged(std::int32_t sequenceNumber, std::string_view notes,
                                  const store::ChangeStamp& stamp) {
  if (replaced_) {
    return false;
  }
  const auto draft = drafts_.find(sequenceNumber);
  const bool edited = draft != drafts_.end();
  // Of a trap that is neither shown nor edited its row tells when it is shown.
  if (edited || sequenceNumber == shown_.Trap.SequenceNumber) {
    if (notes != (edited ? draft->second.Of : shown_).Trap.StoredNotes) {
      news_.insert_or_assign(sequenceNumber, News{.Notes = std::string(notes), .Stamp = stamp});
    } else if (edited) {
      news_.erase(sequenceNumber);  // they are again those that were typed over
    }
  }
  return TakeNews();
}

bool TrapDetailForm::TakeNews() {
  const auto news = news_.find(shown_.Trap.SequenceNumber);
  if (news == news_.end() || drafts_.contains(shown_.Trap.SequenceNumber) ||
      shown_.Trap.StoredNotes == news->second.Notes) {
    return false;
  }
  shown_.Trap.StoredNotes = news->second.Notes;
  return true;
}

std::string TrapDetailForm::NotesNews(std::int32_t timeZoneBias) const {
  if (replaced_) {
    return Translated(
        "The trap store is in another state now, and this trap is gone. Notes on it can't be saved.");
  }
  const auto news = news_.find(shown_.Trap.SequenceNumber);
  if (news == news_.end()) {
    return {};
  }
  const std::string known = store::WhoAndWhenText(news->second.Stamp, timeZoneBias);
  const std::string by = known.empty() ? Translated("meanwhile") : Phrase("by {}", known);
  return drafts_.contains(shown_.Trap.SequenceNumber)
             ? Phrase("The stored notes were changed {}. OK shows both texts.", by)
             : Phrase("Changed {}.", by);
}

bool TrapDetailForm::ApplyChange(const store::Change& change, std::int32_t timeZoneBias) {
  using store::ChangeKind;
  TrapDetail& trap = shown_.Trap;
  if (replaced_) {
    return false;
  }
  const bool acknowledged = change.Kind == ChangeKind::Acknowledged;
  const bool known =
      acknowledged || change.Kind == ChangeKind::Unacknowledged || change.Kind == ChangeKind::Purged;
  if (!known || !change.Traps.Contains(trap.SequenceNumber, trap.StoredSource, trap.EventTime)) {
    return false;
  }
  if (change.Kind == ChangeKind::Purged) {
    trap.IsGone = true;
    trap.Acknowledged = Translated(kNotStored);
    return true;
  }
  // That it is acknowledged may be known before it is known who did it.
  if (trap.IsAcknowledged == acknowledged && trap.Acknowledged != Translated(kByNobodyKnown)) {
    return false;
  }
  trap.IsAcknowledged = acknowledged;
  trap.Acknowledged =
      acknowledged ? AcknowledgedText(store::StampOf(change), timeZoneBias) : Translated(kNotAcknowledged);
  return true;
}

std::optional<NotesChoice> TrapDetailForm::Choose(const Draft& draft, const std::string& stored) {
  if (!asking_) {
    return std::nullopt;
  }
  const std::int32_t number = draft.Of.Trap.SequenceNumber;
  const auto told = news_.find(number);
  if (told == news_.end() || told->second.Notes != stored) {
    news_.insert_or_assign(number, News{.Notes = stored, .Stamp = {}});
  }
  const store::ChangeStamp stamp = news_[number].Stamp;
  const auto choice =
      askChoice_({.Trap = draft.Of.Trap, .Theirs = stored, .Mine = draft.Text, .TheirStamp = stamp});
  asking_ = choice.has_value();
  return choice;
}

TrapDetailForm::Saved TrapDetailForm::Save(Draft& draft, std::optional<store::DatabaseError>& refusal) {
  const store::TrapKey trap = draft.Of.Trap.Key();
  std::string seen = draft.Of.Trap.StoredNotes;
  std::string text = draft.Text;
  try {
    while (true) {
      if (replaced_) {  // while the operator was asked
        return Saved::Yes;
      }
      store::NotesResult result = store::WriteNotes(connection_, trap, seen, text);
      if (result.Outcome != store::NotesOutcome::ChangedMeanwhile) {
        if (result.Outcome == store::NotesOutcome::Written) {
          windows_.NotesSaved(trap.Number, text);
        }
        draft.Of.Trap.StoredNotes = std::move(text);  // also of a trap that is gone: what was typed stays
        return Saved::Yes;
      }
      seen = std::move(result.Stored);
      windows_.NotesSaved(trap.Number, seen);
      const std::optional<NotesChoice> choice = Choose(draft, seen);
      if (!choice) {
        return Saved::Undecided;
      }
      // Theirs are written as well, over themselves: that shows whether they still are what is stored.
      text = *choice == NotesChoice::Mine     ? draft.Text
             : *choice == NotesChoice::Theirs ? seen
                                              : BothNotes(seen, draft.Text);
    }
  } catch (const store::DatabaseError& error) {
    refusal = error;
    return Saved::Refused;
  }
}

bool TrapDetailForm::Ok(const traplist::ShownTraps& list) {
  const bool saved = SaveDrafts(drafts_.begin(), drafts_.end(), list);
  if (lostNotes_ && !std::exchange(lossTold_, true)) {
    prompts_.Show(Translated("Notes were not saved, since their traps are gone: the trap store is in another "
                             "state now. Copy what you need of them; the next OK closes the dialog."),
                  PromptIcon::Exclamation);
    return false;
  }
  return saved;
}

bool TrapDetailForm::SaveDrafts(Drafts::iterator at, Drafts::iterator end, const traplist::ShownTraps& list) {
  inOk_ = asking_ = true;
  std::optional<store::DatabaseError> refusal;
  std::optional<Viewed> left;
  // One trap's notes that are not written must not keep the others from it.
  while (at != end) {
    std::optional<store::DatabaseError> refused;
    const Saved saved = Save(at->second, refused);
    if (saved == Saved::Yes) {
      if (at->first == shown_.Trap.SequenceNumber) {
        shown_.Trap.StoredNotes = at->second.Of.Trap.StoredNotes;
      }
      news_.erase(at->first);
      at = drafts_.erase(at);
      continue;
    }
    if (!left || (saved == Saved::Refused && !refusal)) {
      left = at->second.Of;
      refusal = std::move(refused);
    }
    ++at;
  }
  inOk_ = false;
  if (!left) {
    return true;
  }
  if (left->Trap.SequenceNumber != shown_.Trap.SequenceNumber) {
    shown_ = *std::move(left);
  }
  shown_.Place.ListChanged(list);
  if (refusal) {
    store::ShowFailure(prompts_, Translated("The notes were not saved."), *refusal,
                       store::Attempt::OneOfSeveral);
  }
  return false;
}

bool TrapDetailForm::Acknowledge(const traplist::ShownTraps& list) {
  if (!MayAcknowledge()) {
    return false;
  }
  const auto [draft, behind] = drafts_.equal_range(shown_.Trap.SequenceNumber);
  if (!SaveDrafts(draft, behind, list)) {
    return false;
  }
  TrapDetail& trap = shown_.Trap;
  if (!MayAcknowledge()) {
    return trap.IsAcknowledged;  // others did so while the operator was asked
  }
  const AcknowledgeOutcome outcome = acknowledge_(trap.Key(), trap.SystemName);
  if (outcome == AcknowledgeOutcome::Gone) {
    trap.IsGone = true;
    trap.Acknowledged = Translated(kNotStored);
  } else if (outcome == AcknowledgeOutcome::Done && !trap.IsAcknowledged) {
    // Somebody else was first; who that was comes a moment later.
    trap.IsAcknowledged = true;
    trap.Acknowledged = Translated(kByNobodyKnown);
  }
  return outcome == AcknowledgeOutcome::Done;
}

}  // namespace korvane::traps
