#include "common/qt/QtText.h"

#include "common/Text.h"

namespace korvane {

QString ToQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString ToVisibleQString(std::string_view text) {
  return ToQString(VisibleText(text));
}

std::string ToUtf8(const QString& text) {
  return text.toStdString();
}

}  // namespace korvane
