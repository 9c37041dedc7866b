#include <QContextMenuEvent>
#include <QDialog>
#include <QKeyEvent>
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

namespace korvane::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kAllTraps = "All Traps ";
const QString kFrameTitle = QStringLiteral("Korvane Manager Console ");

struct FrameTest : ConsoleFixture {
  void RightClick(QTableView& list, int row) {
    const QPoint position = list.visualRect(list.model()->index(row, 0)).center();
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, position);
    QContextMenuEvent event(QContextMenuEvent::Mouse, position, list.viewport()->mapToGlobal(position));
    QApplication::sendEvent(list.viewport(), &event);
  }
  // Opens the pop-up of a system in the Systems window and leaves it by Escape; its items stay as they were.
  void PopUpSystem(const std::string& system) {
    RightClick(ListIn(0), RowOf(system));
    QMenu& menu = Frame().Menus().PopUp(mainwnd::kSystemsPopUp);
    ASSERT_TRUE(menu.isVisible());
    menu.close();
  }
  int Unacknowledged(const std::string& source) {
    return Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 0 AND Source = " + source);
  }
};

TEST_F(FrameTest, OpensWithSystemsAboveAllTraps) {
  Start();
  EXPECT_EQ(Frame().windowTitle(), kFrameTitle);
  EXPECT_THAT(Captions(), ElementsAre("Systems", kAllTraps));
  EXPECT_EQ(Area().Active(), &Child(1));
  for (const QSize size : {QSize(1200, 800), QSize(700, 500)}) {
    Frame().showNormal();
    Frame().resize(size);
    QTest::qWait(0);
    const QRect area = Area().viewport()->rect();
    const QRect systems = Child(0).geometry();
    const QRect traps = Child(1).geometry();
    EXPECT_EQ(systems.united(traps), area) << "follows the frame until the operator moves something";
    EXPECT_FALSE(systems.intersects(traps));
    EXPECT_LT(systems.bottom(), traps.top());
  }
}

TEST_F(FrameTest, TheTitleStaysWhateverChildIsMaximisedOrRenamed) {
  Start();
  std::vector<std::string> titles;
  QObject::connect(&Frame(), &QWidget::windowTitleChanged,
                   [&](const QString& title) { titles.push_back(ToUtf8(title)); });
  Child(1).showMaximized();
  Prompt.WillAnswerText("Core routers");
  Click("mnuEditRenameWindow");
  Area().setActiveSubWindow(&Child(0));
  Child(0).showMaximized();
  QTest::qWait(0);
  Child(0).showNormal();
  EXPECT_THAT(titles, IsEmpty());
  EXPECT_EQ(Frame().windowTitle(), kFrameTitle);
}

TEST_F(FrameTest, MenusAndToolbarAreThoseOfTheTable) {
  Start();
  const auto compare = [](const QWidget& shown, std::span<const std::string_view> names) {
    const QList<QAction*> items = shown.actions();
    ASSERT_EQ(static_cast<std::size_t>(items.size()), names.size());
    for (qsizetype i = 0; i < items.size(); ++i) {
      const std::string_view name = names[static_cast<std::size_t>(i)];
      EXPECT_EQ(items[i]->isSeparator(), name.empty());
      if (!name.empty()) {
        EXPECT_EQ(ToUtf8(items[i]->objectName()), name);
        EXPECT_EQ(ToUtf8(items[i]->text()), mainwnd::FindCommand(name)->Caption);
        EXPECT_TRUE(items[i]->isEnabled()) << name;
      }
    }
  };
  const QList<QAction*> bar = Frame().menuBar()->actions();
  ASSERT_EQ(static_cast<std::size_t>(bar.size()), mainwnd::MenuBar().size());
  for (qsizetype i = 0; i < bar.size(); ++i) {
    const mainwnd::Menu& menu = mainwnd::MenuBar()[static_cast<std::size_t>(i)];
    EXPECT_EQ(ToUtf8(bar[i]->text()), menu.Caption);
    compare(*bar[i]->menu(), menu.Items);
  }
  for (const mainwnd::Menu& menu : mainwnd::PopUpMenus()) {
    std::vector<std::string_view> items(menu.Items.begin(), menu.Items.end());
    if (menu.Name == mainwnd::kReportPopUpItems) {
      // A report's own items stand below those of every list of traps.
      const std::span<const std::string_view> shared = mainwnd::PopUpMenus().front().Items;
      items.insert(items.begin(), std::string_view());
      items.insert(items.begin(), shared.begin(), shared.end());
    }
    compare(Frame().Menus().PopUp(menu.Name), items);
  }
  const auto& toolbar = *Frame().findChild<QToolBar*>(QStringLiteral("tbToolbar"));
  compare(toolbar, mainwnd::ToolbarButtons());
  for (const QAction* button : toolbar.actions()) {
    EXPECT_FALSE(button->icon().isNull()) << button->objectName().toStdString();
    EXPECT_THAT(ToUtf8(button->toolTip()), HasSubstr(ToUtf8(button->text())));
  }
}

