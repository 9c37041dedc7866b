#include "store/Acknowledge.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

#include "store/ChangeLog.h"
#include "store/Odbc.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::store {
namespace {

constexpr std::size_t kNumbersOfAStatement = 500;
constexpr std::size_t kSourcesTold = 20;  // of more, lists look for the numbers instead
constexpr std::size_t kSourcesOfAPortion = 20;
constexpr std::size_t kRowsOfASmallSource = 500;
constexpr int kTriesAtOneMoment = 10;
constexpr NumberRange kEveryNumber{std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()};

// How many rows a portion takes: what the store does in about the time that nobody notices.
class PortionSize {
 public:
  using Clock = std::chrono::steady_clock;

  std::size_t Rows() const { return rows_; }
  template <class Work>
  auto Timed(Work work) {
    const Clock::time_point begun = Clock::now();
    auto result = work();
    const Clock::duration took = Clock::now() - begun;
    if (took < kShort) rows_ = std::min(rows_ * 2, kMost);
    if (took > kLong) rows_ = std::max(rows_ / 2, kLeast);
    return result;
  }

 private:
  static constexpr std::chrono::milliseconds kShort{35};
  static constexpr std::chrono::milliseconds kLong{80};
  static constexpr std::size_t kLeast = 100;
  static constexpr std::size_t kMost = 10'000;
  std::size_t rows_ = 500;
};

// One transaction of many short statements.  What counts is the store's time: the windows are painted
// meanwhile.
template <class Work>
auto Portion(Connection& connection, PortionSize& size, Work work) {
  return connection.Together([&] { return size.Timed([&] { return RetriedOnce(connection, work); }); });
}

struct LockedRows {
  std::vector<TrapKey> All;  // by their numbers, ascending
  std::vector<TrapKey> New;  // those of them that are not acknowledged
};

// The rows of the condition in the order of their numbers, kept from everybody else until the transaction
// ends: who keeps several takes them in one order, so that no two of them wait for each other.
void Lock(Connection& connection, std::string_view condition, LockedRows& locked) {
  const Engine engine = connection.Internals().Kind;
  const bool locksRows = engine == Engine::PostgreSql || engine == Engine::MariaDb;
  TrapReader rows(connection, fmt::format("SELECT SequenceNumber, EventTime, EventAck FROM {} WHERE {} "
                                          "ORDER BY SequenceNumber{}",
                                          kEventTrap, condition, locksRows ? " FOR UPDATE" : ""));
  IncomingTrap row;
  while (rows.Next(row)) {
    locked.All.push_back({row.SequenceNumber, row.EventTime});
    if (row.EventAck == 0) locked.New.push_back(locked.All.back());
  }
}

// The statements that it takes for so many numbers, which are ascending.  Number by number: of many ranges
// SQLite would rather walk the whole table.
template <class Each>
void ForEachStatement(std::span<const TrapKey> traps, Each each) {
  while (!traps.empty()) {
    const auto some = traps.first(std::min(traps.size(), kNumbersOfAStatement));
    std::string numbers;
    for (const TrapKey& trap : some) {
      fmt::format_to(std::back_inserter(numbers), "{}{}", numbers.empty() ? "" : ", ", trap.Number);
    }
    each(fmt::format("SequenceNumber IN ({})", numbers));
    traps = traps.subspan(some.size());
  }
}

// What is stored under the numbers of these traps.
LockedRows LockNumbers(Connection& connection, std::span<const TrapKey> traps) {
  std::vector<TrapKey> sorted(traps.begin(), traps.end());
  std::ranges::sort(sorted);
  sorted.erase(
      std::unique(sorted.begin(), sorted.end(),
                  [](const TrapKey& one, const TrapKey& other) { return one.Number == other.Number; }),
      sorted.end());
  LockedRows locked;
  ForEachStatement(sorted, [&](const std::string& condition) { Lock(connection, condition, locked); });
  return locked;
}

bool Holds(const std::vector<TrapKey>& sorted, const TrapKey& trap) {
  return std::ranges::binary_search(sorted, trap);
}

AcknowledgedPortion Noted(Connection& connection, std::vector<TrapKey> changed) {
  AcknowledgedPortion portion{.ChangeId = 0, .Changed = std::move(changed)};
  if (!portion.Changed.empty()) {
    portion.ChangeId = NoteChange(connection, ChangeKind::Acknowledged, SelectionOf(portion.Changed),
                                  std::ssize(portion.Changed));
  }
  return portion;
}

void Add(Acknowledgement& result, AcknowledgedPortion portion) {
  if (!portion.Changed.empty()) result.Portions.push_back(std::move(portion));
}

// What a portion of single traps came to.
struct SingleTraps {
  AcknowledgedPortion Done;
  std::vector<std::int32_t> Leaving;
  std::int64_t Gone = 0;
  std::optional<DatabaseError> Failure;
};

// Committed also when a statement fails, which ends the work.
SingleTraps AcknowledgeSome(Connection& connection, std::span<const TrapKey> traps) {
  SingleTraps result;
  Transaction transaction(connection, kEventTrap);
  const LockedRows stored = LockNumbers(connection, traps);
  std::vector<TrapKey> acknowledged;
  try {
    for (const TrapKey& trap : traps) {
      if (Holds(stored.All, trap)) {
        connection.Execute(AcknowledgeTrapStatement(trap.Number));
        acknowledged.push_back(trap);
        result.Leaving.push_back(trap.Number);
        continue;
      }
      ++result.Gone;
      // Under the number of another trap nothing may leave.
      if (!std::ranges::binary_search(stored.All, trap.Number, {}, &TrapKey::Number)) {
        result.Leaving.push_back(trap.Number);
      }
    }
  } catch (const DatabaseError& error) {
    if (IsConflict(error) || acknowledged.empty()) throw;
    result.Failure = error;
  }
  std::ranges::sort(acknowledged);
  std::vector<TrapKey> changed;
  std::ranges::copy_if(stored.New, std::back_inserter(changed),
                       [&](const TrapKey& trap) { return Holds(acknowledged, trap); });
  try {
    result.Done = Noted(connection, std::move(changed));
    transaction.Commit();
  } catch (const DatabaseError& error) {
    // Nothing was committed; what went wrong first says more.
    if (IsConflict(error) || !result.Failure) throw;
    throw DatabaseError(*result.Failure);
  }
  return result;
}

// All unacknowledged rows of a condition up to a time.
class Sweep {
 public:
  using Statement = std::function<std::string(std::int32_t beforeTime)>;

