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

StoreFollower::StoreFollower(TrapFollower traps, std::int32_t known, std::chrono::milliseconds checkInterval)
    : traps_(std::move(traps)), changes_(known), checkInterval_(checkInterval) {}

StoreFollower::Progress StoreFollower::Read(store::Connection& connection,
                                            std::chrono::steady_clock::time_point now) {
  const bool check = now >= nextCheck_;
  std::optional<store::Snapshot> moment;
  if (check) {
    moment.emplace(connection);
  }
  bool moreChanges = false;
  StoreNews read = changes_.Read(connection, now, moreChanges);
  ledger_.Read(read);
  news_.Unexplained = news_.Unexplained || read.Unexplained;
  news_.Changes.insert(news_.Changes.end(), std::make_move_iterator(read.Changes.begin()),
                       std::make_move_iterator(read.Changes.end()));

  Progress progress{traps_.Read(connection, now), {}};
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
