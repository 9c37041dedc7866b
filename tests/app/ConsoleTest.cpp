// The whole console on an embedded store of its own, from its start to its end, and what the commands of its
// frame do to windows, store and counts: real windows, receiver link and intake, while the machine and the
// prompts are fakes.  Ticks are made by the tests.
#include "app/ConsoleApp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QTabBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <clocale>
#include <set>

#include "app/StartupChecks.h"
#include "common/RegistryValues.h"
#include "common/qt/Caption.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/TextTranslator.h"
#include "mainwnd/ChildArea.h"
#include "mainwnd/FrameCaption.h"
#include "mainwnd/frmWait.h"
#include "platform/ApplicationTitle.h"
#include "platform/Translations.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtRunningInstance.h"
#include "store/ChangeLog.h"
#include "store/Tables.h"
#include "support/ConsoleHost.h"
#include "support/Processes.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"
#include "support/WindowDriver.h"
#include "systems/frmDevices.h"
#include "traps/TrapsTableModel.h"

namespace korvane::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kClears = 7;  // the column of the Systems window

class ConsoleTest : public testing::Test {
 protected:
  ConsoleTest() {
    ApplyKorvaneStyle(*qApp);
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }

  void Start() {
    Console = std::make_unique<app::ConsoleApp>(HostOn(Machine, Prompt, [this] { ++Ended; }));
    ASSERT_EQ(Console->Start(""), app::StartupResult::Running);
    ASSERT_TRUE(WaitFor([this] { return Children().size() == 2; }));
    Systems().StopTimers();
    ShowActive(Frame());
  }
  // Starts on a store with these traps and waits until the newest, which come by the receiver link, show.
  void StartWith(const std::vector<StoredTrap>& traps) {
    Store.AddTraps(traps);
    Start();
    ASSERT_TRUE(TickUntil([&] { return RowsIn(1) == static_cast<int>(traps.size()); }));
  }
  bool TickUntil(const std::function<bool()>& condition) {
    return WaitFor([&] {
      Q_EMIT Find<QTimer>(Systems(), "tmrCheckTraps").timeout({});
      return condition();
    });
  }

  mainwnd::frmMain& Frame() { return *Console->Frame(); }
  systems::frmDevices& Systems() { return *Frame().Systems(); }
  mainwnd::ChildArea& Area() { return Find<mainwnd::ChildArea>(Frame()); }
  const std::vector<mainwnd::ChildWindow*>& Children() { return Area().InCreationOrder(); }
  mainwnd::ChildWindow& Child(std::size_t i) { return *Children().at(i); }
  std::vector<std::string> Captions() {
    std::vector<std::string> captions;
    for (const auto* child : Children()) {
      captions.push_back(CaptionOf(*child->widget()));
    }
    return captions;
  }
  QTableView& ListIn(std::size_t child) { return Find<QTableView>(Child(child)); }
  int RowsIn(std::size_t child) { return ListIn(child).model()->rowCount(); }
  void Command(const char* name) { Frame().Menus().Item(name).trigger(); }

  // What the Window menu lists below its fixed items when it opens.
  std::vector<std::string> WindowList() {
    QMenu& menu = Frame().Menus().MenuOf("mnuWindow");
    Q_EMIT menu.aboutToShow();
    std::vector<std::string> texts;
    const QList<QAction*> items = menu.actions();
    for (auto item = items.rbegin(); !(*item)->isSeparator(); ++item) {
      texts.insert(texts.begin(), (*item)->text().toStdString());
    }
    return texts;
  }

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

  SqliteStore Store;
  FakePlatform Machine;
  ScriptedPrompts Prompt;
  std::unique_ptr<app::ConsoleApp> Console;
  int Ended = 0;
};

using FrameTest = ConsoleTest;

// The menu of a child window's frame and the calendar, whose texts are the toolkit's.
bool IsToolkits(const QObject& object) {
  return object.inherits("QCalendarWidget") ||
         (object.inherits("QMenu") && object.parent() != nullptr &&
          object.parent()->inherits("QMdiSubWindow")) ||
         (object.parent() != nullptr && IsToolkits(*object.parent()));
}