  // condition: beside being unacknowledged, with an AND behind it.
  Sweep(Connection& connection, std::string condition, Statement statement, std::int32_t beforeTime)
      : connection_(connection),
        condition_("EventAck = 0 AND " + std::move(condition)),
        statement_(std::move(statement)),
        beforeTime_(beforeTime) {}

  bool Ended() const { return ended_; }
  void End() { ended_ = true; }
  bool FitsInto(std::size_t rows) { return !TimeAt(rows); }

  // The oldest ones: with the statement that the last portion uses, up to an earlier time.  Of a second that
  // alone has more of them than a portion takes, some of its traps one by one.
  AcknowledgedPortion Next(std::size_t rows) {
    const auto behind = TimeAt(rows);
    if (!behind) return Rest(connection_, std::span(this, 1));
    const auto first = TimeAt(0);
    if (first && *first < *behind) {
      AcknowledgedPortion portion = UpTo(connection_, std::span(this, 1), *behind);
      from_ = *behind;
      return portion;
    }
    const std::vector<TrapKey> some = KeysAt(*behind, rows);
    return AcknowledgeSome(connection_, some).Done;
  }

  // All that is left of several, in one transaction.
  static AcknowledgedPortion Rest(Connection& connection, std::span<Sweep> sweeps) {
    AcknowledgedPortion portion = UpTo(connection, sweeps, std::numeric_limits<std::int32_t>::max());
    std::ranges::for_each(sweeps, &Sweep::End);
    return portion;
  }

