// The rules of the window "Alerts" without it: the list with its action columns, what removing asks, which
// actions are set or cleared, and whether the receiver service is told at the end.  User-interface thread
// only; database errors are shown here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "alerts/AlertServices.h"
#include "alerts/AlertStore.h"

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

  // An alert was added or edited by its dialog.
  void Saved();
  // True when it was removed.
  bool Remove(std::size_t row);
  // The actions of some kinds were configured: IDs of the kinds.  True when all of it was stored.
  bool SetActions(std::size_t row, const std::vector<ActionKind>& kinds, const ActionIds& ids);
  bool ClearAction(std::size_t row, ActionKind kind);

  // Once, when the window closes: tells the receiver service of a change.
  void Close();

 private:
  void Load();
  void Stored(std::size_t row, const ActionIds& actions);
  template <typename Work>
  bool Do(Work work);

  AlertServices services_;
  AlertStore store_;
  std::vector<Alert> alerts_;
  bool changed_ = false;
};

}  // namespace korvane::alerts
