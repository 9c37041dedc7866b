// The help window over the help file as it is built.
#include <gtest/gtest.h>

#include <QTest>
#include <QTextBlock>
#include <QToolButton>
#include <QTreeWidget>

#include "help/HelpPageView.h"
#include "help/frmHelp.h"
#include "support/FakePlatform.h"
#include "support/WindowDriver.h"

namespace korvane::test {
namespace {

using help::frmHelp;
using help::HelpPageView;

struct frmHelpTest : testing::Test {
  void Open() {
    ASSERT_TRUE(Window->ShowContents(KORVANE_HELP_FILE));
    ASSERT_TRUE(QTest::qWaitForWindowActive(Window.get()));
  }
  HelpPageView& Page() { return Find<HelpPageView>(*Window); }
  std::string PageName() { return Page().PageName().toStdString(); }

  FakeSettings Settings;
  std::unique_ptr<frmHelp> Window = std::make_unique<frmHelp>(Settings);
};

TEST_F(frmHelpTest, EveryEntryOfTheContentsShowsItsPage) {
  EXPECT_FALSE(Window->ShowContents("nothing.hlp"));
  Open();
  auto& tree = Find<QTreeWidget>(*Window);
  int entries = 0;
  for (QTreeWidgetItemIterator it(&tree, QTreeWidgetItemIterator::Selectable); *it != nullptr; ++it) {
    ++entries;
    tree.setCurrentItem(*it);
    EXPECT_EQ(tree.currentItem(), *it);
    EXPECT_FALSE(Page().document()->find((*it)->text(0)).isNull()) << (*it)->text(0).toStdString();
  }
  EXPECT_GT(entries, 30);
}

TEST_F(frmHelpTest, LeadsByLinksTheSearchOfAllPagesAndTheFindBar) {
  Open();
  for (const char* outside : {"https://example.org/find.md", "file:///etc/passwd", "gone.md", "/find.md"}) {
    Q_EMIT Page().anchorClicked(QUrl(QString::fromLatin1(outside)));
    EXPECT_EQ(PageName(), "start.md") << outside;
  }
  Q_EMIT Page().anchorClicked(QUrl(QStringLiteral("keyboard.md#in-trap-details")));
  EXPECT_EQ(Page().cursorForPosition(QPoint(40, 20)).block().text(), QStringLiteral("In Trap Details"));
  Press(*Window, Qt::Key_Left, Qt::AltModifier);
  EXPECT_EQ(PageName(), "start.md");
  Click(*Window, "cmdForward");
  EXPECT_EQ(PageName(), "keyboard.md");

  Press(*Window, Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
  QTest::keyClicks(Window->focusWidget(), QStringLiteral("flaps interface"));
  Press(*Window, Qt::Key_Down);
  EXPECT_EQ(PageName(), "filters.md");
  EXPECT_FALSE(Page().extraSelections().isEmpty());
  Type(*Window, "txtSearch", "zebra crossing");
  EXPECT_TRUE(IsShown(*Window, "lblNothingFound"));
  Type(*Window, "txtSearch", "");
  EXPECT_TRUE(IsShown(*Window, "tvContents"));

  Page().ShowPage(QStringLiteral("keyboard.md"));
  Press(*Window, Qt::Key_F, Qt::ControlModifier);
  QTest::keyClicks(Window->focusWidget(), QStringLiteral("acknowledge"));
  std::string found = TextOf(*Window, "lblFound");
  for (const Qt::KeyboardModifiers modifiers : {Qt::NoModifier, Qt::NoModifier, Qt::ShiftModifier}) {
    Press(*Window, Qt::Key_F3, modifiers);
    found += ", " + TextOf(*Window, "lblFound");
  }
  EXPECT_EQ(found, "1 of 4, 2 of 4, 3 of 4, 2 of 4");
  Press(*Window, Qt::Key_Escape);
  EXPECT_FALSE(IsShown(*Window, "fraFind"));
  EXPECT_TRUE(Window->isVisible());
}

TEST_F(frmHelpTest, OpensAgainAsItWasLeft) {
  Open();
  Window->resize(777, 555);
  Press(*Window, Qt::Key_Plus, Qt::ControlModifier);
  Window->close();
  const std::string left = Settings.Values["Settings/HelpWindow"];
  for (const std::string& setting : {std::string("1,2,nonsense"), left}) {
    Settings.Values["Settings/HelpWindow"] = setting;
    Window = std::make_unique<frmHelp>(Settings);
    Open();
    EXPECT_EQ(Window->size() == QSize(777, 555), setting == left);
    EXPECT_EQ(Page().Zoom(), setting == left ? 1 : 0);
    Window->hide();
  }
}

TEST_F(frmHelpTest, StaysReadableWhileADialogOfTheFrameWaits) {
  Open();
  QWidget frame;
  frame.show();
  const auto& home = Find<QToolButton>(*Window, "cmdHome");
  Page().ShowPage(QStringLiteral("words.md"));
  QDialog dialog(&frame);
  InDialog([&] { dialog.exec(); },
           [&](QDialog& waiting) {
             QTest::mouseClick(Window->windowHandle(), Qt::LeftButton, {},
                               home.mapTo(Window.get(), home.rect().center()));
             waiting.close();
           });
  EXPECT_EQ(PageName(), "start.md");
}

}  // namespace
}  // namespace korvane::test
