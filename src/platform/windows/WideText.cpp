#include "platform/windows/WideText.h"

#include "platform/windows/SystemHeaders.h"

namespace korvane::platform {

std::wstring Wide(std::string_view utf8) {
  const int bytes = static_cast<int>(utf8.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Narrow(std::wstring_view wide) {
  const int units = static_cast<int>(wide.size());
  std::string utf8(static_cast<std::size_t>(
                       WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), static_cast<int>(utf8.size()), nullptr,
                      nullptr);
  return utf8;
}

std::optional<std::wstring> WideWithoutNul(std::string_view utf8) {
  return utf8.find('\0') == std::string_view::npos ? std::optional(Wide(utf8)) : std::nullopt;
}

}  // namespace korvane::platform
