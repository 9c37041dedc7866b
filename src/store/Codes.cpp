#include "store/Codes.h"

#include "common/Number.h"
#include "common/Text.h"

namespace korvane::store {

std::string_view SeverityName(std::int32_t code) {
  const auto index = static_cast<std::uint32_t>(code);
  return index < kSeverityNames.size() ? kSeverityNames[index] : kSeverityNames[0];
}

std::int32_t SeverityRank(std::int32_t code) {
  constexpr std::array<std::int32_t, kSeverityNames.size()> kRanks = {0, 3, 1, 4, 2, 5};
  const auto index = static_cast<std::uint32_t>(code);
  return index < kRanks.size() ? kRanks[index] : 0;
}

std::string_view GenericTrapName(std::int32_t code) {
  const auto index = static_cast<std::uint32_t>(code);
  return index < kGenericTrapNames.size() ? kGenericTrapNames[index] : "Unknown";
}

std::optional<std::int32_t> GenericCodeOf(std::string_view enterpriseOid, std::int32_t specificTrap) {
  const bool standard =
      enterpriseOid == kStandardTrapsOid && specificTrap >= 1 && specificTrap <= kEnterpriseSpecific;
  return standard ? std::optional(specificTrap - 1) : std::nullopt;
}

std::optional<std::int32_t> StoredSpecificCode(std::string_view text) {
  const std::string_view digits = WithoutBlanks(text);
  return digits.empty() ? 0 : NumberIn<std::int32_t>(digits);
}

}  // namespace korvane::store
