#include "help/HelpBook.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextTable>
#include <QtEndian>
#include <algorithm>
#include <functional>
#include <utility>

#include "common/qt/QtText.h"

namespace korvane::help {
namespace {

constexpr qint64 kLargestFile = 64 * 1024 * 1024;  // packed and unpacked

// What a word is worth by where it is found.  A page about a thing names it in its title; one that mentions
// it often is more about it than one that mentions it once, but no number of mentions outweighs a heading.
constexpr qsizetype kInTitle = 40;
constexpr qsizetype kInHeading = 15;
constexpr qsizetype kMostMentions = 8;
constexpr qsizetype kWholePhrase = 20;

bool Holds(const QString& text, const QString& word) {
  return text.contains(word, Qt::CaseInsensitive);
}

// The packed text; empty when the file is not whole.
QByteArray Unpacked(std::string_view path) {
  QFile file(ToQString(path));
  if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) {
    return {};
  }
  const QByteArray packed = file.readAll();
  const qint64 length = packed.size() > 4 ? qFromBigEndian<quint32>(packed.constData()) : 0;
  if (length == 0 || length > kLargestFile) {
    return {};
  }
  QByteArray text = qUncompress(packed);
  return text.size() == length ? text : QByteArray();
}

// Puts the cells of a table's row into one line.
QList<HelpSection> SectionsOf(const QString& name, const QString& html) {
  QTextDocument page;
  page.setHtml(html);
  QList<HelpSection> sections = {{.Title = {}, .Target = name, .Lines = {}}};
  std::pair<QTextTable*, int> lastRow;
  for (QTextBlock block = page.begin(); block.isValid(); block = block.next()) {
    const QString text = block.text().remove(QChar::ObjectReplacementCharacter).simplified();
    QTextTable* table = QTextCursor(block).currentTable();
    const std::pair row(table, table != nullptr ? table->cellAt(block.position()).row() : 0);
    QStringList& lines = sections.back().Lines;
    if (block.blockFormat().headingLevel() == 1) {
      sections.front().Title = text;
    } else if (block.blockFormat().headingLevel() > 1) {
      const QString anchor = block.begin().fragment().charFormat().anchorNames().value(0);
      sections.append({.Title = text, .Target = name + QLatin1Char('#') + anchor, .Lines = {}});
    } else if (!text.isEmpty() && table != nullptr && row == lastRow) {
      lines.back() += QLatin1String("  ") + text;
    } else if (!text.isEmpty()) {
      lines.append(text);
    }
    lastRow = row;
  }
  return sections;
}

qsizetype Mentions(const HelpPage& page, const QString& text) {
  qsizetype mentions = 0;
  for (const HelpSection& section : page.Sections) {
    mentions += section.Lines.filter(text, Qt::CaseInsensitive).size();
  }
  return mentions;
}

// 0 when a word is nowhere on the page.
qsizetype Rank(const HelpPage& page, const QStringList& words, const QString& phrase) {
  qsizetype rank = words.size() > 1 && Mentions(page, phrase) > 0 ? kWholePhrase : 0;
  for (const QString& word : words) {
    const bool inHeading =
        std::any_of(page.Sections.begin() + 1, page.Sections.end(),
                    [&](const HelpSection& section) { return Holds(section.Title, word); });
    const qsizetype worth = std::min(Mentions(page, word), kMostMentions) +
                            (Holds(page.Title(), word) ? kInTitle : 0) + (inHeading ? kInHeading : 0);
    if (worth == 0) {
      return 0;
    }
    rank += worth;
  }
  return rank;
}

// How many of the words stand in the text; one more when they stand there as they were typed.
qsizetype Agreement(const QString& text, const QStringList& words, const QString& phrase) {
  const auto holds = [&](const QString& word) { return Holds(text, word); };
  return std::ranges::count_if(words, holds) + (words.size() > 1 && holds(phrase) ? 1 : 0);
}

// The best line is one with most of the words, under a heading that has them too where there is a choice;
// the first one when the title alone has the words.
HelpHit BestLine(const HelpPage& page, const QStringList& words, const QString& phrase) {
  const HelpSection& first = page.Sections.front();
  HelpHit best{.Title = page.Title(), .Line = first.Lines.value(0), .Target = page.Name};
  qsizetype most = 0;
  for (const HelpSection& section : page.Sections) {
    const qsizetype inHeading = &section == &first ? 0 : 2 * Agreement(section.Title, words, phrase);
    for (const QString& line : section.Lines) {
      const qsizetype agreement = inHeading + Agreement(line, words, phrase);
      if (agreement > most) {
        most = agreement;
        best.Line = line;
        best.Target = section.Target;
      }
    }
  }
  return best;
}

}  // namespace

std::optional<HelpBook> HelpBook::Read(std::string_view path) {
  const QJsonObject guide = QJsonDocument::fromJson(Unpacked(path)).object();
  HelpBook book;
  const QJsonArray pages = guide[QLatin1String("pages")].toArray();
  for (const auto& page : pages) {
    const QString name = page[QLatin1String("name")].toString();
    const QString html = page[QLatin1String("html")].toString();
    const QString group = page[QLatin1String("group")].toString();
    book.Pages.append({.Name = name, .Group = group, .Html = html, .Sections = SectionsOf(name, html)});
  }
  const QJsonObject pictures = guide[QLatin1String("pictures")].toObject();
  for (const QString& name : pictures.keys()) {
    book.Pictures.insert(name, QByteArray::fromBase64(pictures[name].toString().toLatin1()));
  }
  return book.Pages.isEmpty() ? std::nullopt : std::optional(std::move(book));
}

const HelpPage* HelpBook::Find(const QString& name) const {
  const auto found = std::ranges::find(Pages, name, &HelpPage::Name);
  return found == Pages.end() ? nullptr : &*found;
}

QList<HelpHit> HelpBook::Search(const QString& text) const {
  const QStringList words = HelpSearchWords(text);
  const QString phrase = words.join(QLatin1Char(' '));
  QList<std::pair<qsizetype, const HelpPage*>> found;
  for (const HelpPage& page : Pages) {
    if (const qsizetype rank = Rank(page, words, phrase); rank > 0) {
      found.emplace_back(rank, &page);
    }
  }
  std::ranges::stable_sort(found, std::ranges::greater(), &std::pair<qsizetype, const HelpPage*>::first);
  QList<HelpHit> hits;
  for (const auto& [rank, page] : found) {
    hits.append(BestLine(*page, words, phrase));
  }
  return hits;
}

QStringList HelpSearchWords(const QString& text) {
  return text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

}  // namespace korvane::help
