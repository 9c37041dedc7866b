#include "intake/ChangeFollower.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "store/Tables.h"

namespace korvane::intake {
namespace {

constexpr std::size_t kEntriesSeen = 1000;

}  // namespace

ChangeFollower::ChangeFollower(std::int32_t known, ChangeFollowerLimits limits)
    : limits_(limits),
      position_{.Last = known, .Gaps = NumberGaps(limits.Gaps), .LastRead = {}, .NextLook = {}} {}

void ChangeFollower::Start(store::Connection& connection, TimePoint now) {
  position_.Gaps =
      GapsBetween(connection, store::kChangeLog, "Change_ID",
                  std::max(position_.Last - limits_.LookBack, 0) + 1, position_.Last, limits_.Gaps);
  position_.LastRead = now;
  position_.Started = true;
}

std::int32_t ChangeFollower::Highest(store::Connection& connection) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT MAX(Change_ID) AS Highest FROM {}", store::kChangeLog));
  return rows.Next() && !rows.IsNull("Highest") ? rows.Integer("Highest") : 0;
}

ChangeFollower::Seen ChangeFollower::SeenOf(const store::Change& change) {
  return {.ChangeId = change.ChangeId,
          .Print = fmt::format("{} {} {} {}", change.Time, static_cast<int>(change.Kind),
                               change.Rows.value_or(-1), change.Author.Writer)};
}

void ChangeFollower::GoBack() {
  readTo_ = std::max(readTo_, position_.Last);
  position_.Last = end_;
  position_.Gaps.CloseAbove(end_);
  endsBelow_ = false;
}

void ChangeFollower::RemoveSeen(std::vector<store::Change>& changes) {
  std::erase_if(changes, [this](const store::Change& change) {
    Seen seen = SeenOf(change);
    if (change.ChangeId <= readTo_ && std::ranges::find(seen_, seen) != seen_.end()) {
      return true;
    }
    seen_.push_back(std::move(seen));
    if (seen_.size() > kEntriesSeen) {
      seen_.pop_front();
    }
    return false;
  });
}

StoreNews ChangeFollower::Read(store::Connection& connection, TimePoint now, bool& more) {
  if (!position_.Started) {
    Start(connection, now);
  }
  more = false;
  StoreNews news;
  end_ = Highest(connection);
  endsBelow_ = end_ < position_.Last;
  if (endsBelow_) {
    return news;
  }
  const NumberGaps::Watched watched =
      position_.Watched + std::min<NumberGaps::Watched>(now - position_.LastRead, limits_.LongestStep);
  NumberGaps::Look look;
  std::vector<std::int32_t> missed;
  const bool looks = now >= position_.NextLook;
  if (looks) {
    look = position_.Gaps.Next(watched);
    std::int64_t read = 0;
    missed = FindMissed(connection, store::kChangeLog, "Change_ID", position_.Gaps, look.Ranges, read);
  }
  const bool foundAll = missed.size() < limits_.ChangesPerRead;
  missed.resize(std::min(missed.size(), limits_.ChangesPerRead));
  std::string condition;
  if (!missed.empty()) {
    condition = fmt::format("Change_ID IN ({}) OR ", fmt::join(missed, ", "));
  }
  if (end_ > position_.Last || !missed.empty()) {
    news.Changes = store::ReadChanges(
        connection, fmt::format("({}Change_ID > {})", condition, position_.Last), limits_.ChangesPerRead);
  }
  more = news.Changes.size() == limits_.ChangesPerRead;
  position_.Watched = watched;
  position_.LastRead = now;
  std::ranges::for_each(missed, [this](std::int32_t number) { position_.Gaps.Close(number); });
  if (looks && foundAll) {
    position_.Gaps.Looked(look, watched);
    position_.NextLook = now + limits_.LookEvery;
  }
  for (const store::Change& change : news.Changes) {
    if (change.ChangeId > position_.Last) {
      if (change.ChangeId > position_.Last + 1) {
        position_.Gaps.Open(std::max(position_.Last + 1, change.ChangeId - limits_.LongestGap),
                            change.ChangeId - 1, watched);
      }
      position_.Last = change.ChangeId;
    }
  }
  RemoveSeen(news.Changes);
  return news;
}

}  // namespace korvane::intake
