#include "help/HelpBook.h"

#include <algorithm>
#include <utility>

#include "common/Text.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kFolder = "guide/";
constexpr std::string_view kContents = "guide/contents.md";

// What a word is worth by where it is found.  A page about a thing names it in its title; one that mentions
// it often is more about it than one that mentions it once, but no number of mentions outweighs a heading.
constexpr int kInTitle = 40;
constexpr int kInHeading = 15;
constexpr int kMostMentions = 8;
constexpr int kWholePhrase = 20;

// What the line's link leads to.
std::optional<std::string_view> TargetIn(std::string_view line) {
  const std::size_t open = line.find("](");
  const std::size_t close = open == std::string_view::npos ? open : line.find(')', open);
  if (close == std::string_view::npos) {
    return std::nullopt;
  }
  return line.substr(open + 2, close - open - 2);
}

bool Holds(std::string_view folded, std::string_view word) {
  return folded.find(word) != std::string_view::npos;
}

// How many of the words stand in the text; one more when they stand there as they were typed.
int Agreement(std::string_view folded, const std::vector<std::string>& words, std::string_view phrase) {
  const auto found =
      std::ranges::count_if(words, [&](const std::string& word) { return Holds(folded, word); });
  return static_cast<int>(found) + (words.size() > 1 && Holds(folded, phrase) ? 1 : 0);
}

// Nothing when a word is nowhere on the page.
std::optional<int> Rank(const HelpPage& page, const std::vector<std::string>& words,
                        std::string_view phrase) {
  int rank = 0;
  for (const std::string& word : words) {
    const auto mentions = static_cast<int>(std::ranges::count_if(
        page.Paragraphs, [&](const HelpParagraph& paragraph) { return Holds(paragraph.Folded, word); }));
    const bool inTitle = Holds(FoldCase(page.Title()), word);
    const bool inHeading =
        std::any_of(page.Sections.begin() + 1, page.Sections.end(),
                    [&](const HelpSection& section) { return Holds(FoldCase(section.Title), word); });
    if (mentions == 0 && !inTitle && !inHeading) {
      return std::nullopt;
    }
    rank += std::min(mentions, kMostMentions) + (inTitle ? kInTitle : 0) + (inHeading ? kInHeading : 0);
  }
  const bool whole = std::ranges::any_of(
      page.Paragraphs, [&](const HelpParagraph& paragraph) { return Holds(paragraph.Folded, phrase); });
  return rank + (words.size() > 1 && whole ? kWholePhrase : 0);
}

// The line that shows best why the page was found: one with most of the words, under a heading that has them
// too where there is a choice.
HelpHit BestLine(const HelpPage& page, const std::vector<std::string>& words, std::string_view phrase) {
  HelpHit best{.Page = &page, .Section = &page.Sections.front(), .Line = {}};
  int most = 0;
  for (const HelpParagraph& paragraph : page.Paragraphs) {
    const HelpSection& section = page.Sections[paragraph.Section];
    const int inText = Agreement(paragraph.Folded, words, phrase);
    const int inHeading = section.Anchor.empty() ? 0 : Agreement(FoldCase(section.Title), words, phrase);
    if (2 * inHeading + inText > most) {
      most = 2 * inHeading + inText;
      best.Section = &section;
      best.Line = paragraph.Text;
    }
  }
  if (best.Line.empty() && !page.Paragraphs.empty()) {
    best.Line = page.Paragraphs.front().Text;  // the title alone has the words
  }
  return best;
}

}  // namespace

std::optional<HelpBook> HelpBook::Read(const ReadFile& readFile) {
  const std::optional<std::string> contents = readFile(kContents);
  if (!contents || !contents->starts_with(kHelpContentsTitle)) {
    return std::nullopt;
  }
  HelpBook book;
  std::string group;
  for (std::string_view rest = *contents; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
    const std::string_view line = rest.substr(0, end + 1);
    rest.remove_prefix(end + 1);
    if (line.starts_with("## ")) {
      group = PlainHelpText(line.substr(3, line.find_last_not_of(" \r\n") - 2));
    } else if (const std::optional<std::string_view> page = TargetIn(line)) {
      std::optional<std::string> markdown = readFile(std::string(kFolder) + std::string(*page));
      if (!markdown) {
        return std::nullopt;
      }
      book.pages_.push_back(ParseHelpPage(std::string(*page), *std::move(markdown)));
      book.pages_.back().Group = group;
    }
  }
  return book.pages_.empty() ? std::nullopt : std::optional(std::move(book));
}

const HelpPage* HelpBook::Find(std::string_view name) const {
  const auto found = std::ranges::find(pages_, name, &HelpPage::Name);
  return found == pages_.end() ? nullptr : &*found;
}

std::vector<HelpHit> HelpBook::Search(std::string_view text) const {
  const std::vector<std::string> words = HelpSearchWords(text);
  std::vector<std::pair<int, HelpHit>> ranked;
  if (!words.empty()) {
    std::string phrase;
    for (const std::string& word : words) {
      phrase += (phrase.empty() ? "" : " ") + word;
    }
    for (const HelpPage& page : pages_) {
      if (const std::optional<int> rank = Rank(page, words, phrase)) {
        ranked.emplace_back(*rank, BestLine(page, words, phrase));
      }
    }
  }
  std::ranges::stable_sort(ranked, std::ranges::greater(), &std::pair<int, HelpHit>::first);
  std::vector<HelpHit> hits;
  hits.reserve(ranked.size());
  for (auto& [rank, hit] : ranked) {
    hits.push_back(std::move(hit));
  }
  return hits;
}

std::vector<std::string> HelpSearchWords(std::string_view text) {
  const std::string folded = FoldCase(text);
  std::vector<std::string> words;
  for (std::string_view rest = folded; !rest.empty();) {
    const std::size_t end = std::min(rest.find_first_of(" \t"), rest.size());
    const std::string word(rest.substr(0, end));
    if (!word.empty() && std::ranges::find(words, word) == words.end()) {
      words.push_back(word);
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return words;
}

}  // namespace korvane::mainwnd
