// One page of the user guide as text: its title, its sections and its paragraphs without Markdown's marks,
// for the contents list and the search.  Pure functions over UTF-8; no toolkit.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::mainwnd {

struct HelpSection {
  std::string Title;
  std::string Anchor;  // what "page.md#anchor" names; empty for the page's beginning
};

// A paragraph, list item, table row or line of code.
struct HelpParagraph {
  std::string Text;
  std::string Folded;   // Text for comparing while ignoring case
  std::size_t Section;  // position in HelpPage::Sections
};

struct HelpPage {
  std::string Name;   // its file, "start.md"
  std::string Group;  // heading under which the contents list it
  std::string Markdown;
  // The first one is the page's title with what stands before the next heading; never empty.
  std::vector<HelpSection> Sections;
  std::vector<HelpParagraph> Paragraphs;

  const std::string& Title() const { return Sections.front().Title; }
};

// Markdown need not begin with a heading: its title is empty then.
HelpPage ParseHelpPage(std::string name, std::string markdown);

// Text of one line without the marks for bold, code, links and pictures; of a picture its description stays.
std::string PlainHelpText(std::string_view markdown);

// The anchor of a heading as repository viewers make it: lower case, blanks as hyphens, no punctuation.
std::string HelpAnchor(std::string_view plainTitle);

}  // namespace korvane::mainwnd
