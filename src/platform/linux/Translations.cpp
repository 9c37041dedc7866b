#include "platform/Translations.h"

#include <libintl.h>

namespace korvane::platform {
namespace {

constexpr const char* kTextDomain = "korvane";

}  // namespace

void LookForTranslations(const char* folder) {
  bindtextdomain(kTextDomain, folder);
  bind_textdomain_codeset(kTextDomain, "UTF-8");
}

const char* TranslationOf(const char* english) {
  return dgettext(kTextDomain, english);
}

}  // namespace korvane::platform
