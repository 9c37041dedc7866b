#include "store/Heartbeats.h"

#include <fmt/format.h>

#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

constexpr std::string_view kNameless = "(unnamed)";

}  // namespace

// A host may have any name; one that can't stand in a statement is no reason to store no traps.
std::string QuotedMachine(std::string_view machine) {
  return Quoted(machine.find_first_of("'\\") == std::string_view::npos ? machine : kNameless);
}

void Beat(Connection& connection, std::string_view spoolId, std::string_view machine,
          const ReceiverCondition& condition, bool stopped) {
  const std::string id = Quoted(spoolId);
  const std::string values = fmt::format(
      "Machine = {}, Stopped = {}, Dropped = {}, Dropped_Since = {}, Disk_Used = {}", QuotedMachine(machine),
      stopped ? 1 : 0, condition.Dropped, condition.DroppedSince, condition.DiskUsed);
  // The number starts again below its end.
  const auto beat = [&] {
    return connection.Execute(
        fmt::format("UPDATE {} SET Beats = CASE WHEN Beats < 2000000000 THEN Beats + 1 ELSE 1 END, {} "
                    "WHERE Spool_ID = {}",
                    kReceiverHeartbeat, values, id));
  };
  if (beat() == 0) {
    connection.Execute(fmt::format("INSERT INTO {} (Spool_ID) VALUES ({})", kReceiverHeartbeat, id));
    beat();
  }
}

std::vector<Heartbeat> ReadHeartbeats(Connection& connection) {
  std::vector<Heartbeat> found;
  Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT Spool_ID, Machine, Beats, Stopped, Dropped, Dropped_Since, Disk_Used FROM {} "
                  "ORDER BY Machine, Spool_ID",
                  kReceiverHeartbeat));
  while (rows.Next()) {
    found.push_back({.SpoolId = std::string(rows.Text("Spool_ID")),
                     .Machine = std::string(rows.Text("Machine")),
                     .Beats = rows.Integer("Beats"),
                     .Stopped = rows.Integer("Stopped") != 0,
                     .Condition = {.Dropped = rows.Integer("Dropped"),
                                   .DroppedSince = rows.Integer("Dropped_Since"),
                                   .DiskUsed = rows.Integer("Disk_Used")}});
  }
  return found;
}

}  // namespace korvane::store
