#include "alerts/AlertForm.h"

#include <algorithm>
#include <vector>

#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::alerts {

AlertForm::AlertForm(const AlertServices& services, const std::optional<Alert>& alert)
    : services_(services),
      store_(services.Connection),
      opened_(alert),
      groupId_(alert ? std::optional(alert->GroupId) : std::nullopt),
      description_(alert ? alert->Description : std::string()),
      actions_(alert && alert->Actions ? *alert->Actions : ActionIds()),
      criteria_(StoredCriteria(alert), services.Names, services.Prompt, params::GenericChoice::OneOfThem) {}

params::TrapCriteria AlertForm::StoredCriteria(const std::optional<Alert>& alert) {
  params::TrapCriteria criteria{.GenericTrap = store::kEnterpriseSpecific};
  if (!alert) {
    return criteria;
  }
  try {
    const std::optional<AlertCriteria> stored = store_.LoadCriteria(alert->TrapId);
    if (stored) {
      openedCriteria_ = {.SourceAgent = stored->Source,
                         .GenericTrap = stored->GenericTrap,
                         .EnterpriseOid = stored->EnterpriseOid,
                         .SpecificTrap = stored->SpecificTrap,
                         .VarBinds = stored->VarBinds};
      return *openedCriteria_;
    }
    services_.Prompt.Show(
        Translated("The trap details of this alert are no longer in the database. Please select them again."),
        PromptIcon::Exclamation);
  } catch (const store::DatabaseError& error) {
    wasRead_ = false;
    store::ShowFailure(services_.Prompt, Translated("The trap details of this alert could not be read."),
                       error, store::Attempt::Reading);
  }
  return criteria;
}

bool AlertForm::IsAsOpened() const {
  return opened_ && openedCriteria_ == criteria_.Criteria() && opened_->Description == description_ &&
         opened_->Actions == actions_;
}

bool AlertForm::MayReplace() {
  if (!opened_) {
    return true;
  }
  const std::vector<Alert> alerts = store_.LoadAlertList();
  const auto stored = std::find_if(alerts.begin(), alerts.end(),
                                   [&](const Alert& alert) { return alert.GroupId == opened_->GroupId; });
  // One that is gone is refused by the store; being switched on or off is not part of the dialog.
  if (stored == alerts.end() || (stored->Description == opened_->Description &&
                                 stored->TrapId == opened_->TrapId && stored->Actions == opened_->Actions)) {
    return true;
  }
  return services_.Prompt.Ask(Translated("Another console has changed this alert since you opened it. Do you "
                                         "want to replace it by what "
                                         "stands here?"),
                              PromptButtons::NoYes, PromptIcon::Exclamation) == PromptAnswer::Yes;
}

bool AlertForm::Ok() {
  if (description_.empty()) {
    services_.Prompt.Show(Translated("Alert description should not be empty."), PromptIcon::Information);
    return false;
  }
  if (IsAsOpened()) {
    return true;
  }
  const params::TrapCriteria& criteria = criteria_.Criteria();
  try {
    if (!store_.IsUnique(description_, groupId_)) {
      services_.Prompt.Show(
          Translated(
              "Alert description is not unique. An alert with the same name exists. Please modify alert "
              "description."),
          PromptIcon::Information);
      return false;
    }
    if (!MayReplace()) {
      return false;
    }
    groupId_ = store_.SaveAlert(description_,
                                {.Source = criteria.SourceAgent,
                                 .EnterpriseOid = criteria.EnterpriseOid,
                                 .GenericTrap = criteria.GenericTrap,
                                 .SpecificTrap = criteria.SpecificTrap,
                                 .VarBinds = criteria.VarBinds},
                                actions_, groupId_);
    return true;
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The alert was not saved."), error,
                       store::Attempt::Changing);
    return false;
  }
}

}  // namespace korvane::alerts
