// Writing texts character by character, for every floor.  Any thread.
#pragma once

#include <string>

namespace korvane::platform {

// code: a character's number, no surrogate.
void AppendUtf8(std::string& text, char32_t code);

}  // namespace korvane::platform