 private:
  // A portion begins where the one before has ended: what that has changed is still in a server's index, and
  // in its figures, by which it may rather read the whole table.  The last one takes all, as somebody may
  // have stored or taken back older ones meanwhile.
  std::string NotBefore(bool last) const {
    return from_ && !last ? fmt::format(" AND EventTime >= {}", *from_) : std::string();
  }
  std::string Before(std::int32_t time, bool last) const {
    return fmt::format("{}EventTime < {}{}", condition_, time, NotBefore(last));
  }

  std::optional<std::int32_t> TimeAt(std::size_t row) {
    Recordset rows = connection_.OpenRecordset(
        fmt::format("SELECT EventTime FROM {} WHERE {} ORDER BY EventTime ASC LIMIT 1 OFFSET {}", kEventTrap,
                    Before(beforeTime_, false), row));
    return rows.Next() ? std::optional(rows.Integer(std::size_t{0})) : std::nullopt;
  }

  std::vector<TrapKey> KeysAt(std::int32_t time, std::size_t count) {
    Recordset rows = connection_.OpenRecordset(
        fmt::format("SELECT SequenceNumber FROM {} WHERE {}EventTime = {} ORDER BY SequenceNumber LIMIT {}",
                    kEventTrap, condition_, time, count));
    std::vector<TrapKey> keys;
    while (rows.Next()) keys.push_back({rows.Integer(std::size_t{0}), time});
    return keys;
  }

  static AcknowledgedPortion UpTo(Connection& connection, std::span<Sweep> sweeps, std::int32_t time) {
    for (int tries = 1;; ++tries) {
      Transaction transaction(connection, kEventTrap);
      LockedRows locked;
      std::int64_t touched = 0;
      for (Sweep& sweep : sweeps) touched += sweep.Acknowledge(std::min(time, sweep.beforeTime_), locked);
      if (touched <= std::ssize(locked.New)) {
        std::ranges::sort(locked.New);
        AcknowledgedPortion portion = Noted(connection, std::move(locked.New));
        transaction.Commit();
        return portion;
      }
      // Some were committed between the two statements, and nobody could say which: once more.
      if (tries == kTriesAtOneMoment) {
        throw DatabaseError("Traps of this time are stored too quickly to be told apart.", "55000", 0, {});
      }
    }
  }

  // How many rows the statement touched.
  std::int64_t Acknowledge(std::int32_t time, LockedRows& locked) {
    const bool last = time == beforeTime_;
    Lock(connection_, Before(time, last), locked);
    return connection_.Execute(statement_(time) + NotBefore(last));
  }

  Connection& connection_;
  std::string condition_;
  Statement statement_;
  std::int32_t beforeTime_;
  std::optional<std::int32_t> from_;  // older ones are done
  bool ended_ = false;
};

// To the end, or as far as it goes.  more: something follows, so that stopping at its end leaves that.
void Carry(Sweep& sweep, bool more, Connection& connection, PortionSize& size, Acknowledgement& result,
           const GoOn& goOn) {
  std::int64_t done = result.ChangedCount();
  while (!sweep.Ended() && !result.Stopped && !result.Failure) {
    try {
      AcknowledgedPortion portion = Portion(connection, size, [&] { return sweep.Next(size.Rows()); });
      done += std::ssize(portion.Changed);
      Add(result, std::move(portion));
      result.Stopped = (more || !sweep.Ended()) && !goOn(done);
    } catch (const DatabaseError& error) {
      if (result.Portions.empty()) throw;
      result.Failure = error;
    }
  }
}

// Those that are all small, in one transaction.  False: they are not.
bool CarrySmall(std::span<Sweep> sweeps, bool more, Connection& connection, const PortionSize& size,
                Acknowledgement& result, const GoOn& goOn) {
  const std::size_t rows = std::min(size.Rows(), kRowsOfASmallSource);
  try {
    if (!std::ranges::all_of(sweeps, [rows](Sweep& sweep) { return sweep.FitsInto(rows); })) return false;
    Add(result, connection.Together([&] {
      return RetriedOnce(connection, [&] { return Sweep::Rest(connection, sweeps); });
    }));
    result.Stopped = more && !goOn(result.ChangedCount());
  } catch (const DatabaseError& error) {
    if (result.Portions.empty()) throw;
    result.Failure = error;
  }
  return true;
}

}  // namespace

