// The frame with the whole console behind it: what its commands do to windows, store and counts.
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QToolBar>

#include "app/ConsoleFixture.h"
#include "mainwnd/CommandTable.h"
#include "mainwnd/frmAbout.h"
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
  // Opens the pop-up of a system in the Systems window and leaves it by Escape; its items stay as they were.
  void PopUpSystem(const std::string& system) {
    const std::vector<std::string> names = Rows(ListIn(0), {0});
    const auto row = std::ranges::find(names, system) - names.begin();
    RightClick(ListIn(0), CentreOf(ListIn(0), static_cast<int>(row)));
    QMenu& menu = Frame().Menus().PopUp(mainwnd::kSystemsPopUp);
    ASSERT_TRUE(menu.isVisible());
    menu.close();
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
  // "File: New Window; |; ..." with a bar for a separator.
  std::string Outline(const QWidget& menu) {
    std::string items;
    for (const QAction* item : menu.actions()) {
      items += "; " + (item->isSeparator() ? "|" : item->text().toStdString());
      if (!item->isSeparator() && item->menu() == nullptr) {
        EXPECT_EQ(item, &Frame().Menus().Item(item->objectName().toStdString()));
        EXPECT_TRUE(item->isEnabled());
      }
    }
    return items;
  }
};

TEST_F(FrameTest, OpensWithSystemsAboveAllTrapsAndKeepsItsTitle) {
  Start();
  EXPECT_THAT(Captions(), ElementsAre("Systems", kAllTraps));
  EXPECT_EQ(Area().Active(), &Child(1));
  std::vector<std::string> titles = {Frame().windowTitle().toStdString()};
  QObject::connect(&Frame(), &QWidget::windowTitleChanged,
                   [&](const QString& title) { titles.push_back(title.toStdString()); });
  for (const QSize size : {QSize(1200, 800), QSize(700, 500)}) {
    Frame().showNormal();
    Frame().resize(size);
    QTest::qWait(0);
    const QRect systems = Child(0).geometry();
    const QRect traps = Child(1).geometry();
    EXPECT_EQ(systems.united(traps), Area().viewport()->rect()) << "until the operator moves something";
    EXPECT_LT(systems.bottom(), traps.top());
  }
  Child(1).showMaximized();
  Prompt.WillAnswerText("Core routers");
  Command("mnuEditRenameWindow");
  Child(0).BringUp();
  Child(0).showMaximized();
  QTest::qWait(0);
  EXPECT_THAT(titles, ElementsAre("Korvane Manager Console "));
}

TEST_F(FrameTest, OffersEveryCommandWhereTheOperatorKnowsIt) {
  Start();
  std::vector<std::string> menus;
  for (const QAction* menu : Frame().menuBar()->actions()) {
    menus.push_back(menu->text().toStdString() + Outline(*menu->menu()));
  }
  EXPECT_THAT(
      menus,
      ElementsAre("&File; &New Window; |; &Print Preview; |; E&xit",
                  "&Edit; Re&name Window; |; Clear / &Acknowledge Trap(s)",
                  "&View; &Toolbar; |; &Trap Details; &Window Properties",
                  "&Options; &Filters; &Alerts; |; &Configuration",
                  "&Reports; &Report / History; |; &Categories; |; &Export Categories; &Import Categories",
                  "&Tools; Mib &Compiler",
                  "&Window; &New Window; |; Ca&scade; Tile &Horizontal; Tile &Vertical; |; &Close; "
                  "Close &All",
                  "&Help; &Contents; &Support; |; &About"));
  const std::string traps = "; Trap Details; Clear / Acknowledge Trap(s); Window Properties";
  EXPECT_EQ(Outline(Frame().Menus().PopUp(mainwnd::kTrapsPopUp)), traps);
  EXPECT_EQ(Outline(Frame().Menus().PopUp(mainwnd::kReportPopUpItems)),
            traps + "; |; Find...; Copy; Select All; |; Export to CSV...");
  EXPECT_EQ(Outline(Frame().Menus().PopUp(mainwnd::kSystemsPopUp)),
            "; View Traps; Clear / Acknowledge Trap(s)");
  const auto& toolbar = Find<QToolBar>(Frame(), "tbToolbar");
  EXPECT_EQ(Outline(toolbar), "; Trap Details; Trap Categories; Alerts; Filters; Report; Help");
  for (const QAction* button : toolbar.actions()) {
    EXPECT_FALSE(button->icon().isNull()) << button->objectName().toStdString();
  }
  EXPECT_EQ(toolbar.actions().front()->toolTip(), QStringLiteral("Trap Details (Ctrl+D)"));
  for (const bool shown : {true, false, true}) {
    EXPECT_EQ(toolbar.isVisible(), shown);
    EXPECT_EQ(Frame().Menus().Item("mnuViewToolbar").isChecked(), shown);
    Command("mnuViewToolbar");
  }
}

