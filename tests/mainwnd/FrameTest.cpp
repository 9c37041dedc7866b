// The frame with the whole console behind it: what its commands do to windows, store and counts.
#include <QDialog>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>

#include "app/ConsoleFixture.h"
#include "mainwnd/CommandTable.h"
#include "mainwnd/frmWait.h"
#include "traps/TrapsTableModel.h"

namespace korvane::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kAllTraps = "All Traps ";
constexpr int kClears = 7;  // the column of the Systems window

struct FrameTest : ConsoleFixture {
  QMenu& SystemsPopUp() { return Frame().Menus().PopUp(mainwnd::kSystemsPopUp); }
  // Opens the pop-up of a system in the Systems window and leaves it by Escape; its items stay as they were.
  void PopUpSystem(const std::string& system) {
    const std::vector<std::string> names = Rows(ListIn(0), {0});
    const auto row = std::ranges::find(names, system) - names.begin();
    RightClick(ListIn(0), CentreOf(ListIn(0), static_cast<int>(row)));
    ASSERT_TRUE(SystemsPopUp().isVisible());
    SystemsPopUp().close();
  }
  void OpenSystem(const std::string& system) {
    PopUpSystem(system);
    Command("mnufrmDevicesPopUpMenuViewTraps");
  }
  void OpenReport() {
    InDialog([this] { Command("tbReport"); }, [](QDialog& dialog) { Press(dialog, Qt::Key_Return); });
  }
  int Unacknowledged(const std::string& source) {
    return Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 0 AND Source = '" + source + "'");
  }
};

TEST_F(FrameTest, ArrangesTheWindowsThatAreNotIconsAndKeepsItsTitle) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  EXPECT_EQ(Child(0).geometry().united(Child(1).geometry()), Area().viewport()->rect());
  OpenSystem("a");
  OpenSystem("b");
  ASSERT_THAT(Captions(), ElementsAre("Systems", kAllTraps, "Traps On 'a' ", "Traps On 'b' "));
  Child(1).showMinimized();
  Child(2).showMaximized();
  EXPECT_EQ(Frame().windowTitle(), QStringLiteral("Korvane Manager Console "))
      << "a second copy looks for it";
  Command("mnuWindowTileHorizontal");
  int next = 0;
  for (const std::size_t i : {0U, 2U, 3U}) {
    const QRect place = Child(i).geometry();
    EXPECT_EQ(place, QRect(0, next, Area().viewport()->width(), place.height()));
    next = place.bottom() + 1;
  }
  EXPECT_EQ(next, Child(1).geometry().top()) << "the icon stays in sight";
  Command("mnuWindowCascade");
  EXPECT_EQ(Child(3).pos() - Child(2).pos(), Child(2).pos() - Child(0).pos());
  EXPECT_TRUE(Child(1).isMinimized());
}

TEST_F(FrameTest, OpensRenamesAndClosesWindowsButTheSystemsWindow) {
  Start();
  for (const Qt::Key closing : {Qt::Key_F4, Qt::Key_W}) {
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return}) {
      ShowActive(Frame());
      InDialog([this] { QTest::keyClick(&Frame(), Qt::Key_N, Qt::ControlModifier); },
               [key](QDialog& dialog) {
                 Type(dialog, "txtWindowName", "Mine");
                 Press(dialog, key);
               });
      EXPECT_EQ(Children().size(), key == Qt::Key_Escape ? 2U : 3U);
    }
    EXPECT_EQ(Area().Active(), &Child(2));
    for (const char* name : {"", "<b>Core</b> & 'edge' "}) {
      Prompt.WillAnswerText(name);
      Command("mnuEditRenameWindow");
      EXPECT_THAT(Captions().back(), HasSubstr(*name == '\0' ? "Mine" : name));
    }
    ShowActive(Frame());
    QTest::keyClick(&Frame(), closing, Qt::ControlModifier);
    ASSERT_EQ(Children().size(), 2U);
    Child(0).BringUp();
    QTest::keyClick(&Frame(), closing, Qt::ControlModifier);
    EXPECT_EQ(Children().size(), 2U);
    EXPECT_TRUE(Child(0).isMinimized());
  }
}

