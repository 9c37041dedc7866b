#include "receiver/store/Partitions.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "store/ChangeLog.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapPartitions.h"

namespace korvane::receiver {
namespace {

using store::Connection;
using store::kDroppingLock;
using store::kEventTrap;
using store::kLeavingMark;
using store::kMakingLock;
using store::kNumbersOfPartition;

constexpr std::int64_t kAhead = 1;
constexpr std::int64_t kLargestNumber = std::numeric_limits<std::int32_t>::max();
// Bounds without an end.
constexpr std::int64_t kMinValue = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMaxValue = std::numeric_limits<std::int64_t>::max();

// Who finishes a dropping holds a lock while it waits that making wants too: making outlasts it.
constexpr std::string_view kDroppingLockTime = "1s";
constexpr std::string_view kMakingLockTime = "10s";
constexpr std::string_view kLockNotAvailable = "55P03";
constexpr int kRoundsOfPatience = 10;

std::string BoundsText(const Partition& partition) {
  return fmt::format("FOR VALUES FROM ({}) TO ({})",
                     partition.From == kMinValue ? "MINVALUE" : fmt::to_string(partition.From),
                     partition.To == kMaxValue ? "MAXVALUE" : fmt::to_string(partition.To));
}

std::optional<std::int64_t> BoundBehind(std::string_view word, std::string_view text) {
  const std::size_t at = text.find(word);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  text.remove_prefix(at + word.size());
  if (text.starts_with("MINVALUE") || text.starts_with("MAXVALUE")) {
    return text.starts_with("MIN") ? kMinValue : kMaxValue;
  }
  if (text.starts_with('\'')) {  // so the server writes a negative one
    text.remove_prefix(1);
  }
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

// False for a text that says something else.
bool TakeBounds(std::string_view text, Partition& partition) {
  const auto from = BoundBehind("FROM (", text);
  const auto to = BoundBehind("TO (", text);
  partition.From = from.value_or(0);
  partition.To = to.value_or(0);
  return from && to;
}

// The text of an expression; empty for NULL.
std::string AnswerOf(Connection& connection, const std::string& expression) {
  store::Recordset rows = connection.OpenRecordset(fmt::format("SELECT {} AS Answer", expression));
  return rows.Next() ? rows.Text("Answer") : std::string();
}

std::int64_t LastGivenNumber(Connection& connection) {
  const std::string counter =
      AnswerOf(connection, fmt::format("pg_get_serial_sequence('{}', 'sequencenumber')", kEventTrap));
  const std::string text = AnswerOf(connection, fmt::format("(SELECT last_value FROM {})", counter));
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// The only one that drops partitions, for a while, and one that waits for nobody else for long.
class DroppingTurn {
 public:
  explicit DroppingTurn(Connection& connection)
      : connection_(connection),
        held_(AnswerOf(connection, fmt::format("CASE WHEN pg_try_advisory_lock({}) THEN 1 ELSE 0 END",
                                               kDroppingLock)) == "1"),
        before_(AnswerOf(connection, "current_setting('lock_timeout')")) {
    connection_.Execute(fmt::format("SET lock_timeout TO '{}'", kDroppingLockTime));
  }
  ~DroppingTurn() {
    try {
      connection_.Execute(fmt::format("SET lock_timeout TO '{}'", before_));
      if (held_) {
        AnswerOf(connection_, fmt::format("pg_advisory_unlock({})", kDroppingLock));
      }
    } catch (const store::DatabaseError&) {  // NOLINT(bugprone-empty-catch): both end with the connection
    }
  }
  DroppingTurn(const DroppingTurn&) = delete;
  DroppingTurn& operator=(const DroppingTurn&) = delete;
  bool IsMine() const { return held_; }

 private:
  Connection& connection_;
  bool held_;
  std::string before_;
};

struct Attached {
  std::vector<Partition> Parts;  // by their numbers
  // One that takes what no other does; none is made here.  Beside it nothing can be detached without a halt.
  std::string Default;
};

// Nothing when the table has no partitions, as on every other engine.
std::optional<Attached> ReadAttached(Connection& connection) {
  if (connection.Kind() != store::Engine::PostgreSql) {
    return std::nullopt;
  }
  store::Recordset rows = connection.OpenRecordset(fmt::format(
      "SELECT i.inhrelid::regclass::text AS Name, pg_get_expr(c.relpartbound, c.oid) AS Bounds, "
      "CASE WHEN i.inhdetachpending THEN 1 ELSE 0 END AS Leaving, "
      "obj_description(i.inhrelid, 'pg_class') AS Mark FROM pg_partitioned_table t "
      "LEFT JOIN pg_inherits i ON i.inhparent = t.partrelid LEFT JOIN pg_class c ON c.oid = i.inhrelid "
      "WHERE t.partrelid = '{}'::regclass",
      kEventTrap));
  std::optional<Attached> found;
  while (rows.Next()) {
    if (!found) {
      found.emplace();
    }
    Partition partition{.Name = rows.Text("Name"),
                        .Leaving = rows.Integer("Leaving") != 0,
                        .Marked = rows.Text("Mark").starts_with(kLeavingMark)};
    if (TakeBounds(rows.Text("Bounds"), partition)) {
      found->Parts.push_back(std::move(partition));
    } else if (!rows.IsNull("Name")) {
      found->Default = partition.Name;
    }
  }
  if (found) {
    std::ranges::sort(found->Parts, {}, &Partition::From);
  }
  return found;
}

// Those that were detached to be dropped.
std::vector<Partition> ReadDetached(Connection& connection) {
  store::Recordset rows = connection.OpenRecordset(store::SelectDetachedPartitions());
  std::vector<Partition> found;
  while (rows.Next()) {
    Partition partition{.Name = rows.Text("Name"), .Marked = true};
    if (TakeBounds(rows.Text("Mark"), partition)) {
      found.push_back(std::move(partition));
    }
  }
  return found;
}

// The parts of the numbers from the counter on that lack a partition.
std::vector<Partition> ReadMissing(Connection& connection) {
  const std::optional<Attached> attached = ReadAttached(connection);
  if (!attached) {
    return {};
  }
  std::vector<Partition> missing;
  const std::int64_t first = LastGivenNumber(connection) / kNumbersOfPartition;
  for (std::int64_t slot = first; slot <= first + kAhead; ++slot) {
    const std::int64_t end = (slot + 1) * kNumbersOfPartition;
    const std::int64_t to = end > kLargestNumber ? kMaxValue : end;
    std::int64_t from = slot == 0 ? kMinValue : slot * kNumbersOfPartition;
    for (const Partition& partition : attached->Parts) {
      if (partition.To > from && partition.From < to) {
        if (partition.From > from) {
          missing.push_back({.Name = {}, .From = from, .To = partition.From});
        }
        from = partition.To;
      }
    }
    if (from < to) {
      missing.push_back({.Name = {}, .From = from, .To = to});
    }
    if (to == kMaxValue) {
      break;
    }
  }
  return missing;
}

// A table by itself that is then attached: making it in its place would wait for every reader.
void MakePartition(Connection& connection, const Partition& partition) {
  const std::string name =
      store::FreePartitionName(connection, partition.From == kMinValue ? 0 : partition.From);
  connection.Execute(
      fmt::format("CREATE TABLE {} (LIKE {} INCLUDING ALL EXCLUDING IDENTITY)", name, kEventTrap));
  connection.Execute(
      fmt::format("ALTER TABLE {} ATTACH PARTITION {} {}", kEventTrap, name, BoundsText(partition)));
}

void MarkPartition(Connection& connection, const Partition& partition, std::string_view text) {
  connection.Execute(fmt::format("COMMENT ON TABLE {} IS '{}'", partition.Name, text));
}

// When the newest trap of the table was received; nothing when it holds none.
std::optional<std::int64_t> NewestTime(Connection& connection, const std::string& table) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT MAX(EventTime) AS Newest FROM {}", table));
  return rows.Next() && !rows.IsNull("Newest") ? std::optional<std::int64_t>(rows.Integer("Newest"))
                                               : std::nullopt;
}

// Consoles know a store by its newest rows, and hear that these were purged only after they are gone.
constexpr std::int64_t kNewestRows = 1000;

bool HoldsNewest(Connection& connection, const Partition& partition) {
  store::Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT COUNT(*) FROM (SELECT 1 FROM {} WHERE SequenceNumber >= {} LIMIT {}) AS newer",
                  kEventTrap, partition.To, kNewestRows));
  return rows.Next() && rows.Integer(std::size_t{0}) < kNewestRows;
}

bool HasUnacknowledged(Connection& connection, const std::string& table) {
  return connection.OpenRecordset(fmt::format("SELECT 1 FROM {} WHERE EventAck = 0 LIMIT 1", table)).Next();
}

}  // namespace

