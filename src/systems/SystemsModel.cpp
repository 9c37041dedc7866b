#include "systems/SystemsModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::systems {
namespace {

constexpr std::string_view kBusyInitializing = Translatable("Initializing...");
constexpr std::size_t kNamesPerTick = 32;  // a round trip to the library each; more would be felt

constexpr std::int32_t kCritical = 5;
constexpr std::int32_t kWarning = 4;
constexpr std::int32_t kMajor = 3;

// Codes that are none count as Clear, as they are shown.
std::uint32_t SeverityIndex(std::int32_t code) {
  return code >= 0 && code < 6 ? static_cast<std::uint32_t>(code) : 0U;
}

std::int32_t JustAfter(std::int32_t time) {
  return time == std::numeric_limits<std::int32_t>::max() ? time : time + 1;
}

std::int32_t JustBefore(std::int32_t time) {
  return time == std::numeric_limits<std::int32_t>::min() ? time : time - 1;
}

std::int64_t Sum(const std::array<std::int32_t, 6>& counts) {
  return std::accumulate(counts.begin(), counts.end(), std::int64_t{0});
}

// The first column of the first row, NULL (MAX of an empty table) as 0; nothing without a row.
std::optional<std::int32_t> FirstNumber(store::Connection& connection, const std::string& statement) {
  auto rows = connection.OpenRecordset(statement);
  return rows.Next() ? std::optional(rows.Integer(std::size_t{0})) : std::nullopt;
}

std::string LoadStatement(const intake::LoadRange& range) {
  return range.Lower ? store::SystemsLoadStatement(range.Upper, *range.Lower)
                     : store::SystemsLoadStatement(range.Upper);
}

}  // namespace

std::int64_t SystemRow::Total() const {
  return Sum(Counts);
}

SystemsModel::SystemsModel(Desk& desk, store::Connection& connection, intake::Systems& systems,
                           intake::LoadBounds& bounds, intake::StoredTraps& stored,
                           intake::ReceiverLibrary& library, ViewOptionQuestion& question)
    : desk_(desk),
      connection_(connection),
      systems_(systems),
      bounds_(bounds),
      stored_(stored),
      library_(library),
      question_(question) {}

SystemsModel::~SystemsModel() {
  stored_.Forget(*this);
}

std::uint32_t SystemsModel::Counts::RowOf(std::size_t system) const {
  return system < RowOfIndex.size() ? RowOfIndex[system] : kNoRow;
}

std::uint32_t SystemsModel::Counts::AddRow(const SystemRow& row) {
  if (row.SystemIndex >= RowOfIndex.size()) {
    RowOfIndex.resize(row.SystemIndex + 1, kNoRow);
  }
  const auto place = static_cast<std::uint32_t>(Rows.size());
  Rows.push_back(row);
  RowOfIndex[row.SystemIndex] = place;
  return place;
}

void SystemsModel::Load() {
  try {
    const BusyScope busy(desk_.Busy, Translated(kBusyInitializing));
    if (startingOver_) {
      SettleAnew();
      bounds_.Settled = true;
    } else {
      const std::int64_t unacknowledged = LoadAtStart();
      bounds_.Settled = true;
      stored_.FirstLoadEnds(unacknowledged);
    }
    firstLoad_.Succeeded();
    firstFailure_.reset();
  } catch (const store::DatabaseError& error) {
    desk_.DebugLog.TryWriteLog(error.what());
    const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
    firstLoad_.Failed(now);
    firstFailure_ = {.Error = error, .Since = now, .NextTry = firstLoad_.NextTry().value_or(now)};
    if (!startingOver_) {
      stored_.FirstLoadFailed(error);
    }
    return;
  }
  RefreshStatus();
  if (std::exchange(startingOver_, false)) {
    tellReplaced_ = true;
    intake_->LoadAnew();  // before anything counts as news
  }
  started_ = true;
  if (intake_ != nullptr) {
    intake_->StartIntake(desk_.State.gLastTrapTime);
  }
}

// Every number that anybody holds is of another state of the store by now.  The thread that found it has
// ended.
void SystemsModel::StartOver() {
  library_.StopRecvEvents();
  started_ = false;
  startingOver_ = true;
  bounds_.Settled = false;
  Put({});
  intake_->StoreReplaced();
  Load();
}

