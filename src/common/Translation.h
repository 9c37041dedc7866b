// The one place through which texts of the windows go, so that a translation is a file.  The English texts,
// exact to the last blank, are the keys; what a translation lacks is shown in English.  Logs, files and what
// goes to other machines are not translated.  Any thread.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace korvane {

// Marks a text of a table or a constant, for the collector of texts; it is translated where it is shown.
constexpr std::string_view Translatable(std::string_view english) {
  return english;
}

// english: a literal or a constant of literals, which end with a NUL and live as long as the program; what
// comes back does too.
const char* Translated(std::string_view english);

// A translated text with arguments, which a translation may put into another order ("{1} of {0}").
std::string PhraseOf(std::string_view english, fmt::format_args arguments);
template <typename... Arguments>
std::string Phrase(fmt::format_string<Arguments...> english, Arguments&&... arguments) {
  const fmt::string_view text = english;
  return PhraseOf({text.data(), text.size()}, fmt::make_format_args(arguments...));
}

}  // namespace korvane
