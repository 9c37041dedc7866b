// What one Report / History window is without its widgets: the stored traps of a time range that are not
// filtered and satisfy its parameters, oldest first, without a row limit, and how far their loading is.
// A reader's thread brings the rows; whoever owns the model lets it take them in turns of bounded length, so
// that a report of any length leaves the window painting.  User-interface thread only.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/BusyIndicator.h"
#include "common/NumberText.h"
#include "params/ReportParameters.h"
#include "params/WindowParameters.h"
#include "reports/ReportLoader.h"
#include "reports/ReportServices.h"
#include "store/AcknowledgedBy.h"
#include "store/ChangeLog.h"
#include "store/TrapRecord.h"
#include "traplist/TrapBatch.h"
#include "traplist/TrapRows.h"
#include "traplist/TrapRowsListener.h"
#include "traplist/WhyEmpty.h"

namespace korvane::reports {

enum class ReportState {
  NotLoaded,
  Loading,
  Complete,  // the list holds all that the report is about
  Stopped,   // by the operator; the list holds the oldest of it
  Failed,    // by the store or the machine; the same
};

class ReportModel {
 public:
  struct Events {
    // There is something for TakeBatches after there was nothing, or the read has ended.  Called on the
    // reader's thread, also while batches that were taken are still in hand; must be quick and may not call
    // the model.
    std::function<void()> BatchesReady;
    std::function<void()> StateChanged;
  };

  ReportModel(ReportServices& services, params::ReportParameters parameters, Events events,
              ReportLoaderOptions options = {});
  ~ReportModel();  // stops a load, within a bounded time
  ReportModel(const ReportModel&) = delete;
  ReportModel& operator=(const ReportModel&) = delete;

  // One at most; it must outlive this object or be taken away again (null).
  void UseListener(traplist::TrapRowsListener* listener) { listener_.Use(listener); }

  // Empties the list and begins to load it; a load that goes on is given up.
  void Reset();

  // Takes what the reader has brought so far, for about as long as the budget says, and puts it into the list
  // as one batch.  True: there is more, call again soon; false: wait for BatchesReady.
  bool TakeBatches(std::chrono::milliseconds budget);

  // The operator has seen enough: the list keeps what it holds.  Nothing unless it loads.
  void Stop();

  ReportState State() const { return state_; }
  const traplist::TrapRows& Rows() const { return rows_; }
  const params::ReportParameters& Parameters() const { return parameters_; }

  // Of a list without rows that is complete.
  traplist::WhyEmpty Emptiness() const;
  std::size_t FiltersInForce() const { return filtersInForce_; }  // when it was loaded

  std::string TotalTrapsText(NumberText number = PlainNumber) const;
  // What the window says of a list that is not complete; empty when it is, or still loads.
  std::string Notice(NumberText number = PlainNumber) const;

  // Who acknowledged which of its traps, as far as it is known: once the list is complete.
  const store::AcknowledgedBy& Acknowledgers() const { return acknowledgers_; }

  // Traps were acknowledged or made new again, here or elsewhere; changes of other kinds are not for it.
  void ApplyChange(const store::Change& change);

  // The operator's notes on a trap were saved; nothing happens when it isn't in the list.
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes);

 private:
  void ResetRows();
  bool HoldsBatch();  // takes the next one when it has none
  // Completes the rest of the batch in hand.  False: the clock came to this time before its end.
  bool CompleteUntil(std::int64_t milliseconds);
  void AppendCompleted();
  void ShowProgress();
  void MarkRows(const store::Change& change);
  void AddAcknowledger(const store::Change& change);
  void TakeAcknowledgers();
  void End(ReportState state, std::string_view failure = {});

  ReportServices& services_;
  params::ReportParameters parameters_;
  Events events_;
  ReportLoaderOptions options_;
  traplist::OneTrapRowsListener listener_;

  ReportState state_ = ReportState::NotLoaded;
  std::string failure_;
  traplist::TrapRows rows_;
  std::int64_t read_ = 0;   // of the range, whether the list shows them or not
  bool anyHidden_ = false;  // a filter hid what the list would have shown
  std::size_t filtersInForce_ = 0;
  params::WindowMatcher matcher_;
  // The batch in hand, null between two of them, and its first row that is not completed yet.
  std::unique_ptr<traplist::TrapBatch> batch_;
  std::size_t nextRow_ = 0;
  // Traps of the batches in hand that belong into the list, their texts still in the batches.
  std::vector<store::IncomingTrap> completed_;
  std::deque<std::string> ownNames_;
  // Notes saved while the list loads: the reader may see rows as they were before.
  std::unordered_map<std::int32_t, std::string> savedNotes_;
  // Changes told of while it loads, in their order, for the same reason.
  std::vector<store::Change> told_;
  store::AcknowledgedBy acknowledgers_;
  bool knowsAcknowledgers_ = false;       // the log was read
  std::unique_ptr<ReportLoader> loader_;  // while loading
  std::unique_ptr<WorkInProgress> work_;
};

}  // namespace korvane::reports
