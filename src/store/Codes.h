// Severity and generic-trap codes and their names.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace korvane::store {

// In code order, which is no ranking.
inline constexpr std::array<std::string_view, 6> kSeverityNames = {"Clear", "Minor",   "Information",
                                                                   "Major", "Warning", "Critical"};
inline constexpr std::array<std::string_view, 7> kGenericTrapNames = {
    "coldStart",       "warmStart",         "linkDown", "linkUp", "authenticationFailure",
    "egpNeighborLoss", "enterpriseSpecific"};
inline constexpr std::int32_t kEnterpriseSpecific = 6;

std::string_view SeverityName(std::int32_t code);     // any other code: "Clear"
std::string_view GenericTrapName(std::int32_t code);  // any other code: "Unknown"

}  // namespace korvane::store
