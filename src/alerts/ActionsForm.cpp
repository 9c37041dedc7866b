#include "alerts/ActionsForm.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "common/Number.h"
#include "common/Translation.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Retry.h"
#include "store/Tables.h"

namespace korvane::alerts {

namespace {

constexpr std::string_view kMailName = "Korvane";

std::int32_t Number(const std::string& text) {
  return text.empty() ? 0 : TypedNumber(text, 0);
}

}  // namespace

ActionsForm::ActionsForm(const AlertServices& services) : services_(services), store_(services.Connection) {}

void ActionsForm::ClearTabs() {
  tabs_.clear();
}

void ActionsForm::AddTab(ActionKind kind, std::int32_t id) {
  if (std::find(tabs_.begin(), tabs_.end(), kind) != tabs_.end()) {
    return;
  }
  tabs_.push_back(kind);
  try {
    Load(kind, id);
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The action of this alert could not be read."), error,
                       store::Attempt::Reading);
  }
}

void ActionsForm::Load(ActionKind kind, std::int32_t id) {
  switch (kind) {
    case ActionKind::Beep:
      return LoadBeep(id);
    case ActionKind::Email:
      return LoadEmail(id);
    case ActionKind::Message:
      Message = {.Entered = store_.Destinations()};
      Message.Text = id > kNoAction ? store_.LoadMessage(id).value_or(std::string()) : std::string();
      return;
    case ActionKind::Custom:
      Custom = {.Entered = store_.Programs()};
      Custom.Text = id > kNoAction ? store_.LoadCustom(id).value_or(std::string()) : std::string();
      return;
  }
}

void ActionsForm::LoadBeep(std::int32_t id) {
  Beep = {};
  const std::optional<BeepAction> beep = id > kNoAction ? store_.LoadBeep(id) : std::nullopt;
  if (beep) {
    Beep = {.Description = beep->Description,
            .Count = fmt::to_string(beep->Count),
            .Duration = fmt::to_string(beep->Duration),
            .Delay = fmt::to_string(beep->Delay),
            .Frequency = fmt::to_string(beep->Frequency)};
  }
}

void ActionsForm::LoadEmail(std::int32_t id) {
  Email = {.SmtpServers = store_.SmtpServers(), .Recipients = store_.Recipients()};
  if (id > kNoAction) {
    Email.Mail = store_.LoadEmail(id).value_or(EmailAction());
    return;
  }
  const intake::MailSettings usual = services_.Library.GetDefaultMailSettings();
  Email.Mail = {.SmtpServer = usual.SmtpServer,
                .To = usual.Recipient,
                .From = fmt::format("{}@{}", kMailName, usual.Domain),
                .Subject = std::string(kMailName)};
}

std::string ActionsForm::Missing(ActionKind kind) const {
  switch (kind) {
    case ActionKind::Beep:
      return Beep.Description.empty() ? Translated("Beep description should not be empty.") : "";
    case ActionKind::Email:
      if (Email.Mail.SmtpServer.empty()) {
        return Translated("SMTP Server address should not be empty.");
      }
      if (Email.Mail.To.empty()) {
        return Translated("Destination Email address should not be empty.");
      }
      return Email.Mail.From.empty() ? Translated("Source Email address should not be empty.") : "";
    case ActionKind::Message:
      return Message.Text.empty() ? Translated("Message destination should not be empty.") : "";
    case ActionKind::Custom:
      return Custom.Text.empty() ? Translated("You have not configured Custom details.") : "";
  }
  return {};
}

bool ActionsForm::IsNumber(const std::string& text) {
  try {
    Number(text);
    return true;
  } catch (const std::invalid_argument&) {
    return false;
  }
}

std::int32_t ActionsForm::Save(ActionKind kind) {
  switch (kind) {
    case ActionKind::Beep:
      return store_.SaveBeep({.Description = Beep.Description,
                              .Count = Number(Beep.Count),
                              .Duration = Number(Beep.Duration),
                              .Delay = Number(Beep.Delay),
                              .Frequency = Number(Beep.Frequency)});
    case ActionKind::Email:
      return store_.SaveEmail(Email.Mail);
    case ActionKind::Message:
      return store_.SaveMessage(Message.Text);
    case ActionKind::Custom:
      return store_.SaveCustom(Custom.Text);
  }
  return kNoAction;
}

std::optional<ActionKind> ActionsForm::Ok() {
  if (tabs_.empty()) {
    return std::nullopt;
  }
  ActionIds saved;
  ActionKind current = tabs_.front();
  try {
    store::RetriedOnce(services_.Connection, [&] {
      store::Transaction transaction(services_.Connection, store::kBeepDetail);
      for (const ActionKind kind : tabs_) {
        current = kind;
        if (const std::string missing = Missing(kind); !missing.empty()) {
          throw std::invalid_argument(missing);
        }
        IdOf(saved, kind) = Save(kind);
      }
      transaction.Commit();
    });
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The actions were not saved."), error,
                       store::Attempt::Changing);
    return current;
  } catch (const std::invalid_argument& error) {
    services_.Prompt.Show(error.what(), PromptIcon::Information);
    return current;
  }
  ids_ = saved;
  return std::nullopt;
}

}  // namespace korvane::alerts
