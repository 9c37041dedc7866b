#include "intake/StoreFollower.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "store/DatabaseError.h"
#include "store/TrapSelection.h"

namespace korvane::intake {
namespace {

// Between two looks no more than this counts: what is longer, the store or the console was away.
constexpr auto kLongestLookStep = std::chrono::seconds(10);

// What a change holds on its way to the user-interface thread.
std::size_t BytesOf(const StoreNews& news) {
  std::size_t bytes = 0;
  for (const store::Change& change : news.Changes) {
    bytes += sizeof(change) + change.Traps.Numbers.size() * sizeof(store::NumberRange);
  }
  return bytes;
}

}  // namespace

StoreFollower::StoreFollower(TrapFollower traps, std::int32_t known, std::chrono::milliseconds checkInterval,
                             std::chrono::milliseconds missingFor)
    : traps_(std::move(traps)), changes_(known), checkInterval_(checkInterval), missingFor_(missingFor) {}

StoreNews StoreFollower::ReadChanges(store::Connection& connection, TimePoint now, bool& more) {
  StoreNews read = changes_.Read(connection, now, more);
  for (const store::Change& change : read.Changes) {
    if (change.Kind == store::ChangeKind::Purged) {
      traps_.Purged(change.Traps);
    }
  }
  return read;
}

// Other traps under the numbers that are held, or another store, are at once what they are.  Whatever else
// is missing may be purged, with the word of it to come, or come back with what a node has not got yet.
bool StoreFollower::IsInState(store::Connection& connection, TimePoint now, bool changesRead,
                              Progress& progress) {
  using Finding = StoreAnchor::Finding;
  const bool sameJustNow = std::exchange(sameIn_, std::nullopt) == connection.Session();
  const Finding traps = sameJustNow ? Finding::Same : traps_.Check(connection);
  const auto step = std::min<TimePoint::duration>(now - std::exchange(lastLook_, now), kLongestLookStep);
  if (std::exchange(found_, traps) != traps || !changesRead) {
    foundFor_ = {};
  } else {
    foundFor_ += step;
  }
  const bool sure = changesRead && foundFor_ >= missingFor_;
  if (traps == Finding::Gone) {
    progress.MissingFor = std::chrono::duration_cast<std::chrono::milliseconds>(foundFor_);
  }
  progress.Replaced = traps == Finding::Other || (traps == Finding::Gone && sure);
  if (traps == Finding::Thinned && sure) {
    traps_.ForgetMissing();
    news_.Unexplained = true;
  }
  if (traps != Finding::Same && traps != Finding::Thinned) {
    return false;
  }
  if (changes_.EndsBelow()) {
    changes_.GoBack();
    nextCheck_ = now + checkInterval_;  // where a node is behind, its counts are, too
  }
  return true;
}

// The state may have changed under the reading; rows that were read then are of neither.  They are not read
// again, so where this can't be told any more they are handed on, and the next read begins with this look.
bool StoreFollower::IsOfAnotherState(store::Connection& connection) {
  try {
    const StoreAnchor::Finding traps = traps_.Check(connection);
    if (traps == StoreAnchor::Finding::Same) {
      sameIn_ = connection.Session();
    }
    return traps == StoreAnchor::Finding::Other;
  } catch (const store::DatabaseError&) {
    return false;
  }
}

StoreFollower::Progress StoreFollower::Read(store::Connection& connection, TimePoint now) {
  const bool check = now >= nextCheck_;
  std::optional<store::Snapshot> moment;
  if (check) {
    moment.emplace(connection);
  }
  bool moreChanges = false;
  StoreNews read = ReadChanges(connection, now, moreChanges);
  ledger_.Read(read);
  news_.Unexplained = news_.Unexplained || read.Unexplained;
  news_.Changes.insert(news_.Changes.end(), std::make_move_iterator(read.Changes.begin()),
                       std::make_move_iterator(read.Changes.end()));

  Progress progress;
  if (!IsInState(connection, now, !moreChanges, progress)) {
    progress.More = moreChanges;
    return progress;
  }
  static_cast<TrapFollower::Progress&>(progress) = traps_.Read(connection, now);
  if (progress.Rows > 0 && IsOfAnotherState(connection)) {
    Progress last;
    last.Replaced = true;
    return last;
  }
  ledger_.Appeared(progress.Rows);
  progress.More = progress.More || moreChanges;
  progress.News = std::exchange(news_, {});
  progress.Bytes += BytesOf(progress.News);
  if (!progress.More) {
    sameIn_.reset();
  }
  if (check && progress.Rows > 0 && !progress.More && !std::exchange(postponed_, true)) {
    progress.More = true;  // counting takes its time: what was read need not wait for it
  } else if (now >= nextCheck_ && check && !progress.More) {
    postponed_ = false;
    try {
      nextCheck_ = now + checkInterval_;
      progress.News.Unexplained = ledger_.Differs(connection) || progress.News.Unexplained;
    } catch (const store::DatabaseError&) {
      // What was read is handed on; the next read meets the failure, and the books are closed later.
    }
  }
  return progress;
}

}  // namespace korvane::intake