std::int64_t Acknowledgement::ChangedCount() const {
  return std::accumulate(
      Portions.begin(), Portions.end(), std::int64_t{0},
      [](std::int64_t sum, const auto& portion) { return sum + std::ssize(portion.Changed); });
}

TrapSelection Acknowledgement::Changed() const {
  std::vector<std::int32_t> numbers;
  numbers.reserve(static_cast<std::size_t>(ChangedCount()));
  for (const AcknowledgedPortion& portion : Portions) {
    std::ranges::transform(portion.Changed, std::back_inserter(numbers), &TrapKey::Number);
  }
  return SelectionOf(std::move(numbers));
}

Acknowledgement AcknowledgeTraps(Connection& connection, std::span<const TrapKey> traps, const GoOn& goOn) {
  Acknowledgement result;
  PortionSize size;
  std::vector<std::int32_t> leaving;
  for (std::size_t done = 0; done < traps.size() && !result.Failure && !result.Stopped;) {
    const auto some = traps.subspan(done, std::min(size.Rows(), traps.size() - done));
    try {
      SingleTraps portion = Portion(connection, size, [&] { return AcknowledgeSome(connection, some); });
      leaving.insert(leaving.end(), portion.Leaving.begin(), portion.Leaving.end());
      result.Gone += portion.Gone;
      result.Failure = std::move(portion.Failure);
      Add(result, std::move(portion.Done));
    } catch (const DatabaseError& error) {
      if (done == 0) throw;
      result.Failure = error;
    }
    done += some.size();
    result.Stopped = !result.Failure && done < traps.size() && !goOn(static_cast<std::int64_t>(done));
  }
  if (!leaving.empty()) result.Leaving.push_back(SelectionOf(std::move(leaving)));
  return result;
}

std::int64_t CountUnacknowledged(Connection& connection, std::span<const std::string> sources,
                                 std::int32_t beforeTime) {
  std::int64_t count = 0;
  for (const std::string& source : sources) {
    Recordset rows =
        connection.OpenRecordset(fmt::format("{} AND {} AND EventTime < {}", CountUnacknowledgedStatement(),
                                             SourceCondition(source, connection.Kind()), beforeTime));
    if (rows.Next()) count += rows.Integer(std::size_t{0});
  }
  return count;
}

Acknowledgement AcknowledgeSources(Connection& connection, std::span<const std::string> sources,
                                   std::int32_t beforeTime, const GoOn& goOn) {
  std::vector<Sweep> sweeps;
  for (const std::string& source : sources) {
    sweeps.emplace_back(
        connection, SourceCondition(source, connection.Kind()) + " AND ",
        [&source, engine = connection.Kind()](std::int32_t time) {
          return AcknowledgeSourceStatement(source, time, engine);
        },
        beforeTime);
  }
  Acknowledgement result;
  PortionSize size;
  // A system has few texts, and is acknowledged wholly or not at all while it has few traps.
  for (std::span<Sweep> left = sweeps; !left.empty() && !result.Stopped && !result.Failure;) {
    const std::span<Sweep> some = left.first(std::min(left.size(), kSourcesOfAPortion));
    left = left.subspan(some.size());
    if (CarrySmall(some, !left.empty(), connection, size, result, goOn)) continue;
    for (Sweep& sweep : some) {
      Carry(sweep, !left.empty() || &sweep != &some.back(), connection, size, result, goOn);
    }
  }
  const bool whole = !result.Stopped && !result.Failure;
  if (whole && sources.size() <= kSourcesTold) {
    for (const std::string& source : sources) {
      result.Leaving.push_back({.Numbers = {kEveryNumber}, .Source = source, .BeforeTime = beforeTime});
    }
  } else {
    result.Leaving.push_back(result.Changed());
  }
  return result;
}

