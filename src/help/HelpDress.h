// Gives a page that was read from Markdown its looks: sizes of headings, room between paragraphs, tables with
// ruled rows, notes (block quotes) on a tinted ground, code and keys set off, links in the palette's colour.
// Also what Markdown has and the toolkit leaves out: anchors at headings.
#pragma once

#include <QFont>
#include <QPalette>
#include <functional>

class QString;
class QTextDocument;

namespace korvane::mainwnd {

struct HelpLook {
  QFont Font;  // of the text; everything else follows its size
  QPalette Palette;
  std::function<bool(const QString& target)> MayFollow;  // other links are shown as plain text
};

// Once for each page, right after it was read.
void DressHelpPage(QTextDocument& page, const HelpLook& look);

}  // namespace korvane::mainwnd
