#include "store/AcknowledgedBy.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "store/Tables.h"

namespace korvane::store {

namespace {

// The entries of one step; the largest take some tens of kilobytes.
constexpr std::int64_t kEntriesOfAStep = 500;
// A trap's time is that of the receiver's clock, an entry's that of a console's.
constexpr std::int64_t kClocksApart = 86'400;
constexpr std::size_t kSegmentBytes = 64;  // with what a map needs around it
constexpr std::size_t kEntryBytes = 24;

// The first of the list that selects the trap, not looking at those before the place; its end: none does.
template <class List>
auto FirstSelecting(const List& list, std::uint32_t since, std::int32_t sequenceNumber,
                    std::string_view source, std::int32_t eventTime) {
  const auto begin = std::ranges::partition_point(list, [&](const auto& each) {
    return each.By < since || each.MostTime <= eventTime || each.MostNumber < sequenceNumber;
  });
  return std::find_if(begin, list.end(), [&](const auto& each) {
    return each.Traps.Contains(sequenceNumber, source, eventTime);
  });
}

}  // namespace

bool AcknowledgedBy::IsNew(std::int32_t changeId) {
  if (changeId <= 0) return true;  // told by whoever made it, before it had a number
  const auto place = std::ranges::lower_bound(seen_, changeId);
  if (place != seen_.end() && *place == changeId) return false;
  seen_.insert(place, changeId);
  return true;
}

AcknowledgedBy::Place AcknowledgedBy::AddEntry(const Change& change) {
  const auto [author, isNew] = authors_.emplace(change.Author.Operator, change.Author.Machine);
  if (isNew) {
    bytes_ += sizeof(AuthorName) + author->first.size() + author->second.size() + kSegmentBytes;
  }
  entries_.push_back({.Author = &*author, .Time = change.Time});
  bytes_ += kEntryBytes;
  return static_cast<Place>(entries_.size() - 1);
}

void AcknowledgedBy::AddSegment(std::int64_t first, std::int64_t last) {
  segments_.emplace(static_cast<std::int32_t>(first), Segment{.Last = static_cast<std::int32_t>(last)});
  bytes_ += kSegmentBytes;
}

void AcknowledgedBy::SplitAt(std::int64_t number) {
  if (number > std::numeric_limits<std::int32_t>::max()) return;
  const auto behind = segments_.upper_bound(static_cast<std::int32_t>(number));
  if (behind == segments_.begin()) return;
  auto& [first, segment] = *std::prev(behind);
  if (first >= number || segment.Last < number) return;
  Segment upper = segment;
  segment.Last = static_cast<std::int32_t>(number - 1);
  segments_.emplace_hint(behind, static_cast<std::int32_t>(number), upper);
  bytes_ += kSegmentBytes;
}

template <class Apply>
void AcknowledgedBy::ForNumbers(const NumberRange& range, Apply apply) {
  SplitAt(range.First);
  SplitAt(std::int64_t{range.Last} + 1);
  std::int64_t next = range.First;
  for (auto at = segments_.lower_bound(range.First); at != segments_.end() && at->first <= range.Last; ++at) {
    if (at->first > next) AddSegment(next, std::int64_t{at->first} - 1);
    next = std::int64_t{at->second.Last} + 1;
  }
  if (next <= range.Last) AddSegment(next, range.Last);
  for (auto at = segments_.lower_bound(range.First); at != segments_.end() && at->first <= range.Last; ++at) {
    apply(at->second);
  }
}

void AcknowledgedBy::AddBounded(const TrapSelection& traps, Place place) {
  if (traps.Numbers.empty()) return;
  BoundedList& list = traps.Source ? ofSource_[*traps.Source] : ofAnySource_;
  Bounded added{.By = place,
                .Traps = traps,
                .MostTime = traps.BeforeTime ? *traps.BeforeTime : std::numeric_limits<std::int64_t>::max(),
                .MostNumber = traps.Numbers.back().Last};
  if (!list.empty()) {
    added.MostTime = std::max(added.MostTime, list.back().MostTime);
    added.MostNumber = std::max(added.MostNumber, list.back().MostNumber);
  }
  bytes_ += sizeof(Bounded) + traps.Numbers.size() * sizeof(NumberRange) +
            (traps.Source ? 2 * traps.Source->size() + kSegmentBytes : 0);
  list.push_back(std::move(added));
}

void AcknowledgedBy::Add(const Change& change) {
  const bool acknowledged = change.Kind == ChangeKind::Acknowledged;
  if (Full() || (!acknowledged && change.Kind != ChangeKind::Unacknowledged) || !IsNew(change.ChangeId)) {
    return;
  }
  const Place place = AddEntry(change);
  if (acknowledged && (change.Traps.Source || change.Traps.BeforeTime)) {
    AddBounded(change.Traps, place);
  } else {
    for (const NumberRange& range : change.Traps.Numbers) {
      ForNumbers(range, [&](Segment& segment) {
        if (!acknowledged) {
          segment = {.Last = segment.Last, .By = kNobody, .Since = place};
        } else if (segment.By == kNobody) {
          segment.By = place;  // whoever comes second acknowledges nothing
        }
      });
    }
  }
  if (Full()) Forget();
}

void AcknowledgedBy::Forget() {
  const std::size_t bytes = bytes_;
  *this = AcknowledgedBy(mostBytes_);
  bytes_ = bytes;
}

void AcknowledgedBy::Read(Connection& connection, std::int32_t fromTime, const std::function<bool()>& goOn) {
  const std::string inTime =
      fmt::format("Change_Time >= {}", std::max<std::int64_t>(fromTime - kClocksApart, 0));
  const std::string wanted =
      fmt::format("Kind IN ({}, {}) AND {}", static_cast<std::int32_t>(ChangeKind::Acknowledged),
                  static_cast<std::int32_t>(ChangeKind::Unacknowledged), inTime);
  std::int64_t first = 0;
  std::int64_t last = -1;
  {
    Recordset ends = connection.OpenRecordset(fmt::format(
        "SELECT MIN(Change_ID), MAX(Change_ID) FROM {} WHERE {}", kChangeLog, inTime));  // by an index alone
    if (ends.Next()) {
      first = ends.Integer(std::size_t{0});
      last = ends.Integer(std::size_t{1});
    }
  }
  for (; first <= last && !Full() && goOn(); first += kEntriesOfAStep) {
    for (const Change& change : ReadChanges(
             connection,
             fmt::format("Change_ID BETWEEN {} AND {} AND {}", first, first + kEntriesOfAStep - 1, wanted))) {
      Add(change);
    }
  }
}

std::optional<ChangeStamp> AcknowledgedBy::Of(std::int32_t sequenceNumber, std::string_view source,
                                              std::int32_t eventTime) const {
  Place by = kNobody;
  Place since = 0;
  const auto behind = segments_.upper_bound(sequenceNumber);
  if (behind != segments_.begin() && std::prev(behind)->second.Last >= sequenceNumber) {
    by = std::prev(behind)->second.By;
    since = std::prev(behind)->second.Since;
  }
  const auto look = [&](const BoundedList& list) {
    const auto found = FirstSelecting(list, since, sequenceNumber, source, eventTime);
    if (found != list.end()) by = std::min(by, found->By);
  };
  look(ofAnySource_);
  if (const auto own = ofSource_.find(source); own != ofSource_.end()) look(own->second);
  if (by == kNobody) return std::nullopt;
  const Entry& entry = entries_[by];
  return ChangeStamp{.Operator = entry.Author->first, .Machine = entry.Author->second, .Time = entry.Time};
}

}  // namespace korvane::store
