// The user guide: its pages in reading order, their pictures, and a search over all of them.  Read from the
// help file when the help window opens, constant afterwards.  docs/make_help.py makes the file and says what
// is in it.  User-interface thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>
#include <string_view>

namespace korvane::help {

inline constexpr std::string_view kHelpFile = "kvw.hlp";

// A heading with what stands below it up to the next one.
struct HelpSection {
  QString Title;
  QString Target;     // "start.md#what-you-see"; of a page's first section the page alone
  QStringList Lines;  // paragraphs, list items and table rows as plain text
};

struct HelpPage {
  QString Name;   // "start.md"
  QString Group;  // heading under which the contents list it
  QString Html;
  QList<HelpSection> Sections;  // the first has the page's title; never empty

  const QString& Title() const { return Sections.front().Title; }
};

struct HelpHit {
  QString Title;   // of the page
  QString Line;    // that shows best why it was found
  QString Target;  // where that line stands
};

struct HelpBook {
  // Nothing when the file is missing, unreadable, too large, cut off, damaged or no guide.
  static std::optional<HelpBook> Read(std::string_view path);

  const HelpPage* Find(const QString& name) const;  // null: there is none

  // Pages that hold all words, each whole or as part of a word, ignoring case; best first.  No word: nothing.
  QList<HelpHit> Search(const QString& words) const;

  QList<HelpPage> Pages;
  QHash<QString, QByteArray> Pictures;  // by file name, "road.svg"
};

// The words of a search.
QStringList HelpSearchWords(const QString& text);

}  // namespace korvane::help
