// Translated texts as the system keeps them: one file for each language, found by the user's environment.
#pragma once

namespace korvane::platform {

// From now on texts are looked up below this folder, in LANGUAGE/LC_MESSAGES/korvane.mo.  The language is
// that of the process's locale.  Once, at the start of a program with windows, before other threads; without
// it every text stays as it is.
void LookForTranslations(const char* folder);

// The translation, or the text itself.  What it points to lives as long as the program or the text.  Any
// thread.
const char* TranslationOf(const char* english);

}  // namespace korvane::platform