TEST_F(FrameTest, TheToolbarItemHidesAndShowsTheToolbar) {
  Start();
  const auto& toolbar = *Frame().findChild<QToolBar*>(QStringLiteral("tbToolbar"));
  const QAction& item = Frame().Menus().Item("mnuViewToolbar");
  for (const bool shown : {true, false, true}) {
    EXPECT_EQ(toolbar.isVisible(), shown);
    EXPECT_EQ(item.isChecked(), shown);
    Click("mnuViewToolbar");
  }
}

TEST_F(FrameTest, ArrangesTheWindowsThatAreNotIcons) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  for (const char* system : {"a", "b"}) {
    PopUpSystem(system);
    Click("mnufrmDevicesPopUpMenuViewTraps");
  }
  ASSERT_THAT(Captions(), ElementsAre("Systems", kAllTraps, "Traps On 'a' ", "Traps On 'b' "));
  Child(1).showMinimized();
  Child(2).showMaximized();
  const std::vector<std::size_t> arranged = {0, 2, 3};

  Click("mnuWindowTileHorizontal");
  int next = 0;
  for (const std::size_t i : arranged) {
    EXPECT_EQ(Child(i).geometry().top(), next);
    EXPECT_EQ(Child(i).width(), Area().viewport()->width());
    next = Child(i).geometry().bottom() + 1;
  }
  EXPECT_EQ(next, Child(1).geometry().top()) << "the icon stays in sight";

  Click("mnuWindowTileVertical");
  next = 0;
  for (const std::size_t i : arranged) {
    EXPECT_EQ(Child(i).geometry().left(), next);
    EXPECT_EQ(Child(i).geometry().top(), 0);
    next = Child(i).geometry().right() + 1;
  }
  EXPECT_EQ(next, Area().viewport()->width());

  Click("mnuWindowCascade");
  const QPoint step = Child(2).pos() - Child(0).pos();
  EXPECT_GT(step.y(), 0);
  EXPECT_EQ(Child(3).pos() - Child(2).pos(), step);
  EXPECT_EQ(Child(3).size(), Child(0).size());
  EXPECT_TRUE(Child(1).isMinimized());
}

TEST_F(FrameTest, CloseClosesATrapsWindowAndPutsTheSystemsWindowAside) {
  Start();
  const std::function<void()> ways[] = {
      [&] { Click("mnuWindowClose"); }, [&] { QTest::keyClick(&Frame(), Qt::Key_F4, Qt::ControlModifier); },
      [&] { QTest::keyClick(&Frame(), Qt::Key_W, Qt::ControlModifier); }, [&] { Area().Active()->close(); }};
  for (std::size_t way = 0; way < std::size(ways); ++way) {
    SCOPED_TRACE(way);
    const auto& close = ways[way];
    WithModal ok([](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); });
    Click("mnuFileNewWindow");
    Activate();
    const std::size_t before = Children().size();
    EXPECT_EQ(Area().Active(), Children().back());
    close();
    ASSERT_EQ(Children().size(), before - 1);

    Child(0).BringUp();
    close();
    EXPECT_EQ(Children().size(), before - 1);
    EXPECT_TRUE(Child(0).isMinimized());
    EXPECT_TRUE(Frame().Systems());
  }
}

