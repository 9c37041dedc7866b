#include "intake/StoreFollower.h"

#include <iterator>
#include <optional>
#include <utility>

#include "store/DatabaseError.h"
#include "store/TrapSelection.h"

namespace korvane::intake {
namespace {

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

// Other traps under the numbers that are held, or another store, are at once what they are.
bool StoreFollower::IsInState(store::Connection& connection, TimePoint now, bool changesRead,
                              bool& replaced) {
  using Finding = StoreAnchor::Finding;
  const Finding traps = traps_.Check(connection);
  if (traps == Finding::Same && !changes_.EndsBelow()) {
    missingSince_.reset();
    return true;
  }
  if (changesRead) {
    missingSince_ = missingSince_.value_or(now);
  }
  replaced = traps == Finding::Other || (missingSince_ && now - *missingSince_ >= missingFor_);
  return false;
}

// The state may have changed under the reading; rows that were read then are of neither.  They are not read
// again, so where this can't be told any more they are handed on, and the next read begins with this look.
bool StoreFollower::IsOfAnotherState(store::Connection& connection) {
  try {
    return traps_.Check(connection) == StoreAnchor::Finding::Other;
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
  if (!IsInState(connection, now, !moreChanges, progress.Replaced)) {
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
  if (check && !progress.More) {
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