bool LacksPartition(const store::DatabaseError& error) {
  return error.SqlState() == "23514";
}

void MakePartitions(Connection& connection) {
  if (ReadMissing(connection).empty()) {
    return;
  }
  store::Transaction transaction(connection);
  connection.Execute(fmt::format("SET LOCAL lock_timeout TO '{}'", kMakingLockTime));
  AnswerOf(connection, fmt::format("pg_advisory_xact_lock({})", kMakingLock));
  for (const Partition& partition : ReadMissing(connection)) {
    MakePartition(connection, partition);
  }
  transaction.Commit();
}

void Partitions::MakeAhead(Connection& connection) {
  try {
    MakePartitions(connection);
  } catch (const store::DatabaseError& error) {
    Say(LogLevel::Error, fmt::format("the partitions of the next traps can't be made: {}", error.what()));
  }
}

std::vector<PurgeTable> Partitions::Purge(Connection& connection, std::int64_t before, std::int64_t grace) {
  if (!ReadAttached(connection)) {
    return {{.Name = std::string(kEventTrap)}};
  }
  const DroppingTurn turn(connection);
  const std::optional<Attached> attached = ReadAttached(connection);  // now that nobody else drops one
  if (!attached) {
    return {};
  }
  const std::int64_t last = LastGivenNumber(connection);
  Outcome dropping = turn.IsMine() ? FinishDropping(connection, attached->Parts, before) : Outcome::Busy;
  std::vector<PurgeTable> left;
  for (const Partition& partition : attached->Parts) {
    if (partition.Leaving) {
      continue;
    }
    // Nothing comes to a full one any more.
    const bool full = partition.To <= last && attached->Default.empty();
    if (full && !turn.IsMine()) {
      continue;  // another receiver is at it, and may drop it now
    }
    const std::optional<std::int64_t> newest = full ? NewestTime(connection, partition.Name) : std::nullopt;
    if (!full || (newest && *newest >= before + grace)) {
      left.push_back({.Name = partition.Name});
      continue;
    }
    if (!newest || *newest < before) {
      if (HasUnacknowledged(connection, partition.Name)) {
        // Consoles keep count of these: they go in the transaction of the entry that tells how many.
        left.push_back({.Name = partition.Name, .Unacknowledged = true});
        continue;
      }
      if (newest && HoldsNewest(connection, partition)) {
        left.push_back({.Name = partition.Name});
        continue;
      }
      if (dropping == Outcome::Done) {
        dropping = Drop(connection, partition, before);
      }
    }
    if (dropping == Outcome::Refused) {
      left.push_back({.Name = partition.Name});
    }
  }
  if (!attached->Default.empty()) {
    left.push_back({.Name = attached->Default});
  }
  return left;
}

