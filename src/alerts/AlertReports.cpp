#include "alerts/AlertReports.h"

#include <fmt/format.h>

#include <chrono>

#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::alerts {

std::unordered_map<std::int32_t, AlertState> AlertReports::LoadStates() {
  std::unordered_map<std::int32_t, AlertState> states;
  store::Recordset rows = connection_.OpenRecordset(store::kAlertState);
  while (rows.Next()) {
    states.try_emplace(rows.Integer("Trap_Group_ID"), AlertState{.LastActed = rows.Integer("Last_Acted"),
                                                                 .LastFailure = rows.Integer("Last_Failure"),
                                                                 .Reason = rows.Text("Reason")});
  }
  return states;
}

std::int32_t AlertReports::AskTest(std::int32_t groupId) {
  const store::ChangeAuthor& author = connection_.Author();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return store::RetriedOnce(connection_, [&] {
    store::Transaction transaction(connection_, store::kAlertTest);
    store::Recordset rows = connection_.OpenRecordset(store::kAlertTest, "1 = 0");
    rows.AddNew();
    rows.Set("Trap_Group_ID", groupId);
    rows.Set("Asked_Time",
             static_cast<std::int32_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count()));
    rows.Set("Operator", author.Operator);
    rows.Set("Machine", author.Machine);
    rows.Update();
    store::Recordset added = connection_.OpenRecordset(fmt::format(
        "SELECT MAX(Test_ID) FROM {} WHERE Trap_Group_ID = {} AND Taken_By = '' AND Operator = {} "
        "AND Machine = {}",
        store::kAlertTest, groupId, store::Quoted(author.Operator), store::Quoted(author.Machine)));
    const std::int32_t id = added.Next() ? added.Integer(std::size_t{0}) : 0;
    transaction.Commit();
    return id;
  });
}

std::optional<AlertTestState> AlertReports::LoadTest(std::int32_t testId) {
  store::Recordset rows = connection_.OpenRecordset(store::kAlertTest, fmt::format("Test_ID = {}", testId));
  if (!rows.Next()) {
    return std::nullopt;
  }
  return AlertTestState{
      .TakenBy = rows.Text("Taken_By"), .Done = rows.Integer("Done") != 0, .Result = rows.Text("Result")};
}

void AlertReports::WithdrawTest(std::int32_t testId) {
  connection_.Execute(fmt::format("DELETE FROM {} WHERE Test_ID = {}", store::kAlertTest, testId));
}

}  // namespace korvane::alerts
