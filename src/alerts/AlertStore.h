// The alert tables: the list of alerts, the criteria of one, and what adding, editing and removing an alert
// writes. A change is one transaction, so nothing is ever half written, and stands in the change log.
// User-interface thread; every call but the last may throw DatabaseError.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/AlertServices.h"
#include "platform/Platform.h"
#include "store/Connection.h"

namespace korvane::alerts {

// Which traps an alert is about; rows of criteria are shared, also with filters.
struct AlertCriteria {
  std::string Source = {};         // empty: any
  std::string EnterpriseOid = {};  // empty: any
  std::int32_t GenericTrap = 6;    // 0 to 6; -1: any, which our dialogs do not store
  std::int32_t SpecificTrap = 0;   // 0: any
  std::string VarBinds = {};       // empty: any
  bool operator==(const AlertCriteria&) const = default;
};

struct Alert {
  std::int32_t GroupId = 0;
  std::string Description = {};
  std::int32_t TrapId = 0;                // of its criteria
  std::optional<ActionIds> Actions = {};  // nothing: no row of actions yet
  bool Off = false;                       // switched off: the receiver passes it over
  bool operator==(const Alert&) const = default;
};

// The four kinds of action, in the order of the list's columns.
enum class ActionKind : std::uint8_t { Beep, Email, Message, Custom };
inline constexpr ActionKind kActionKinds[] = {ActionKind::Beep, ActionKind::Email, ActionKind::Message,
                                              ActionKind::Custom};
std::string_view ActionColumn(ActionKind kind);  // "Beep_ID" …
std::int32_t& IdOf(ActionIds& ids, ActionKind kind);
std::int32_t IdOf(const ActionIds& ids, ActionKind kind);

class AlertStore {
 public:
  explicit AlertStore(store::Connection& connection) : connection_(connection) {}

  std::vector<Alert> LoadAlertList();  // in the order in which they were added
  // Nothing when the row is gone.
  std::optional<AlertCriteria> LoadCriteria(std::int32_t trapTableId);

  // Whether no alert but this one (nothing: a new one) has the description, as the database compares texts.
  bool IsUnique(std::string_view description, std::optional<std::int32_t> groupId);
  // Adds an alert, or changes the one with the ID; criteria that are stored already are used again.  The ID.
  std::int32_t SaveAlert(std::string_view description, const AlertCriteria& criteria,
                         const ActionIds& actions, std::optional<std::int32_t> groupId);
  // Its criteria stay, since others may share them.
  void DeleteAlert(std::int32_t groupId);

  // Of these kinds, all or none; ids holds those of the kinds.
  void SetAlertActions(const std::vector<ActionKind>& kinds, std::int32_t groupId, const ActionIds& ids);
  void ClearAlertAction(ActionKind kind, std::int32_t groupId);

  // Stands beside the alert, in a table of its own: the tables of alerts have no place for it, and to a
  // program that does not know of it the alert is on.
  void SwitchAlert(std::int32_t groupId, bool off);

 private:
  void SetAlertAction(ActionKind kind, std::int32_t groupId, std::int32_t actionId);
  // Throws when another console has removed the alert: nothing may be written for it.
  void Require(std::int32_t groupId);
  // work in a transaction that has the right to write, and its entry in the change log.
  template <class Work>
  void Change(Work work);
  std::int32_t FindOrAddCriteria(const AlertCriteria& criteria);
  bool HasActions(std::int32_t groupId);
  void UpdateAlert(std::int32_t groupId, std::string_view description, std::int32_t trapId);
  std::int32_t AddAlert(std::string_view description, std::int32_t trapId);
  void WriteActions(std::int32_t groupId, const ActionIds& actions);

  store::Connection& connection_;
};

// Tells the receiver service that the alerts changed.  False when the registry has no such key or refuses.
bool SignalActionUpdate(platform::RegistryStore& registry);

}  // namespace korvane::alerts
