// Between the texts of this program, UTF-8, and those of the system's calls, UTF-16.  Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane::platform {

// Bytes that are no UTF-8 become the replacement character.
std::wstring Wide(std::string_view utf8);
// Half a surrogate pair becomes the replacement character.
std::string Narrow(std::wstring_view wide);

// For calls that take a terminated text: nothing where the text holds a NUL, behind which they would see none
// of it.
std::optional<std::wstring> WideWithoutNul(std::string_view utf8);

}  // namespace korvane::platform