TEST_F(FrameTest, ArrangesTheWindowsThatAreNotIcons) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  OpenSystem("a");
  OpenSystem("b");
  ASSERT_THAT(Captions(), ElementsAre("Systems", kAllTraps, "Traps On 'a' ", "Traps On 'b' "));
  Child(1).showMinimized();
  Child(2).showMaximized();
  const int width = Area().viewport()->width();

  Command("mnuWindowTileHorizontal");
  int next = 0;
  for (const std::size_t i : {0U, 2U, 3U}) {
    const QRect place = Child(i).geometry();
    EXPECT_EQ(place, QRect(0, next, width, place.height()));
    next = place.bottom() + 1;
  }
  EXPECT_EQ(next, Child(1).geometry().top()) << "the icon stays in sight";

  Command("mnuWindowTileVertical");
  int right = 0;
  for (const std::size_t i : {0U, 2U, 3U}) {
    const QRect place = Child(i).geometry();
    EXPECT_EQ(place, QRect(right, 0, place.width(), next));
    right = place.right() + 1;
  }
  EXPECT_EQ(right, width);

  Command("mnuWindowCascade");
  const QPoint step = Child(2).pos() - Child(0).pos();
  EXPECT_GT(step.y(), 0);
  EXPECT_EQ(Child(3).pos() - Child(2).pos(), step);
  EXPECT_EQ(Child(3).size(), Child(0).size());
  EXPECT_TRUE(Child(1).isMinimized());
}

TEST_F(FrameTest, OpensAWindowOnOkOnlyAndClosesItInEveryWayButTheSystemsWindow) {
  Start();
  const std::function<void()> ways[] = {
      [&] { Command("mnuWindowClose"); }, [&] { QTest::keyClick(&Frame(), Qt::Key_F4, Qt::ControlModifier); },
      [&] { QTest::keyClick(&Frame(), Qt::Key_W, Qt::ControlModifier); }, [&] { Area().Active()->close(); }};
  for (const auto& close : ways) {
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return}) {
      ShowActive(Frame());
      InDialog([this] { QTest::keyClick(&Frame(), Qt::Key_N, Qt::ControlModifier); },
               [key](QDialog& dialog) {
                 EXPECT_EQ(dialog.objectName(), QStringLiteral("frmNewWindParams"));
                 Type(dialog, "txtWindowName", "Mine");
                 Press(dialog, key);
               });
      EXPECT_EQ(Children().size(), key == Qt::Key_Escape ? 2U : 3U);
    }
    EXPECT_THAT(Captions().back(), HasSubstr("Mine"));
    EXPECT_EQ(Area().Active(), &Child(2));
    EXPECT_GT(Child(2).width(), Area().width() / 2) << "wide enough to read";
    ShowActive(Frame());
    close();
    ASSERT_EQ(Children().size(), 2U);
    Child(0).BringUp();
    close();
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
  EXPECT_EQ(Prompt.Questions()[1].Text, "Do you want to acknowledge all traps for 'a'?");
  EXPECT_EQ(Unacknowledged("a") + Unacknowledged("b"), 2);
}

