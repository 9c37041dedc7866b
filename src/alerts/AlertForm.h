// The rules of the dialog "Alert Configuration" without its window: the description, the criteria, which
// actions the alert uses, and what OK checks and saves.  User-interface thread only; database errors are
// shown here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "alerts/AlertServices.h"
#include "alerts/AlertStore.h"
#include "params/TrapCriteriaForm.h"

namespace korvane::alerts {

class AlertForm {
 public:
  // alert: the one to edit; nothing: a new one.  Everything must outlive the form.
  AlertForm(const AlertServices& services, const std::optional<Alert>& alert);

  // False when the criteria of the alert to edit could not be read: the dialog is not to show, since OK would
  // replace them by criteria that every trap meets.
  bool WasRead() const { return wasRead_; }

  const std::string& Description() const { return description_; }
  void EditDescription(std::string_view text) { description_ = text; }
  params::TrapCriteriaForm& Criteria() { return criteria_; }

  // The actions the alert is to use, by the IDs of their rows.
  const ActionIds& Actions() const { return actions_; }
  bool Uses(ActionKind kind) const { return IdOf(actions_, kind) > kNoAction; }
  void SetAction(ActionKind kind, std::int32_t id) { IdOf(actions_, kind) = id; }
  void ClearAction(ActionKind kind) { IdOf(actions_, kind) = kNoAction; }

  // True when the alert is stored; else the reason was shown and the dialog stays.
  bool Ok();
  // Of the alert, once it is stored.
  std::int32_t GroupId() const { return groupId_.value_or(0); }

 private:
  params::TrapCriteria StoredCriteria(const std::optional<Alert>& alert);
  // Nothing was edited, so there is nothing to write.
  bool IsAsOpened() const;
  // False when another console has changed the alert meanwhile and the operator does not want to replace
  // that.
  bool MayReplace();

  AlertServices services_;
  AlertStore store_;
  std::optional<Alert> opened_;  // as the dialog found it
  std::optional<std::int32_t> groupId_;
  std::string description_;
  ActionIds actions_;
  bool wasRead_ = true;  // this and the next are set while the last one is made
  std::optional<params::TrapCriteria> openedCriteria_;
  params::TrapCriteriaForm criteria_;
};

}  // namespace korvane::alerts