// The operator is not asked again: the times of the answer hold, whatever the numbers are.
void SystemsModel::SettleAnew() {
  const std::int64_t unacknowledged =
      FirstNumber(connection_, store::CountUnacknowledgedStatement()).value_or(0);
  const intake::LoadBounds old = std::exchange(bounds_, {});
  bounds_.Option = old.Option;
  bounds_.LowerBound = old.LowerBound;
  bounds_.StartMark = old.StartMark;
  bounds_.StartedOver = true;
  bounds_.InitialLoad = false;
  ReadBounds();
  if (bounds_.Option == intake::ViewOption::NotAsked && unacknowledged > desk_.State.gMaxViewTraps) {
    FindLowerBound();
    bounds_.Option =
        intake::ViewOption::LoadRecentTraps;  // not before there is a bound: it may be tried again
  }
  if (bounds_.Option == intake::ViewOption::ShowOnlyNewTraps) {
    bounds_.StartMark = old.StartMark;
  }
}

std::int64_t SystemsModel::LoadAtStart() {
  const std::int32_t limit = desk_.State.gMaxViewTraps;
  const std::int64_t unacknowledged =
      FirstNumber(connection_, store::CountUnacknowledgedStatement()).value_or(0);
  if (unacknowledged > limit) {
    desk_.Busy.ShowFree();  // the busy box would lie over the question
    bounds_.Option = question_.AskViewOption(unacknowledged, limit);
    desk_.Busy.ShowBusy(Translated(kBusyInitializing));
  }
  ReadBounds();
  std::int64_t expected = unacknowledged;
  if (bounds_.Option == intake::ViewOption::LoadRecentTraps) {
    FindLowerBound();
    expected = limit;
  }
  const intake::LoadRange range = intake::RangeOfLoad(bounds_, desk_.State.gLastTrapTime);
  const std::int64_t read = stored_.ReadFirst(LoadStatement(range), expected, *this);
  shown_ = std::exchange(loading_, {});
  return read;
}

void SystemsModel::ReadBounds() {
  bounds_.StartState = intake::StoreAnchor::Of(connection_);
  bounds_.StartChange =
      FirstNumber(connection_, fmt::format("SELECT MAX(Change_ID) FROM {}", store::kChangeLog)).value_or(0);
  bounds_.StartNumber =
      FirstNumber(connection_, fmt::format("SELECT MAX(SequenceNumber) FROM {}", store::kEventTrap))
          .value_or(0);
  bounds_.StartMark = FirstNumber(connection_, store::NewestTimeStatement()).value_or(0);
  desk_.State.gLastTrapTime = bounds_.StartMark;
}

// The oldest trap that finds room brings the whole of its second: a bound between two traps of one second
// can't be told in EventTime.  What is too much the windows cut off, as they do with traps that arrive.
void SystemsModel::FindLowerBound() {
  const std::string statement = fmt::format(
      "SELECT EventTime FROM {} WHERE EventAck = 0 AND EventTime < {} ORDER BY EventTime DESC LIMIT 1 OFFSET "
      "{}",
      store::kEventTrap, bounds_.StartMark, std::max(desk_.State.gMaxViewTraps, 1) - 1);
  const auto oldest = FirstNumber(connection_, statement);
  bounds_.LowerBound = JustBefore(oldest.value_or(std::numeric_limits<std::int32_t>::min()));
}

void SystemsModel::Reset() {
  intake::StoredTrapsTaker* const self = this;
  stored_.Load(std::span(&self, 1));
}

std::int64_t SystemsModel::ExpectedTraps() const {
  return static_cast<std::int64_t>(shown_.Traps.Size());
}

void SystemsModel::LoadBegins() {
  loading_ = {};
}

void SystemsModel::TakeStored(const store::IncomingTrap& trap) {
  Count(loading_, trap, started_);  // what is there at the start is no news
}

void SystemsModel::TakeHidden(const store::IncomingTrap&) {
  loading_.AnyHidden = true;
}

void SystemsModel::LoadEnds(const intake::LoadOutcome& outcome) {
  Counts fresh = std::exchange(loading_, {});
  if (outcome.Stopped) {
    TellStopped();
  }
  if (outcome.Whole()) {
    desk_.Strip.Clear(StripKind::Stopped);
    Replace(std::move(fresh));
    if (std::exchange(tellReplaced_, false)) {
      link_.TellReplaced();
    }
  }
}