TEST_F(FrameTest, CloseAllAsksFromTheLastToTheFirstAndKeepsTheSystemsWindow) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  OpenSystem("a");
  OpenReport();
  OpenSystem("b");
  ASSERT_EQ(Children().size(), 5U);
  Prompt.WillAnswer(PromptAnswer::No);
  Prompt.WillAnswer(PromptAnswer::No);
  Command("mnuWindowCloseAll");
  EXPECT_THAT(Captions(), ElementsAre("Systems"));
  ASSERT_EQ(Prompt.Questions().size(), 2U);
  EXPECT_EQ(Prompt.Questions()[0].Text, "Do you want to acknowledge all traps for 'b'?");
  EXPECT_EQ(Unacknowledged("a") + Unacknowledged("b"), 2);
}

TEST_F(FrameTest, WithoutWindowsCommandsSayThatTheyNeedOneOrDoNothing) {
  StartWith({{.Source = "a"}});
  PopUpSystem("a");
  Frame().DestroyChildren();
  for (const mainwnd::Command& command : mainwnd::Commands()) {
    const std::string name(command.Name);
    if (command.Needs != mainwnd::ActiveWindow::NotAsked || name.starts_with("mnuWindowT") ||
        name.starts_with("mnuWindowC") || name.starts_with("mnufrmDevices")) {
      Prompt.Clear();
      Command(name.c_str());
      EXPECT_EQ(Prompt.LastMessage(), command.NoWindow) << name;
      EXPECT_THAT(Captions(), IsEmpty()) << name;
    }
  }
  EXPECT_EQ(Unacknowledged("a"), 1);
}

TEST_F(FrameTest, NotesOnATrapAreSavedAndShownInEveryWindow) {
  StartWith({{.EventTime = static_cast<std::int32_t>(Machine.Clock.Utc) - 1, .Source = "a"}});
  OpenSystem("a");
  OpenReport();
  ASSERT_TRUE(WaitFor([this] { return RowsIn(3) == 1; }));
  Child(1).BringUp();
  InDialog([this] { Command("tbTrapDetails"); },
           [](QDialog& dialog) {
             Find<QPlainTextEdit>(dialog, "txtUserNotes").setPlainText(QStringLiteral("seen"));
             Click(dialog, "cmdOK");
           });
  for (const std::size_t window : {1U, 2U, 3U}) {
    const auto& table = dynamic_cast<const traps::TrapsTableModel&>(*ListIn(window).model());
    EXPECT_EQ(table.Rows().At(0).EventNotes, "seen");
  }
}

