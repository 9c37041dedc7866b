#include "config/ConfigForm.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <stdexcept>

#include "common/Number.h"
#include "common/RegistryValues.h"
#include "common/Services.h"
#include "common/Translation.h"

namespace korvane::config {

namespace {

constexpr std::string_view kReceiverService = "KVReceiver";

std::string ReadOr(platform::RegistryStore& registry, std::string_view valueName,
                   std::string_view otherwise) {
  std::string text;
  return GetRegistryValue(registry, platform::RegistryHive::LocalMachine, kManagerKey, valueName, text)
             ? text
             : std::string(otherwise);
}

}  // namespace

ConfigForm::ConfigForm(const ConfigServices& services)
    : services_(services),
      loaded_{.AckHours = ReadOr(services.Registry, kAckFrequencyValue, "12"),
              .PurgeDays = ReadOr(services.Registry, kPurgeFrequencyValue, "7"),
              .MaxViewTraps = ReadOr(services.Registry, kMaxViewTrapsValue, "1000")} {}

bool ConfigForm::OperatorAgrees(const ConfigValues& shown) {
  std::string text;
  if (shown.AckHours != loaded_.AckHours || shown.PurgeDays != loaded_.PurgeDays) {
    text += Translated(
        "You have changed acknowledge or purge frequency. This requires Korvane Manager service to be "
        "restarted.\r");
  }
  if (shown.MaxViewTraps != loaded_.MaxViewTraps) {
    text += Translated(
        "You have changed the limit for maximum traps shown. You have to restart this program for this "
        "configuration to be applied.\r");
  }
  return text.empty() ||
         services_.Prompt.Ask(text + Translated("Do you want to continue?"), PromptButtons::YesNo,
                              PromptIcon::Question) == PromptAnswer::Yes;
}

bool ConfigForm::SwitchesPurgingOff(std::string_view days) {
  try {
    return TypedNumber(days) < 1;
  } catch (const std::invalid_argument&) {
    return false;  // OK will say so
  }
}

bool ConfigForm::Ok(const ConfigValues& shown) {
  struct Write {
    std::string_view ValueName;
    std::string_view Failure;
    std::int32_t Number;
  };
  std::array<Write, 3> writes{
      {{kAckFrequencyValue, Translated("Could not set acknowledgement frequency."), 0},
       {kPurgeFrequencyValue, Translated("Could not set purge frequency."), 0},
       {kMaxViewTrapsValue, Translated("Could not set maximum view limit."), 0}}};
  if (!OperatorAgrees(shown)) {
    return false;
  }
  try {
    writes[0].Number = TypedNumber(shown.AckHours);
    writes[1].Number = TypedNumber(shown.PurgeDays);
    writes[2].Number = TypedNumber(shown.MaxViewTraps);
  } catch (const std::invalid_argument& error) {
    services_.Prompt.Show(error.what(), PromptIcon::Critical);
    return false;
  }
  for (const Write& write : writes) {
    if (!SetRegistryDword(services_.Registry, platform::RegistryHive::LocalMachine, kManagerKey,
                          write.ValueName, write.Number)) {
      services_.Prompt.Show(write.Failure, PromptIcon::Critical);
    }
  }
  Restart();
  return true;
}

// The service reads its intervals when it starts, so it is restarted whatever was changed.
void ConfigForm::Restart() {
  std::int32_t result = 0;
  {
    const BusyScope busy(services_.Busy, Translated("Restarting Service"));
    result = RestartService(services_.Services, services_.Clock, kReceiverService);
  }
  if (result != 0) {
    services_.Prompt.Show(
        Phrase("Failed to restart '{}' service. Please restart manually.", kReceiverService),
        PromptIcon::Critical);
  }
}

}  // namespace korvane::config
