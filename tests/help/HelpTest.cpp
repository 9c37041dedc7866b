// The help window over the help file as it is built.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QToolButton>
#include <QTreeView>
#include <fstream>
#include <sstream>

#include "app/ConsoleFixture.h"
#include "help/HelpPageView.h"
#include "help/frmHelp.h"
#include "support/TempFolder.h"

namespace korvane::test {
namespace {

using mainwnd::frmHelp;
using mainwnd::HelpPageView;

struct HelpTest : testing::Test {
  HelpTest() : Window(std::make_unique<frmHelp>(Settings)) {}

  void Open() {
    ASSERT_TRUE(Window->ShowContents(KORVANE_HELP_FILE));
    ASSERT_TRUE(QTest::qWaitForWindowActive(Window.get()));
  }
  template <class Widget>
  Widget& Get(const char* name) {
    return *Window->findChild<Widget*>(QString::fromLatin1(name));
  }
  HelpPageView& Page() { return Get<HelpPageView>("txtPage"); }
  QLineEdit& SearchEdit() { return Get<QLineEdit>("txtSearch"); }
  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  FakeSettings Settings;
  std::unique_ptr<frmHelp> Window;
};

std::vector<QModelIndex> Below(const QModelIndex& parent, const QAbstractItemModel& model) {
  std::vector<QModelIndex> all;
  for (int row = 0; row < model.rowCount(parent); ++row) {
    all.push_back(model.index(row, 0, parent));
    const auto deeper = Below(all.back(), model);
    all.insert(all.end(), deeper.begin(), deeper.end());
  }
  return all;
}

// The heading on which the page stands: the first line of the view.
std::string TopLine(const HelpPageView& page) {
  return ToUtf8(page.cursorForPosition(QPoint(40, 20)).block().text());
}

TEST_F(HelpTest, EveryEntryOfTheContentsShowsItsPage) {
  Open();
  auto& tree = Get<QTreeView>("tvContents");
  int entries = 0;
  int pictures = 0;
  for (const QModelIndex& entry : Below({}, *tree.model())) {
    if (!entry.flags().testFlag(Qt::ItemIsSelectable)) {
      continue;
    }
    ++entries;
    const QString title = entry.data().toString();
    tree.setCurrentIndex(entry);
    SCOPED_TRACE(title.toStdString());
    EXPECT_EQ(tree.currentIndex(), entry);
    bool heading = false;
    const QTextDocument& page = *Page().document();
    for (QTextBlock block = page.begin(); block.isValid(); block = block.next()) {
      heading = heading || (block.blockFormat().headingLevel() > 0 && block.text() == title);
      for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextFormat format = it.fragment().charFormat();
        if (format.isImageFormat()) {
          ++pictures;
          const QSizeF size = page.documentLayout()
                                  ->handlerForObject(QTextFormat::ImageObject)
                                  ->intrinsicSize(Page().document(), it.fragment().position(), format);
          EXPECT_GT(size.height(), 10) << format.toImageFormat().name().toStdString();
          EXPECT_LE(size.width(), Page().viewport()->width());
        }
      }
    }
    EXPECT_TRUE(heading);
    const QScrollBar& bar = *Page().verticalScrollBar();
    if (bar.value() < bar.maximum()) {
      EXPECT_EQ(TopLine(Page()), ToUtf8(title));
    }
  }
  EXPECT_GT(entries, 30);
  EXPECT_GT(pictures, 2);
}

TEST_F(HelpTest, AMissingOrDamagedFileIsRefused) {
  std::ifstream built(KORVANE_HELP_FILE, std::ios::binary);
  std::ostringstream bytes;
  bytes << built.rdbuf();
  const std::string whole = bytes.str();
  ASSERT_GT(whole.size(), 10'000U);
  const TempFolder folder;
  const std::string path = folder / "kvw.hlp";
  EXPECT_FALSE(Window->ShowContents(path));
  const auto refused = [&](const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
    EXPECT_FALSE(Window->ShowContents(path)) << text.size();
    EXPECT_FALSE(Window->isVisible());
  };
  for (const std::size_t length : {std::size_t(0), std::size_t(3), std::size_t(64), std::size_t(100),
                                   whole.size() / 2, whole.size() - 64, whole.size() - 1}) {
    refused(whole.substr(0, length));
  }
  for (std::size_t at = 0; at < whole.size(); at += whole.size() / 37) {
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
    refused(flipped);
  }
  EXPECT_FALSE(Window->ShowContents(folder.Path().string()));
  std::ofstream(path, std::ios::binary) << whole;
  EXPECT_TRUE(Window->ShowContents(path));
}

TEST_F(HelpTest, LinksLeadInsideTheGuideOnly) {
  HelpPageView view;
  view.Open([](const QString& path) -> QByteArray {
    if (path == QLatin1String("guide/a.md")) {
      return "# A\n\n[b](b.md#far) [web](https://example.org/b.md) [gone](c.md) [file](file:///etc/passwd)\n";
    }
    return path == QLatin1String("guide/b.md")
               ? "# B\n" + QByteArray("x\n\n").repeated(99) + "## Far\n" + QByteArray("y\n\n").repeated(99)
               : QByteArray();
  });
  view.resize(400, 300);
  view.show();
  view.ShowPage(QStringLiteral("a.md"));
  QStringList links;
  for (auto it = view.document()->begin().next().begin(); !it.atEnd(); ++it) {
    if (it.fragment().charFormat().isAnchor()) {
      links.append(it.fragment().text());
    }
  }
  EXPECT_EQ(links, QStringList(QStringLiteral("b")));
  for (const char* outside : {"https://example.org/b.md", "file:///etc/passwd", "c.md"}) {
    Q_EMIT view.anchorClicked(QUrl(QString::fromLatin1(outside)));
    EXPECT_EQ(ToUtf8(view.PageName()), "a.md");
  }
  Q_EMIT view.anchorClicked(QUrl(QStringLiteral("b.md#far")));
  EXPECT_EQ(ToUtf8(view.PageName()), "b.md");
  EXPECT_EQ(TopLine(view), "Far");
  const int place = view.verticalScrollBar()->value();
  view.backward();
  EXPECT_EQ(ToUtf8(view.PageName()), "a.md");
  view.forward();
  EXPECT_EQ(view.verticalScrollBar()->value(), place);
}

TEST_F(HelpTest, SearchesAllPagesAndMarksTheWords) {
  Open();
  auto& results = Get<QListView>("lvResults");
  Press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
  QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("flaps interface"));
  ASSERT_TRUE(results.isVisible());
  Press(Qt::Key_Down);
  EXPECT_EQ(ToUtf8(Page().PageName()), "filters.md");
  EXPECT_FALSE(Page().extraSelections().isEmpty());
  SearchEdit().setText(QStringLiteral("zebra crossing"));
  EXPECT_TRUE(Get<QLabel>("lblNothingFound").isVisible());
  SearchEdit().clear();
  EXPECT_TRUE(Get<QTreeView>("tvContents").isVisible());
  EXPECT_TRUE(Page().extraSelections().isEmpty());
  EXPECT_EQ(ToUtf8(Page().PageName()), "filters.md");
}

TEST_F(HelpTest, FindsWithinThePageAndGoesRound) {
  Open();
  Page().ShowPage(QStringLiteral("keyboard.md"));
  Press(Qt::Key_F, Qt::ControlModifier);
  QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("acknowledge"));
  const auto& found = Get<QLabel>("lblFound");
  EXPECT_EQ(ToUtf8(found.text()), "1 of 2");
  Press(Qt::Key_F3);
  EXPECT_EQ(ToUtf8(found.text()), "2 of 2");
  Press(Qt::Key_F3);
  EXPECT_EQ(ToUtf8(found.text()), "1 of 2");
  Press(Qt::Key_F3, Qt::ShiftModifier);
  EXPECT_EQ(ToUtf8(found.text()), "2 of 2");
  Press(Qt::Key_X);
  EXPECT_EQ(ToUtf8(found.text()), "Not on this page");
  Press(Qt::Key_Escape);
  EXPECT_FALSE(Get<QWidget>("fraFind").isVisible());
  EXPECT_TRUE(Window->isVisible());
  Press(Qt::Key_Escape);
  EXPECT_FALSE(Window->isVisible());
}

