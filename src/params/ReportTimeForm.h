// The rules of a report's time range without a window: what the report parameters dialog shows of it, and
// what OK makes of it.  "Local" is everywhere UTC minus the one bias that was read at start-up, as in the
// lists, and never the system's own idea of daylight saving: a range means what the lists show.
// User-interface thread only.
#pragma once

#include <cstdint>
#include <string>

#include "common/Translation.h"
#include "params/ReportParameters.h"
#include "params/WindowParametersForm.h"
#include "platform/Platform.h"
#include "store/EventTime.h"

namespace korvane::params {

inline constexpr ParametersCaptions kReportCaptions = {
    .NewForm = Translatable("Select Report / History Parameters"),
    .NewFrame = Translatable("Select View Parameters:"),
    .ReadOnlyForm = Translatable("Report / History Parameters"),
    .ReadOnlyFrame = Translatable("Report / History Parameters (Read Only):")};

// The EventTime of a moment that was picked as day, month, year, hour, minute and second of local time;
// beyond what an EventTime can hold, the nearest that it can.
std::int32_t TimeRangeToEventTime(const store::LocalDateTime& picked, std::int32_t biasSeconds);

struct TimeRangeControls {
  std::string FrameCaption;  // of freTimeRange
  std::string lblFrom;
  std::string lblTo;
  bool PickersShown = true;  // they hide from a record that is only to be read
  store::LocalDateTime From;
  store::LocalDateTime To;
  bool ReversedShown = false;  // the hint that the range is empty
};

class ReportTimeForm {
 public:
  // parameters is read now and written by Ok; its window's Mode decides which of the two dialogs this is.
  // A new range goes from today's midnight to now.  parameters must outlive the form.
  ReportTimeForm(ReportParameters& parameters, platform::Clock& clock, std::int32_t biasSeconds);

  const TimeRangeControls& Controls() const { return controls_; }

  // The first and the last moment that an EventTime can hold.
  store::LocalDateTime Earliest() const;
  store::LocalDateTime Latest() const;

  void PickFrom(const store::LocalDateTime& from);
  void PickTo(const store::LocalDateTime& to);

  // Mode 11: writes both bounds, in whatever order they are.  Mode 12: nothing.
  void Ok();

 private:
  void Compare();

  ReportParameters& parameters_;
  std::int32_t bias_;
  TimeRangeControls controls_;
};

}  // namespace korvane::params
