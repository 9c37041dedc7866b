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
// What a glance takes in.
constexpr int kMostLines = 6;
constexpr std::size_t kLongestFirstLine = 300;

bool ContinuesCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Cut between two characters where it is longer.
QString Beginning(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) {
    return ToVisibleQString(text);
  }
  std::size_t end = bytes;
  while (end > bytes - 4 && ContinuesCharacter(text[end])) {
    --end;
  }
  return ToVisibleQString(text.substr(0, end)) % QChar(0x2026);
}

}  // namespace

QString ShownText(std::string_view text) {
  return Beginning(text, kShownBytes);
}

QString FirstLines(std::string_view text) {
  QString lines;
  for (int count = 0; count < kMostLines; ++count) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    lines += Beginning(text.substr(0, end), kLongestFirstLine);
    const std::string_view behind = text.substr(end);
    text = behind.substr(behind.starts_with("\r\n") ? 2 : std::min<std::size_t>(behind.size(), 1));
    if (text.empty()) {
      return lines;
    }
    lines += QLatin1Char('\n');
  }
  return lines % QChar(0x2026);
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
