#include "common/Translation.h"

#include "platform/Translations.h"

namespace korvane {

const char* Translated(std::string_view english) {
  // The empty text is the key under which a file of translations describes itself.
  return english.empty() ? "" : platform::TranslationOf(english.data());
}

std::string PhraseOf(std::string_view english, fmt::format_args arguments) {
  try {
    return fmt::vformat(Translated(english), arguments);
  } catch (const fmt::format_error&) {  // a translation's placeholders are not those of the text
    return fmt::vformat({english.data(), english.size()}, arguments);
  }
}

}  // namespace korvane
