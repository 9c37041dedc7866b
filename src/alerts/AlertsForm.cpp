#include "alerts/AlertsForm.h"

#include <algorithm>
#include <utility>

#include "common/Translation.h"
#include "store/DatabaseError.h"
#include "store/EventTime.h"
#include "store/FailureWords.h"

namespace korvane::alerts {
namespace {

constexpr std::string_view kNoSignal = Translatable(
    "The change is stored, but it could not be signalled to the receiver service of this machine. A receiver "
    "of this release follows the trap store and takes the change over by itself; another one does so when it "
    "is started again.");

constexpr int kSkippedLooks = 30;

}  // namespace

AlertsForm::AlertsForm(const AlertServices& services)
    : services_(services), store_(services.Connection), reports_(services.Connection) {
  if (Do([this] { Load(); })) {
    RefreshStates();
  }
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
    store::ShowFailure(services_.Prompt, Translated("The alerts could not be read or changed."), error,
                       store::Attempt::OneOfSeveral);
    return false;
  }
}

// work writes, and then changes the alert that it is given as the list is to show it, even where the list
// can't be read anew.
template <typename Work>
bool AlertsForm::Change(std::int32_t groupId, Work work) {
  const std::optional<std::size_t> row = RowOf(groupId);
  if (!row || !Do([&] { work(alerts_[*row]); })) {
    return false;
  }
  Saved();
  return true;
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

AlertState AlertsForm::StateOf(const Alert& alert) const {
  const auto found = states_.find(alert.GroupId);
  return found == states_.end() ? AlertState() : found->second;
}

std::string AlertsForm::TimeText(std::int32_t time) const {
  return time == 0 ? std::string()
                   : store::FormatDateTime(store::EventTimeToLocal(time, services_.TimeZoneBias));
}

void AlertsForm::Saved() {
  changed_ = true;
  Do([this] { Load(); });
}

bool AlertsForm::Remove(std::int32_t groupId) {
  if (!RowOf(groupId) ||
      services_.Prompt.Ask(Translated("Are you sure you want to remove the selected Alert."),
                           PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return false;
  }
  return Do([&] {
    store_.DeleteAlert(groupId);
    std::erase_if(alerts_, [groupId](const Alert& alert) { return alert.GroupId == groupId; });
    changed_ = true;
  });
}

bool AlertsForm::SetActions(std::int32_t groupId, const std::vector<ActionKind>& kinds,
                            const ActionIds& ids) {
  return Change(groupId, [&](Alert& alert) {
    store_.SetAlertActions(kinds, groupId, ids);
    ActionIds actions = alert.Actions.value_or(ActionIds());
    for (const ActionKind kind : kinds) {
      IdOf(actions, kind) = IdOf(ids, kind);
    }
    alert.Actions = actions;
  });
}

bool AlertsForm::ClearAction(std::int32_t groupId, ActionKind kind) {
  const std::optional<std::size_t> row = RowOf(groupId);
  return row && Uses(alerts_[*row], kind) && Change(groupId, [&](Alert& alert) {
           store_.ClearAlertAction(kind, groupId);
           IdOf(*alert.Actions, kind) = kNoAction;
         });
}

bool AlertsForm::Switch(std::int32_t groupId, bool off) {
  return Change(groupId, [&](Alert& alert) {
    store_.SwitchAlert(groupId, off);
    alert.Off = off;
  });
}

void AlertsForm::Reload() {
  try {
    Load();
  } catch (const store::DatabaseError&) {
    // The frame says that the store can't be read.
  }
}

bool AlertsForm::RefreshStates() {
  if (looksToSkip_ > 0) {
    --looksToSkip_;
    return false;
  }
  try {
    auto states = reports_.LoadStates();
    if (states != states_) {
      states_ = std::move(states);
      return true;
    }
  } catch (const store::DatabaseError&) {
    // As above; what was told before is still so.
    looksToSkip_ = kSkippedLooks;
  }
  return false;
}

void AlertsForm::Test(std::int32_t groupId) {
  if (const std::optional<std::size_t> row = RowOf(groupId)) {
    Do([&] { trial_.Begin(groupId, alerts_[*row].Description); });
  }
}

void AlertsForm::Close() {
  trial_.End();
  if (!std::exchange(changed_, false) || SignalActionUpdate(services_.Registry)) {
    return;
  }
  if (!std::exchange(services_.SignalFailureTold, true)) {
    services_.Prompt.Show(Translated(kNoSignal), PromptIcon::Exclamation);
  }
}

}  // namespace korvane::alerts
