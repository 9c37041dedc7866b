#include "store/Codes.h"

namespace korvane::store {

std::string_view SeverityName(std::int32_t code) {
  const auto index = static_cast<std::uint32_t>(code);
  return index < kSeverityNames.size() ? kSeverityNames[index] : kSeverityNames[0];
}

std::string_view GenericTrapName(std::int32_t code) {
  const auto index = static_cast<std::uint32_t>(code);
  return index < kGenericTrapNames.size() ? kGenericTrapNames[index] : "Unknown";
}

}  // namespace korvane::store