TEST_F(FrameTest, WhatIsAcknowledgedLeavesEveryWindowUpToWhatWasShownAsTheQuestionCameUp) {
  StartWith({{.EventTime = 10, .Source = "R&D"},
             {.EventTime = 20, .Source = "R&D"},
             {.EventTime = 20, .Source = "b"}});
  OpenSystem("R&D");
  EXPECT_EQ(SystemsPopUp().actions()[0]->text(), QStringLiteral("View Traps For 'R&&D'"));
  EXPECT_EQ(SystemsPopUp().actions()[1]->text(), QStringLiteral("Clear / Acknowledge Trap(s) For 'R&&D'"));
  Child(1).BringUp();
  OpenSystem("R&D");
  EXPECT_EQ(Children().size(), 3U) << "opened once and brought up again";
  EXPECT_EQ(Area().Active(), &Child(2));

  Child(1).BringUp();
  Command("mnuEditAcknowledge");
  EXPECT_EQ(Unacknowledged("R&D"), 2) << "nothing is selected";
  ListIn(1).selectRow(0);
  Command("mnufrmTrapsPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("R&D"), 1);
  EXPECT_EQ(RowsIn(1), 2);
  EXPECT_EQ(RowsIn(2), 1);
  EXPECT_THAT(Rows(ListIn(0), {0, kClears}), ElementsAre("R&D|1", "b|1"));

  PopUpSystem("R&D");
  Prompt.WillAnswer(PromptAnswer::No);
  Command("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("R&D"), 1);
  Store.AddTrap({.EventTime = 40, .Source = "R&D"});
  Prompt.WhileAsked = [this] { EXPECT_TRUE(TickUntil([this] { return RowsIn(1) == 3; })); };
  Prompt.WillAnswer(PromptAnswer::Yes);
  Command("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("R&D"), 1) << "what came while the question was open has not been seen";
  EXPECT_EQ(Store.Number("SELECT EventAck FROM EventTrap WHERE EventTime = 40"), 0);
  EXPECT_EQ(Unacknowledged("b"), 1);
  EXPECT_THAT(Rows(ListIn(0), {0, kClears}), ElementsAre("R&D|1", "b|1"));
  EXPECT_EQ(RowsIn(1), 2);
}

TEST_F(FrameTest, AFilterTakesItsTrapsFromEveryWindow) {
  StartWith({{.Source = "a"}, {.Source = "b"}, {.Source = "b"}});
  OpenSystem("b");
  InDialog([this] { Command("mnuOptionsFilters"); },
           [](QDialog& filters) {
             InDialog([&] { Click(filters, "cmdAdd"); },
                      [](QDialog& filter) {
                        Type(filter, "txtSource", "b");
                        Press(filter, Qt::Key_Return);
                      });
             filters.close();
           });
  EXPECT_EQ(RowsIn(1), 1);
  EXPECT_EQ(RowsIn(2), 0);
  EXPECT_THAT(Rows(ListIn(0), {0}), ElementsAre("a"));
}

// The MIB compiler is a program of its own: what it stored is there when the operator comes back from it.
TEST_F(FrameTest, DefinitionsThatWereCompiledMeanwhileShowWhenTheOperatorIsBack) {
  StartWith({{.EnterpriseOid = "1.3.6.1.4.1.99", .SpecificTrap = 1}});
  const std::string number = "1.3.6.1.4.1.99.0.1";
  const auto nameWhenBack = [this] {
    QEvent back(QEvent::WindowActivate);
    QApplication::sendEvent(&Frame(), &back);
    QApplication::processEvents();
    return Rows(ListIn(1), {2}).front();
  };
  Command("mnuToolsMibCompiler");
  EXPECT_EQ(nameWhenBack(), number) << "nothing was compiled yet";
  Store.AddDefinition("1.3.6.1.4.1.99", 1, "doorOpen", "acme");
  EXPECT_EQ(nameWhenBack(), "doorOpen");
  InDialog([this] { Command("mnuHelpAbout"); },
           [&](QDialog& dialog) {
             Store.Execute("UPDATE EventStructure SET SpecificTrap = 'doorOpened' WHERE RequestType = 1");
             EXPECT_EQ(nameWhenBack(), "doorOpen") << "nothing changes below a dialog";
             dialog.close();
           });
  EXPECT_EQ(nameWhenBack(), "doorOpened") << "and each time";
  EXPECT_EQ(RowsIn(1), 1);
}

struct frmWaitTest : testing::Test {
  frmWaitTest() {
    Frame.resize(800, 600);
    Frame.show();
    QTest::qWait(0);
  }
  QWidget Frame;
  mainwnd::frmWait Wait{&Frame};
};

TEST_F(frmWaitTest, ShowsTheInnermostTextAndItsProgressAndLetsNothingElseHappen) {
  bool other = false;
  QTimer::singleShot(0, &Frame, [&] { other = true; });
  const auto& bar = Find<QProgressBar>(Wait, "prgWait");
  Wait.ShowBusy("Loading Trap(s)");
  Wait.ShowProgress(2500, 10000);
  EXPECT_TRUE(bar.isVisible());
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  Wait.ShowBusy("Acknowledging <all> Trap(s)");
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Acknowledging <all> Trap(s)");
  EXPECT_FALSE(bar.isVisible()) << "the progress was the outer work's";
  Wait.ShowFree();
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Loading Trap(s)");
  EXPECT_TRUE(Wait.IsBusy());
  Wait.ShowFree();
  Wait.ShowFree();
  EXPECT_FALSE(Wait.isVisible() || Wait.IsBusy());
  EXPECT_FALSE(other);
}

TEST_F(frmWaitTest, WorkThatBlocksNothingShowsInTheCornerAndCanBeStopped) {
  std::unique_ptr<WorkInProgress> first = Wait.ShowWork("Loading Trap(s)", [&] { first.reset(); });
  std::unique_ptr<WorkInProgress> second = Wait.ShowWork("Loading Trap(s)", [] {});
  EXPECT_FALSE(Wait.IsBusy());
  const auto& cards = Find<QFrame>(Frame, "fraWorks");
  Frame.resize(700, 500);
  QTest::qWait(0);
  EXPECT_TRUE(Frame.rect().contains(cards.geometry()));
  Click(cards, "cmdStop");
  EXPECT_EQ(first, nullptr);
  EXPECT_TRUE(cards.isVisible()) << "the other one goes on";
  second.reset();
  EXPECT_FALSE(cards.isVisible());
}

}  // namespace
}  // namespace korvane::test