// What another round, or a receiver that ended meanwhile, has left.
Partitions::Outcome Partitions::FinishDropping(Connection& connection, const std::vector<Partition>& attached,
                                               std::int64_t before) {
  Outcome outcome = Outcome::Done;
  for (const Partition& partition : attached) {
    if (outcome == Outcome::Done && partition.Leaving) {
      outcome = Try(partition, [&] {
        connection.Execute(
            fmt::format("ALTER TABLE {} DETACH PARTITION {} FINALIZE", kEventTrap, partition.Name));
      });
    } else if (outcome == Outcome::Done && partition.Marked) {
      outcome = Try(partition, [&] { MarkPartition(connection, partition, ""); });
    }
  }
  for (const Partition& partition : ReadDetached(connection)) {
    if (outcome == Outcome::Done) {
      outcome = Try(partition, [&] { DropDetached(connection, partition, before); });
    }
  }
  return outcome;
}

Partitions::Outcome Partitions::Drop(Connection& connection, const Partition& partition,
                                     std::int64_t before) {
  return Try(partition, [&] {
    MarkPartition(connection, partition, fmt::format("{}{}", kLeavingMark, BoundsText(partition)));
    connection.Execute(
        fmt::format("ALTER TABLE {} DETACH PARTITION {} CONCURRENTLY", kEventTrap, partition.Name));
    DropDetached(connection, partition, before);
  });
}

