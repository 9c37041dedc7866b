#include "reports/ReportModel.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "common/Translation.h"
#include "fmt/format.h"
#include "intake/Intake.h"
#include "intake/Systems.h"
#include "store/FailureWords.h"

namespace korvane::reports {

namespace {

// A report may take as long as it needs, the operator can stop it; a server that is not there shows soon.
constexpr store::ConnectionOptions kLongRead{.ConnectTimeoutSeconds = 10, .CommandTimeoutSeconds = 0};
// How often a turn looks at the clock: a trap of a kind that was not met before may cost several queries.
constexpr std::size_t kRowsPerLook = 128;

}  // namespace

ReportModel::ReportModel(ReportServices& services, params::ReportParameters parameters, Events events,
                         ReportLoaderOptions options)
    : services_(services),
      parameters_(std::move(parameters)),
      events_(std::move(events)),
      options_(options),
      matcher_(parameters_.Window, services.Categories) {}

ReportModel::~ReportModel() = default;

void ReportModel::ResetRows() {
  listener_->BatchBegins();
  listener_->RowsAboutToBeReset();
  rows_.Clear();
  listener_->RowsReset();
  listener_->BatchEnds();
}

void ReportModel::Reset() {
  loader_.reset();
  work_.reset();
  batch_.reset();
  ResetRows();
  read_ = 0;
  anyHidden_ = false;
  filtersInForce_ = services_.Filters.Filters().size();
  failure_.clear();
  savedNotes_.clear();
  told_.clear();
  acknowledgers_ = store::AcknowledgedBy();
  knowsAcknowledgers_ = false;
  state_ = ReportState::Loading;
  work_ = services_.Desk.Busy.ShowWork(Translated("Loading Trap(s)"), [this] { Stop(); });
  events_.StateChanged();
  loader_ = std::make_unique<ReportLoader>(options_);
  const auto open = [connect = services_.OpenConnection] { return connect(kLongRead); };
  if (!loader_->Start(open, parameters_.FromTime, parameters_.ToTime, events_.BatchesReady)) {
    End(ReportState::Failed, Translated("The system has no thread left for reading."));
  }
}

bool ReportModel::TakeBatches(std::chrono::milliseconds budget) {
  if (state_ != ReportState::Loading) {
    return false;
  }
  // Putting the traps into the list takes about as long as completing them.
  const std::int64_t until = services_.Desk.Clock.MonotonicMilliseconds() + budget.count() / 2;
  std::vector<std::unique_ptr<traplist::TrapBatch>> done;
  std::optional<std::string> failure;
  try {
    while (HoldsBatch() && CompleteUntil(until)) {
      done.push_back(std::move(batch_));
      if (services_.Desk.Clock.MonotonicMilliseconds() >= until) {
        break;
      }
    }
  } catch (const std::exception& error) {
    failure = store::FailureInAllWords(error);
  }
  AppendCompleted();
  for (std::unique_ptr<traplist::TrapBatch>& batch : done) {
    loader_->GiveBack(std::move(batch));
  }
  ShowProgress();
  const bool ended = !batch_ && loader_->Ended();
  if (ended && !failure) {
    failure = loader_->Failure();
  }
  if (failure) {
    End(ReportState::Failed, *failure);
  } else if (ended) {
    End(ReportState::Complete);
  }
  return loader_ && (batch_ || loader_->HasMore());
}

bool ReportModel::HoldsBatch() {
  if (!batch_) {
    batch_ = loader_->Take();
    nextRow_ = 0;
  }
  return batch_ != nullptr;
}

bool ReportModel::CompleteUntil(std::int64_t milliseconds) {
  store::IncomingTrap trap;
  while (nextRow_ < batch_->Count()) {
    batch_->Get(nextRow_, trap);
    intake::CompleteStoredTrap(trap, services_.SystemList, services_.Names);
    ++nextRow_;
    ++read_;
    if (trap.Filtered) {
      anyHidden_ = anyHidden_ || matcher_.TrapMatchesWindow(trap);
    } else if (matcher_.TrapMatchesWindow(trap)) {
      if (!trap.OwnName.empty()) {
        ownNames_.emplace_back(trap.OwnName);  // it holds only until the next trap is named
        trap.OwnName = ownNames_.back();
      }
      completed_.push_back(trap);
    }
    if (nextRow_ % kRowsPerLook == 0 && services_.Desk.Clock.MonotonicMilliseconds() >= milliseconds) {
      break;
    }
  }
  return nextRow_ == batch_->Count();
}

void ReportModel::AppendCompleted() {
  if (completed_.empty()) {
    return;
  }
  listener_->BatchBegins();
  listener_->RowsAboutToBeAppended(completed_.size());
  for (store::IncomingTrap& trap : completed_) {
    if (!savedNotes_.empty()) {
      const auto saved = savedNotes_.find(trap.SequenceNumber);
      trap.EventNotes = saved != savedNotes_.end() ? std::string_view(saved->second) : trap.EventNotes;
    }
    for (const store::Change& change : told_) {
      if (change.Traps.Contains(trap.SequenceNumber, trap.Source, trap.EventTime)) {
        trap.EventAck = change.Kind == store::ChangeKind::Acknowledged ? 1 : 0;
      }
    }
    rows_.Append(trap);
  }
  listener_->RowsAppended();
  listener_->BatchEnds();
  completed_.clear();
  ownNames_.clear();
}

void ReportModel::ShowProgress() {
  const std::int64_t total = loader_->Total();
  // Traps may be stored or purged between the two looks at the store.
  work_->ShowProgress(read_, total > 0 ? std::max(total, read_) : 0);
}

void ReportModel::Stop() {
  if (state_ == ReportState::Loading) {
    End(ReportState::Stopped);
  }
}

void ReportModel::End(ReportState state, std::string_view failure) {
  state_ = state;
  failure_ = failure;
  TakeAcknowledgers();
  loader_.reset();
  work_.reset();
  savedNotes_.clear();
  completed_ = {};
  ownNames_ = {};
  batch_.reset();
  if (state_ == ReportState::Failed) {
    services_.Desk.DebugLog.TryWriteLog(failure_);
  }
  events_.StateChanged();
}

traplist::WhyEmpty ReportModel::Emptiness() const {
  using traplist::WhyEmpty;
  return anyHidden_ ? WhyEmpty::Hidden : read_ > 0 ? WhyEmpty::NotSelected : WhyEmpty::NoTraps;
}

std::string ReportModel::TotalTrapsText(NumberText number) const {
  return Phrase("Total Traps In Window: {} ", number(static_cast<std::int64_t>(rows_.Count())));
}

std::string ReportModel::Notice(NumberText number) const {
  const auto count = static_cast<std::int64_t>(rows_.Count());
  std::string held = Translated("none of the traps");
  if (count > 0) {
    held = count == 1 ? Translated("the first trap") : Phrase("the first {} traps", number(count));
  }
  switch (state_) {
    case ReportState::Stopped:
      return Phrase("Stopped: the list holds {} of the range.", held);
    case ReportState::Failed:
      return Phrase("The list is not complete, it holds {} of the range: {}", held, failure_);
    case ReportState::NotLoaded:
    case ReportState::Loading:
    case ReportState::Complete:
      break;
  }
  return {};
}

void ReportModel::ApplyChange(const store::Change& change) {
  if (change.Kind != store::ChangeKind::Acknowledged && change.Kind != store::ChangeKind::Unacknowledged) {
    return;
  }
  if (state_ == ReportState::Loading) {
    told_.push_back(change);
  } else {
    AddAcknowledger(change);
  }
  MarkRows(change);
}

void ReportModel::AddAcknowledger(const store::Change& change) {
  // Without those before it this one would be named for what they acknowledged.
  if (knowsAcknowledgers_) {
    acknowledgers_.Add(change);
  }
}

void ReportModel::MarkRows(const store::Change& change) {
  const bool acknowledged = change.Kind == store::ChangeKind::Acknowledged;
  std::optional<std::size_t> first;
  std::size_t last = 0;
  for (std::size_t row = 0; row < rows_.Count(); ++row) {
    if (rows_.IsAcknowledgedAt(row) != acknowledged &&
        change.Traps.Contains(rows_.SequenceNumberAt(row), rows_.SourceAt(row), rows_.EventTimeAt(row))) {
      rows_.SetAcknowledged(row, acknowledged);
      first = first.value_or(row);
      last = row;
    }
  }
  if (first) {
    listener_->BatchBegins();
    listener_->RowsChanged(*first, last);
    listener_->BatchEnds();
  }
}

void ReportModel::TakeAcknowledgers() {
  if (auto read = loader_ ? loader_->TakeAcknowledgers() : std::nullopt) {
    acknowledgers_ = *std::move(read);
    knowsAcknowledgers_ = true;
  }
  for (const store::Change& change : std::exchange(told_, {})) {
    AddAcknowledger(change);
  }
}

void ReportModel::NotesSaved(std::int32_t sequenceNumber, std::string_view notes) {
  if (state_ == ReportState::Loading) {
    savedNotes_.insert_or_assign(sequenceNumber, std::string(notes));
  }
  // A walk over all numbers is a matter of milliseconds; the index of a long list would take tens of bytes a
  // row from then on.
  for (std::size_t row = 0; row < rows_.Count(); ++row) {
    if (rows_.SequenceNumberAt(row) == sequenceNumber) {
      rows_.SetNotes(row, notes);
      listener_->BatchBegins();
      listener_->RowsChanged(row, row);
      listener_->BatchEnds();
      return;
    }
  }
}

}  // namespace korvane::reports
