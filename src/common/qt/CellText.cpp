#include "common/qt/CellText.h"

#include <QStringBuilder>
#include <QStringList>
#include <algorithm>

#include "common/qt/QtText.h"

namespace korvane {

namespace {

// No screen shows more of a line.
constexpr std::size_t kShownBytes = 1024;
constexpr qsizetype kToolTipLine = 100;

bool ContinuesCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

}  // namespace

QString ShownText(std::string_view text) {
  if (text.size() <= kShownBytes) {
    return ToVisibleQString(text);
  }
  std::size_t end = kShownBytes;
  while (end > kShownBytes - 4 && ContinuesCharacter(text[end])) {
    --end;
  }
  return ToVisibleQString(text.substr(0, end)) % QChar(0x2026);
}

// A tool tip itself breaks lines only between words.
QString PlainToolTip(const QString& text) {
  QString lines;
  for (const QString& line : text.split(QLatin1Char('\n'))) {
    for (qsizetype at = 0; at == 0 || at < line.size();) {
      qsizetype length = std::min(kToolTipLine, line.size() - at);
      if (at + length < line.size()) {
        const qsizetype blank = line.lastIndexOf(QLatin1Char(' '), at + length);
        if (blank > at) {
          length = blank + 1 - at;
        } else if (line[at + length].isLowSurrogate()) {
          ++length;
        }
      }
      lines += line.mid(at, length).toHtmlEscaped() % QLatin1String("<br>");
      at += std::max<qsizetype>(length, 1);
    }
  }
  lines.chop(4);
  return QLatin1String("<p style=\"white-space:pre\">") % lines % QLatin1String("</p>");
}

}  // namespace korvane
