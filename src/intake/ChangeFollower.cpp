#include "intake/ChangeFollower.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "store/Tables.h"

namespace korvane::intake {

ChangeFollower::ChangeFollower(std::int32_t known, ChangeFollowerLimits limits) : limits_(limits) {
  position_.Last = known;
}

// Numbers that were passed over; the newest of them, where they are many.
void ChangeFollower::NoteGaps(std::int32_t from, std::int32_t to, TimePoint now,
                              std::vector<Gap>& gaps) const {
  const std::int64_t most = static_cast<std::int64_t>(limits_.MostGaps);
  for (std::int64_t number = std::max<std::int64_t>(from, to - most + 1); number <= to; ++number) {
    gaps.push_back({static_cast<std::int32_t>(number), now});
  }
}

void ChangeFollower::Start(store::Connection& connection, TimePoint now) {
  const auto lookBack = static_cast<std::int32_t>(limits_.MostGaps);
  const std::int32_t from = std::max(position_.Last - lookBack, 0) + 1;
  std::vector<Gap> gaps;
  NoteGaps(from, position_.Last, now, gaps);
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT Change_ID FROM {}", store::kChangeLog),
                               fmt::format("Change_ID BETWEEN {} AND {}", from, position_.Last));
  while (rows.Next()) {
    std::erase_if(gaps,
                  [number = rows.Integer("Change_ID")](const Gap& gap) { return gap.Number == number; });
  }
  position_.Gaps = std::move(gaps);
  position_.Started = true;
}

bool ChangeFollower::WasReplaced(store::Connection& connection, std::int32_t& highest) const {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT MAX(Change_ID) AS Highest FROM {}", store::kChangeLog));
  // Without any entry they were purged, all of them.
  if (!rows.Next() || rows.IsNull("Highest")) {
    return false;
  }
  highest = rows.Integer("Highest");
  return highest < position_.Last;
}

StoreNews ChangeFollower::Read(store::Connection& connection, TimePoint now, bool& more) {
  if (!position_.Started) {
    Start(connection, now);
  }
  more = false;
  StoreNews news;
  std::int32_t highest = position_.Last;
  if (WasReplaced(connection, highest)) {
    news.Unexplained = true;
    position_.Last = highest;
    position_.Gaps.clear();
    return news;
  }
  if (highest == position_.Last && position_.Gaps.empty()) {
    return news;
  }
  std::string condition = fmt::format("(Change_ID > {}", position_.Last);
  for (const Gap& gap : position_.Gaps) {
    condition += fmt::format(" OR Change_ID = {}", gap.Number);
  }
  news.Changes = store::ReadChanges(connection, condition + ")", limits_.ChangesPerRead);
  Position position = position_;
  for (const store::Change& change : news.Changes) {
    if (change.ChangeId > position.Last) {
      NoteGaps(position.Last + 1, change.ChangeId - 1, now, position.Gaps);
      position.Last = change.ChangeId;
    } else {
      std::erase_if(position.Gaps, [&](const Gap& gap) { return gap.Number == change.ChangeId; });
    }
  }
  more = news.Changes.size() == limits_.ChangesPerRead;
  if (!more) {
    std::erase_if(position.Gaps, [&](const Gap& gap) { return now - gap.Noticed >= limits_.GapLife; });
  }
  if (position.Gaps.size() > limits_.MostGaps) {
    position.Gaps.erase(position.Gaps.begin(),
                        position.Gaps.end() - static_cast<std::ptrdiff_t>(limits_.MostGaps));
  }
  position_ = std::move(position);
  return news;
}

}  // namespace korvane::intake
