// The statements on the trap table, put together as text from fixed fragments and values.  The blanks of the
// fragments are part of them.  A text value goes between single quotes by Quoted and in no other way.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "store/TrapSelection.h"

namespace korvane::store {

enum class Engine;

// The text between single quotes, as it is.  Throws the DatabaseError that a broken statement would give
// when the text holds a single quote or a NUL, so such a value never reaches the database.
std::string Quoted(std::string_view text);

std::string AcknowledgeAllStatement(std::int32_t beforeTime);
std::string AcknowledgeSourceStatement(std::string_view source, std::int32_t beforeTime, Engine engine);
std::string AcknowledgeTrapStatement(std::int32_t sequenceNumber);

std::string NewestTimeStatement();           // field "MaxTicks"; NULL on an empty table
std::string CountUnacknowledgedStatement();  // one row, one column

// Unacknowledged traps below upperBound for the Systems window's counts; with a lower bound, above it.
std::string SystemsLoadStatement(std::int32_t upperBound);
std::string SystemsLoadStatement(std::int32_t upperBound, std::int32_t lowerBound);

// The same for a Traps window, ordered (the two blanks after WHERE belong there).
std::string TrapsLoadStatement(std::int32_t upperBound);
std::string TrapsLoadStatement(std::int32_t upperBound, std::int32_t lowerBound);
// One of these, narrowed to the traps of a source text.
std::string OfSource(std::string_view trapsLoadStatement, std::string_view source, Engine engine);

// Which traps have this source text; for a WHERE that asks for unacknowledged ones.  MariaDB has no index of
// some of the rows: there it names a second column, which is empty where a trap is acknowledged.
std::string SourceCondition(std::string_view source, Engine engine);

// Both bounds inclusive, acknowledged or not.
std::string ReportStatement(std::int32_t fromTime, std::int32_t toTime);
std::string CountReportStatement(std::int32_t fromTime, std::int32_t toTime);  // one row, one column

// The rows of these numbers, for a WHERE; of a few hundred ranges at most, and of none without ranges.
std::string NumbersCondition(std::span<const NumberRange> numbers,
                             std::string_view column = "SequenceNumber");

}  // namespace korvane::store
