#include "platform/Utf8.h"

#include <utf8proc.h>

#include <array>

namespace korvane::platform {

void AppendUtf8(std::string& text, char32_t code) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const utf8proc_ssize_t length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(code), bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

}  // namespace korvane::platform
