#include "alerts/ActionStore.h"

#include <fmt/format.h>

#include <string_view>

#include "alerts/AlertServices.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::alerts {

namespace {

std::optional<std::int32_t> FirstAction(store::Recordset& rows, std::string_view key) {
  while (rows.Next()) {
    if (const std::int32_t id = rows.Integer(key); id > kNoAction) {
      return id;
    }
  }
  return std::nullopt;
}

// The key of the first action that the filter finds; fill writes one when there is none.  A row with the
// no-action key is none, whatever it says.
template <typename Fill>
std::int32_t FindOrAdd(store::Connection& connection, std::string_view table, const std::string& filter,
                       std::string_view key, Fill fill) {
  store::Recordset rows = connection.OpenRecordset(table, filter);
  if (const std::optional<std::int32_t> id = FirstAction(rows, key)) {
    return *id;
  }
  rows.AddNew();
  fill(rows);
  rows.Update();
  store::Recordset added = connection.OpenRecordset(table, filter);
  if (const std::optional<std::int32_t> id = FirstAction(added, key)) {
    return *id;
  }
  throw store::DatabaseError("The action that was just added is not there.", "02000", 0, filter);
}

}  // namespace

std::optional<BeepAction> ActionStore::LoadBeep(std::int32_t id) {
  store::Recordset rows = connection_.OpenRecordset(store::kBeepDetail, fmt::format("Beep_ID = {}", id));
  if (!rows.Next()) {
    return std::nullopt;
  }
  return BeepAction{.Description = rows.Text("Description"),
                    .Count = rows.Integer("Beep_Count"),
                    .Duration = rows.Integer("Duration"),
                    .Delay = rows.Integer("Delay"),
                    .Frequency = rows.Integer("Frequency")};
}

std::optional<EmailAction> ActionStore::LoadEmail(std::int32_t id) {
  store::Recordset rows = connection_.OpenRecordset(store::kEmailDetail, fmt::format("Email_ID = {}", id));
  if (!rows.Next()) {
    return std::nullopt;
  }
  return EmailAction{.SmtpServer = rows.Text("Smtp_Server"),
                     .To = rows.Text("Email_To"),
                     .From = rows.Text("Email_From"),
                     .Subject = rows.Text("Subject")};
}

std::optional<std::string> ActionStore::LoadMessage(std::int32_t id) {
  store::Recordset rows =
      connection_.OpenRecordset(store::kMessageDetail, fmt::format("Message_ID = {}", id));
  return rows.Next() ? std::optional(rows.Text("Destination")) : std::nullopt;
}

std::optional<std::string> ActionStore::LoadCustom(std::int32_t id) {
  store::Recordset rows =
      connection_.OpenRecordset(store::kCustomActionDetail, fmt::format("Custom_Action_ID = {}", id));
  return rows.Next() ? std::optional(rows.Text("Custom_Action_File")) : std::nullopt;
}

std::vector<std::string> ActionStore::Texts(std::string_view tableOrSelect, std::string_view filter,
                                            std::string_view column) {
  std::vector<std::string> texts;
  store::Recordset rows = connection_.OpenRecordset(tableOrSelect, filter);
  while (rows.Next()) {
    texts.push_back(rows.Text(column));
  }
  return texts;
}

std::vector<std::string> ActionStore::SmtpServers() {
  return Texts("Select DISTINCT Smtp_Server From Email_Detail Where Email_ID > 1", {}, "Smtp_Server");
}

std::vector<std::string> ActionStore::Recipients() {
  return Texts("Select DISTINCT Email_To From Email_Detail Where Email_ID > 1", {}, "Email_To");
}

std::vector<std::string> ActionStore::Destinations() {
  return Texts(store::kMessageDetail, "Message_ID > 1", "Destination");
}

std::vector<std::string> ActionStore::Programs() {
  return Texts(store::kCustomActionDetail, "Custom_Action_ID > 1", "Custom_Action_File");
}

std::int32_t ActionStore::SaveBeep(const BeepAction& beep) {
  return FindOrAdd(connection_, store::kBeepDetail,
                   fmt::format("Beep_Count = {} AND Duration = {} AND Delay = {} AND Frequency = {}",
                               beep.Count, beep.Duration, beep.Delay, beep.Frequency),
                   "Beep_ID", [&](store::Recordset& row) {
                     row.Set("Description", beep.Description);
                     row.Set("Beep_Count", beep.Count);
                     row.Set("Duration", beep.Duration);
                     row.Set("Delay", beep.Delay);
                     row.Set("Frequency", beep.Frequency);
                   });
}

std::int32_t ActionStore::SaveEmail(const EmailAction& email) {
  return FindOrAdd(connection_, store::kEmailDetail,
                   fmt::format("Smtp_Server = {} AND Email_To = {} AND Email_From = {} AND Subject = {}",
                               store::Quoted(email.SmtpServer), store::Quoted(email.To),
                               store::Quoted(email.From), store::Quoted(email.Subject)),
                   "Email_ID", [&](store::Recordset& row) {
                     row.Set("Smtp_Server", email.SmtpServer);
                     row.Set("Email_To", email.To);
                     row.Set("Email_From", email.From);
                     row.Set("Subject", email.Subject);
                   });
}

std::int32_t ActionStore::SaveMessage(const std::string& destination) {
  return FindOrAdd(connection_, store::kMessageDetail, "Destination =" + store::Quoted(destination),
                   "Message_ID", [&](store::Recordset& row) { row.Set("Destination", destination); });
}

std::int32_t ActionStore::SaveCustom(const std::string& program) {
  return FindOrAdd(connection_, store::kCustomActionDetail, "Custom_Action_File =" + store::Quoted(program),
                   "Custom_Action_ID", [&](store::Recordset& row) {
                     row.Set("Custom_Action_File", program);
                     row.Set("Description", std::string_view(" "));
                   });
}

}  // namespace korvane::alerts
