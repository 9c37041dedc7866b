#include "store/Acknowledge.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "store/ChangeLog.h"
#include "store/Odbc.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {
namespace {

constexpr std::size_t kRangesOfAStatement = 200;
constexpr std::size_t kSourcesTold = 20;  // of more, lists look for the numbers instead
constexpr NumberRange kEveryNumber{std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()};
// Traps that were committed between the two statements on a source lie this close to the newest.
constexpr std::int32_t kCommittedMeanwhile = 1000;

// The unacknowledged rows of the condition, kept from everybody else until the transaction ends.
void LockUnacknowledged(Connection& connection, std::string_view condition,
                        std::vector<std::int32_t>& numbers) {
  const Engine engine = connection.Internals().Kind;
  const bool locksRows = engine == Engine::PostgreSql || engine == Engine::MariaDb;
  Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT SequenceNumber FROM {} WHERE EventAck = 0 AND {} ORDER BY SequenceNumber{}",
                  kEventTrap, condition, locksRows ? " FOR UPDATE" : ""));
  while (rows.Next()) numbers.push_back(rows.Integer(std::size_t{0}));
}

template <class Each>
void ForEachStatement(std::span<const NumberRange> numbers, Each each) {
  while (!numbers.empty()) {
    const auto some = numbers.first(std::min(numbers.size(), kRangesOfAStatement));
    each(NumbersCondition(some));
    numbers = numbers.subspan(some.size());
  }
}

std::int32_t NoteAcknowledged(Connection& connection, const TrapSelection& traps, std::int64_t changed) {
  return traps.Numbers.empty() ? 0 : NoteChange(connection, ChangeKind::Acknowledged, traps, changed);
}

// Statements on all traps of a condition.
class Acknowledging {
 public:
  explicit Acknowledging(Connection& connection) : connection_(connection) {}

  void Do(const std::string& statement, const std::string& condition) {
    const std::ptrdiff_t before = std::ssize(fresh_);
    LockUnacknowledged(connection_, condition, fresh_);
    const std::int64_t touched = connection_.Execute(statement);
    rows_ += touched;
    if (touched <= std::ssize(fresh_) - before) return;
    // Some were committed between the two statements.  Which they are can't be told from others that were
    // acknowledged before, so all are noted, and none is taken back.
    Recordset rows = connection_.OpenRecordset(fmt::format(
        "SELECT SequenceNumber FROM {} WHERE EventAck = 1 AND {} ORDER BY SequenceNumber DESC LIMIT {}",
        kEventTrap, condition, kCommittedMeanwhile));
    while (rows.Next()) meanwhile_.push_back(rows.Integer(std::size_t{0}));
  }

  void Note(Acknowledgement& result) {
    meanwhile_.insert(meanwhile_.end(), fresh_.begin(), fresh_.end());
    result.Changed = SelectionOf(std::move(fresh_));
    TrapSelection acknowledged = SelectionOf(std::move(meanwhile_));
    result.ChangeId = NoteAcknowledged(connection_, acknowledged, rows_);
    if (result.Leaving.empty()) result.Leaving.push_back(std::move(acknowledged));
  }

 private:
  Connection& connection_;
  std::vector<std::int32_t> fresh_;
  std::vector<std::int32_t> meanwhile_;
  std::int64_t rows_ = 0;
};

TrapSelection Common(const TrapSelection& selection, std::vector<std::int32_t> numbers) {
  std::erase_if(numbers, [&](std::int32_t number) { return !selection.HasNumber(number); });
  return SelectionOf(std::move(numbers));
}

Acknowledgement TrapsInOneTransaction(Connection& connection, std::span<const std::int32_t> sequenceNumbers,
                                      const std::function<void(std::size_t done)>& done) {
  Acknowledgement result;
  const TrapSelection asked = SelectionOf({sequenceNumbers.begin(), sequenceNumbers.end()});
  Transaction transaction(connection, kEventTrap);
  std::vector<std::int32_t> fresh;
  ForEachStatement(asked.Numbers,
                   [&](const std::string& condition) { LockUnacknowledged(connection, condition, fresh); });
  std::vector<std::int32_t> acknowledged;
  try {
    for (const std::int32_t number : sequenceNumbers) {
      connection.Execute(AcknowledgeTrapStatement(number));
      acknowledged.push_back(number);
      done(acknowledged.size());
    }
  } catch (const DatabaseError& error) {
    if (IsConflict(error)) throw;
    result.Failure = error;
  }
  const TrapSelection leaving = SelectionOf(std::move(acknowledged));
  try {
    result.Changed = Common(leaving, std::move(fresh));
    result.ChangeId = NoteAcknowledged(connection, result.Changed, CountOf(result.Changed.Numbers));
    transaction.Commit();
  } catch (const DatabaseError& error) {
    if (IsConflict(error)) throw;
    // Nothing was committed; what went wrong first says more.
    const DatabaseError failure = result.Failure.value_or(error);
    result = {};
    result.Failure = failure;
    return result;
  }
  if (!leaving.Numbers.empty()) result.Leaving.push_back(leaving);
  return result;
}

