#include "traps/TrapsModel.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "fmt/format.h"
#include "intake/Systems.h"
#include "systems/SystemAcknowledge.h"
#include "traps/Acknowledging.h"

namespace korvane::traps {

TrapsModel::TrapsModel(TrapsServices& services, intake::ViewWindows& windows, WindowKind kind,
                       params::WindowParameters parameters, const intake::System* system)
    : services_(services),
      windows_(windows),
      kind_(kind),
      matcher_(std::move(parameters), services.Categories),
      system_(system) {
  if ((kind_ == WindowKind::PerSystem) != (system_ != nullptr)) {
    throw std::invalid_argument("a per-system window, and no other, has a system");
  }
}

TrapsModel::~TrapsModel() {
  services_.Stored.Forget(*this);
}

std::size_t TrapsModel::Limit() const {
  return static_cast<std::size_t>(std::max(services_.Desk.State.gMaxViewTraps, 1));
}

// Many times what traps take, so that only a flood of the longest loses rows before the limit of rows is
// reached.
std::size_t TrapsModel::MostBytes() const {
  constexpr std::size_t kBytesOfAny = std::size_t{16} << 20U;
  constexpr std::size_t kBytesOfEach = 4096;
  return kBytesOfAny + Limit() * kBytesOfEach;
}

bool TrapsModel::Takes(const store::IncomingTrap& trap) const {
  if (kind_ == WindowKind::PerSystem) {
    return system_->Sends(trap.Source);
  }
  return matcher_.TrapMatchesWindow(trap);
}

bool TrapsModel::IsKnown(std::int32_t sequenceNumber) const {
  // Numbers nearly always rise, so this is nearly always answered here.
  if (sequenceNumber > highestSequence_) {
    return false;
  }
  return loaded_.Contains(sequenceNumber) || rows_.Find(sequenceNumber).has_value() ||
         pending_.Find(sequenceNumber).has_value();
}

void TrapsModel::Hold(traplist::TrapRows& rows, const store::IncomingTrap& trap) const {
  rows.Append(trap);
  // In a storm most of a tick's traps would be dropped again at its end.
  while (rows.Count() > Limit() || (rows.BindingBytes() > MostBytes() && rows.Count() > 1)) {
    rows.DropFront(1);
  }
}

void TrapsModel::PublicAddTraps(const store::IncomingTrap& trap) {
  if (!Takes(trap)) {
    anyOthers_ = true;
    return;
  }
  if (kind_ == WindowKind::NoLiveTraps || IsKnown(trap.SequenceNumber) ||
      services_.Bounds.Own.Contains(trap.SequenceNumber)) {
    return;
  }
  highestSequence_ = std::max(highestSequence_, trap.SequenceNumber);
  Hold(pending_, trap);
}

void TrapsModel::UpdateStatusBar() {
  InsertPending();
}

void TrapsModel::InsertPending() {
  const std::size_t limit = Limit();
  if (pending_.Count() > limit) {
    pending_.DropFront(pending_.Count() - limit);
  }
  const std::size_t total = rows_.Count() + pending_.Count();
  std::size_t dropped = std::min(total > limit ? total - limit : 0, rows_.Count());
  std::size_t bytes = rows_.BindingBytes() + pending_.BindingBytes();
  for (std::size_t row = 0; row < rows_.Count() && (row < dropped || bytes > MostBytes()); ++row) {
    bytes -= rows_.VarBindsAt(row).size();
    dropped = std::max(dropped, row + 1);
  }
  if (dropped == 0 && pending_.Empty()) {
    return;
  }
  listener_->BatchBegins();
  if (dropped > 0) {
    std::vector<std::uint32_t> oldest(dropped);
    std::iota(oldest.begin(), oldest.end(), 0U);
    listener_->RowsAboutToBeRemoved(oldest);
    rows_.DropFront(dropped);
    listener_->RowsRemoved(oldest);
  }
  if (!pending_.Empty()) {
    listener_->RowsAboutToBeAppended(pending_.Count());
    if (rows_.Empty()) {
      rows_ = std::move(pending_);
    } else {
      for (std::size_t i = 0; i < pending_.Count(); ++i) {
        rows_.Append(pending_.At(i));
      }
    }
    pending_ = traplist::TrapRows();
    listener_->RowsAppended();
  }
  listener_->BatchEnds();
}

void TrapsModel::ResetRows() {
  listener_->BatchBegins();
  listener_->RowsAboutToBeReset();
  rows_.Clear();
  pending_.Clear();
  loaded_.Clear();
  highestSequence_ = std::numeric_limits<std::int32_t>::min();
  listener_->RowsReset();
  listener_->BatchEnds();
}

void TrapsModel::StoreReplaced() {
  failure_ = Translated("the trap store is in another state");
  stopped_ = LoadStop::None;
  anyHidden_ = anyOthers_ = false;
  ResetRows();
}

void TrapsModel::Reset() {
  intake::StoredTrapsTaker* const self = this;
  services_.Stored.Load(std::span(&self, 1));
}

void TrapsModel::AwaitFirstLoad() {
  services_.Stored.Await(*this);
}

std::optional<std::vector<std::string>> TrapsModel::OnlySources() const {
  if (kind_ == WindowKind::PerSystem) {
    return system_->FurtherOf == nullptr ? std::optional(system_->Sources) : std::nullopt;
  }
  const std::string& source = Parameters().Source;
  return source.empty() ? std::nullopt : services_.SystemList.SourcesNamed(source);
}

void TrapsModel::LoadBegins() {
  loading_.Clear();
  taken_.clear();
  loadingHidden_ = false;
}

// A per-system window looks at nothing but the source, so most rows need no name.
bool TrapsModel::MayTake(const store::IncomingTrap& trap) const {
  return kind_ != WindowKind::PerSystem || Takes(trap);
}

void TrapsModel::TakeStored(const store::IncomingTrap& trap) {
  if (Takes(trap)) {
    taken_.push_back(trap.SequenceNumber);
    Hold(loading_, trap);
  }
}

void TrapsModel::TakeHidden(const store::IncomingTrap& trap) {
  loadingHidden_ = loadingHidden_ || Takes(trap);
}

void TrapsModel::LoadEnds(const intake::LoadOutcome& outcome) {
  failure_ = outcome.Failure;
  stopped_ = !outcome.Stopped ? LoadStop::None : rows_.Empty() ? LoadStop::Part : LoadStop::Kept;
  traplist::TrapRows read = std::exchange(loading_, {});
  std::vector<std::int32_t> taken = std::exchange(taken_, {});
  if (outcome.Whole() || rows_.Empty()) {
    ResetRows();
    anyHidden_ = loadingHidden_;
    anyOthers_ = outcome.Unacknowledged > std::ssize(taken);
    if (!taken.empty()) {
      highestSequence_ = *std::max_element(taken.begin(), taken.end());
    }
    loaded_.Assign(std::move(taken));
    pending_ = std::move(read);
  }
  listener_->BatchBegins();  // for what the window says beside its rows
  InsertPending();
  listener_->BatchEnds();
}

traplist::WhyEmpty TrapsModel::Emptiness() const {
  using traplist::WhyEmpty;
  if (!failure_.empty() || stopped_ != LoadStop::None) {
    return WhyEmpty::NotLoaded;
  }
  if (anyHidden_) {
    return WhyEmpty::Hidden;
  }
  if (anyOthers_) {
    return WhyEmpty::NotSelected;
  }
  if (services_.Desk.State.gLastTrapTime == 0) {
    return WhyEmpty::NoneEver;
  }
  const bool onlyNew = services_.Bounds.Option == intake::ViewOption::ShowOnlyNewTraps;
  return onlyNew ? WhyEmpty::NoNewTraps : WhyEmpty::NoTraps;
}

std::string TrapsModel::MaximumTrapsText(NumberText number) const {
  return Phrase("Maximum Traps Shown: {} ", number(services_.Desk.State.gMaxViewTraps));
}

std::string TrapsModel::SelectedTrapText(std::size_t position, NumberText number) {
  return Phrase("Selected Trap: {} ", number(static_cast<std::int64_t>(position)));
}

std::string TrapsModel::TotalTrapsText(NumberText number) const {
  return Phrase("Total Traps In Window: {} ", number(static_cast<std::int64_t>(rows_.Count())));
}

void TrapsModel::AcknowledgeSelected(std::span<const std::uint32_t> rows) {
  if (rows_.Empty()) {
    services_.Desk.Prompt.Show(Translated("There are no traps that can be acknowledged / cleared."),
                               PromptIcon::Information);
    return;
  }
  if (rows.empty()) {
    return;
  }
  std::vector<store::TrapKey> selected;
  selected.reserve(rows.size());
  for (const std::uint32_t row : rows) {
    selected.push_back({rows_.SequenceNumberAt(row), rows_.EventTimeAt(row)});
  }
  AcknowledgeRows(services_, selected, std::string(SystemOf(rows)));
}

// The one system whose traps they are, by its name; empty when there are several.
std::string_view TrapsModel::SystemOf(std::span<const std::uint32_t> rows) const {
  const std::string_view source = rows_.SourceAt(rows.front());
  const bool one =
      std::all_of(rows.begin(), rows.end(), [&](std::uint32_t row) { return rows_.SourceAt(row) == source; });
  return one ? rows_.At(rows.front()).SystemName : std::string_view();
}

void TrapsModel::RemoveRows(std::span<const std::uint32_t> rows) {
  if (rows.empty()) {
    return;
  }
  listener_->BatchBegins();
  listener_->RowsAboutToBeRemoved(rows);
  rows_.Remove(rows);
  listener_->RowsRemoved(rows);
  listener_->BatchEnds();
}

void TrapsModel::RemoveAcknowledged(std::span<const store::TrapSelection> traps) {
  std::vector<std::int32_t> gone;
  const auto leaving = [&](const traplist::TrapRows& list) {
    std::vector<std::uint32_t> rows;
    for (std::size_t row = 0; row < list.Count(); ++row) {
      const bool leaves = std::any_of(traps.begin(), traps.end(), [&](const store::TrapSelection& some) {
        return some.Contains(list.SequenceNumberAt(row), list.SourceAt(row), list.EventTimeAt(row));
      });
      if (leaves) {
        rows.push_back(static_cast<std::uint32_t>(row));
        gone.push_back(list.SequenceNumberAt(row));
      }
    }
    return rows;
  };
  pending_.Remove(leaving(pending_));
  RemoveRows(leaving(rows_));
  loaded_.Erase(std::move(gone));  // they may become new again
}

std::string TrapsModel::SystemSource() const {
  return system_->Sources.empty() ? system_->Name : system_->Sources.front();
}

bool TrapsModel::AsksOnClosing() const {
  return kind_ == WindowKind::PerSystem && !services_.Desk.State.gShuttingDown;
}

bool TrapsModel::MayClose() {
  if (!AsksOnClosing()) {
    return true;
  }
  // The newest trap seen stays, as do all that were stored after it.
  const auto beforeTime = [this] { return services_.Desk.State.gLastTrapTime; };
  const auto outcome = services_.Acknowledge.Ask(*system_, SystemSource(), beforeTime);
  return outcome != systems::SystemAcknowledgement::Refused &&
         outcome != systems::SystemAcknowledgement::Stopped;
}

void TrapsModel::Close() {
  const BusyScope busy(services_.Desk.Busy, Translated("Closing Window"));
  ResetRows();
}

void TrapsModel::NotesSaved(std::int32_t sequenceNumber, std::string_view notes) {
  if (const auto row = pending_.Find(sequenceNumber)) {
    pending_.SetNotes(*row, notes);
  }
  const auto row = rows_.Find(sequenceNumber);
  if (!row) {
    return;
  }
  rows_.SetNotes(*row, notes);
  listener_->BatchBegins();
  listener_->RowsChanged(*row, *row);
  listener_->BatchEnds();
}

}  // namespace korvane::traps
