#include "receiver/alerts/AlertReports.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "store/ChangeLog.h"
#include "store/Recordset.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

// Tests are told apart by their keys, whatever the clocks of the machines say.
constexpr std::int32_t kKeptTests = 100;

std::int32_t StoredTime(std::int64_t seconds) {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::int32_t>::max()));
}

WriteTurns* TurnsFor(const store::Connection& connection, WriteTurns* turns) {
  return connection.Kind() == store::Engine::Sqlite ? turns : nullptr;
}

void WriteOutcome(store::Connection& connection, std::int32_t alertId, const AlertOutcome& outcome) {
  store::Recordset row =
      connection.OpenRecordset(store::kAlertState, fmt::format("Trap_Group_ID = {}", alertId));
  if (!row.Next()) {
    row.AddNew();
    row.Set("Trap_Group_ID", alertId);
  }
  if (outcome.Acted != 0) {
    row.Set("Last_Acted", StoredTime(outcome.Acted));
  }
  if (outcome.Failed != 0) {
    row.Set("Last_Failure", StoredTime(outcome.Failed));
    row.Set("Reason", outcome.Reason);
  }
  row.Update();
}

// A test that its console has withdrawn is gone.
void WriteTest(store::Connection& connection, std::int32_t testId, const TestOutcome& outcome) {
  store::Recordset row = connection.OpenRecordset(store::kAlertTest, fmt::format("Test_ID = {}", testId));
  if (row.Next()) {
    row.Set("Result", outcome.Result);
    row.Set("Done", outcome.Left == 0 ? 1 : 0);
    row.Update();
  }
}

}  // namespace

std::vector<AskedTest> TakeAskedTests(store::Connection& connection, WriteTurns* turns) {
  std::vector<AskedTest> asked;
  {
    store::Recordset rows = connection.OpenRecordset(
        fmt::format("SELECT * FROM {} WHERE Taken_By = '' ORDER BY Test_ID", store::kAlertTest));
    while (rows.Next()) {
      asked.push_back({.Id = rows.Integer("Test_ID"),
                       .AlertId = rows.Integer("Trap_Group_ID"),
                       .AskedBy = fmt::format("{} at {}", rows.Text("Operator"), rows.Text("Machine"))});
    }
  }
  if (asked.empty()) {
    return asked;
  }
  const WriteTurns::Turn turn(TurnsFor(connection, turns));
  std::erase_if(asked, [&](const AskedTest& test) {
    store::Recordset row =
        connection.OpenRecordset(store::kAlertTest, fmt::format("Test_ID = {} AND Taken_By = ''", test.Id));
    if (!row.Next()) {
      return true;
    }
    row.Set("Taken_By", connection.Author().Machine);
    return row.Update() != 1;
  });
  if (!asked.empty()) {
    connection.Execute(
        fmt::format("DELETE FROM {} WHERE Test_ID <= {}", store::kAlertTest, asked.back().Id - kKeptTests));
  }
  return asked;
}

void WriteNews(store::Connection& connection, const AlertNews& news, WriteTurns* turns) {
  const WriteTurns::Turn turn(TurnsFor(connection, turns));
  store::Transaction transaction(connection, store::kAlertState);
  for (const auto& [id, outcome] : news.Alerts) {
    WriteOutcome(connection, id, outcome);
  }
  for (const auto& [id, outcome] : news.Tests) {
    WriteTest(connection, id, outcome);
  }
  transaction.Commit();
}

// With how many there are, since one with a lower number may be committed later.
std::string ChangesMark(store::Connection& connection) {
  using store::ChangeKind;
  store::Recordset row = connection.OpenRecordset(
      fmt::format("SELECT COUNT(*), MAX(Change_ID) FROM {} WHERE Kind IN ({}, {}, {})", store::kChangeLog,
                  static_cast<int>(ChangeKind::Alerts), static_cast<int>(ChangeKind::Categories),
                  static_cast<int>(ChangeKind::TrapNames)));
  return row.Next() ? fmt::format("{} {}", row.Integer(std::size_t{0}), row.Integer(std::size_t{1}))
                    : std::string();
}

}  // namespace korvane::receiver
