#include "alerts/AlertStore.h"

#include <fmt/format.h>

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/RegistryValues.h"
#include "store/ChangeLog.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::alerts {

namespace {

std::string OfGroup(std::int32_t groupId) {
  return fmt::format("Trap_Group_ID = {}", groupId);
}

std::int32_t FirstInteger(store::Connection& connection, std::string_view table, const std::string& filter,
                          std::string_view column) {
  store::Recordset rows = connection.OpenRecordset(table, filter);
  if (!rows.Next()) {
    throw store::DatabaseError("The row that was just added is not there.", "02000", 0, filter);
  }
  return rows.Integer(column);
}

}  // namespace

std::string_view ActionColumn(ActionKind kind) {
  static constexpr std::string_view kColumns[] = {"Beep_ID", "Email_ID", "Message_ID", "Custom_ID"};
  return kColumns[static_cast<std::size_t>(kind)];
}

std::int32_t& IdOf(ActionIds& ids, ActionKind kind) {
  switch (kind) {
    case ActionKind::Beep:
      return ids.Beep;
    case ActionKind::Email:
      return ids.Email;
    case ActionKind::Message:
      return ids.Message;
    case ActionKind::Custom:
      break;
  }
  return ids.Custom;
}

std::int32_t IdOf(const ActionIds& ids, ActionKind kind) {
  return IdOf(const_cast<ActionIds&>(ids), kind);
}

std::vector<Alert> AlertStore::LoadAlertList() {
  std::unordered_map<std::int32_t, ActionIds> actions;
  store::Recordset notifications = connection_.OpenRecordset(store::kTrapNotificationMaster);
  while (notifications.Next()) {
    ActionIds ids;
    for (const ActionKind kind : kActionKinds) {
      IdOf(ids, kind) = notifications.Integer(ActionColumn(kind));
    }
    actions.try_emplace(notifications.Integer("Trap_Group_ID"), ids);
  }
  std::unordered_set<std::int32_t> off;
  store::Recordset switchedOff = connection_.OpenRecordset(store::kAlertOff);
  while (switchedOff.Next()) {
    off.insert(switchedOff.Integer("Trap_Group_ID"));
  }
  std::vector<Alert> alerts;
  store::Recordset groups = connection_.OpenRecordset(
      fmt::format("SELECT * FROM {} ORDER BY Trap_Group_ID", store::kTrapActionGroup));
  while (groups.Next()) {
    Alert alert{.GroupId = groups.Integer("Trap_Group_ID"),
                .Description = groups.Text("Description"),
                .TrapId = groups.Integer("Trap_ID")};
    if (const auto found = actions.find(alert.GroupId); found != actions.end()) {
      alert.Actions = found->second;
    }
    alert.Off = off.contains(alert.GroupId);
    alerts.push_back(std::move(alert));
  }
  return alerts;
}

std::optional<AlertCriteria> AlertStore::LoadCriteria(std::int32_t trapTableId) {
  store::Recordset rows =
      connection_.OpenRecordset(store::kTrapDetail, fmt::format("Trap_Table_ID = {}", trapTableId));
  if (!rows.Next()) {
    return std::nullopt;
  }
  return AlertCriteria{.Source = rows.Text("Source_Agent"),
                       .EnterpriseOid = rows.Text("EnterpriseOid"),
                       .GenericTrap = rows.IsNull("GenericTrap") ? -1 : rows.Integer("GenericTrap"),
                       .SpecificTrap = rows.Integer("SpecificTrap"),
                       .VarBinds = rows.Text("EventDescription")};
}

bool AlertStore::IsUnique(std::string_view description, std::optional<std::int32_t> groupId) {
  store::Recordset rows =
      connection_.OpenRecordset(store::kTrapActionGroup, "Description = " + store::Quoted(description));
  return !rows.Next() || rows.Integer("Trap_Group_ID") == groupId;
}

// Consoles and receivers on other machines hear of it from the change log.
template <class Work>
void AlertStore::Change(Work work) {
  store::RetriedOnce(connection_, [&] {
    store::Transaction transaction(connection_, store::kTrapActionGroup);
    work();
    store::NoteChange(connection_, store::ChangeKind::Alerts);
    transaction.Commit();
  });
}

std::int32_t AlertStore::SaveAlert(std::string_view description, const AlertCriteria& criteria,
                                   const ActionIds& actions, std::optional<std::int32_t> groupId) {
  std::int32_t id = 0;
  Change([&] {
    const std::int32_t trapId = FindOrAddCriteria(criteria);
    if (groupId) {
      id = *groupId;
      Require(id);
      UpdateAlert(id, description, trapId);
    } else {
      id = AddAlert(description, trapId);
    }
    WriteActions(id, actions);
  });
  return id;
}

void AlertStore::Require(std::int32_t groupId) {
  if (!connection_.OpenRecordset(store::kTrapActionGroup, OfGroup(groupId)).Next()) {
    throw store::DatabaseError("The alert is no longer there. It was removed by another console.", "02000", 0,
                               OfGroup(groupId));
  }
}

