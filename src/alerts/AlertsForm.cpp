#include "alerts/AlertsForm.h"

#include <algorithm>

#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::alerts {

AlertsForm::AlertsForm(const AlertServices& services) : services_(services), store_(services.Connection) {
  Do([this] { Load(); });
}

// What was shown stays when the list can't be read.
void AlertsForm::Load() {
  alerts_ = store_.LoadAlertList();
}

template <typename Work>
bool AlertsForm::Do(Work work) {
  try {
    work();
    return true;
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, "The alerts could not be read or changed.", error,
                       store::Attempt::OneOfSeveral);
    return false;
  }
}

std::int32_t AlertsForm::ActionOf(const Alert& alert, ActionKind kind) {
  return alert.Actions ? IdOf(*alert.Actions, kind) : kNoAction;
}

bool AlertsForm::Uses(const Alert& alert, ActionKind kind) {
  return ActionOf(alert, kind) > kNoAction;
}

std::optional<std::size_t> AlertsForm::RowOf(std::int32_t groupId) const {
  const auto found = std::find_if(alerts_.begin(), alerts_.end(),
                                  [groupId](const Alert& alert) { return alert.GroupId == groupId; });
  return found == alerts_.end() ? std::nullopt
                                : std::optional(static_cast<std::size_t>(found - alerts_.begin()));
}

void AlertsForm::Saved() {
  changed_ = true;
  Do([this] { Load(); });
}

bool AlertsForm::Remove(std::size_t row) {
  if (row >= alerts_.size() ||
      services_.Prompt.Ask("Are you sure you want to remove the selected Alert.", PromptButtons::NoYes,
                           PromptIcon::Question) != PromptAnswer::Yes) {
    return false;
  }
  return Do([&] {
    store_.DeleteAlert(alerts_[row].GroupId);
    alerts_.erase(alerts_.begin() + static_cast<std::ptrdiff_t>(row));
    changed_ = true;
  });
}

bool AlertsForm::SetActions(std::size_t row, const std::vector<ActionKind>& kinds, const ActionIds& ids) {
  return row < alerts_.size() && Do([&] {
           store_.SetAlertActions(kinds, alerts_[row].GroupId, ids);
           ActionIds actions = alerts_[row].Actions.value_or(ActionIds());
           for (const ActionKind kind : kinds) {
             IdOf(actions, kind) = IdOf(ids, kind);
           }
           Stored(row, actions);
         });
}

// Shown even when the list can't be read anew, which is said.
void AlertsForm::Stored(std::size_t row, const ActionIds& actions) {
  alerts_[row].Actions = actions;
  changed_ = true;
  Do([this] { Load(); });
}

bool AlertsForm::ClearAction(std::size_t row, ActionKind kind) {
  if (row >= alerts_.size() || !Uses(alerts_[row], kind)) {
    return false;
  }
  return Do([&] {
    store_.ClearAlertAction(kind, alerts_[row].GroupId);
    ActionIds actions = alerts_[row].Actions.value_or(ActionIds());
    IdOf(actions, kind) = kNoAction;
    Stored(row, actions);
  });
}

void AlertsForm::Close() {
  if (changed_) {
    SignalActionUpdate(services_.Registry);
    changed_ = false;
  }
}

}  // namespace korvane::alerts