// Nobody can reach its rows any more, so what is read of them here holds until the end.
void Partitions::DropDetached(Connection& connection, const Partition& partition, std::int64_t before) {
  store::Transaction transaction(connection);
  connection.Execute(fmt::format("LOCK TABLE {} IN ACCESS EXCLUSIVE MODE", partition.Name));
  const std::optional<std::int64_t> newest = NewestTime(connection, partition.Name);
  if (newest && *newest >= before) {
    // A receiver that was on the way with it while the partition was looked at.
    connection.Execute(fmt::format("ALTER TABLE {} ATTACH PARTITION {} {}", kEventTrap, partition.Name,
                                   BoundsText(partition)));
    transaction.Commit();
    return;
  }
  // The time as well: numbers alone may be those of other traps by now, where they were given anew.
  store::TrapSelection gone{
      .Numbers = {}, .Source = {}, .BeforeTime = static_cast<std::int32_t>(std::min(before, kLargestNumber))};
  std::int64_t fresh = 0;
  if (newest) {
    {
      store::Recordset ends = connection.OpenRecordset(
          fmt::format("SELECT MIN(SequenceNumber), MAX(SequenceNumber) FROM {}", partition.Name));
      ends.Next();
      gone.Numbers = {{ends.Integer(std::size_t{0}), ends.Integer(std::size_t{1})}};
    }
    store::Recordset count =
        connection.OpenRecordset(fmt::format("SELECT COUNT(*) FROM {} WHERE EventAck = 0", partition.Name));
    fresh = count.Next() ? count.Integer(std::size_t{0}) : 0;
  }
  connection.Execute(fmt::format("DROP TABLE {}", partition.Name));
  if (newest) {
    store::NoteChange(connection, store::ChangeKind::Purged, gone, fresh);
  }
  transaction.Commit();
  log_.Info(newest ? fmt::format("the traps {} to {} were deleted with their partition {}",
                                 gone.Numbers.front().First, gone.Numbers.front().Last, partition.Name)
                   : fmt::format("the empty partition {} was deleted", partition.Name));
}

Partitions::Outcome Partitions::Try(const Partition& partition, const std::function<void()>& work) {
  try {
    work();
    busyRounds_ = 0;
    return Outcome::Done;
  } catch (const store::DatabaseError& error) {
    if (error.SqlState() != kLockNotAvailable) {
      Say(LogLevel::Error, fmt::format("the partition {} of old traps can't be deleted whole: {}",
                                       partition.Name, error.what()));
      return Outcome::Refused;
    }
    if (++busyRounds_ == kRoundsOfPatience) {
      Say(LogLevel::Warning, fmt::format("the partition {} of old traps is still in use: somebody has been "
                                         "reading in one transaction for minutes",
                                         partition.Name));
    }
    return Outcome::Busy;
  }
}

void Partitions::Say(LogLevel level, const std::string& text) {
  if (std::exchange(said_, text) != text) {
    log_.Write(level, text);
  }
}

}  // namespace korvane::receiver
