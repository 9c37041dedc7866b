// Finds the rows of a list of traps that show a text in any of their columns, ignoring case.  It looks
// through the list in steps of bounded length, so that whoever runs it stays responsive over a million rows;
// rows that come, go or are sorted meanwhile cost only themselves.  Owned by the find bar of one list.
// User-interface thread only.  Positions count from 0 at the top of the list as it is shown.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/Text.h"
#include "store/DateTimeText.h"
#include "traplist/RowBits.h"
#include "traplist/ShownTraps.h"

namespace korvane::traplist {

class TrapFinder {
 public:
  struct Place {
    bool Settled = false;                 // false: rows that are still to be looked at may change the answer
    std::optional<std::size_t> Position;  // nothing: no row shows the text
  };

  // Begins to look for a text, from this position on and round the end; an empty text finds nothing.  Where
  // the new text contains the last one, only rows that had that one are looked at again.
  void Find(const ShownTraps& list, std::string_view text, std::size_t position);
  // Forgets text and hits.
  void Stop();

  // Looks on for about as long as the budget says.  True: there is more to look at.
  bool Step(const ShownTraps& list, std::chrono::microseconds budget);

  bool HasText() const { return !folded_.empty(); }
  bool Searching() const { return open_.Count() > 0; }
  std::size_t Hits() const { return hits_.Count(); }

  // Of the hit at this position among all hits so far, from 1; 0: it is none.
  std::size_t NumberOf(const ShownTraps& list, std::size_t position) const;

  // Round the ends of the list.
  Place FirstFrom(const ShownTraps& list, std::size_t position) const;  // at it or behind it
  Place LastBefore(const ShownTraps& list, std::size_t position) const;

  // The rows of the list have changed; these take storage rows.  Sorting changes nothing here.
  void RowsAppended(std::size_t count);  // how many there are now
  void RowsRemoved(std::span<const std::uint32_t> rows);
  void RowsReset(std::size_t count);

 private:
  enum class Answer : unsigned char { NotAsked, Misses, Hits };

  bool Matches(const ShownTraps& list, std::size_t row);
  bool FoundIn(std::string_view text) const;
  bool FoundInDate(std::int32_t eventTime);
  template <class Text>
  bool FoundInShared(std::vector<Answer>& answers, std::size_t number, Text text) const;
  void ForgetShared();

  std::string folded_;
  CaseInsensitiveNeedle needle_{""};
  bool hasSymbols_ = false;  // the needle has some that stand in cells for what must not act there
  std::optional<store::DateTimeText> dates_;  // nothing: the text can't stand in one
  std::optional<std::int32_t> lastTime_;
  bool lastTimeHits_ = false;

  RowBits open_;  // rows to look at
  RowBits hits_;
  std::size_t next_ = 0;  // from here on
  // By the numbers that rows share.
  std::vector<Answer> origins_;
  std::vector<Answer> kinds_;
};

}  // namespace korvane::traplist
