#include "platform/DateText.h"

#include <array>

namespace korvane::platform {

std::string LocaleDateTime(const std::tm& parts) {
  std::array<char, 256> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%x %X", &parts)};
}

}  // namespace korvane::platform
