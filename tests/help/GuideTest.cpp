// The user guide as it is built: what it says about menus and keys and where its links lead.  And how a guide
// is read and searched.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <set>
#include <utility>

#include "common/qt/QtText.h"
#include "help/HelpBook.h"
#include "mainwnd/CommandTable.h"
#include "support/Files.h"
#include "support/TempFolder.h"

namespace korvane::test {
namespace {

using help::HelpBook;
using help::HelpPage;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

std::set<std::string> Matches(QString text, const char* pattern) {
  const QRegularExpression expression(QString::fromLatin1(pattern));
  std::set<std::string> found;
  for (const auto& match : expression.globalMatch(text.replace(QLatin1String("&gt;"), QLatin1String(">")))) {
    found.insert(ToUtf8(match.captured(1)));
  }
  return found;
}

struct GuideTest : testing::Test {
  std::optional<HelpBook> Read(const std::string& bytes) const {
    WriteFile(Folder / "kvw.hlp", bytes);
    return HelpBook::Read((Folder / "kvw.hlp").string());
  }
  TempFolder Folder;
  std::optional<HelpBook> Book = HelpBook::Read(KORVANE_HELP_FILE);
};

TEST_F(GuideTest, LinksAndPicturesLeadSomewhere) {
  const std::string contents = ReadFile(KORVANE_SOURCE_DIR "/docs/guide/contents.md");
  std::set<std::string> targets;
  for (const HelpPage& page : Book->Pages) {
    EXPECT_THAT(contents, HasSubstr(ToUtf8(QStringLiteral("[%1](%2)").arg(page.Title(), page.Name))));
    for (const auto& section : page.Sections) {
      targets.insert(ToUtf8(section.Target));
    }
  }
  for (const QString& picture : Book->Pictures.keys()) {
    targets.insert("../pictures/" + ToUtf8(picture));
  }
  for (const HelpPage& page : Book->Pages) {
    for (const std::string& link : Matches(page.Html, "(?:href|src)=\"([^\"]*)\"")) {
      EXPECT_THAT(targets, Contains(link.starts_with('#') ? ToUtf8(page.Name) + link : link));
    }
  }
}

TEST_F(GuideTest, MenusAndShortcutsAreNamedAsTheyAre) {
  std::set<std::string> named = {"Window > New Window"};  // the same as File > New Window
  for (const HelpPage& page : Book->Pages) {
    named.merge(Matches(page.Html, "<strong>([A-Z][^<]* > [^<]*)</strong>"));
  }
  std::set<std::string> menus;
  std::set<std::string> keys;
  for (const mainwnd::Menu& menu : mainwnd::MenuBar()) {
    for (const std::string_view name : menu.Items) {
      if (const mainwnd::Command* command = mainwnd::FindCommand(name)) {
        std::string path = std::string(menu.Caption) + " > " + std::string(command->Caption);
        std::erase(path, '&');
        menus.insert(path);
      }
    }
  }
  for (const mainwnd::Command& command : mainwnd::Commands()) {
    keys.merge(Matches(ToQString(command.Shortcuts), "([^; ][^;]*)"));
  }
  EXPECT_EQ(named, menus);
  EXPECT_THAT(Matches(Book->Find(QStringLiteral("keyboard.md"))->Html, "<code>([^<]*)</code>"),
              IsSupersetOf(keys));
}

TEST_F(GuideTest, AMissingOrDamagedFileIsNone) {
  const std::string whole = ReadFile(KORVANE_HELP_FILE);
  EXPECT_FALSE(HelpBook::Read((Folder / "nothing").string()));
  for (const std::size_t length : {std::size_t(0), std::size_t(3), std::size_t(4), whole.size() - 1}) {
    EXPECT_FALSE(Read(whole.substr(0, length))) << length;
  }
  // But for the checksum at the end and the byte before it, of which some bits only fill up.
  for (std::size_t at = 0; at + 5 < whole.size(); at += at < 8 ? 1 : whole.size() / 37) {
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
    EXPECT_FALSE(Read(flipped)) << at;
  }
  EXPECT_TRUE(Read(whole));
}

TEST_F(GuideTest, TheSearchShowsTheBestLineOfEachPage) {
  const auto book = Read(
      qCompress(
          R"({"pages": [{"name": "often", "html": "<h1>A</h1><p>filter<p>filter<p>filter<p>filter<p>filter noise"},)"
          R"({"name": "title", "html": "<h1>Your <b>FILTER</b></h1><img src='x.png'><p>Hides\nall."},)"
          R"({"name": "section", "html": "<h1>C</h1><p>Noise, one filter.<h2 id=x>Remove a filter</h2><p>Press.)"
          R"(<table><tr><th>a</th><th>b</th></tr><tr><td>Key</td><td>d*e</td></tr></table>"},)"
          R"({"name": "phrase", "html": "<h1>D</h1><table><tr><td>No word</td></tr></table><p>A noise filter"}]})")
          .toStdString());
  const std::pair<const char*, std::vector<std::string>> searches[] = {
      {"Filter",
       {"Your FILTER|title|Hides all.", "C|section#x|Press.", "A|often|filter", "D|phrase|A noise filter"}},
      {"noise  FILT", {"D|phrase|A noise filter", "C|section|Noise, one filter.", "A|often|filter noise"}},
      {"D*E", {"C|section#x|Key  d*e"}},
      {"word", {"D|phrase|No word"}},
      {"filter zebra", {}},
      {" \t", {}}};
  for (const auto& [words, expected] : searches) {
    std::vector<std::string> hits;
    for (const auto& hit : book->Search(ToQString(words))) {
      hits.push_back(ToUtf8(QStringList({hit.Title, hit.Target, hit.Line}).join(QLatin1Char('|'))));
    }
    EXPECT_EQ(hits, expected) << words;
  }
}

}  // namespace
}  // namespace korvane::test
