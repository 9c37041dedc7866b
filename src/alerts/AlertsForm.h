// The rules of the window "Alerts" without it: the list with its action columns, what removing asks, which
// actions are set or cleared, what became of the alerts and of a test, and whether the receiver service is
// told at the end.  User-interface thread
// only; database errors are shown here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "alerts/AlertReports.h"
#include "alerts/AlertServices.h"
#include "alerts/AlertStore.h"
#include "alerts/AlertTrial.h"

namespace korvane::alerts {

class AlertsForm {
 public:
  // Reads the list.  Everything must outlive the form.
  explicit AlertsForm(const AlertServices& services);

  const std::vector<Alert>& Alerts() const { return alerts_; }
  // Whether the alert has the action: "Yes" or "No" in the list.
  static bool Uses(const Alert& alert, ActionKind kind);
  // The cell's action ID; kNoAction without a row of actions.
  static std::int32_t ActionOf(const Alert& alert, ActionKind kind);
  // The row of an alert; nothing when it is not there.
  std::optional<std::size_t> RowOf(std::int32_t groupId) const;
  // What became of an alert, as the receivers tell it.
  AlertState StateOf(const Alert& alert) const;
  // In the user's time and form; empty for 0.
  std::string TimeText(std::int32_t time) const;

  // Alerts are named by their keys: while a question or a dialog is open the list may be read anew.

  // An alert was added or edited by its dialog.
  void Saved();
  // True when it was removed.
  bool Remove(std::int32_t groupId);
  // The actions of some kinds were configured: IDs of the kinds.  True when all of it was stored.
  bool SetActions(std::int32_t groupId, const std::vector<ActionKind>& kinds, const ActionIds& ids);
  bool ClearAction(std::int32_t groupId, ActionKind kind);
  bool Switch(std::int32_t groupId, bool off);

  // Another console changed alerts.  What was shown stays, without a word, when the list can't be read.
  void Reload();
  // Looks again what became of the alerts; true when it is something new.  Called every second: after a
  // failure it does not look for a while, since each look at a store that hangs holds the windows up.
  bool RefreshStates();
  bool StoreAnswers() const { return looksToSkip_ == 0; }

  // Asks a receiver to carry an alert's actions out; Trial then says what becomes of it.
  void Test(std::int32_t groupId);
  AlertTrial& Trial() { return trial_; }

  // Once, when the window closes: tells the receiver service of a change.
  void Close();

 private:
  void Load();
  template <typename Work>
  bool Do(Work work);
  template <typename Work>
  bool Change(std::int32_t groupId, Work work);

  AlertServices services_;
  AlertStore store_;
  AlertReports reports_;
  AlertTrial trial_{reports_};
  std::vector<Alert> alerts_;
  std::unordered_map<std::int32_t, AlertState> states_;
  bool changed_ = false;
  int looksToSkip_ = 0;
};

}  // namespace korvane::alerts
