// The user guide: its contents list, its pages in reading order, and a search over all of them.  Read once
// when the help window opens, constant afterwards.  No toolkit; whoever reads it says where the files are.
//
// The folder "guide" holds one Markdown file a page and "contents.md", which begins with kHelpContentsTitle,
// groups the pages under second-level headings and links to each.  A page that it does not link to is not
// part of the guide.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "help/HelpPage.h"

namespace korvane::mainwnd {

inline constexpr std::string_view kHelpContentsTitle = "# Korvane Manager Console: operator's guide";

struct HelpHit {
  const HelpPage* Page;
  const HelpSection* Section;  // where the best line stands
  std::string Line;            // empty on a page without text
};

class HelpBook {
 public:
  // A file's text by its path in the help file, "guide/start.md"; nothing when there is none.
  using ReadFile = std::function<std::optional<std::string>(std::string_view path)>;

  // Nothing when the contents are missing, are none, or name a page that is missing.
  static std::optional<HelpBook> Read(const ReadFile& readFile);

  std::span<const HelpPage> Pages() const { return pages_; }  // the first one is where reading begins
  const HelpPage* Find(std::string_view name) const;

  // Pages that hold all words, each whole or as part of a word, ignoring case; best first.  No word: nothing.
  std::vector<HelpHit> Search(std::string_view words) const;

 private:
  std::vector<HelpPage> pages_;
};

// The words of a search, folded, each once.
std::vector<std::string> HelpSearchWords(std::string_view words);

}  // namespace korvane::mainwnd