TEST_F(FrameTest, CloseAllAsksFromTheLastToTheFirstAndKeepsTheSystemsWindow) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  for (const char* system : {"a", "b"}) {
    PopUpSystem(system);
    Click("mnufrmDevicesPopUpMenuViewTraps");
  }
  Prompt.WillAnswer(PromptAnswer::No);
  Prompt.WillAnswer(PromptAnswer::No);
  Click("mnuWindowCloseAll");
  EXPECT_THAT(Captions(), ElementsAre("Systems"));
  ASSERT_EQ(Prompt.Questions().size(), 2U);
  EXPECT_EQ(Prompt.Questions()[0].Text, "Do you want to acknowledge all traps for 'b'?");
  EXPECT_EQ(Prompt.Questions()[1].Text, "Do you want to acknowledge all traps for 'a'?");
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 0);
}

TEST_F(FrameTest, RenamingTakesAnyTextButAnEmptyOne) {
  Start();
  const std::vector<std::pair<std::optional<std::string>, std::string>> answers = {
      {std::nullopt, kAllTraps}, {"", kAllTraps}, {"<b>Core</b> & 'edge' ", "<b>Core</b> & 'edge' "}};
  for (const auto& [answer, caption] : answers) {
    Prompt.WillAnswerText(answer);
    Click("mnuEditRenameWindow");
    EXPECT_THAT(Captions(), ElementsAre("Systems", caption));
  }
  EXPECT_EQ(Prompt.TextQuestions().front().Prompt, "Enter New Name: ");
}

TEST_F(FrameTest, ANewWindowOpensOnOkOnly) {
  Start();
  for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return}) {
    WithModal answer([key](QWidget& dialog) {
      EXPECT_EQ(dialog.objectName(), QStringLiteral("frmNewWindParams"));
      QTest::keyClicks(dialog.findChild<QWidget*>(QStringLiteral("txtWindowName")), QStringLiteral("Mine"));
      QTest::keyClick(&dialog, key);
    });
    Activate();
    QTest::keyClick(&Frame(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(Children().size(), key == Qt::Key_Escape ? 2U : 3U);
  }
  EXPECT_THAT(Captions().back(), HasSubstr("Mine"));
  EXPECT_GT(Child(2).width(), Area().width() / 2) << "wide enough to read";
}

TEST_F(FrameTest, CommandsOnTheActiveWindowRefuseTheSystemsWindow) {
  Start();
  Child(0).BringUp();
  Click("mnuEditAcknowledge");
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("should be a 'Traps' window"));
  Click("mnuViewWindowProperties");
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("'Traps' or 'Report / History' window."));
  Child(1).BringUp();
  Click("mnuEditAcknowledge");
  EXPECT_EQ(Prompt.LastMessage(), "There are no traps that can be acknowledged / cleared.");
  WithModal properties([](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Window Parameters"));
    dialog.close();
  });
  Click("mnuViewWindowProperties");
}

TEST_F(FrameTest, WithoutAnyChildTheCommandsSaySo) {
  Start();
  Frame().DestroyChildren();
  Click("mnuWindowClose");
  EXPECT_EQ(Prompt.LastMessage(), "There is no active window that can be closed.");
  Click("mnuEditRenameWindow");
  EXPECT_EQ(Prompt.LastMessage(), "There is no active window that can be renamed.");
  for (const char* command :
       {"mnuWindowCascade", "mnuWindowTileHorizontal", "mnuWindowTileVertical", "mnuWindowCloseAll",
        "mnufrmDevicesPopUpMenuAcknowledge", "mnufrmDevicesPopUpMenuViewTraps"}) {
    Click(command);
  }
}

TEST_F(FrameTest, NotesOnATrapAreSavedFromEveryCommandAndShownInEveryWindow) {
  StartWith({{.EventTime = 10, .Source = "a"}});
  PopUpSystem("a");
  Click("mnufrmDevicesPopUpMenuViewTraps");
  Child(1).BringUp();
  for (const char* command : {"mnuViewTrapDetails", "mnufrmTrapsPopUpMenuTrapDetails", "tbTrapDetails"}) {
    WithModal details([command](QWidget& dialog) {
      dialog.findChild<QPlainTextEdit*>(QStringLiteral("txtUserNotes"))->setPlainText(QLatin1String(command));
      QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    });
    Click(command);
    for (const std::size_t window : {1U, 2U}) {
      const QModelIndex trap = ListIn(window).model()->index(0, 0);
      EXPECT_EQ(trap.data(traps::TrapsTableModel::EventNotesRole).toString(), QLatin1String(command));
    }
  }
}

