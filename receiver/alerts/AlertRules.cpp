#include "receiver/alerts/AlertRules.h"

#include <fmt/format.h>

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapNames.h"

namespace korvane::receiver {
namespace {

using store::kNoAction;

struct Actions {
  std::int32_t Beep = kNoAction;
  std::int32_t Mail = kNoAction;
  std::int32_t Message = kNoAction;
  std::int32_t Custom = kNoAction;
};

std::unordered_map<std::int32_t, Actions> ReadNotifications(store::Connection& connection) {
  std::unordered_map<std::int32_t, Actions> byAlert;
  store::Recordset rows = connection.OpenRecordset(store::kTrapNotificationMaster);
  while (rows.Next()) {
    byAlert.try_emplace(rows.Integer("Trap_Group_ID"), Actions{.Beep = rows.Integer("Beep_ID"),
                                                               .Mail = rows.Integer("Email_ID"),
                                                               .Message = rows.Integer("Message_ID"),
                                                               .Custom = rows.Integer("Custom_ID")});
  }
  return byAlert;
}

std::unordered_set<std::int32_t> ReadSwitchedOff(store::Connection& connection) {
  std::unordered_set<std::int32_t> off;
  store::Recordset rows = connection.OpenRecordset(store::kAlertOff);
  while (rows.Next()) {
    off.insert(rows.Integer("Trap_Group_ID"));
  }
  return off;
}

// Hands the row with the key to take; false when an action is named that is not there.
template <typename Take>
bool ReadAction(store::Connection& connection, std::string_view table, std::string_view key, std::int32_t id,
                Take take) {
  if (id <= kNoAction) {
    return true;
  }
  store::Recordset row = connection.OpenRecordset(table, fmt::format("{} = {}", key, id));
  if (!row.Next()) {
    return false;
  }
  take(row);
  return true;
}

bool ReadCriteria(store::Connection& connection, std::int32_t trapId, AlertRule& rule) {
  store::Recordset row =
      connection.OpenRecordset(store::kTrapDetail, fmt::format("Trap_Table_ID = {}", trapId));
  if (!row.Next()) {
    return false;
  }
  rule.Source = row.Text("Source_Agent");
  rule.EnterpriseOid = row.Text("EnterpriseOid");
  rule.GenericTrap = row.IsNull("GenericTrap") ? -1 : row.Integer("GenericTrap");
  rule.SpecificTrap = row.Integer("SpecificTrap");
  rule.VarBinds = CaseInsensitiveNeedle(row.Text("EventDescription"));
  return true;
}

bool ReadActions(store::Connection& connection, const Actions& ids, AlertRule& rule) {
  const bool beep =
      ReadAction(connection, store::kBeepDetail, "Beep_ID", ids.Beep, [&](const store::Recordset& row) {
        rule.Beep = AlertBeep{.Count = row.Integer("Beep_Count"),
                              .Duration = row.Integer("Duration"),
                              .Delay = row.Integer("Delay"),
                              .Frequency = row.Integer("Frequency")};
      });
  const bool mail =
      ReadAction(connection, store::kEmailDetail, "Email_ID", ids.Mail, [&](const store::Recordset& row) {
        rule.Mail = AlertMail{.Server = row.Text("Smtp_Server"),
                              .To = row.Text("Email_To"),
                              .From = row.Text("Email_From"),
                              .Subject = row.Text("Subject")};
      });
  const bool message =
      ReadAction(connection, store::kMessageDetail, "Message_ID", ids.Message,
                 [&](const store::Recordset& row) { rule.MessageTo = row.Text("Destination"); });
  const bool custom =
      ReadAction(connection, store::kCustomActionDetail, "Custom_Action_ID", ids.Custom,
                 [&](const store::Recordset& row) { rule.Program = row.Text("Custom_Action_File"); });
  return beep && mail && message && custom;
}

}  // namespace

std::vector<AlertRule> ReadAlertRules(store::Connection& connection, std::vector<std::string>& problems) {
  const std::unordered_map<std::int32_t, Actions> notifications = ReadNotifications(connection);
  const std::unordered_set<std::int32_t> off = ReadSwitchedOff(connection);
  std::vector<AlertRule> rules;
  store::Recordset alerts = connection.OpenRecordset(
      fmt::format("SELECT * FROM {} ORDER BY Trap_Group_ID", store::kTrapActionGroup));
  while (alerts.Next()) {
    AlertRule rule;
    rule.Id = alerts.Integer("Trap_Group_ID");
    rule.Description = alerts.Text("Description");
    rule.Off = off.contains(rule.Id);
    const auto actions = notifications.find(rule.Id);
    if (actions == notifications.end()) {
      continue;
    }
    if (!ReadActions(connection, actions->second, rule)) {
      problems.push_back(fmt::format("the alert '{}' names an action that is not there", rule.Description));
    }
    if (!rule.HasActions()) {
      continue;
    }
    if (!ReadCriteria(connection, alerts.Integer("Trap_ID"), rule)) {
      problems.push_back(fmt::format("the criteria of the alert '{}' are not there", rule.Description));
      continue;
    }
    rules.push_back(std::move(rule));
  }
  return rules;
}

bool AlertMatches(const AlertRule& rule, const TrapRow& trap) {
  if (rule.GenericTrap != -1 && rule.GenericTrap != trap.GenericTrap) {
    return false;
  }
  // An alert may be stored with the OID of a definition as it stands.
  if (!rule.EnterpriseOid.empty() && rule.EnterpriseOid != trap.EnterpriseOid &&
      store::WithoutInstance(rule.EnterpriseOid) != trap.EnterpriseOid) {
    return false;
  }
  if (rule.SpecificTrap != 0 && rule.SpecificTrap != trap.SpecificTrap) {
    return false;
  }
  if (!rule.Source.empty() && !EqualsIgnoreCase(rule.Source, trap.Source)) {
    return false;
  }
  return rule.VarBinds.Empty() || rule.VarBinds.FoundIn(trap.EventDescription + trap.Event_ExtDescr);
}

}  // namespace korvane::receiver