Acknowledgement SourcesInOneTransaction(Connection& connection, std::span<const std::string> sources,
                                        std::int32_t beforeTime) {
  Transaction transaction(connection, kEventTrap);
  Acknowledging work(connection);
  Acknowledgement result;
  for (const std::string& source : sources) {
    work.Do(AcknowledgeSourceStatement(source, beforeTime),
            fmt::format("Source = {} AND EventTime < {}", Quoted(source), beforeTime));
    if (sources.size() <= kSourcesTold) {
      result.Leaving.push_back({.Numbers = {kEveryNumber}, .Source = source, .BeforeTime = beforeTime});
    }
  }
  work.Note(result);
  transaction.Commit();
  return result;
}

Acknowledgement AllInOneTransaction(Connection& connection, std::int32_t beforeTime) {
  Transaction transaction(connection, kEventTrap);
  Acknowledging work(connection);
  work.Do(AcknowledgeAllStatement(beforeTime), fmt::format("EventTime < {}", beforeTime));
  Acknowledgement result;
  work.Note(result);
  transaction.Commit();
  return result;
}

TrapSelection BackInOneTransaction(Connection& connection, const Acknowledgement& acknowledgement) {
  Transaction transaction(connection, kEventTrap);
  // Whoever made some of them new again meanwhile has decided about these.
  std::vector<Change> since =
      ReadChanges(connection, fmt::format("Change_ID > {} AND Kind = {}", acknowledgement.ChangeId,
                                          static_cast<std::int32_t>(ChangeKind::Unacknowledged)));
  std::vector<std::int32_t> numbers;
  ForEachStatement(acknowledgement.Changed.Numbers, [&](const std::string& condition) {
    Recordset rows = connection.OpenRecordset(
        fmt::format("SELECT SequenceNumber FROM {} WHERE EventAck = 1 AND {}", kEventTrap, condition));
    while (rows.Next()) numbers.push_back(rows.Integer(std::size_t{0}));
  });
  std::erase_if(numbers, [&](std::int32_t number) {
    return std::any_of(since.begin(), since.end(),
                       [number](const Change& change) { return change.Traps.HasNumber(number); });
  });
  TrapSelection back = SelectionOf(std::move(numbers));
  std::int64_t rows = 0;
  ForEachStatement(back.Numbers, [&](const std::string& condition) {
    rows += connection.Execute(
        fmt::format("UPDATE {} SET EventAck = 0 WHERE EventAck = 1 AND {}", kEventTrap, condition));
  });
  if (!back.Numbers.empty()) NoteChange(connection, ChangeKind::Unacknowledged, back, rows);
  transaction.Commit();
  return back;
}

}  // namespace

Acknowledgement AcknowledgeTraps(Connection& connection, std::span<const std::int32_t> sequenceNumbers,
                                 const std::function<void(std::size_t done)>& done) {
  return RetriedOnce(connection, [&] { return TrapsInOneTransaction(connection, sequenceNumbers, done); });
}

Acknowledgement AcknowledgeSources(Connection& connection, std::span<const std::string> sources,
                                   std::int32_t beforeTime) {
  return RetriedOnce(connection, [&] { return SourcesInOneTransaction(connection, sources, beforeTime); });
}

Acknowledgement AcknowledgeAll(Connection& connection, std::int32_t beforeTime) {
  return RetriedOnce(connection, [&] { return AllInOneTransaction(connection, beforeTime); });
}

TrapSelection TakeBack(Connection& connection, const Acknowledgement& acknowledgement) {
  return RetriedOnce(connection, [&] { return BackInOneTransaction(connection, acknowledgement); });
}

}  // namespace korvane::store