TEST_F(FrameTest, SelectedTrapsAreAcknowledgedAndLeaveEveryWindow) {
  StartWith(
      {{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "a"}, {.EventTime = 30, .Source = "b"}});
  PopUpSystem("a");
  Click("mnufrmDevicesPopUpMenuViewTraps");
  ASSERT_EQ(RowsIn(2), 2);
  Child(1).BringUp();
  Click("mnuEditAcknowledge");
  EXPECT_EQ(Unacknowledged("'a'"), 2) << "nothing is selected";
  ListIn(1).selectRow(0);
  Click("mnufrmTrapsPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("'a'"), 1);
  EXPECT_EQ(RowsIn(1), 2);
  EXPECT_EQ(RowsIn(2), 1);
  EXPECT_EQ(Cell(0, RowOf("a"), 7), "1");
}

TEST_F(FrameTest, TheSystemsPopUpNamesTheSelectedSystem) {
  StartWith({{.Source = "R&D <router>"}});
  QMenu& menu = Frame().Menus().PopUp(mainwnd::kSystemsPopUp);
  PopUpSystem("R&D <router>");
  EXPECT_EQ(menu.actions()[0]->text(), QStringLiteral("View Traps For 'R&&D <router>'"));
  EXPECT_EQ(menu.actions()[1]->text(), QStringLiteral("Clear / Acknowledge Trap(s) For 'R&&D <router>'"));

  QWidget* list = ListIn(0).viewport();
  const QPoint beside(list->width() / 2, list->height() - 3);
  QContextMenuEvent event(QContextMenuEvent::Mouse, beside, list->mapToGlobal(beside));
  QApplication::sendEvent(list, &event);
  EXPECT_EQ(menu.actions()[0]->text(), QStringLiteral("View Traps"));
  EXPECT_EQ(menu.actions()[1]->text(), QStringLiteral("Clear / Acknowledge Trap(s)"));
  menu.close();
}

TEST_F(FrameTest, ASystemsWindowIsOpenedOnceAndBroughtUpAgain) {
  StartWith({{.Source = "a"}});
  PopUpSystem("a");
  Click("mnufrmDevicesPopUpMenuViewTraps");
  Child(2).showMinimized();
  Child(1).BringUp();
  Click("mnufrmDevicesPopUpMenuViewTraps");
  EXPECT_EQ(Children().size(), 3U);
  EXPECT_FALSE(Child(2).isMinimized());
  EXPECT_EQ(Area().Active(), &Child(2));
}

TEST_F(FrameTest, ASystemIsAcknowledgedUpToWhatIsShown) {
  StartWith(
      {{.EventTime = 10, .Source = "a"}, {.EventTime = 30, .Source = "a"}, {.EventTime = 30, .Source = "b"}});
  PopUpSystem("a");
  Prompt.WillAnswer(PromptAnswer::No);
  Click("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("'a'"), 2);
  EXPECT_EQ(Prompt.Questions().back(),
            (ScriptedPrompts::Shown{"Do you want to acknowledge all traps for 'a'?", PromptIcon::Question,
                                    PromptButtons::YesNo}));

  const std::int32_t unseen = Store.AddTrap({.EventTime = 40, .Source = "a"});
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click("mnufrmDevicesPopUpMenuAcknowledge");
  EXPECT_EQ(Unacknowledged("'a'"), 1);
  EXPECT_EQ(Unacknowledged("'b'"), 1);
  EXPECT_EQ(Cell(0, RowOf("a"), 7), "0");
  EXPECT_EQ(Cell(0, RowOf("b"), 7), "1");
  EXPECT_EQ(RowsIn(1), 1);
  EXPECT_TRUE(TickUntil([&] { return RowsIn(1) == 2; })) << "trap " << unseen << " is new";
}

TEST_F(FrameTest, ASystemWithAQuoteInItsNameIsRefusedAndNothingChanges) {
  StartWith({{.Source = "o'brien"}, {.Source = "b"}});
  PopUpSystem("o'brien");
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click("mnufrmDevicesPopUpMenuAcknowledge");
  ASSERT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_EQ(Prompt.Messages()[0].Icon, PromptIcon::Critical);
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 0);
  EXPECT_EQ(Cell(0, RowOf("o'brien"), 7), "1");
  EXPECT_EQ(RowsIn(1), 2);
}

TEST_F(FrameTest, AboutShowsTheInstalledVersion) {
  for (const bool known : {false, true}) {
    FakeRegistry registry;
    if (known) {
      registry.PutText(kManagerKey, kVersionValue, "4.2 <beta>");
    }
    const mainwnd::frmAbout about(registry);
    const auto text = [&](const char* name) {
      return about.findChild<QLabel*>(QString::fromLatin1(name))->text();
    };
    EXPECT_EQ(text("lblTitle"), QStringLiteral("Korvane Manager Console"));
    EXPECT_EQ(text("lblVersion"),
              known ? QStringLiteral("Version 4.2 <beta>") : QStringLiteral("Version not known"));
  }
}

TEST_F(FrameTest, AFilterTakesItsTrapsFromEveryWindow) {
  StartWith({{.Source = "a"}, {.Source = "b"}, {.Source = "b"}});
  WithModal filters([](QWidget& dialog) {
    WithModal filter([](QWidget& info) {
      auto* source = info.findChild<QLineEdit*>(QStringLiteral("txtSource"));
      source->selectAll();
      QTest::keyClicks(source, QStringLiteral("b"));
      QTest::keyClick(source, Qt::Key_Return);
    });
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdAdd")), Qt::LeftButton);
    dialog.close();
  });
  Click("mnuOptionsFilters");
  EXPECT_EQ(RowsIn(1), 1);
  EXPECT_EQ(RowsIn(0), 1);
  EXPECT_EQ(Cell(0, 0, 0), "a");
}

// The MIB compiler is a program of its own: what it stored is there when the operator comes back from it.
TEST_F(FrameTest, DefinitionsThatWereCompiledMeanwhileShowWhenTheOperatorIsBack) {
  StartWith({{.EnterpriseOid = "1.3.6.1.4.1.99", .SpecificTrap = 1}});
  const std::string number = "1.3.6.1.4.1.99.0.1";
  ASSERT_EQ(Cell(1, 0, 2), number);
  const auto comeBack = [this] {
    QEvent back(QEvent::WindowActivate);
    QApplication::sendEvent(&Frame(), &back);
    QApplication::processEvents();
  };
  Store.AddDefinition("1.3.6.1.4.1.99", 2, "other", "acme");
  comeBack();
  EXPECT_EQ(Cell(1, 0, 2), number) << "nothing is read anew while no compiler was started";
  Click("mnuToolsMibCompiler");
  comeBack();
  EXPECT_EQ(Cell(1, 0, 2), number) << "nothing was compiled yet";
  Store.AddDefinition("1.3.6.1.4.1.99", 1, "doorOpen", "acme");
  comeBack();
  EXPECT_EQ(Cell(1, 0, 2), "doorOpen");
  EXPECT_EQ(RowsIn(1), 1);
  Store.Execute("UPDATE EventStructure SET SpecificTrap = 'doorOpened' WHERE RequestType = 1");
  comeBack();
  EXPECT_EQ(Cell(1, 0, 2), "doorOpened") << "and each time";
}

TEST(BusyBoxTest, ShowsTheInnermostTextAndItsProgress) {
  QWidget frame;
  frame.resize(800, 600);
  frame.show();
  mainwnd::frmWait wait(&frame);
  const auto& info = *wait.findChild<QLabel*>(QStringLiteral("lblInfo"));
  const auto& count = *wait.findChild<QLabel*>(QStringLiteral("lblCount"));
  const auto& bar = *wait.findChild<QProgressBar*>(QStringLiteral("prgWait"));

  wait.ShowBusy("Loading Trap(s)");
  EXPECT_TRUE(wait.isVisible());
  EXPECT_LE(std::abs(wait.geometry().center().x() - frame.rect().center().x()), 1);
  wait.ShowProgress(2500, 10000);
  EXPECT_TRUE(bar.isVisible());
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  EXPECT_TRUE(count.isVisible());
  wait.ShowBusy("Acknowledging <all> Trap(s)");
  EXPECT_EQ(info.text(), QStringLiteral("Acknowledging <all> Trap(s)"));
  EXPECT_FALSE(bar.isVisible()) << "the progress was the outer work's";
  wait.ShowProgress(7, 0);
  EXPECT_FALSE(bar.isVisible());
  EXPECT_EQ(count.text(), QStringLiteral("7"));
  wait.ShowFree();
  EXPECT_EQ(info.text(), QStringLiteral("Loading Trap(s)"));
  EXPECT_TRUE(wait.IsBusy());
  wait.ShowFree();
  wait.ShowFree();
  wait.ShowProgress(1, 2);
  EXPECT_FALSE(wait.isVisible());
  EXPECT_FALSE(wait.IsBusy());
}

TEST(BusyBoxTest, WorkThatBlocksNothingShowsInTheCornerAndCanBeStopped) {
  QWidget frame;
  frame.resize(900, 600);
  frame.show();
  mainwnd::frmWait wait(&frame);
  std::unique_ptr<WorkInProgress> first;
  std::unique_ptr<WorkInProgress> second;
  int stops = 0;
  first = wait.ShowWork("Loading Trap(s)", [&] {
    ++stops;
    first.reset();
  });
  second = wait.ShowWork("Loading Trap(s)", [] {});
  EXPECT_FALSE(wait.IsBusy());
  first->ShowProgress(2500, 10000);
  const auto& cards = *frame.findChild<QFrame*>(QStringLiteral("fraWorks"));
  const auto& bar = *frame.findChild<QProgressBar*>(QStringLiteral("prgWork"));
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  EXPECT_TRUE(frame.rect().contains(cards.geometry()));
  frame.resize(700, 500);
  QTest::qWait(0);
  EXPECT_TRUE(frame.rect().contains(cards.geometry()));
  EXPECT_GE(cards.height(), cards.sizeHint().height());
  const auto& count = *frame.findChild<QLabel*>(QStringLiteral("lblCount"));
  EXPECT_GE(count.width(), count.sizeHint().width());

  auto* stop = frame.findChild<QPushButton*>(QStringLiteral("cmdStop"));
  QTest::mouseClick(stop, Qt::LeftButton);
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(first, nullptr);
  EXPECT_TRUE(cards.isVisible()) << "the other one goes on";
  second.reset();
  EXPECT_FALSE(cards.isVisible());
}

TEST(BusyBoxTest, IsNotHiddenByTheDialogThatWorks) {
  QWidget frame;
  frame.setGeometry(0, 0, 800, 600);
  frame.show();
  mainwnd::frmWait wait(&frame);
  for (const QRect place : {QRect(200, 150, 400, 300), QRect(200, 280, 400, 300), QRect(0, 0, 800, 600)}) {
    QDialog dialog(&frame);
    dialog.setModal(true);
    dialog.setGeometry(place);
    dialog.show();
    QTest::qWait(0);
    wait.ShowBusy("Restarting Service");
    EXPECT_TRUE(frame.rect().contains(wait.geometry()));
    const bool hidden = dialog.frameGeometry().intersects(QRect(wait.mapToGlobal(QPoint()), wait.size()));
    EXPECT_EQ(hidden, place == frame.rect()) << "unless there is no room beside it";
    wait.ShowFree();
  }
}

TEST(BusyBoxTest, PaintsWithoutLettingAnythingElseHappen) {
  QWidget frame;
  frame.show();
  mainwnd::frmWait wait(&frame);
  QTest::qWait(0);
  bool other = false;
  QTimer::singleShot(0, [&] { other = true; });
  wait.ShowBusy("Initializing...");
  wait.ShowProgress(1, 2);
  wait.ShowFree();
  EXPECT_FALSE(other);
}

}  // namespace
}  // namespace korvane::test
