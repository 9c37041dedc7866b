// Severity and generic-trap codes and their names.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace korvane::store {

// In code order, which is no ranking: SeverityRank ranks them.
inline constexpr std::array<std::string_view, 6> kSeverityNames = {"Clear", "Minor",   "Information",
                                                                   "Major", "Warning", "Critical"};
inline constexpr std::array<std::string_view, 7> kGenericTrapNames = {
    "coldStart",       "warmStart",         "linkDown", "linkUp", "authenticationFailure",
    "egpNeighborLoss", "enterpriseSpecific"};
inline constexpr std::int32_t kEnterpriseSpecific = 6;

std::string_view SeverityName(std::int32_t code);     // any other code: "Clear"
std::string_view GenericTrapName(std::int32_t code);  // any other code: "Unknown"

// How bad a severity is, as operators know it: 5 for Critical, then Major, Minor, Warning (the perceived
// severities of ITU-T X.733), Information, and 0 for Clear and any other code.  A larger rank is worse.
std::int32_t SeverityRank(std::int32_t code);

// The standard notifications (RFC 3418) stand below this OID, numbered by generic code plus one.
inline constexpr std::string_view kStandardTrapsOid = "1.3.6.1.6.3.1.1.5";

// The generic code under which such a trap is stored, whoever sent it; nothing for a trap of an enterprise.
std::optional<std::int32_t> GenericCodeOf(std::string_view enterpriseOid, std::int32_t specificTrap);

// The specific code of a category's row, which is stored as a text: 0, which means any, when it is blank;
// nothing when it is no number, so that the row describes no trap.
std::optional<std::int32_t> StoredSpecificCode(std::string_view text);

}  // namespace korvane::store