TEST_F(FrameTest, RenamingTakesAnyTextButAnEmptyOne) {
  Start();
  const std::vector<std::pair<std::optional<std::string>, std::string>> answers = {
      {std::nullopt, kAllTraps}, {"", kAllTraps}, {"<b>Core</b> & 'edge' ", "<b>Core</b> & 'edge' "}};
  for (const auto& [answer, caption] : answers) {
    Prompt.WillAnswerText(answer);
    Command("mnuEditRenameWindow");
    EXPECT_THAT(Captions(), ElementsAre("Systems", caption));
  }
  EXPECT_EQ(Prompt.TextQuestions().front(), (ScriptedPrompts::TextAsked{"Enter New Name: ", kAllTraps}));
}

TEST_F(FrameTest, CommandsThatNeedAnotherWindowOrNoneAtAllSayItOrDoNothing) {
  StartWith({{.Source = "a"}});
  Child(0).BringUp();
  Command("mnuEditAcknowledge");
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("should be a 'Traps' window"));
  Child(1).BringUp();
  InDialog([this] { Command("mnuViewWindowProperties"); },
           [](QDialog& dialog) {
             EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Window Parameters"));
             dialog.close();
           });
  PopUpSystem("a");
  Prompt.Clear();
  Frame().DestroyChildren();
  for (const mainwnd::Command& command : mainwnd::Commands()) {
    if (command.Needs != mainwnd::ActiveWindow::NotAsked) {
      Command(std::string(command.Name).c_str());
      EXPECT_EQ(Prompt.LastMessage(), command.NoWindow) << command.Name;
      Prompt.Clear();
    }
  }
  for (const char* command :
       {"mnuWindowCascade", "mnuWindowTileHorizontal", "mnuWindowTileVertical", "mnuWindowCloseAll",
        "mnufrmDevicesPopUpMenuAcknowledge", "mnufrmDevicesPopUpMenuViewTraps"}) {
    Command(command);
    EXPECT_THAT(Prompt.Messages(), IsEmpty()) << command;
    EXPECT_THAT(Prompt.Questions(), IsEmpty()) << command;
    EXPECT_THAT(Captions(), IsEmpty()) << command;
  }
  EXPECT_EQ(Unacknowledged("a"), 1);
}

TEST_F(FrameTest, NotesOnATrapAreSavedFromEveryCommandAndShownInEveryWindow) {
  StartWith({{.EventTime = static_cast<std::int32_t>(Machine.Clock.Utc) - 1, .Source = "a"}});
  OpenSystem("a");
  OpenReport();
  ASSERT_TRUE(WaitFor([this] { return RowsIn(3) == 1; }));
  Child(1).BringUp();
  for (const char* command : {"mnuViewTrapDetails", "mnufrmTrapsPopUpMenuTrapDetails", "tbTrapDetails"}) {
    InDialog([&] { Command(command); },
             [command](QDialog& dialog) {
               Find<QPlainTextEdit>(dialog, "txtUserNotes").setPlainText(QLatin1String(command));
               Click(dialog, "cmdOK");
             });
    for (const std::size_t window : {1U, 2U, 3U}) {
      const auto& table = dynamic_cast<const traps::TrapsTableModel&>(*ListIn(window).model());
      EXPECT_EQ(table.Rows().At(0).EventNotes, command);
    }
  }
}

