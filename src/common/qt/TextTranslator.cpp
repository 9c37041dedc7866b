#include "common/qt/TextTranslator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>

#include "platform/Translations.h"

namespace korvane {

QString TextTranslator::translate(const char* /*context*/, const char* english, const char* /*comment*/,
                                  int /*n*/) const {
  if (english == nullptr || *english == 0) return {};
  const char* const found = platform::TranslationOf(english);
  return found == english ? QString() : QString::fromUtf8(found);
}

void InstallTranslations(QCoreApplication& application) {
  platform::LookForTranslations(
      QFile::encodeName(
          QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("../share/locale")))
          .constData());
  const char* const ofFile = "";
  if (*platform::TranslationOf(ofFile) == 0) return;  // English
  // The toolkit is asked first: it knows its own texts by where they stand.
  QCoreApplication::installTranslator(new TextTranslator(&application));
  auto* toolkit = new QTranslator(&application);
  if (toolkit->load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
                    QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QCoreApplication::installTranslator(toolkit);
  }
}

}  // namespace korvane