TEST_F(HelpTest, OpensAgainAsItWasLeft) {
  Open();
  Window->resize(777, 555);
  Press(Qt::Key_Plus, Qt::ControlModifier);
  Press(Qt::Key_Plus, Qt::ControlModifier);
  Window->close();
  for (const std::string& broken : {std::string(), Settings.Values["Settings/HelpWindow"]}) {
    Settings.Values["Settings/HelpWindow"] = broken.empty() ? "1,2,nonsense" : broken;
    Window = std::make_unique<frmHelp>(Settings);
    Open();
    EXPECT_EQ(Window->size() == QSize(777, 555), !broken.empty());
    EXPECT_EQ(Page().Zoom(), broken.empty() ? 0 : 2);
    Window->hide();
  }
}

TEST_F(HelpTest, StaysReadableWhileADialogOfTheFrameWaits) {
  Open();
  Page().ShowPage(QStringLiteral("words.md"));
  QWidget frame;
  frame.show();
  const auto& home = Get<QToolButton>("cmdHome");
  for (QWidget* parent : {&frame, static_cast<QWidget*>(Window.get())}) {
    QDialog dialog(parent);
    WithModal waiting([&](QWidget& modal) {
      QTest::mouseClick(Window->windowHandle(), Qt::LeftButton, {},
                        home.mapTo(Window.get(), home.rect().center()));
      modal.close();
    });
    dialog.exec();
    EXPECT_EQ(ToUtf8(Page().PageName()), parent == &frame ? "start.md" : "words.md");
    Page().ShowPage(QStringLiteral("words.md"));
  }
}

}  // namespace
}  // namespace korvane::test
