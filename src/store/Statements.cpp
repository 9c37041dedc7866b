#include "store/Statements.h"

#include <fmt/format.h>

#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/Tables.h"

namespace korvane::store {

std::string Quoted(std::string_view text) {
  if (text.find('\'') != std::string_view::npos) {
    throw DatabaseError("Syntax error: a text that holds a single quote (') can't stand in a statement.",
                        "42000", 0, std::string(text));
  }
  if (text.find('\0') != std::string_view::npos) {
    throw DatabaseError("Syntax error: a text that holds a NUL character can't stand in a statement.",
                        "42000", 0, std::string(text));
  }
  return fmt::format("'{}'", text);
}

std::string AcknowledgeAllStatement(std::int32_t beforeTime) {
  return fmt::format("UPDATE {} SET EventAck = 1 WHERE EventAck = 0 AND EventTime < {}", kEventTrap,
                     beforeTime);
}

std::string AcknowledgeSourceStatement(std::string_view source, std::int32_t beforeTime, Engine engine) {
  return fmt::format("UPDATE {} SET EventAck = 1 WHERE EventAck = 0 AND {} AND EventTime < {}", kEventTrap,
                     SourceCondition(source, engine), beforeTime);
}

std::string AcknowledgeTrapStatement(std::int32_t sequenceNumber) {
  return fmt::format("UPDATE {} SET EventAck = 1 WHERE SequenceNumber = {}", kEventTrap, sequenceNumber);
}

std::string NewestTimeStatement() {
  return fmt::format("SELECT MAX(EventTime) AS MaxTicks FROM {}", kEventTrap);
}

std::string CountUnacknowledgedStatement() {
  return fmt::format("SELECT COUNT(*) FROM {} WHERE EventAck = 0", kEventTrap);
}

std::string SystemsLoadStatement(std::int32_t upperBound) {
  return fmt::format("SELECT * FROM {} WHERE EventAck = 0 AND EventTime < {}", kEventTrap, upperBound);
}

std::string SystemsLoadStatement(std::int32_t upperBound, std::int32_t lowerBound) {
  return fmt::format("{} AND EventTime > {}", SystemsLoadStatement(upperBound), lowerBound);
}

namespace {

constexpr std::string_view kTrapOrder = " ORDER BY EventTime ASC, SequenceNumber ASC";

}  // namespace

std::string TrapsLoadStatement(std::int32_t upperBound) {
  return fmt::format("SELECT * FROM {} WHERE  EventAck = 0 AND EventTime < {}{}", kEventTrap, upperBound,
                     kTrapOrder);
}

std::string TrapsLoadStatement(std::int32_t upperBound, std::int32_t lowerBound) {
  return fmt::format("SELECT * FROM {} WHERE  EventAck = 0 AND EventTime < {} AND EventTime > {}{}",
                     kEventTrap, upperBound, lowerBound, kTrapOrder);
}

std::string OfSource(std::string_view trapsLoadStatement, std::string_view source, Engine engine) {
  trapsLoadStatement.remove_suffix(kTrapOrder.size());
  return fmt::format("{} AND {}{}", trapsLoadStatement, SourceCondition(source, engine), kTrapOrder);
}

std::string SourceCondition(std::string_view source, Engine engine) {
  const std::string text = Quoted(source);
  return engine == Engine::MariaDb ? fmt::format("Source = {0} AND Unacknowledged_Source = {0}", text)
                                   : "Source = " + text;
}

std::string ReportStatement(std::int32_t fromTime, std::int32_t toTime) {
  return fmt::format("SELECT * FROM {} WHERE EventTime >= {} AND EventTime <= {}{}", kEventTrap, fromTime,
                     toTime, kTrapOrder);
}

std::string CountReportStatement(std::int32_t fromTime, std::int32_t toTime) {
  return fmt::format("SELECT COUNT(*) FROM {} WHERE EventTime >= {} AND EventTime <= {}", kEventTrap,
                     fromTime, toTime);
}

// Of many ranges SQLite would rather walk the whole table; it looks up each of many numbers.
std::string NumbersCondition(std::span<const NumberRange> numbers, std::string_view column) {
  constexpr std::size_t kManyRanges = 10;
  constexpr std::int64_t kMostNumbers = 1000;
  std::string condition;
  if (numbers.size() >= kManyRanges && CountOf(numbers) <= kMostNumbers) {
    for (const NumberRange& range : numbers) {
      for (std::int64_t number = range.First; number <= range.Last; ++number) {
        condition += fmt::format("{}{}", condition.empty() ? "" : ", ", number);
      }
    }
    return fmt::format("{} IN ({})", column, condition);
  }
  for (const NumberRange& range : numbers) {
    condition += fmt::format("{}{} BETWEEN {} AND {}", condition.empty() ? "" : " OR ", column, range.First,
                             range.Last);
  }
  return fmt::format("({})", condition.empty() ? "1 = 0" : condition);
}

}  // namespace korvane::store