// Half of the counts would be wrong ones.
void SystemsModel::TellStopped() {
  desk_.Strip.Set(
      StripKind::Stopped,
      {.Text = Translated("Loading was stopped. The counts of the systems are those of before, and what has "
                          "come since."),
       .Icon = PromptIcon::Exclamation,
       .Details = Translated("Changes of filters, categories and names of traps do not show in them yet."),
       .Button = Translated("Load Again"),
       .Action = [this] { stored_.LoadStopped(); }});
}

// A row whose counts came down to zero by acknowledging stays; one whose traps are all hidden by a filter
// now would never have been there.
void SystemsModel::Replace(Counts fresh) {
  Counts merged;
  for (const SystemRow& old : shown_.Rows) {
    const std::uint32_t place = fresh.RowOf(old.SystemIndex);
    if (place == kNoRow) {
      if (old.Total() == 0) {
        merged.AddRow(old);
      }
      continue;
    }
    SystemRow row = fresh.Rows[place];
    row.News = old.News || row.Total() > old.Total();
    row.NewestTime = std::max(row.NewestTime, old.NewestTime);
    merged.AddRow(row);
  }
  for (const SystemRow& row : fresh.Rows) {
    if (merged.RowOf(row.SystemIndex) == kNoRow) {
      merged.AddRow(row);
    }
  }
  fresh.Rows = std::move(merged.Rows);
  fresh.RowOfIndex = std::move(merged.RowOfIndex);
  Put(std::move(fresh));
}

void SystemsModel::Put(Counts fresh) {
  if (listener_ != nullptr) {
    listener_->RowsAboutToReset();
  }
  shown_ = std::move(fresh);
  rowsTold_ = shown_.Rows.size();
  changedFirst_ = changedEnd_ = 0;
  if (listener_ != nullptr) {
    listener_->RowsReset();
  }
  RefreshStatus();
}

bool SystemsModel::CheckTraps() {
  if (desk_.State.gShuttingDown || intake_ == nullptr) {
    return false;
  }
  if (firstLoad_.TakeDue(desk_.Clock.MonotonicMilliseconds())) {
    Load();
  }
  link_.Look(firstFailure_ ? firstFailure_ : stored_.Failed());
  if (started_ && link_.StoreReplaced()) {
    StartOver();
  }
  if (!started_) {
    return false;
  }
  bounds_.InitialLoad = false;
  const bool more = intake_->CheckTraps();
  if (news_ != nullptr) {
    news_->EndTick();
  }
  if (link_.CameBack()) {
    stored_.LoadAllAgain();
  } else if (!link_.StoreAway()) {  // this thread need not wait for a store that another one finds gone
    stored_.LoadAgain();
  }
  return more;
}

bool SystemsModel::TakeMoreTraps() {
  return started_ && intake_->TakeMore();
}

void SystemsModel::ResolveNames() {
  const std::size_t rows = shown_.Rows.size();
  if (desk_.State.gShuttingDown || rows == 0) {
    return;
  }
  std::size_t asked = 0;
  for (std::size_t seen = 0; seen < rows && asked < kNamesPerTick; ++seen) {
    nextToResolve_ = (nextToResolve_ + 1) % rows;
    const std::size_t index = shown_.Rows[nextToResolve_].SystemIndex;
    const bool nameMissing = systems_.IsKnownByAddressOnly(index);
    const intake::System& system = systems_.At(index);
    if (system.FurtherOf != nullptr || (!nameMissing && !system.Address.empty())) {
      continue;
    }
    ++asked;
    std::string answer;
    if (library_.KVResolveSystemName(system.Name, answer)) {
      TakeAnswer(index, nameMissing, answer);
      MarkChanged(nextToResolve_);
    }
  }
  TellListener();
}

void SystemsModel::TakeAnswer(std::size_t index, bool isName, const std::string& answer) {
  if (isName) {
    systems_.Rename(index, answer);
  } else if (platform::IsAddressText(answer)) {
    systems_.SetAddress(index, answer);
  }
}

