// The help window over the help file as it is built.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QToolButton>
#include <QTreeWidget>

#include "app/ConsoleFixture.h"
#include "help/HelpPageView.h"
#include "help/frmHelp.h"

namespace korvane::test {
namespace {

using help::frmHelp;
using help::HelpPageView;

struct frmHelpTest : testing::Test {
  frmHelpTest() : Window(std::make_unique<frmHelp>(Settings)) {}

  void Open() {
    ASSERT_TRUE(Window->ShowContents(KORVANE_HELP_FILE));
    ASSERT_TRUE(QTest::qWaitForWindowActive(Window.get()));
  }
  template <class Widget>
  Widget& Get(const char* name) {
    return *Window->findChild<Widget*>(QString::fromLatin1(name));
  }
  HelpPageView& Page() { return Get<HelpPageView>("txtPage"); }
  std::string PageName() { return ToUtf8(Page().PageName()); }
  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
  }

  FakeSettings Settings;
  std::unique_ptr<frmHelp> Window;
};

// The heading on which the page stands: the first line of the view.
std::string TopLine(const HelpPageView& page) {
  return ToUtf8(page.cursorForPosition(QPoint(40, 20)).block().text());
}

TEST_F(frmHelpTest, EveryEntryOfTheContentsShowsItsPage) {
  EXPECT_FALSE(Window->ShowContents("nothing.hlp"));
  EXPECT_FALSE(Window->isVisible());
  Open();
  auto& tree = Get<QTreeWidget>("tvContents");
  int entries = 0;
  int pictures = 0;
  for (QTreeWidgetItemIterator it(&tree, QTreeWidgetItemIterator::Selectable); *it != nullptr;
       ++it, ++entries) {
    const std::string title = ToUtf8((*it)->text(0));
    SCOPED_TRACE(title);
    tree.setCurrentItem(*it);
    EXPECT_EQ(tree.currentItem(), *it);
    QTextDocument& page = *Page().document();
    bool heading = false;
    for (QTextBlock block = page.begin(); block.isValid(); block = block.next()) {
      heading = heading || (block.blockFormat().headingLevel() > 0 && ToUtf8(block.text()) == title);
    }
    EXPECT_TRUE(heading);
    for (const QTextFormat& format : page.allFormats()) {
      if (format.isImageFormat()) {
        ++pictures;
        const QUrl name(format.toImageFormat().name());
        const auto picture = page.resource(QTextDocument::ImageResource, name).value<QImage>();
        EXPECT_GT(picture.height(), 10) << ToUtf8(name.path());
        EXPECT_LE(picture.width(), Page().viewport()->width());
      }
    }
    const QScrollBar& bar = *Page().verticalScrollBar();
    if (bar.value() < bar.maximum()) {
      EXPECT_EQ(TopLine(Page()), title);
    }
  }
  EXPECT_GT(entries, 30);
  EXPECT_GT(pictures, 2);
}

TEST_F(frmHelpTest, LinksLeadInsideTheGuideOnly) {
  help::HelpBook book;
  book.Pages.append(
      {.Name = QStringLiteral("a.md"), .Group = {}, .Html = QStringLiteral("A"), .Sections = {}});
  const QString many = QStringLiteral("<p>x</p>").repeated(99);
  book.Pages.append({.Name = QStringLiteral("b.md"),
                     .Group = {},
                     .Html = many + QStringLiteral("<h2 id='far'>Far</h2>") + many,
                     .Sections = {}});
  HelpPageView view;
  view.Open(&book);
  view.resize(400, 300);
  view.show();
  view.ShowPage(QStringLiteral("a.md"));
  for (const char* outside : {"https://example.org/b.md", "file:///etc/passwd", "c.md", "/b.md"}) {
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

TEST_F(frmHelpTest, SearchesAllPagesAndMarksTheWords) {
  Open();
  Press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
  QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("flaps interface"));
  ASSERT_TRUE(Get<QListWidget>("lvResults").isVisible());
  Press(Qt::Key_Down);
  EXPECT_EQ(PageName(), "filters.md");
  EXPECT_FALSE(Page().extraSelections().isEmpty());
  auto& search = Get<QLineEdit>("txtSearch");
  search.setText(QStringLiteral("zebra crossing"));
  EXPECT_TRUE(Get<QLabel>("lblNothingFound").isVisible());
  search.clear();
  EXPECT_TRUE(Get<QTreeWidget>("tvContents").isVisible());
  EXPECT_TRUE(Page().extraSelections().isEmpty());
  EXPECT_EQ(PageName(), "filters.md");
}

TEST_F(frmHelpTest, FindsWithinThePageAndGoesRound) {
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

TEST_F(frmHelpTest, OpensAgainAsItWasLeft) {
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

TEST_F(frmHelpTest, StaysReadableWhileADialogOfTheFrameWaits) {
  Open();
  QWidget frame;
  frame.show();
  const auto& home = Get<QToolButton>("cmdHome");
  for (QWidget* parent : {&frame, static_cast<QWidget*>(Window.get())}) {
    Page().ShowPage(QStringLiteral("words.md"));
    QDialog dialog(parent);
    WithModal waiting([&](QWidget& modal) {
      QTest::mouseClick(Window->windowHandle(), Qt::LeftButton, {},
                        home.mapTo(Window.get(), home.rect().center()));
      modal.close();
    });
    dialog.exec();
    EXPECT_EQ(PageName(), parent == &frame ? "start.md" : "words.md");
  }
}

}  // namespace
}  // namespace korvane::test
