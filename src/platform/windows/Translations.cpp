#include "platform/Translations.h"

namespace korvane::platform {

// The system keeps no files of texts: they stay as they are.
void LookForTranslations(const char* /*folder*/) {}

const char* TranslationOf(const char* english) {
  return english;
}

}  // namespace korvane::platform