std::optional<std::uint32_t> SystemsModel::Count(Counts& counts, const store::IncomingTrap& trap, bool news) {
  const std::size_t system = systems_.SystemOfSource(trap.Source);
  const std::uint32_t severity = SeverityIndex(trap.Severity);
  if (!counts.Traps.Admit({.SequenceNumber = trap.SequenceNumber,
                           .EventTime = trap.EventTime,
                           .System = static_cast<std::uint32_t>(system) & 0x3FF'FFFFU,
                           .Severity = severity & 7U})) {
    return std::nullopt;
  }
  std::uint32_t place = counts.RowOf(system);
  if (place == kNoRow) {
    place = counts.AddRow({.SystemIndex = system, .Counts = {}, .NewestTime = std::nullopt, .News = false});
  }
  SystemRow& row = counts.Rows[place];
  ++row.Counts[severity];
  ++counts.Totals[severity];
  row.NewestTime = std::max(row.NewestTime, std::optional(trap.EventTime));
  row.News = row.News || news;
  return place;
}

void SystemsModel::NoteDelivered(const store::IncomingTrap& trap) {
  intake::NoteDelivered(bounds_, trap.EventTime, trap.SequenceNumber);
  shown_.AnyHidden = shown_.AnyHidden || trap.Filtered;
}

void SystemsModel::UpdateSystemCounts(const store::IncomingTrap& trap, intake::Arrival arrival) {
  if (bounds_.Own.Contains(trap.SequenceNumber)) {
    return;
  }
  const bool live = arrival == intake::Arrival::Live;
  const auto row = Count(shown_, trap, live);
  if (!row) {
    return;
  }
  MarkChanged(*row);
  if (live && trap.Severity == kCritical && news_ != nullptr) {
    news_->Arrived(trap.SystemName, trap.TrapName());
  }
}

void SystemsModel::MarkChanged(std::size_t row) {
  if (row >= rowsTold_) {
    return;  // told as a new row
  }
  if (changedFirst_ >= changedEnd_) {
    changedFirst_ = row;
    changedEnd_ = row + 1;
    return;
  }
  changedFirst_ = std::min(changedFirst_, row);
  changedEnd_ = std::max(changedEnd_, row + 1);
}

void SystemsModel::TellListener() {
  const std::size_t first = std::exchange(changedFirst_, 0);
  const std::size_t end = std::exchange(changedEnd_, 0);
  const std::size_t told = std::exchange(rowsTold_, shown_.Rows.size());
  if (listener_ == nullptr) {
    return;
  }
  if (told < shown_.Rows.size()) {
    listener_->RowsAppended(told, shown_.Rows.size() - told);
  }
  if (first < end) {
    listener_->RowsChanged(first, end - first);
  }
}

void SystemsModel::RefreshStatus() {
  // However they went: acknowledged, deleted, graded anew, or no longer there when all was read again.
  if (news_ != nullptr && shown_.Totals[kCritical] == 0) {
    news_->NothingUnseen();
  }
  TellListener();
  if (listener_ != nullptr) {
    listener_->StatusChanged();
  }
}

void SystemsModel::UpdateColors() {
  for (std::size_t row = 0; row < shown_.Rows.size(); ++row) {
    if (shown_.Rows[row].News && shown_.Rows[row].Total() == 0) {
      shown_.Rows[row].News = false;
      MarkChanged(row);
    }
  }
}

void SystemsModel::OperatorSawRow(std::size_t row) {
  if (row < shown_.Rows.size() && shown_.Rows[row].News) {
    shown_.Rows[row].News = false;
    MarkChanged(row);
    TellListener();
  }
}

void SystemsModel::TakeOut(const CountedTrap& trap) {
  const std::uint32_t row = shown_.RowOf(trap.System);
  --shown_.Rows[row].Counts[trap.Severity];
  --shown_.Totals[trap.Severity];
  MarkChanged(row);
}