Acknowledgement AcknowledgeAll(Connection& connection, std::int32_t beforeTime, const GoOn& goOn) {
  Acknowledgement result;
  PortionSize size;
  Sweep sweep(connection, "", AcknowledgeAllStatement, beforeTime);
  Carry(sweep, false, connection, size, result, goOn);
  return result;
}

namespace {

// The right one's own entries are of other traps.
class TakingBack {
 public:
  explicit TakingBack(Connection& connection) : connection_(connection) {}

  TrapSelection Take(std::span<const TrapKey> traps, std::int32_t changeId) {
    Transaction transaction(connection_, kEventTrap);
    const LockedRows stored = LockNumbers(connection_, traps);
    std::vector<TrapKey> back;
    std::ranges::copy_if(traps, std::back_inserter(back), [&](const TrapKey& trap) {
      return Holds(stored.All, trap) && !Holds(stored.New, trap);
    });
    // Whoever made some of them new again meanwhile has decided about these.
    const std::vector<Change> since = ReadChanges(
        connection_, fmt::format("Change_ID > {} AND Kind = {} AND (Change_ID < {} OR Writer <> {})",
                                 changeId, static_cast<std::int32_t>(ChangeKind::Unacknowledged), firstEntry_,
                                 Quoted(connection_.Author().Writer)));
    std::erase_if(back, [&](const TrapKey& trap) {
      return std::ranges::any_of(
          since, [&trap](const Change& change) { return change.Traps.HasNumber(trap.Number); });
    });
    TrapSelection taken = SelectionOf(back);
    std::int64_t rows = 0;
    ForEachStatement(back, [&](const std::string& condition) {
      // With the plain column an engine may walk all that was ever acknowledged.
      rows += connection_.Execute(
          fmt::format("UPDATE {} SET EventAck = 0 WHERE +EventAck = 1 AND {}", kEventTrap, condition));
    });
    std::int32_t entry = firstEntry_;
    if (!taken.Numbers.empty()) {
      entry = std::min(entry, NoteChange(connection_, ChangeKind::Unacknowledged, taken, rows));
    }
    transaction.Commit();
    firstEntry_ = entry;
    return taken;
  }

 private:
  Connection& connection_;
  std::int32_t firstEntry_ = std::numeric_limits<std::int32_t>::max();
};

}  // namespace

TakenBack TakeBack(Connection& connection, const Acknowledgement& acknowledgement, const GoOn& goOn) {
  TakenBack result;
  TakingBack work(connection);
  PortionSize size;
  std::vector<std::int32_t> numbers;
  const std::int64_t asked = acknowledgement.ChangedCount();
  std::int64_t done = 0;
  for (const AcknowledgedPortion& portion : acknowledgement.Portions) {
    for (std::span<const TrapKey> left = portion.Changed; !left.empty();) {
      const auto some = left.first(std::min(size.Rows(), left.size()));
      try {
        const TrapSelection back =
            Portion(connection, size, [&] { return work.Take(some, portion.ChangeId); });
        for (const NumberRange& range : back.Numbers) {
          for (std::int64_t number = range.First; number <= range.Last; ++number) {
            numbers.push_back(static_cast<std::int32_t>(number));
          }
        }
      } catch (const DatabaseError& error) {
        if (done == 0) throw;
        result.Failure = error;
      }
      done += std::ssize(some);
      left = left.subspan(some.size());
      result.Stopped = !result.Failure && done < asked && !goOn(done);
      if (result.Failure || result.Stopped) {
        result.Traps = SelectionOf(std::move(numbers));
        return result;
      }
    }
  }
  result.Traps = SelectionOf(std::move(numbers));
  return result;
}

}  // namespace korvane::store
