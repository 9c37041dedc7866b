#include "receiver/alerts/UpdateSignal.h"

#include <fmt/format.h>

#include <utility>

#include "common/RegistryValues.h"
#include "receiver/Configuration.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kDwordBytes = 4;
constexpr auto kTryAgain = std::chrono::minutes(1);

}  // namespace

bool UpdateSignal::Asked(Time now) {
  const auto data = registry_.QueryValue(platform::RegistryHive::LocalMachine, kManagerKey,
                                         kActionUpdateValue, kReadAccess, kDwordBytes);
  if (!data || data->Type != platform::RegistryType::Dword || data->Bytes.empty() || data->Bytes[0] != 1) {
    stuck_ = false;
    return false;
  }
  if (stuck_ && now < tryAgain_) {
    return false;
  }
  if (SetRegistryDword(registry_, platform::RegistryHive::LocalMachine, kManagerKey, kActionUpdateValue, 0)) {
    stuck_ = false;
    return true;
  }
  tryAgain_ = now + kTryAgain;
  if (std::exchange(stuck_, true)) {
    return false;
  }
  log_.Error(fmt::format(
      "the signal {} can't be reset: the receiver may not write the registry file; until it can, changes of "
      "alerts are learnt from the trap store alone",
      kActionUpdateValue));
  return true;
}

}  // namespace korvane::receiver
