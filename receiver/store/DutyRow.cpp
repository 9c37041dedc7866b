#include "receiver/store/DutyRow.h"

#include <fmt/format.h>

#include "store/Heartbeats.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/TrapNumbers.h"

namespace korvane::receiver {
namespace {

constexpr std::string_view kReceiverDuty = "Receiver_Duty";
// Less than the time after which another receiver takes over.
constexpr int kStandstillSeconds = 4;

// The number starts again below its end.
std::string OneMore(std::string_view column) {
  return fmt::format("{0} = CASE WHEN {0} < 2000000000 THEN {0} + 1 ELSE 1 END", column);
}

// A change of one row, in a transaction of its own; false when no row is as it says.
bool Changes(store::Connection& connection, const std::string& statement) {
  return store::RetriedOnce(connection, [&] {
    store::Transaction transaction(connection);
    LimitStandstill(connection);
    const bool changed = connection.Execute(statement) == 1;
    transaction.Commit();
    return changed;
  });
}

}  // namespace

DutyLost::DutyLost(const std::string& statement)
    : DatabaseError("Another receiver of the group has the duty to store.", "55000", 0, statement) {}

std::string ClaimStatement(const DutyClaim& claim) {
  const bool holds = !claim.Holder.empty();
  std::string change = holds ? OneMore("Beat") : "";
  std::string condition = holds ? " AND Holder = " + store::Quoted(claim.Holder) : "";
  if (claim.Additions) {
    change += (change.empty() ? "" : ", ") + OneMore("Additions");
    condition += fmt::format(" AND Additions = {}", *claim.Additions);
  }
  return fmt::format("UPDATE {} SET {} WHERE Group_Name = {} AND Term = {}{}", kReceiverDuty, change,
                     store::Quoted(claim.Group), claim.Term, condition);
}

std::string NoteStatement(const DutyClaim& claim, std::string_view newest) {
  return fmt::format("UPDATE {} SET Stored_Number = {}{} WHERE Group_Name = {}", kReceiverDuty, newest,
                     claim.Through ? fmt::format(", Stored_Through = {}", *claim.Through) : "",
                     store::Quoted(claim.Group));
}

void LimitStandstill(store::Connection& connection) {
  if (connection.Kind() == store::Engine::PostgreSql) {
    connection.Execute(
        fmt::format("SET LOCAL idle_in_transaction_session_timeout = '{}s'", kStandstillSeconds));
  } else if (connection.Kind() == store::Engine::MariaDb) {
    connection.Execute(fmt::format("SET SESSION idle_write_transaction_timeout = {}", kStandstillSeconds));
  }
}

void RenewDuty(store::Connection& connection, const DutyClaim& claim) {
  store::RetriedOnce(connection, [&] {
    store::Transaction transaction(connection);
    LimitStandstill(connection);
    const std::string statement = ClaimStatement(claim);
    if (connection.Execute(statement) != 1) {
      throw DutyLost(statement);
    }
    connection.Execute(NoteStatement(claim, std::to_string(store::NewestTrapNumber(connection))));
    transaction.Commit();
  });
}

std::optional<DutyRow> ReadDuty(store::Connection& connection, std::string_view group) {
  store::Recordset rows = connection.OpenRecordset(kReceiverDuty, "Group_Name = " + store::Quoted(group));
  if (!rows.Next()) {
    return std::nullopt;
  }
  return DutyRow{.Holder = rows.Text("Holder"),
                 .Machine = rows.Text("Machine"),
                 .Term = rows.Integer("Term"),
                 .Beat = rows.Integer("Beat"),
                 .Additions = rows.Integer("Additions"),
                 .StoredThrough = rows.Integer("Stored_Through"),
                 .StoredNumber = rows.Integer("Stored_Number")};
}

bool TakeDuty(store::Connection& connection, std::string_view group, const std::optional<DutyRow>& seen,
              std::string_view holder, std::string_view machine) {
  const std::string key = store::Quoted(group);
  if (!seen) {
    try {
      return Changes(connection,
                     fmt::format("INSERT INTO {} (Group_Name) VALUES ({})", kReceiverDuty, key)) &&
             TakeDuty(connection, group, DutyRow(), holder, machine);
    } catch (const store::DatabaseError&) {
      if (ReadDuty(connection, group)) {
        return false;  // another one was first
      }
      throw;
    }
  }
  // With the beat: while this waits for the holder's transaction, the holder is alive.
  return Changes(connection, fmt::format("UPDATE {} SET Holder = {}, Machine = {}, {}, {} "
                                         "WHERE Group_Name = {} AND Term = {} AND Beat = {} AND Holder = {}",
                                         kReceiverDuty, store::Quoted(holder), store::QuotedMachine(machine),
                                         OneMore("Term"), OneMore("Beat"), key, seen->Term, seen->Beat,
                                         store::Quoted(seen->Holder)));
}

void LeaveDuty(store::Connection& connection, std::string_view group, std::string_view holder,
               std::int32_t term) {
  Changes(connection,
          fmt::format("UPDATE {} SET Holder = '', {} WHERE Group_Name = {} AND Term = {} AND Holder = {}",
                      kReceiverDuty, OneMore("Beat"), store::Quoted(group), term, store::Quoted(holder)));
}

}  // namespace korvane::receiver
