// The user guide as it is built: what it says about menus and keys and where its links lead.  And how a guide
// is read and searched.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrl>
#include <set>
#include <utility>

#include "common/qt/QtText.h"
#include "help/HelpBook.h"
#include "mainwnd/CommandTable.h"
#include "support/TempFolder.h"

namespace korvane::test {
namespace {

using help::HelpBook;
using help::HelpPage;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

std::set<std::string> Matches(QString text, const char* pattern) {
  const QRegularExpression expression(QString::fromLatin1(pattern));
  std::set<std::string> found;
  for (const auto& match : expression.globalMatch(text.replace(QLatin1String("&gt;"), QLatin1String(">")))) {
    found.insert(ToUtf8(match.captured(1)));
  }
  return found;
}

QByteArray BytesOf(const QString& path) {
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << ToUtf8(path);
  return file.readAll();
}

struct GuideTest : testing::Test {
  // Null when what lies there is no guide.
  const HelpBook* Read(const QByteArray& file) {
    const std::string path = Folder / "kvw.hlp";
    QFile written(ToQString(path));
    EXPECT_TRUE(written.open(QIODevice::WriteOnly));
    written.write(file);
    written.close();
    Book = HelpBook::Read(path);
    return Book ? &*Book : nullptr;
  }
  const HelpBook& MadeUp(const std::vector<std::pair<const char*, const char*>>& pages) {
    QJsonArray list;
    for (const auto& [name, html] : pages) {
      list.append(QJsonObject{{QStringLiteral("name"), ToQString(name)},
                              {QStringLiteral("group"), QStringLiteral("All")},
                              {QStringLiteral("html"), ToQString(html)}});
    }
    const HelpBook* book =
        Read(qCompress(QJsonDocument(QJsonObject{{QStringLiteral("pages"), list}}).toJson()));
    return book != nullptr ? *book : Book.emplace();
  }

  TempFolder Folder;
  std::optional<HelpBook> Book = HelpBook::Read(KORVANE_HELP_FILE);
};

TEST_F(GuideTest, LinksAndPicturesLeadSomewhere) {
  std::set<std::string> targets;
  for (const HelpPage& page : Book->Pages) {
    for (const auto& section : page.Sections) {
      targets.insert(ToUtf8(section.Target));
    }
  }
  for (const HelpPage& page : Book->Pages) {
    for (const std::string& link : Matches(page.Html, "href=\"([^\"]*)\"")) {
      const std::string target = link.starts_with('#') ? ToUtf8(page.Name) + link : link;
      EXPECT_TRUE(targets.contains(target)) << ToUtf8(page.Name) << ": " << link;
    }
    for (const std::string& picture : Matches(page.Html, "src=\"([^\"]*)\"")) {
      EXPECT_FALSE(Book->Pictures.value(QUrl(ToQString(picture)).fileName()).isEmpty()) << picture;
    }
  }
}

TEST_F(GuideTest, TheContentsNamePagesByTheirTitles) {
  std::string contents;
  for (const HelpPage& page : Book->Pages) {
    contents += ToUtf8(QStringLiteral("- [%1](%2)\n").arg(page.Title(), page.Name));
    EXPECT_FALSE(page.Group.isEmpty()) << ToUtf8(page.Name);
  }
  const QString written =
      ToQString(BytesOf(QStringLiteral(KORVANE_SOURCE_DIR "/docs/guide/contents.md")).toStdString());
  EXPECT_EQ(
      ToUtf8(written.split(QLatin1Char('\n')).filter(QLatin1String("- [")).join(QLatin1Char('\n'))) + "\n",
      contents);
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
  const QByteArray whole = BytesOf(QStringLiteral(KORVANE_HELP_FILE));
  ASSERT_GT(whole.size(), 10'000);
  EXPECT_FALSE(HelpBook::Read((Folder / "nothing").string()));
  EXPECT_FALSE(HelpBook::Read(Folder.Path().string()));
  for (const qsizetype length :
       {qsizetype(0), qsizetype(3), qsizetype(4), whole.size() / 2, whole.size() - 1}) {
    EXPECT_EQ(Read(whole.first(length)), nullptr) << length;
  }
  for (qsizetype at = 0; at < whole.size(); at += at < 8 ? 1 : whole.size() / 37) {
    QByteArray flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
    EXPECT_EQ(Read(flipped), nullptr) << at;
  }
  for (const char* text : {"", "no guide", "{}", R"({"pages": []})"}) {
    EXPECT_EQ(Read(qCompress(text)), nullptr) << text;
  }
  EXPECT_NE(Read(whole), nullptr);
}

TEST_F(GuideTest, PagesFallIntoSectionsAndLines) {
  const HelpBook& book =
      MadeUp({{"p.md",
               "<h1 id=t>The <b>page</b></h1><p>Two\nlines</p><img src=x.png>"
               "<table><tr><td>A note</td></tr></table><h2 id=on>What's <code>on</code>?</h2>"
               "<ol><li>One <a href=x.md>link</a></li><li>Two</li></ol>"
               "<table><tr><th>a</th><th>b</th></tr><tr><td>c</td><td>d*e</td></tr></table>"}});
  ASSERT_EQ(book.Pages.size(), 1);
  const auto& sections = book.Pages[0].Sections;
  ASSERT_EQ(sections.size(), 2);
  EXPECT_EQ(ToUtf8(sections[0].Title + sections[0].Target), "The pagep.md");
  EXPECT_EQ(ToUtf8(sections[0].Lines.join(QLatin1Char('|'))), "Two lines|A note");
  EXPECT_EQ(ToUtf8(sections[1].Title + sections[1].Target), "What's on?p.md#on");
  EXPECT_EQ(ToUtf8(sections[1].Lines.join(QLatin1Char('|'))), "One link|Two|a  b|c  d*e");
}

TEST_F(GuideTest, TheSearchRanksByWhereWordsStand) {
  const HelpBook& book =
      MadeUp({{"often.md", "<h1>A</h1><p>filter<p>filter<p>filter<p>filter<p>filter noise"},
              {"title.md", "<h1>FILTER</h1><p>Hides."},
              {"section.md", "<h1>C</h1><p>Noise, one filter.<h2 id=remove>Remove a filter</h2><p>Press it."},
              {"phrase.md", "<h1>D</h1><p>no word<p>A noise filter, wide"}});
  const auto found = [&](const char* words) {
    std::vector<std::string> hits;
    for (const auto& hit : book.Search(ToQString(words))) {
      hits.push_back(ToUtf8(hit.Target + QLatin1String(": ") + hit.Line));
    }
    return hits;
  };
  EXPECT_THAT(found("Filter"), ElementsAre("title.md: Hides.", "section.md#remove: Press it.",
                                           "often.md: filter", "phrase.md: A noise filter, wide"));
  EXPECT_THAT(found("noise  FILT"), ElementsAre("phrase.md: A noise filter, wide",
                                                "section.md: Noise, one filter.", "often.md: filter noise"));
  EXPECT_THAT(found("filter zebra"), IsEmpty());
  EXPECT_THAT(found(" \t"), IsEmpty());
}

}  // namespace
}  // namespace korvane::test