// What a window and all in it show of their own: captions, labels, buttons, menus, headings; not what a list
// or a field holds.
std::vector<std::string> TextsIn(const QObject& window) {
  QStringList texts;
  QList<const QObject*> children = window.findChildren<const QObject*>();
  children.append(&window);
  for (const QObject* child : children) {
    if (IsToolkits(*child)) continue;
    for (const char* property : {"text", "title", "windowTitle", "toolTip", "placeholderText"}) {
      const bool held =
          qobject_cast<const QLineEdit*>(child) != nullptr && std::string_view(property) == "text";
      if (!held) texts.append(child->property(property).toString());
    }
    if (const auto* tabs = qobject_cast<const QTabBar*>(child)) {
      for (int i = 0; i < tabs->count(); ++i) texts.append(tabs->tabText(i));
    }
    if (const auto* list = qobject_cast<const QTableView*>(child)) {
      for (int i = 0; i < list->model()->columnCount(); ++i) {
        texts.append(list->model()->headerData(i, Qt::Horizontal).toString());
      }
    }
  }
  texts = texts.filter(QRegularExpression(QStringLiteral("[A-Za-z]{3}")));
  std::vector<std::string> found;
  for (const QString& text : texts) found.push_back(text.toStdString());
  return found;
}

// A receiver that catches up stores old times, also between the first load and the start of the receiver
// link.
TEST_F(ConsoleTest, AnOldTrapStoredWhileItStartsIsNotLost) {
  Store.AddTraps(std::vector<StoredTrap>{{.EventTime = 900}, {.EventTime = 1000}});
  Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, 1);
  InDialog([this] { Start(); },
           [this](QDialog& viewOptions) {
             QObject::connect(
                 ListIn(0).model(), &QAbstractItemModel::rowsInserted, &Systems(),
                 [this] { Store.AddTrap({.EventTime = 10, .Source = "late"}); }, Qt::SingleShotConnection);
             viewOptions.accept();
           });
  EXPECT_TRUE(TickUntil([this] { return RowsIn(0) == 2; }));
}

TEST_F(ConsoleTest, ClosingAsksSavesAndEndsOnce) {
  StartWith({{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "b"}});
  EXPECT_EQ(TextOf(Frame(), "lblTotalTraps"), "Total Traps In Window: 2 ");
  Prompt.WillAnswer(PromptAnswer::Yes);
  Command("mnuFileExit");
  EXPECT_FALSE(Frame().isVisible());
  EXPECT_TRUE(Children().empty());
  Frame().close();
  EXPECT_EQ(Ended, 1);
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 1) << "the newest stays new";
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM System_Table WHERE System_Type = 'Manual'"), 2);
}

TEST_F(ConsoleTest, ClosingWaitsForDialogsAndLongWork) {
  Start();
  InDialog([this] { Command("mnuHelpAbout"); },
           [this](QDialog& dialog) {
             EXPECT_FALSE(Frame().close());
             dialog.close();
           });
  auto& wait = Find<mainwnd::frmWait>(Frame());
  wait.ShowBusy("Loading Trap(s)");
  EXPECT_FALSE(Frame().close());
  wait.ShowFree();
  EXPECT_TRUE(Frame().close());
  EXPECT_EQ(Ended, 1);
}

TEST_F(ConsoleTest, WhenItsSessionEndsItLeavesDialogsAndSavesWithoutAQuestion) {
  StartWith({{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "b"}});
  const auto isGone = [](const QDialog& dialog) { return WaitFor([&] { return !dialog.isVisible(); }); };
  InDialog([this] { Command("mnuOptionsFilters"); },
           [&](QDialog& filters) {
             InDialog([&] { Click(filters, "cmdAdd"); },
                      [&](QDialog& filter) {
                        Console->EndUnasked();
                        EXPECT_TRUE(isGone(filter));
                      });
             EXPECT_TRUE(isGone(filters));
           });
  EXPECT_TRUE(WaitFor([this] { return Ended == 1; }));
  EXPECT_TRUE(Prompt.Questions().empty());
  EXPECT_EQ(Unacknowledged("a"), 1);
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM System_Table"), 2);
}

TEST_F(ConsoleTest, ItsWindowsComeBackWhereTheyWereOrOntoAScreen) {
  auto& settings = Machine.Settings.Values;
  settings = {
      {"Settings/MainLeft", "-900000"}, {"Settings/MainTop", "9e30"}, {"Settings/MainWindowState", "0"}};
  Start();
  EXPECT_TRUE(Frame().screen()->availableGeometry().contains(Frame().geometry()));
  Frame().close();
  settings["Settings/MainLeft"] = "300";
  settings["Settings/MainTop"] = "450";
  settings["Settings/MainWidth"] = "9000";
  settings["Settings/MainHeight"] = "7500";
  Start();
  EXPECT_EQ(QRect(Frame().pos(), Frame().size()), QRect(20, 30, 600, 500));
  const int height = Area().height();
  Command("mnuViewToolbar");
  ASSERT_TRUE(WaitFor([&] { return Area().height() > height; }));
  Command("mnuWindowTileVertical");
  const QRect traps = Child(1).geometry();
  Frame().close();
  const auto saved = settings;
  Start();
  EXPECT_EQ(Child(1).geometry(), traps);
  EXPECT_FALSE(IsShown(Frame(), "picToolbar") || Frame().Menus().Item("mnuViewToolbar").isChecked());
  Frame().showMinimized();
  Frame().close();
  EXPECT_EQ(settings, saved) << "nobody moved anything, and an icon's place is none";
}

