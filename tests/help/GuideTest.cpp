// The user guide as it lies in the source: what it says about menus and keys, where its links lead, and the
// logic by which the help window reads and searches it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "help/HelpBook.h"
#include "mainwnd/CommandTable.h"

namespace korvane::test {
namespace {

using mainwnd::HelpBook;
using mainwnd::HelpPage;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::filesystem::path kDocs = std::filesystem::path(KORVANE_SOURCE_DIR) / "docs";

std::optional<std::string> ReadDocument(std::string_view path) {
  const std::ifstream file(kDocs / path);
  std::ostringstream text;
  text << file.rdbuf();
  return file ? std::optional(text.str()) : std::nullopt;
}

std::string Plain(std::string_view caption) {
  std::string text(caption);
  std::erase(text, '&');
  return text;
}

// "Reports > Report / History" and the commands it may mean; the same caption stands in one menu once.
std::map<std::string, const mainwnd::Command*> MenuPaths() {
  std::map<std::string, const mainwnd::Command*> paths;
  for (const mainwnd::Menu& menu : mainwnd::MenuBar()) {
    for (const std::string_view name : menu.Items) {
      if (const mainwnd::Command* command = mainwnd::FindCommand(name)) {
        paths[Plain(menu.Caption) + " > " + Plain(command->Caption)] = command;
      }
    }
  }
  return paths;
}

std::vector<std::string> Matches(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
    found.push_back((*it)[1]);
  }
  return found;
}

struct GuideTest : testing::Test {
  GuideTest() {
    auto book = HelpBook::Read(ReadDocument);
    EXPECT_TRUE(book);
    Book = book ? *std::move(book) : HelpBook();
    for (const auto& file : std::filesystem::directory_iterator(kDocs / "guide")) {
      const std::string name = file.path().filename();
      if (name != "contents.md") {
        Written.push_back(mainwnd::ParseHelpPage(name, *ReadDocument("guide/" + name)));
      }
    }
  }
  HelpBook Book;
  std::vector<HelpPage> Written;  // also pages that wait for what they describe
};

TEST_F(GuideTest, LinksAndPicturesLeadSomewhere) {
  for (const HelpPage& page : Written) {
    SCOPED_TRACE(page.Name);
    const bool listed = Book.Find(page.Name) != nullptr;
    for (const std::string& target : Matches(page.Markdown, R"(\]\(([^)]*)\))")) {
      if (target.starts_with("../pictures/")) {
        EXPECT_TRUE(std::filesystem::exists(kDocs / "guide" / target)) << target;
        continue;
      }
      const std::string name = target.substr(0, target.find('#'));
      const auto found = std::ranges::find(Written, name.empty() ? page.Name : name, &HelpPage::Name);
      ASSERT_NE(found, Written.end()) << target;
      EXPECT_TRUE(!listed || Book.Find(found->Name) != nullptr) << target << " is not in the contents";
      if (name != target) {
        const std::string anchor = target.substr(target.find('#') + 1);
        EXPECT_THAT(found->Sections, Contains(testing::Field(&mainwnd::HelpSection::Anchor, anchor)))
            << target;
      }
    }
  }
}

TEST_F(GuideTest, TheContentsNamePagesByTheirTitles) {
  const std::string contents = *ReadDocument("guide/contents.md");
  std::vector<std::string> titles;
  for (const HelpPage& page : Book.Pages()) {
    titles.push_back(page.Title());
    EXPECT_FALSE(page.Group.empty()) << page.Name;
  }
  EXPECT_EQ(Matches(contents, R"(\[([^\]]*)\]\()"), titles);
}

TEST_F(GuideTest, MenusAreNamedAsTheyAre) {
  const auto paths = MenuPaths();
  std::set<std::string> named;
  for (const HelpPage& page : Written) {
    const bool listed = Book.Find(page.Name) != nullptr;
    for (const std::string& path : Matches(page.Markdown, R"(\*\*([A-Z][^*]* > [^*]*)\*\*)")) {
      const auto found = paths.find(path);
      ASSERT_NE(found, paths.end()) << page.Name << " names " << path;
      if (listed) {
        EXPECT_TRUE(found->second->Available) << page.Name << " names " << path << ", which is not there yet";
        named.insert(std::string(found->second->Name));
      }
    }
  }
  for (const auto& [path, command] : paths) {
    const bool twin = command->Name == "mnuWindowNewWindow";
    EXPECT_TRUE(!command->Available || twin || named.contains(std::string(command->Name)))
        << "no page in docs/guide/contents.md tells of " << path;
  }
}

TEST_F(GuideTest, EveryShortcutStandsOnThePageAboutTheKeyboard) {
  const HelpPage* keyboard = Book.Find("keyboard.md");
  ASSERT_NE(keyboard, nullptr);
  const std::vector<std::string> keys = Matches(keyboard->Markdown, "`([^`]*)`");
  for (const mainwnd::Command& command : mainwnd::Commands()) {
    std::istringstream shortcuts{std::string(command.Shortcuts)};
    for (std::string shortcut; std::getline(shortcuts >> std::ws, shortcut, ';');) {
      EXPECT_THAT(keys, Contains(shortcut)) << command.Name;
    }
  }
}

HelpBook MadeUp(const std::map<std::string, std::string, std::less<>>& files) {
  auto book = HelpBook::Read([&](std::string_view path) -> std::optional<std::string> {
    const auto file = files.find(path);
    return file == files.end() ? std::nullopt : std::optional(file->second);
  });
  return book ? *std::move(book) : HelpBook();
}

const std::string kTitle(mainwnd::kHelpContentsTitle);

TEST(HelpBookTest, WhatIsNoGuideIsRefused) {
  const std::string list = kTitle + "\n\n## All\n\n- [A](a.md)\n";
  const std::vector<std::map<std::string, std::string, std::less<>>> broken = {
      {},
      {{"guide/contents.md", ""}},
      {{"guide/contents.md", kTitle + "\n"}},
      {{"guide/contents.md", list}},
      {{"guide/contents.md", "# Another book\n- [A](a.md)\n"}, {"guide/a.md", "# A"}}};
  for (const auto& files : broken) {
    EXPECT_THAT(MadeUp(files).Pages(), IsEmpty());
  }
  EXPECT_EQ(MadeUp({{"guide/contents.md", list}, {"guide/a.md", "# A"}}).Pages().front().Group, "All");
}

TEST(HelpBookTest, PagesFallIntoSectionsAndParagraphs) {
  const HelpPage page =
      mainwnd::ParseHelpPage("p.md",
                             "# The **page**\n\nTwo lines\nof text.\n> A note\n\n"
                             "## What's `on`, then?\n1. One [link](x.md#y)\n2. Two\n   more\n"
                             "| a | b |\n|---|---|\n| *c* | `d*e` |\n\n```\n# code | `\n```\n");
  EXPECT_EQ(page.Title(), "The page");
  ASSERT_EQ(page.Sections.size(), 2U);
  EXPECT_EQ(page.Sections[1].Title, "What's on, then?");
  EXPECT_EQ(page.Sections[1].Anchor, "whats-on-then");
  std::vector<std::pair<std::size_t, std::string>> paragraphs;
  for (const auto& paragraph : page.Paragraphs) {
    paragraphs.emplace_back(paragraph.Section, paragraph.Text);
  }
  EXPECT_THAT(paragraphs,
              ElementsAre(Pair(0, "Two lines of text. A note"), Pair(1, "One link"), Pair(1, "Two more"),
                          Pair(1, "a  b"), Pair(1, "c  d*e"), Pair(1, "# code | `")));
}

TEST(HelpBookTest, TheSearchRanksByWhereWordsStand) {
  const HelpBook book =
      MadeUp({{"guide/contents.md",
               kTitle + "\n- [](often.md)\n- [](title.md)\n- [](section.md)\n- [](phrase.md)\n"},
              {"guide/often.md", "# A\n\nfilter\n\nfilter\n\nfilter\n\nfilter\n\nfilter noise\n"},
              {"guide/title.md", "# FILTER\n\nHides.\n"},
              {"guide/section.md", "# C\n\nNoise, one filter.\n\n## Remove a filter\n\nPress it.\n"},
              {"guide/phrase.md", "# Größe\n\nno word\n\nEin noise filter, wide\n"}});
  const auto found = [&](std::string_view words) {
    std::vector<std::string> pages;
    for (const auto& hit : book.Search(words)) {
      pages.push_back(hit.Page->Name);
    }
    return pages;
  };
  EXPECT_THAT(found("Filter"), ElementsAre("title.md", "section.md", "often.md", "phrase.md"));
  EXPECT_THAT(found("noise filter"), ElementsAre("phrase.md", "section.md", "often.md"));
  EXPECT_THAT(found("GRÖSSE"), ElementsAre("phrase.md"));
  EXPECT_THAT(found("filter zebra"), IsEmpty());
  EXPECT_THAT(found(" \t"), IsEmpty());

  const auto section = book.Search("filter").at(1);
  EXPECT_EQ(section.Section->Anchor, "remove-a-filter");
  EXPECT_EQ(section.Line, "Press it.");
  EXPECT_EQ(book.Search("filter").front().Line, "Hides.");
  EXPECT_EQ(book.Search("noise filter").front().Line, "Ein noise filter, wide");
}

}  // namespace
}  // namespace korvane::test
