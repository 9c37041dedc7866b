// The two operations through which all registry access goes, and the values the product keeps there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Platform.h"

namespace korvane {

inline constexpr std::string_view kManagerKey = "SOFTWARE\\Vantreel\\Selvanto\\Manager";
inline constexpr std::string_view kFamilyKey = "SOFTWARE\\Vantreel\\Dorvale";

inline constexpr std::string_view kInstallPathValue = "KVInstallPath";
inline constexpr std::string_view kVersionValue = "KVVersion";
inline constexpr std::string_view kAckFrequencyValue = "KVAckFreqHours";
inline constexpr std::string_view kPurgeFrequencyValue = "KVPurgeFreqDays";
inline constexpr std::string_view kMaxViewTrapsValue = "MaxViewTraps";
inline constexpr std::string_view kActionUpdateValue = "KVActionUpdate";
inline constexpr std::string_view kSmtpServerValue = "KVSmtpServer";
inline constexpr std::string_view kListenAddressesValue = "KVListenAddresses";
inline constexpr std::string_view kLocalRootDirValue = "LocalRootDir";

inline constexpr std::int32_t kDefaultMaxViewTraps = 1000;
// No window holds more, whatever the value says: the longest list whose speed and memory are measured.
inline constexpr std::int32_t kMostViewTraps = 1'000'000;

// Reads one value as text: a string up to its first NUL, a DWORD as the decimal text of its signed value,
// any other type as an empty text with success.  Opens the key with write rights too, so a user who may not
// change the settings can't read them either.  False (and an empty text) when the value can't be read.
bool GetRegistryValue(platform::RegistryStore& registry, platform::RegistryHive hive,
                      std::string_view keyPath, std::string_view valueName, std::string& text);

// Writes one 32-bit number into an existing key.
bool SetRegistryDword(platform::RegistryStore& registry, platform::RegistryHive hive,
                      std::string_view keyPath, std::string_view valueName, std::int32_t value);

// A 32-bit value of the manager's key, or the default when it can't be read or is no number.
std::int32_t ManagerNumber(platform::RegistryStore& registry, std::string_view valueName,
                           std::int32_t defaultValue);

}  // namespace korvane