TEST_F(FrameTest, ArrangesTheWindowsThatAreNotIconsAndKeepsItsTitle) {
  StartWith({{.Source = "a"}, {.Source = "b"}});
  EXPECT_EQ(Child(0).geometry().united(Child(1).geometry()), Area().viewport()->rect());
  OpenSystem("a");
  OpenSystem("b");
  ASSERT_THAT(Captions(), ElementsAre("Systems", "All Traps ", "Traps On 'a' ", "Traps On 'b' "));
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
}

TEST_F(FrameTest, OpensRenamesAndClosesWindowsButTheSystemsWindow) {
  Start();
  for (const Qt::Key closing : {Qt::Key_F4, Qt::Key_W}) {
    ShowActive(Frame());
    InDialog([this] { QTest::keyClick(&Frame(), Qt::Key_N, Qt::ControlModifier); },
             [](QDialog& dialog) {
               Type(dialog, "txtWindowName", "Mine");
               Press(dialog, Qt::Key_Return);
             });
    EXPECT_EQ(Area().Active(), &Child(2));
    for (const char* name : {"", "<b>Core</b> & [*] 'edge' "}) {
      Prompt.WillAnswerText(name);
      Command("mnuEditRenameWindow");
      EXPECT_THAT(Captions().back(), HasSubstr(*name == '\0' ? "Mine" : name));
    }
    ShowActive(Frame());
    EXPECT_EQ(WindowList().back(), "&3  <b>Core</b> && [*] 'edge'");
    QTest::keyClick(&Frame(), closing, Qt::ControlModifier);
    ASSERT_EQ(Children().size(), 2U);
    Child(0).BringUp();
    QTest::keyClick(&Frame(), closing, Qt::ControlModifier);
    EXPECT_EQ(Children().size(), 2U);
    EXPECT_TRUE(Child(0).isMinimized());
    EXPECT_EQ(Area().Active(), &Child(1)) << "commands act on what can be seen";
    EXPECT_THAT(WindowList(), ElementsAre("&1  Systems (put aside)", "&2  All Traps"));
  }
  OpenReport();
  Command("mnuWindowClose");
  ASSERT_EQ(Children().size(), 3U) << "the command keeps a report";
  EXPECT_EQ(Area().Active(), &Child(1));
  Child(2).close();
  EXPECT_EQ(Children().size(), 2U) << "its close box does not";
  Child(1).close();
  EXPECT_TRUE(Child(0).isMinimized()) << "nothing comes back by itself";
  Command("mnuEditRenameWindow");
  EXPECT_EQ(Prompt.LastMessage(), "There is no active window that can be renamed.");
  WindowList();
  Frame().Menus().MenuOf("mnuWindow").actions().back()->trigger();
  EXPECT_EQ(Area().Active(), &Child(0));
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
  EXPECT_EQ(Prompt.Questions().at(0).Text, "Do you want to acknowledge all traps for 'b'?");
  EXPECT_EQ(Unacknowledged("a") + Unacknowledged("b"), 2);
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
  EXPECT_EQ(SystemsPopUp().actions()[0]->text(), QStringLiteral("&View Traps For 'R&&D'"));
  EXPECT_EQ(SystemsPopUp().actions()[1]->text(), QStringLiteral("Clear / &Acknowledge Trap(s) For 'R&&D'"));
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

// With a translation that puts a mark before every line, whatever has none comes by another road than it
// should.
TEST_F(FrameTest, EveryTextOfItsWindowsCanBeTranslated) {
  ASSERT_NE(std::setlocale(LC_MESSAGES, "C.UTF-8"), nullptr);
  qputenv("LANGUAGE", "qq");
  platform::LookForTranslations(KORVANE_MARKED_TEXTS);
  TextTranslator translator;
  QCoreApplication::installTranslator(&translator);
  std::set<std::string> unmarked;
  const auto look = [&](const QObject& window) {
    for (const std::string& text : TextsIn(window)) {
      if (!text.starts_with("~") && text.find("sender.example") == std::string::npos &&
          text.find(platform::kApplicationTitle) == std::string::npos)
        unmarked.insert(text);
    }
  };
  StartWith({{.Source = "sender.example"}});
  OpenSystem("sender.example");
  for (const char* opens : {"mnuFileNewWindow", "mnuReportsReport", "mnuOptionsFilters", "mnuOptionsAlerts",
                            "mnuOptionsConfiguration", "mnuReportsCategories", "mnuHelpAbout"}) {
    InDialog([&] { Command(opens); },
             [&](QDialog& dialog) {
               look(dialog);
               dialog.close();
             });
  }
  ListIn(1).selectRow(0);
  InDialog([&] { Command("tbTrapDetails"); },
           [&](QDialog& dialog) {
             look(dialog);
             dialog.close();
           });
  look(Frame());
  EXPECT_THAT(unmarked, testing::IsEmpty());
  QCoreApplication::removeTranslator(&translator);
}

// The receiver, the MIB compiler and other consoles write to the same store.
TEST_F(FrameTest, WhatOthersChangeReachesListsAndTheDialogThatIsOpen) {
  StartWith({{.Source = "a", .EnterpriseOid = "1.3.6.1.4.1.99", .SpecificTrap = 1}, {.Source = "b"}});
  store::Connection other;
  Store.Connect(other);
  other.WriteAs({"ben", "desk2", "another console"});
  const auto change = [&other](store::ChangeKind kind, const std::function<void()>& work) {
    store::Transaction transaction(other, store::kEventTrap);
    work();
    store::NoteChange(other, kind, store::SelectionOf({1}));
    transaction.Commit();
  };
  change(store::ChangeKind::TrapNames, [&] {
    other.Execute("INSERT INTO EventStructure VALUES ('1.3.6.1.4.1.99', 1, 'doorOpen', 'acme', '')");
  });
  EXPECT_TRUE(TickUntil([this] { return Rows(ListIn(1), {2}).front() == "doorOpen"; }));
  ListIn(1).selectRow(0);
  InDialog([this] { Command("tbTrapDetails"); },
           [&](QDialog& dialog) {
             change(store::ChangeKind::Notes,
                    [&] { other.Execute("UPDATE EventTrap SET EventNotes = 'theirs'"); });
             const auto& notes = Find<QPlainTextEdit>(dialog, "txtUserNotes");
             EXPECT_TRUE(TickUntil([&] { return notes.toPlainText() == QLatin1String("theirs"); }));
             dialog.close();
           });
  InDialog([this] { Command("mnuOptionsFilters"); },
           [&](QDialog& dialog) {
             change(store::ChangeKind::Filters, [this] { Store.AddFilter({.Source_Agent = "b"}); });
             EXPECT_TRUE(TickUntil(
                 [&] { return Find<QTableView>(dialog, "lvEvtFilters").model()->rowCount() == 1; }));
             dialog.close();
           });
  EXPECT_THAT(Rows(ListIn(0), {0}), ElementsAre("a"));
}

// The real program, offscreen, with settings and a run-time directory of its own.
TEST(ProgramTest, TheSecondCopyBringsUpTheFirstAndEnds) {
  if (!app::IsUserAdministrator(*platform::MakeAccountGroups())) {
    GTEST_SKIP() << "the console runs for administrators only";
  }
  const SqliteStore store;
  const QTemporaryDir folder;
  const QString registry = folder.filePath(QStringLiteral("registry.reg"));
  WriteFile(registry.toStdString(), "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\" +
                                        std::string(kManagerKey) + "]\n\"KVInstallPath\"=\"" +
                                        folder.path().toStdString() + "\"\n");
  const QStringList command = {
      QStringLiteral("QT_QPA_PLATFORM=offscreen"), QStringLiteral("XDG_RUNTIME_DIR=") + folder.path(),
      QStringLiteral("XDG_CONFIG_HOME=") + folder.path(), QStringLiteral("KORVANE_REGISTRY=") + registry,
      QStringLiteral(KORVANE_CONSOLE)};
  QProcess first;
  first.start(QStringLiteral("env"), command);
  platform::QtRunningInstance later(platform::MakeUserLock(folder.path().toStdString()), folder.path(), 500);
  EXPECT_TRUE(WaitFor([&] { return later.FindTopLevelWindow(mainwnd::kFrameCaption); }));
  QProcess second;
  second.start(QStringLiteral("env"), command);
  EXPECT_TRUE(second.waitForFinished());
  EXPECT_EQ(second.exitCode(), 0);
  EXPECT_EQ(first.state(), QProcess::Running);
  first.terminate();
  EXPECT_TRUE(first.waitForFinished());
  EXPECT_EQ(first.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(first.exitCode(), 0);
}

}  // namespace
}  // namespace korvane::test