std::int32_t AlertStore::FindOrAddCriteria(const AlertCriteria& criteria) {
  const std::string filter = fmt::format(
      "Source_Agent = {} AND Community = {} AND EnterpriseOid = {} AND GenericTrap = {} AND SpecificTrap = "
      "{} "
      "AND Severity = 0 AND EventDescription = {}",
      store::Quoted(criteria.Source), store::Quoted(""), store::Quoted(criteria.EnterpriseOid),
      criteria.GenericTrap, criteria.SpecificTrap, store::Quoted(criteria.VarBinds));
  store::Recordset rows = connection_.OpenRecordset(store::kTrapDetail, filter);
  if (rows.Next()) {
    return rows.Integer("Trap_Table_ID");
  }
  rows.AddNew();
  rows.Set("Source_Agent", criteria.Source);
  rows.Set("Community", std::string_view());
  rows.Set("EnterpriseOid", criteria.EnterpriseOid);
  rows.Set("GenericTrap", criteria.GenericTrap);
  rows.Set("SpecificTrap", criteria.SpecificTrap);
  rows.Set("Severity", 0);
  rows.Set("EventDescription", criteria.VarBinds);
  rows.Update();
  return FirstInteger(connection_, store::kTrapDetail, filter, "Trap_Table_ID");
}

void AlertStore::UpdateAlert(std::int32_t groupId, std::string_view description, std::int32_t trapId) {
  connection_.Execute(fmt::format("UPDATE {} SET Description = {} , Trap_ID = {} WHERE {}",
                                  store::kTrapActionGroup, store::Quoted(description), trapId,
                                  OfGroup(groupId)));
}

std::int32_t AlertStore::AddAlert(std::string_view description, std::int32_t trapId) {
  const std::string filter =
      fmt::format("Description = {} AND Trap_ID = {}", store::Quoted(description), trapId);
  store::Recordset rows = connection_.OpenRecordset(store::kTrapActionGroup);
  rows.AddNew();
  rows.Set("Description", description);
  rows.Set("Trap_ID", trapId);
  rows.Update();
  return FirstInteger(connection_, store::kTrapActionGroup, filter, "Trap_Group_ID");
}

bool AlertStore::HasActions(std::int32_t groupId) {
  return connection_.OpenRecordset(store::kTrapNotificationMaster, OfGroup(groupId)).Next();
}

void AlertStore::WriteActions(std::int32_t groupId, const ActionIds& actions) {
  if (HasActions(groupId)) {
    connection_.Execute(
        fmt::format("UPDATE {} SET Beep_ID = {} , Email_ID = {} , Message_ID = {} , Custom_ID = {} WHERE {}",
                    store::kTrapNotificationMaster, actions.Beep, actions.Email, actions.Message,
                    actions.Custom, OfGroup(groupId)));
    return;
  }
  store::Recordset rows = connection_.OpenRecordset(store::kTrapNotificationMaster);
  rows.AddNew();
  rows.Set("Trap_Group_ID", groupId);
  for (const ActionKind kind : kActionKinds) {
    rows.Set(ActionColumn(kind), IdOf(actions, kind));
  }
  rows.Update();
}

void AlertStore::DeleteAlert(std::int32_t groupId) {
  Change([&] {
    for (const std::string_view table :
         {store::kTrapNotificationMaster, store::kTrapActionGroup, store::kAlertOff, store::kAlertState}) {
      connection_.Execute(fmt::format("DELETE FROM {} WHERE {}", table, OfGroup(groupId)));
    }
  });
}

void AlertStore::SetAlertActions(const std::vector<ActionKind>& kinds, std::int32_t groupId,
                                 const ActionIds& ids) {
  Change([&] {
    Require(groupId);
    for (const ActionKind kind : kinds) {
      SetAlertAction(kind, groupId, IdOf(ids, kind));
    }
  });
}

void AlertStore::SetAlertAction(ActionKind kind, std::int32_t groupId, std::int32_t actionId) {
  const std::string_view column = ActionColumn(kind);
  connection_.Execute(HasActions(groupId)
                          ? fmt::format("UPDATE {} SET {} = {} WHERE {}", store::kTrapNotificationMaster,
                                        column, actionId, OfGroup(groupId))
                          : fmt::format("INSERT INTO {} ({}, Trap_Group_ID) VALUES({}, {})",
                                        store::kTrapNotificationMaster, column, actionId, groupId));
}

void AlertStore::ClearAlertAction(ActionKind kind, std::int32_t groupId) {
  Change([&] {
    connection_.Execute(fmt::format("UPDATE {} SET {} = 1 WHERE {}", store::kTrapNotificationMaster,
                                    ActionColumn(kind), OfGroup(groupId)));
  });
}

void AlertStore::SwitchAlert(std::int32_t groupId, bool off) {
  Change([&] {
    Require(groupId);
    connection_.Execute(fmt::format("DELETE FROM {} WHERE {}", store::kAlertOff, OfGroup(groupId)));
    if (off) {
      connection_.Execute(
          fmt::format("INSERT INTO {} (Trap_Group_ID) VALUES ({})", store::kAlertOff, groupId));
    }
  });
}

bool SignalActionUpdate(platform::RegistryStore& registry) {
  return SetRegistryDword(registry, platform::RegistryHive::LocalMachine, kManagerKey, kActionUpdateValue, 1);
}

}  // namespace korvane::alerts
