#include "params/ReportTimeForm.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "common/Translation.h"

namespace korvane::params {
namespace {

using Limits = std::numeric_limits<std::int32_t>;

constexpr std::string_view kFrom = Translatable("From:");
constexpr std::string_view kTo = Translatable("To:");

std::int32_t Now(platform::Clock& clock) {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(clock.UtcSeconds(), Limits::min(), Limits::max()));
}

}  // namespace

std::int32_t TimeRangeToEventTime(const store::LocalDateTime& picked, std::int32_t biasSeconds) {
  return store::LocalToEventTime(picked, biasSeconds);
}

ReportTimeForm::ReportTimeForm(ReportParameters& parameters, platform::Clock& clock, std::int32_t biasSeconds)
    : parameters_(parameters), bias_(biasSeconds) {
  controls_.lblFrom = Translated(kFrom);
  controls_.lblTo = Translated(kTo);
  controls_.PickersShown = parameters_.Window.Mode != kModeShowParameters;
  if (controls_.PickersShown) {
    controls_.FrameCaption = Translated("Select Time Range:");
    controls_.To = store::EventTimeToLocal(Now(clock), bias_);
    controls_.From = {.Year = controls_.To.Year, .Month = controls_.To.Month, .Day = controls_.To.Day};
    return;
  }
  controls_.FrameCaption = Translated("Time Range:");
  controls_.From = store::EventTimeToLocal(parameters_.FromTime, bias_);
  controls_.To = store::EventTimeToLocal(parameters_.ToTime, bias_);
  controls_.lblFrom += " " + store::FormatDateTime(controls_.From);
  controls_.lblTo += "    " + store::FormatDateTime(controls_.To);
}

store::LocalDateTime ReportTimeForm::Earliest() const {
  return store::EventTimeToLocal(Limits::min(), bias_);
}

store::LocalDateTime ReportTimeForm::Latest() const {
  return store::EventTimeToLocal(Limits::max(), bias_);
}

void ReportTimeForm::PickFrom(const store::LocalDateTime& from) {
  controls_.From = from;
  Compare();
}

void ReportTimeForm::PickTo(const store::LocalDateTime& to) {
  controls_.To = to;
  Compare();
}

void ReportTimeForm::Compare() {
  controls_.ReversedShown =
      TimeRangeToEventTime(controls_.To, bias_) < TimeRangeToEventTime(controls_.From, bias_);
}

void ReportTimeForm::Ok() {
  if (!controls_.PickersShown) {
    return;
  }
  parameters_.FromTime = TimeRangeToEventTime(controls_.From, bias_);
  parameters_.ToTime = TimeRangeToEventTime(controls_.To, bias_);
}

}  // namespace korvane::params