TEST_F(FrameTest, SelectedTrapsAreAcknowledgedAndLeaveEveryWindow) {
  StartWith(
      {{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "a"}, {.EventTime = 30, .Source = "b"}});
  OpenSystem("a");
  ASSERT_EQ(RowsIn(2), 2);
  Child(1).BringUp();
  Command("mnuEditAcknowledge");
  EXPECT_EQ(Unacknowledged("a"), 2) << "nothing is selected";
  ListIn(1).selectRow(0);
  Command("mnufrmTrapsPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("a"), 1);
  EXPECT_EQ(RowsIn(1), 2);
  EXPECT_EQ(RowsIn(2), 1);
  EXPECT_THAT(Rows(ListIn(0), {0, kClears}), ElementsAre("a|1", "b|1"));
}

TEST_F(FrameTest, TheSystemsPopUpNamesItsSystemWhoseWindowIsOpenedOnce) {
  StartWith({{.Source = "R&D <router>"}});
  QMenu& menu = Frame().Menus().PopUp(mainwnd::kSystemsPopUp);
  OpenSystem("R&D <router>");
  EXPECT_EQ(Outline(menu),
            "; View Traps For 'R&&D <router>'; Clear / Acknowledge Trap(s) For 'R&&D <router>'");
  Child(2).showMinimized();
  Child(1).BringUp();
  OpenSystem("R&D <router>");
  EXPECT_EQ(Children().size(), 3U);
  EXPECT_FALSE(Child(2).isMinimized());
  EXPECT_EQ(Area().Active(), &Child(2));

  const QRect list = ListIn(0).viewport()->rect();
  RightClick(ListIn(0), QPoint(list.width() / 2, list.height() - 3));
  EXPECT_EQ(menu.actions()[0]->text(), QStringLiteral("View Traps"));
  EXPECT_EQ(menu.actions()[1]->text(), QStringLiteral("Clear / Acknowledge Trap(s)"));
  EXPECT_FALSE(menu.actions()[0]->isEnabled() || menu.actions()[1]->isEnabled());
  menu.close();
}

TEST_F(FrameTest, ASystemIsAcknowledgedUpToWhatWasShownAsTheQuestionCameUp) {
  StartWith(
      {{.EventTime = 10, .Source = "a"}, {.EventTime = 30, .Source = "a"}, {.EventTime = 30, .Source = "b"}});
  PopUpSystem("a");
  Prompt.WillAnswer(PromptAnswer::No);
  Command("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("a"), 2);
  EXPECT_EQ(Prompt.Questions().back(),
            (ScriptedPrompts::Shown{"Do you want to acknowledge all traps for 'a'?", PromptIcon::Question,
                                    PromptButtons::YesNo}));

  Store.AddTrap({.EventTime = 40, .Source = "a"});
  Prompt.WhileAsked = [this] { EXPECT_TRUE(TickUntil([this] { return RowsIn(1) == 4; })); };
  Prompt.WillAnswer(PromptAnswer::Yes);
  Command("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("a"), 1) << "what came while the question was open has not been seen";
  EXPECT_EQ(Unacknowledged("b"), 1);
  EXPECT_THAT(Rows(ListIn(0), {0, kClears}), ElementsAre("a|1", "b|1"));
  EXPECT_EQ(RowsIn(1), 2);
}

TEST_F(FrameTest, AFilterTakesItsTrapsFromEveryWindow) {
  StartWith({{.Source = "a"}, {.Source = "b"}, {.Source = "b"}});
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
  Store.AddDefinition("1.3.6.1.4.1.99", 2, "other", "acme");
  EXPECT_EQ(nameWhenBack(), number) << "nothing is read anew while no compiler was started";
  Command("mnuToolsMibCompiler");
  EXPECT_EQ(nameWhenBack(), number) << "nothing was compiled yet";
  Store.AddDefinition("1.3.6.1.4.1.99", 1, "doorOpen", "acme");
  EXPECT_EQ(nameWhenBack(), "doorOpen");
  Store.Execute("UPDATE EventStructure SET SpecificTrap = 'doorOpened' WHERE RequestType = 1");
  EXPECT_EQ(nameWhenBack(), "doorOpened") << "and each time";
  EXPECT_EQ(RowsIn(1), 1);
}

TEST(frmAboutTest, ShowsTheInstalledVersion) {
  for (const char* version : {"", "4.2 <beta>"}) {
    FakeRegistry registry;
    if (*version != '\0') {
      registry.PutText(kManagerKey, kVersionValue, version);
    }
    const mainwnd::frmAbout about(registry);
    EXPECT_EQ(TextOf(about, "lblTitle"), "Korvane Manager Console");
    EXPECT_EQ(TextOf(about, "lblVersion"), *version != '\0' ? "Version 4.2 <beta>" : "Version not known");
  }
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
  EXPECT_TRUE(Wait.isVisible());
  EXPECT_LE(std::abs(Wait.geometry().center().x() - Frame.rect().center().x()), 1);
  Wait.ShowProgress(2500, 10000);
  EXPECT_TRUE(bar.isVisible() && IsShown(Wait, "lblCount"));
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  Wait.ShowBusy("Acknowledging <all> Trap(s)");
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Acknowledging <all> Trap(s)");
  EXPECT_FALSE(bar.isVisible()) << "the progress was the outer work's";
  Wait.ShowProgress(7, 0);
  EXPECT_FALSE(bar.isVisible());
  EXPECT_EQ(TextOf(Wait, "lblCount"), "7");
  Wait.ShowFree();
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Loading Trap(s)");
  EXPECT_TRUE(Wait.IsBusy());
  Wait.ShowFree();
  Wait.ShowFree();
  Wait.ShowProgress(1, 2);
  EXPECT_FALSE(Wait.isVisible() || Wait.IsBusy());
  EXPECT_FALSE(other);
}

TEST_F(frmWaitTest, WorkThatBlocksNothingShowsInTheCornerAndCanBeStopped) {
  std::unique_ptr<WorkInProgress> first;
  int stops = 0;
  first = Wait.ShowWork("Loading Trap(s)", [&] {
    ++stops;
    first.reset();
  });
  std::unique_ptr<WorkInProgress> second = Wait.ShowWork("Loading Trap(s)", [] {});
  EXPECT_FALSE(Wait.IsBusy());
  first->ShowProgress(2500, 10000);
  const auto& cards = Find<QFrame>(Frame, "fraWorks");
  const auto& bar = Find<QProgressBar>(cards, "prgWork");
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  EXPECT_TRUE(Frame.rect().contains(cards.geometry()));
  Frame.resize(700, 500);
  QTest::qWait(0);
  EXPECT_TRUE(Frame.rect().contains(cards.geometry()));
  EXPECT_GE(cards.height(), cards.sizeHint().height());
  const auto& count = Find<QWidget>(cards, "lblCount");
  EXPECT_GE(count.width(), count.sizeHint().width());
  Click(cards, "cmdStop");
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(first, nullptr);
  EXPECT_TRUE(cards.isVisible()) << "the other one goes on";
  second.reset();
  EXPECT_FALSE(cards.isVisible());
}

TEST_F(frmWaitTest, IsNotHiddenByTheDialogThatWorks) {
  Frame.setGeometry(0, 0, 800, 600);
  for (const QRect place : {QRect(200, 150, 400, 300), QRect(200, 280, 400, 300), QRect(0, 0, 800, 600)}) {
    QDialog dialog(&Frame);
    dialog.setModal(true);
    dialog.setGeometry(place);
    dialog.show();
    QTest::qWait(0);
    Wait.ShowBusy("Restarting Service");
    EXPECT_TRUE(Frame.rect().contains(Wait.geometry()));
    const bool hidden = dialog.frameGeometry().intersects(QRect(Wait.mapToGlobal(QPoint()), Wait.size()));
    EXPECT_EQ(hidden, place == Frame.rect()) << "unless there is no room beside it";
    Wait.ShowFree();
  }
}

}  // namespace
}  // namespace korvane::test
