// The date and time texts of many traps: what FormatDateTime gives for each, for a fraction of its price.
// Traps come in bursts, so a minute is formatted once and only its seconds are written anew, where that is
// sure to give the same text; seconds that the locale doesn't write as two plain digits in one place are
// formatted in full.  For one pass over a list: the process's locale must not change meanwhile.  One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/EventTime.h"

namespace korvane::store {

class DateTimeText {
 public:
  using Format = std::string (*)(const LocalDateTime&);

  explicit DateTimeText(std::int32_t biasSeconds, Format format = FormatDateTime);

  // Good until the next call.
  std::string_view Of(std::int32_t eventTime);

 private:
  struct Minute {
    std::int64_t Number = INT64_MIN;  // minutes since 1970-01-01 00:00, local
    int Second = 0;                   // of the text
    std::size_t Place = 0;            // where in it the seconds stand, or not known yet
    std::string Text;
  };
  // A list that is not in order of time jumps between minutes.
  static constexpr std::size_t kMinutes = 256;

  void FindPlace(Minute& minute, const LocalDateTime& local) const;

  std::int32_t bias_;
  Format format_;
  bool plainSeconds_;
  std::vector<Minute> minutes_;
};

}  // namespace korvane::store
