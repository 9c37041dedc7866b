// The date and time texts of many traps: what FormatDateTime gives for each.  Traps come in bursts, so the
// text of a second is kept and given again.  For one pass over a list: the process's locale must not change
// meanwhile.  One thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/EventTime.h"

namespace korvane::store {

class DateTimeText {
 public:
  using Format = std::string (*)(const LocalDateTime&);

  explicit DateTimeText(std::int32_t biasSeconds, Format format = FormatDateTime)
      : bias_(biasSeconds), format_(format), kept_(kSeconds) {}

  // Good until the next call.
  std::string_view Of(std::int32_t eventTime) {
    Second& second = kept_[static_cast<std::uint32_t>(eventTime) % kSeconds];
    if (second.Text.empty() || second.Time != eventTime) {
      second = {.Time = eventTime, .Text = format_(EventTimeToLocal(eventTime, bias_))};
    }
    return second.Text;
  }

 private:
  struct Second {
    std::int32_t Time = 0;
    std::string Text;  // empty: none is kept here
  };
  // A list that is not in order of time jumps between seconds.
  static constexpr std::uint32_t kSeconds = 1024;

  std::int32_t bias_;
  Format format_;
  std::vector<Second> kept_;
};

}  // namespace korvane::store