void SystemsModel::TakeOut(const store::TrapSelection& traps) {
  constexpr std::int64_t kFoundOneByOne = 1000;
  if (!traps.Source && !traps.BeforeTime && store::CountOf(traps.Numbers) <= kFoundOneByOne) {
    for (const store::NumberRange& range : traps.Numbers) {
      for (std::int64_t number = range.First; number <= range.Last; ++number) {
        if (const CountedTrap* trap = shown_.Traps.Find(static_cast<std::int32_t>(number))) {
          TakeOut(*trap);
          shown_.Traps.Erase(static_cast<std::int32_t>(number));
        }
      }
    }
    return;
  }
  const std::size_t system = traps.Source ? systems_.SystemOfSource(*traps.Source) : intake::Systems::kNone;
  shown_.Traps.EraseIf([&](const CountedTrap& trap) {
    const bool leaves = (!traps.BeforeTime || trap.EventTime < *traps.BeforeTime) &&
                        (!traps.Source || trap.System == system) && traps.HasNumber(trap.SequenceNumber);
    if (leaves) {
      TakeOut(trap);
    }
    return leaves;
  });
}

void SystemsModel::TrapsAcknowledged(std::span<const store::TrapSelection> traps) {
  for (const store::TrapSelection& some : traps) {
    TakeOut(some);
  }
  UpdateColors();
  RefreshStatus();
}

std::size_t SystemsModel::IndexOf(const intake::System& system) const {
  const intake::Systems& list = systems_;
  const std::size_t byName = list.FindSystem(system.Name);
  if (byName != intake::Systems::kNone && &list.At(byName) == &system) {
    return byName;
  }
  for (std::size_t index = 0; index < list.Count(); ++index) {
    if (&list.At(index) == &system) {
      return index;
    }
  }
  return intake::Systems::kNone;
}

const intake::System& SystemsModel::SystemOfRow(std::size_t row) const {
  return systems_.At(shown_.Rows[row].SystemIndex);
}

std::optional<std::size_t> SystemsModel::RowOfSystem(const intake::System& system) const {
  const std::uint32_t row = shown_.RowOf(IndexOf(system));
  return row == kNoRow ? std::nullopt : std::optional<std::size_t>(row);
}

std::optional<std::int32_t> SystemsModel::RowSeverity(std::size_t row) const {
  const auto& counts = shown_.Rows[row].Counts;
  std::optional<std::int32_t> worst;
  for (const std::int32_t severity : kCountColumnSeverities) {
    const bool worse = !worst || store::SeverityRank(severity) > store::SeverityRank(*worst);
    if (worse && counts[static_cast<std::size_t>(severity)] > 0) {
      worst = severity;
    }
  }
  return worst;
}

NoRows SystemsModel::WhyNoRows() const {
  if (!bounds_.Settled) {
    return NoRows::NotLoaded;
  }
  if (desk_.State.gLastTrapTime == 0) {
    return NoRows::NoneEver;
  }
  if (shown_.AnyHidden) {
    return NoRows::Hidden;
  }
  return bounds_.Option == intake::ViewOption::ShowOnlyNewTraps ? NoRows::NoNewTraps : NoRows::NoTraps;
}

std::int32_t SystemsModel::AcknowledgeBound(const intake::System& system) const {
  const auto row = RowOfSystem(system);
  if (!row || !shown_.Rows[*row].NewestTime) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return JustAfter(*shown_.Rows[*row].NewestTime);
}

std::int64_t SystemsModel::TrapsPerMinute() const {
  if (intake_ == nullptr || intake_->Counters().Ticks < 1) {
    return 0;
  }
  // A tick is three seconds, so traps per minute are traps x 20 / ticks; half a tick more rounds to nearest.
  const std::int64_t ticks = intake_->Counters().Ticks;
  return (std::int64_t{intake_->Counters().PeriodTraps} * 40 + ticks) / (2 * ticks);
}

std::array<std::string, kStatusTexts> SystemsModel::StatusTexts(NumberText number) const {
  const auto total = std::accumulate(shown_.Totals.begin(), shown_.Totals.end(), std::int64_t{0});
  return {Phrase("Total Systems: {} ", number(static_cast<std::int64_t>(shown_.Rows.size()))),
          Phrase("Critical Traps: {} ", number(shown_.Totals[kCritical])),
          Phrase("Warning Traps: {} ", number(shown_.Totals[kWarning])),
          Phrase("Major Traps: {} ", number(shown_.Totals[kMajor])),
          Phrase("Total Traps: {} ", number(total)),
          Phrase("Trap Rate: {} Trap(s) / Minute ", number(TrapsPerMinute()))};
}

}  // namespace korvane::systems
