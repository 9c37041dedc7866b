#include "common/RegistryValues.h"

#include <optional>

#include "common/Number.h"
#include "common/Text.h"

namespace korvane {
namespace {

constexpr std::uint32_t kReadAndWriteRights = 0x2003F;
constexpr std::uint32_t kSetValueRight = 2;
constexpr std::size_t kValueBuffer = 1024;

std::string DecimalOfDword(std::string_view bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < bytes.size() && i < 4; ++i) {
    value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace

bool GetRegistryValue(platform::RegistryStore& registry, platform::RegistryHive hive,
                      std::string_view keyPath, std::string_view valueName, std::string& text) {
  text.clear();
  const std::optional<platform::RegistryData> data =
      registry.QueryValue(hive, keyPath, valueName, kReadAndWriteRights, kValueBuffer);
  if (!data) {
    return false;
  }
  if (data->Type == platform::RegistryType::String) {
    text = TrimAtNul(data->Bytes);
  } else if (data->Type == platform::RegistryType::Dword) {
    text = DecimalOfDword(data->Bytes);
  }
  return true;
}

bool SetRegistryDword(platform::RegistryStore& registry, platform::RegistryHive hive,
                      std::string_view keyPath, std::string_view valueName, std::int32_t value) {
  return registry.SetDword(hive, keyPath, valueName, static_cast<std::uint32_t>(value), kSetValueRight);
}

std::int32_t ManagerNumber(platform::RegistryStore& registry, std::string_view valueName,
                           std::int32_t defaultValue) {
  std::string text;
  if (!GetRegistryValue(registry, platform::RegistryHive::LocalMachine, kManagerKey, valueName, text)) {
    return defaultValue;
  }
  return NumberIn<std::int32_t>(text).value_or(defaultValue);
}

}  // namespace korvane
