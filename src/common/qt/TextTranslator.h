// Texts of forms and of tr() by the same files as all others (common/Translation.h); contexts play no part.
#pragma once

#include <QTranslator>

class QCoreApplication;

namespace korvane {

class TextTranslator : public QTranslator {
 public:
  using QTranslator::QTranslator;

  bool isEmpty() const override { return false; }
  QString translate(const char* context, const char* english, const char* comment, int n) const override;
};

// Before the first window.  Where there are translations into the user's language, the toolkit's own texts
// are taken from its translations too; else everything stays in one language.
void InstallTranslations(QCoreApplication& application);

}  // namespace korvane
