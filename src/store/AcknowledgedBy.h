// Who acknowledged which trap and when, as far as the change log knows: built from its entries, and asked for
// single traps by lists, dialogs and files.  What is not known is not guessed: an entry names nobody for a
// trap that was acknowledged before it, though it may select that one too.  Not for sharing between threads
// while it changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/ChangeLog.h"
#include "store/ChangeStamp.h"

namespace korvane::store {

class AcknowledgedBy {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;

  // Beyond the bound it forgets everything and names nobody any more.
  explicit AcknowledgedBy(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}
  AcknowledgedBy(AcknowledgedBy&&) = default;
  AcknowledgedBy& operator=(AcknowledgedBy&&) = default;

  // In the order in which they were made; one that was added before changes nothing.  Kinds other than
  // Acknowledged and Unacknowledged are passed over.
  void Add(const Change& change);

  // Adds what the log holds of traps that were stored at this time or later, in steps of bounded size, as
  // long as goOn answers true and there is room.  Throws DatabaseError.
  void Read(Connection& connection, std::int32_t fromTime, const std::function<bool()>& goOn);

  // Of an acknowledged trap; nothing: not known.
  std::optional<ChangeStamp> Of(std::int32_t sequenceNumber, std::string_view source,
                                std::int32_t eventTime) const;

 private:
  using Place = std::uint32_t;  // in entries_: the order of the changes
  static constexpr Place kNobody = UINT32_MAX;

  using AuthorName = std::pair<std::string, std::string>;  // operator, machine
  struct Entry {
    const AuthorName* Author = nullptr;
    std::int32_t Time = 0;
  };
  // What is known of the numbers from the segment's key to the last one.
  struct Segment {
    std::int32_t Last = 0;
    Place By = kNobody;
    Place Since = 0;  // they were made new again: entries before this place say nothing of them
  };
  // An entry that selects by source or time.
  struct Bounded {
    Place By = 0;
    TrapSelection Traps;
    // The largest of this one and all before it, so that most need not be looked at.
    std::int64_t MostTime = 0;
    std::int32_t MostNumber = 0;
  };
  using BoundedList = std::vector<Bounded>;

  bool Full() const { return bytes_ > mostBytes_; }
  bool IsNew(std::int32_t changeId);
  Place AddEntry(const Change& change);
  void AddBounded(const TrapSelection& traps, Place place);
  template <class Apply>
  void ForNumbers(const NumberRange& range, Apply apply);
  void SplitAt(std::int64_t number);
  void AddSegment(std::int64_t first, std::int64_t last);
  void Forget();

  std::size_t mostBytes_;
  std::size_t bytes_ = 0;
  std::vector<std::int32_t> seen_;  // Change_IDs, ascending
  std::set<AuthorName> authors_;    // a set: entries refer to them
  std::vector<Entry> entries_;
  std::map<std::int32_t, Segment> segments_;  // by their first number; none overlaps another
  std::map<std::string, BoundedList, std::less<>> ofSource_;
  BoundedList ofAnySource_;
};

}  // namespace korvane::store
