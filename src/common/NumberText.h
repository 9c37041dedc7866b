// How counts stand in texts for the operator.  The logic composes such texts and knows no locale; the windows
// hand it theirs, and Desk has it for texts that go elsewhere.
#pragma once

#include <cstdint>
#include <string>

namespace korvane {

using NumberText = std::string (*)(std::int64_t number);

inline std::string PlainNumber(std::int64_t number) {
  return std::to_string(number);
}

}  // namespace korvane
