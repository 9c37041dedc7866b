#include "store/ChangeStamp.h"

#include <fmt/format.h>

#include "store/ChangeLog.h"
#include "store/EventTime.h"

namespace korvane::store {

ChangeStamp StampOf(const Change& change) {
  return {.Operator = change.Author.Operator, .Machine = change.Author.Machine, .Time = change.Time};
}

std::string WhoText(const ChangeStamp& stamp) {
  if (stamp.Machine.empty()) {
    return stamp.Operator;
  }
  if (stamp.Operator.empty()) {
    return "the receiver on " + stamp.Machine;
  }
  return fmt::format("{} on {}", stamp.Operator, stamp.Machine);
}

std::string WhoAndWhenText(const ChangeStamp& stamp, std::int32_t biasSeconds) {
  std::string text = WhoText(stamp);
  if (stamp.Time != 0) {
    text += fmt::format("{}{}", text.empty() ? "" : ", ",
                        FormatDateTime(EventTimeToLocal(stamp.Time, biasSeconds)));
  }
  return text;
}

}  // namespace korvane::store
