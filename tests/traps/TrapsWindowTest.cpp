// The Traps window with its find bar and its details, offscreen: what the list shows, selects, finds and
// copies, that it never moves what is read, and which notes are saved.
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTextBlock>

#include "common/qt/QtText.h"
#include "support/WindowDriver.h"
#include "support/World.h"
#include "traps/FindBar.h"
#include "traps/TrapsList.h"
#include "traps/frmTrapDetail.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::Find;
using test::Press;
using test::StoredTrap;
using test::TextOf;
using testing::ElementsAre;
using testing::StartsWith;
using Numbers = std::vector<std::int32_t>;

class TrapsWindowTest : public testing::Test, public test::LoadedWorld {
 protected:
  TrapsWindowTest() {
    State.gMaxViewTraps = 200;
    Windows.Models.push_back(&Window.Model());
    Window.resize(700, 320);
    test::ShowActive(Window);
  }

  // Every tenth trap is of "core", the others of "edge".
  static StoredTrap Trap(std::int32_t number) {
    return {.SequenceNumber = number,
            .EventTime = 1000 + number,
            .Source = number % 10 == 0 ? "core" : "edge",
            .EventDescription = "value " + std::to_string(number)};
  }
  void Load(std::int32_t count) {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = 1; number <= count; ++number) {
      traps.push_back(Trap(number));
    }
    Store.AddTraps(traps);
    Reset();
  }
  void Reset() {
    Window.Reset();
    QApplication::processEvents();
  }
  // One tick of the intake.
  void Arrive(std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      Deliver(Trap(number), {&Window});
    }
    Window.UpdateStatusBar();
    QApplication::processEvents();
  }
  void Acknowledge(const Numbers& traps) {
    Window.TrapsAcknowledged(test::Selected(traps));
    QApplication::processEvents();
  }

  std::int32_t TrapAt(int position) {
    return Window.Model().Rows().SequenceNumberAt(Window.Table().RowAt(position));
  }
  Numbers TrapsAt(int first, int end) {
    Numbers traps;
    for (int position = first; position < end; ++position) {
      traps.push_back(TrapAt(position));
    }
    return traps;
  }
  // The traps on the screen, from the top.
  Numbers OnScreen() {
    const int last = List.rowAt(List.viewport()->height() - 1);
    return TrapsAt(List.rowAt(0), last < 0 ? Window.Table().rowCount() : last + 1);
  }
  // In the order that is shown.
  Numbers Selected() {
    Numbers traps;
    for (const std::uint32_t row : Window.List().SelectedRows()) {
      traps.push_back(Window.Model().Rows().SequenceNumberAt(row));
    }
    return traps;
  }

  void LookFor(const std::string& text) { test::Type(Window, "txtFind", text); }
  // The one row that is selected, and what the find bar says.
  std::string Found() {
    const auto selected = Window.List().SelectedPosition();
    return (selected ? std::to_string(*selected) : "none") + ": " + TextOf(Window, "lblFound");
  }

  void InDetail(const std::function<void(QDialog&)>& act) {
    test::InDialog([this] { Window.ShowTrapDetail(); }, act);
  }
  static QPlainTextEdit& Notes(const QDialog& dialog) { return Find<QPlainTextEdit>(dialog, "txtUserNotes"); }
  // Which trap the dialog shows, where it says that is, and which way it leads on.
  static std::string StateOf(const QDialog& dialog) {
    return TextOf(dialog, "txtVarBinds") + ", " + TextOf(dialog, "lblPlace") +
           (test::IsEnabled(dialog, "cmdPrevious") ? ", Previous" : "") +
           (test::IsEnabled(dialog, "cmdNext") ? ", Next" : "");
  }
  std::string StoredNotes(std::int32_t number) {
    return Store.Text("SELECT * FROM EventTrap WHERE SequenceNumber = " + std::to_string(number),
                      "EventNotes");
  }

  frmTraps Window{ForTraps, Windows, WindowKind::Selected, {}};
  QAbstractItemModelTester Tester{&Window.Table(), QAbstractItemModelTester::FailureReportingMode::Fatal};
  QTableView& List = Find<QTableView>(Window, "lvTraps");
  QScrollBar& Bar = *List.verticalScrollBar();
  QLineEdit& Text = Find<QLineEdit>(Window, "txtFind");
};

TEST_F(TrapsWindowTest, KeepsTheReadersPlaceWhereverRowsComeAndGo) {
  Load(140);
  Arrive(141, 150);
  EXPECT_EQ(OnScreen().back(), 150) << "from the end the newest is followed";
  Bar.setValue(60);
  const Numbers read = OnScreen();
  Acknowledge({3, 5, 7, 30, 31, 32, 50});
  EXPECT_EQ(OnScreen(), read);
  Acknowledge({read[2], read[4]});  // the others close up around them
  EXPECT_THAT(TrapsAt(List.rowAt(0), List.rowAt(0) + 4), ElementsAre(read[0], read[1], read[3], read[5]));

  const auto click = [&] {
    const QHeaderView* header = List.horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(3) + 10, header->height() / 2));
    return test::Rows(List, {3});
  };
  EXPECT_TRUE(std::ranges::is_sorted(click()));
  EXPECT_EQ(Bar.value(), 0) << "a sorted list shows where its order begins";
  Bar.setValue(59);
  ASSERT_EQ(OnScreen().front(), 17);
  Arrive(151, 190);  // above and below
  EXPECT_EQ(OnScreen().front(), 17);
  EXPECT_TRUE(std::ranges::is_sorted(test::Rows(List, {3})));
  Reset();
  EXPECT_EQ(OnScreen().front(), 17) << "a reset loads the list anew and goes back to the place";
  EXPECT_TRUE(std::ranges::is_sorted(click(), std::greater<>()));
}

TEST_F(TrapsWindowTest, SelectionAndCurrentRowFollowTheirTraps) {
  Load(200);
  const auto select = [&](int position, QItemSelectionModel::SelectionFlags flags) {
    List.selectionModel()->setCurrentIndex(Window.Table().index(position, 0),
                                           flags | QItemSelectionModel::Rows);
  };
  for (const int position : {149, 159, 4}) {
    select(position, QItemSelectionModel::Select);
  }
  EXPECT_EQ(TextOf(Window, "lblSelectedTrap"), "Selected Trap: 5 ");
  Arrive(201, 210);
  EXPECT_THAT(Selected(), ElementsAre(150, 160)) << "trap 5 was dropped";
  List.sortByColumn(0, Qt::DescendingOrder);
  Arrive(211, 215);
  EXPECT_THAT(Selected(), ElementsAre(160, 150)) << "in the order that is shown";
  List.sortByColumn(-1, Qt::AscendingOrder);
  EXPECT_THAT(Selected(), ElementsAre(150, 160));

  // Acknowledged rows go; the keyboard goes on from the next one, and nothing is selected by itself.
  select(160 - TrapAt(0), QItemSelectionModel::NoUpdate);
  List.scrollTo(List.currentIndex());
  Window.AcknowledgeTrap();
  EXPECT_TRUE(IsAcknowledged(150));
  EXPECT_THAT(Selected(), testing::IsEmpty());
  EXPECT_EQ(TrapAt(List.currentIndex().row()), 161);
  EXPECT_EQ(TextOf(Window, "lblSelectedTrap") + TextOf(Window, "lblTotalTraps"),
            "Selected Trap: 0 Total Traps In Window: 198 ");
  Reset();
  EXPECT_EQ(TrapAt(List.currentIndex().row()), 161);

  QTest::keyClick(&List, Qt::Key_Home);
  EXPECT_THAT(Selected(), ElementsAre(TrapAt(0)));
  QTest::keyClick(&List, Qt::Key_End);
  QTest::keyClick(&List, Qt::Key_Up);
  QTest::keyClick(&List, Qt::Key_End, Qt::ShiftModifier);
  EXPECT_THAT(Selected(), testing::SizeIs(2));
}

TEST_F(TrapsWindowTest, ShowsHostileTextsAsPlainVisibleTextAndCopiesThemWhole) {
  StoredTrap trap = Trap(1);
  trap.Source = "a\nb\u202E<b>bold</b>" + std::string(50'000, 's');
  trap.EnterpriseOid = std::string(40'000, '1') + ".7";
  trap.EventDescription =
      "<b>first</b>\tvalue\r\nsecond \u202E\x01\xFF" + std::string(3'000'000, 'A') + "🔥=1";
  Deliver(trap, {&Window});
  Arrive(2, 2);
  const QModelIndex cell = Window.Table().index(0, 3);
  const QString shown = cell.data().toString();
  EXPECT_TRUE(shown.startsWith(QStringLiteral("<b>first</b>␉value␍␊second \uFFFD␁\uFFFDAAA")));
  EXPECT_LE(shown.size(), 1100);
  const QString tip = cell.data(Qt::ToolTipRole).toString();
  EXPECT_FALSE(tip.contains(QLatin1String("<b>")));
  EXPECT_TRUE(Qt::mightBeRichText(tip)) << "a tool tip that is taken for plain text shows its escapes";
  Window.NotesSaved(1, "<b>seen</b>\r\n\nwho?\t" + std::string(5000, 'n') + "\nbehind\n1\n2\n3");
  const QModelIndex first = Window.Table().index(0, 0);
  const QString notes = first.data(Qt::ToolTipRole).toString();
  EXPECT_TRUE(notes.contains(QStringLiteral("<br>&lt;b&gt;seen&lt;/b&gt;<br><br>who?␉nnn"))) << ToUtf8(notes);
  EXPECT_TRUE(notes.contains(QStringLiteral("…<br>behind<br>1<br>2<br>…</p>"))) << ToUtf8(notes);
  EXPECT_LE(notes.size(), 600);
  EXPECT_TRUE(first.data(Qt::AccessibleTextRole).toString().startsWith(QStringLiteral("Clear, has notes, ")));
  QTest::keyClick(&List, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  const QStringList lines = QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 2);
  EXPECT_EQ(lines[0].count(u'\t'), 3);
  EXPECT_TRUE(lines[0].endsWith(QStringLiteral("A🔥=1"))) << "however the cell is cut";

  Window.List().SelectPosition(0);
  InDetail([&](QDialog& dialog) {
    dialog.grab();
    EXPECT_LE(dialog.minimumSizeHint().width(), 700);
    EXPECT_THAT(TextOf(dialog, "lblEnterprise"), testing::EndsWith("1.7)")) << "the end is not cut off";
    EXPECT_THAT(TextOf(dialog, "lblSource"), StartsWith("a␊b\uFFFD<b>bold</b>sss"));
    auto& varBinds = Find<QPlainTextEdit>(dialog, "txtVarBinds");
    for (QTextBlock block = varBinds.document()->begin(); block.isValid(); block = block.next()) {
      ASSERT_LE(block.length(), 4'000) << "a line that takes long to lay out";
    }
    varBinds.selectAll();
    varBinds.copy();
    EXPECT_TRUE(QApplication::clipboard()->text() ==
                QStringLiteral("<b>first</b>\tvalue\nsecond \uFFFD␁\uFFFD") + QString(3'000'000, u'A') +
                    QStringLiteral("🔥=1"))
        << "copied without the breaks that were made for showing";
    // Laid out word by word this would take minutes.
    QApplication::clipboard()->setText(QString(1'000'000, u'w'));
    Notes(dialog).paste();
    dialog.grab();
    Press(dialog, Qt::Key_Escape);
  });
}

TEST_F(TrapsWindowTest, SaysWhyItIsEmpty) {
  const auto says = [this](params::WindowParameters selection = {}) {
    frmTraps window(ForTraps, Windows, WindowKind::Selected, std::move(selection));
    window.Reset();
    return TextOf(window, "lblEmptyList") + "|" + TextOf(window, "lblFilters");
  };
  Store.AddTrap(Trap(1));
  EXPECT_EQ(says({.Source = "other"}), "No unacknowledged trap is what this window selects|");
  HideSource("edge");
  EXPECT_EQ(says(), "All that this window would show is hidden by filters|Filters In Force: 1 ");
  Store.Execute("UPDATE EventTrap SET EventAck = 1");
  Bounds.Option = intake::ViewOption::ShowOnlyNewTraps;
  EXPECT_EQ(says(), "No new traps yet|Filters In Force: 1 ");
  Store.Execute("ALTER TABLE EventTrap RENAME TO Gone");
  EXPECT_EQ(says(), "Not loaded|Filters In Force: 1 ");
  Window.Reset();
  EXPECT_THAT(TextOf(Window, "lblNotice"), testing::EndsWith("(no such table: EventTrap (1))"));
}

TEST_F(TrapsWindowTest, OpensEmptyAndClosesWhenItMay) {
  EXPECT_EQ(TextOf(Window, "lblEmptyList"), "No unacknowledged traps");
  Window.ShowTrapDetail();
  EXPECT_EQ(Prompt.LastMessage(), "There are no traps in the active window.");
  Arrive(1, 1);
  EXPECT_FALSE(test::IsShown(Window, "lblEmptyList"));
  QSignalSpy changed(&Window.Table(), &QAbstractItemModel::dataChanged);
  Window.NotesSaved(1, "seen");
  EXPECT_EQ(changed.size(), 1);

  Store.AddTrap(Trap(1));
  frmTraps own(ForTraps, Windows, WindowKind::PerSystem, {}, &AddSystem("edge"));
  own.Reset();
  Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap BEGIN SELECT RAISE(ABORT, 'refused'); END");
  own.show();
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(own.close()) << "the store refused: the window stays";
  EXPECT_EQ(own.Table().rowCount(), 1);
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(own.close());
}

TEST_F(TrapsWindowTest, SortsBySeverityAndKeepsTheOrderForTheNextWindow) {
  UseSpecificCodesAsSeverities();
  for (std::int32_t number = 1; number <= 7; ++number) {
    StoredTrap trap = Trap(number);
    trap.SpecificTrap = number;  // 6 and 7 are in no category
    Deliver(trap, {&Window});
  }
  Window.UpdateStatusBar();
  const auto click = [this] {
    test::Click(Window, "cmdSortBySeverity");
    return TrapsAt(0, 7);
  };
  EXPECT_THAT(click(), ElementsAre(5, 3, 1, 4, 2, 6, 7)) << "the worst first";
  const frmTraps next(ForTraps, Windows, WindowKind::Selected, {});
  EXPECT_EQ(Find<QWidget>(next, "cmdSortBySeverity").accessibleName().toStdString(),
            "Severity, sorted descending");
  EXPECT_THAT(click(), ElementsAre(6, 7, 2, 4, 1, 3, 5));
  EXPECT_THAT(click(), ElementsAre(1, 2, 3, 4, 5, 6, 7));
}

TEST_F(TrapsWindowTest, FindIsWorkedByTheKeyboard) {
  Load(100);
  // In the narrowest window the numbers still stand there, and a file says where it went.
  Window.resize(10, 320);
  auto& total = Find<QWidget>(Window, "lblTotalTraps");
  EXPECT_LT(total.width(), total.sizeHint().width());
  EXPECT_GE(total.width(), total.fontMetrics().horizontalAdvance(QStringLiteral("… 100 ")));
  Window.resize(700, 320);
  const test::TempFolder folder;
  Prompt.WillAnswerFiles({(folder / "traps.csv").string()});
  QTest::keyClick(&List, Qt::Key_E, Qt::ControlModifier);
  EXPECT_EQ(Strip.Line(StripKind::Done)->Text,
            "100 traps were exported to " + (folder / "traps.csv").string());
  List.selectRow(33);
  List.setFocus();
  QTest::keyClick(&List, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(Text.hasFocus());
  LookFor("CORE");
  EXPECT_EQ(Found(), "39: 4 of 10");
  QTest::keyClick(&Text, Qt::Key_Return);
  EXPECT_EQ(Found(), "49: 5 of 10");
  for (int i = 0; i < 5; ++i) {
    QTest::keyClick(&Text, Qt::Key_F3, Qt::ShiftModifier);
  }
  EXPECT_EQ(Found(), "99: 10 of 10") << "round the top";
  QTest::keyClick(&Text, Qt::Key_Escape);
  EXPECT_FALSE(Text.isVisible());
  EXPECT_TRUE(List.hasFocus());

  // F3 goes on with the last text from the list; opened again, typing replaces it.
  QTest::keyClick(&List, Qt::Key_F3);
  EXPECT_EQ(Found(), "9: 1 of 10");
  QTest::keyClick(&List, Qt::Key_F, Qt::ControlModifier);
  QTest::keyClicks(&Text, QStringLiteral("value 7"));
  EXPECT_EQ(Found(), "69: 2 of 11");

  // That nothing is found is not said by colour alone.
  LookFor("core!");
  EXPECT_EQ(Found(), "69: No traps found") << "where the text was still found";
  EXPECT_TRUE(Find<QAction>(Text, "actNoHits").isVisible());
}

TEST_F(TrapsWindowTest, FindCountsWhatArrivesAndLeavesWithoutMovingTheList) {
  Load(195);
  Bar.setValue(60);
  List.selectRow(62);
  Find<FindBar>(Window).Open();
  LookFor("core");
  ASSERT_EQ(Found(), "69: 7 of 19");
  const int place = Bar.value();
  Arrive(196, 230);  // the oldest 30 go
  EXPECT_EQ(Found(), "39: 4 of 20");
  EXPECT_EQ(Bar.value(), place - 30);
  List.sortByColumn(0, Qt::DescendingOrder);
  EXPECT_EQ(Found(), "160: 17 of 20");
  Acknowledge({50, 51, 70, 80, 81});
  EXPECT_EQ(Found(), "none: 17 traps found");

  // A text that nothing has: what arrives with it is counted, and selected only when asked for.
  LookFor("value 241");
  EXPECT_EQ(TextOf(Window, "lblFound"), "No traps found");
  const Numbers before = Selected();
  Arrive(241, 241);
  EXPECT_EQ(TextOf(Window, "lblFound"), "1 trap found");
  EXPECT_EQ(Selected(), before);
}

TEST_F(TrapsWindowTest, FindLooksThroughALongListInTurns) {
  State.gMaxViewTraps = 40'000;  // room for all of their bytes
  StoredTrap trap = Trap(1);
  trap.EventDescription = std::string(30'000, 'x');
  for (; trap.SequenceNumber < 5000; ++trap.SequenceNumber) {
    Deliver(trap, {&Window});
  }
  Arrive(5000, 5000);
  Bar.setValue(0);
  Find<FindBar>(Window).Open();
  Text.setText(QStringLiteral("value"));
  EXPECT_EQ(Found(), "none: Searching… 0");
  EXPECT_FALSE(Find<QAction>(Text, "actNoHits").isVisible());
  // Previous waits for the last row although it was asked for first.
  QTest::keyClick(&Text, Qt::Key_Return, Qt::ShiftModifier);
  EXPECT_TRUE(test::WaitFor([&] { return Found() == "4999: 1 of 1"; }));
}

TEST_F(TrapsWindowTest, DetailsStepThroughTheListFromTheTrapTheyWereOpenedOn) {
  Load(60);
  auto& size = Platform.Settings.Values["Settings/TrapDetailSize"];
  size = "99999999,99999999";
  test::InDialog([&] { test::DoubleClick(List, 58, 1); },
                 [&](QDialog& dialog) {
                   EXPECT_LE(dialog.height(), dialog.screen()->availableSize().height());
                   EXPECT_EQ(StateOf(dialog), "value 59, Trap 59 of 60, Previous, Next");
                   Notes(dialog).setPlainText(QStringLiteral("one\ntwo"));
                   Find<QPushButton>(dialog, "cmdNext").setFocus();
                   Press(dialog, Qt::Key_Space);
                   EXPECT_EQ(StateOf(dialog), "value 60, Trap 60 of 60, Previous");
                   EXPECT_TRUE(Find<QPushButton>(dialog, "cmdPrevious").hasFocus())
                       << "OK would close on the next blank";
                   Press(dialog, Qt::Key_PageUp);
                   EXPECT_EQ(Window.List().SelectedPosition(), 58);
                   EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "one\ntwo");
                   test::Click(dialog, "cmdCancel");
                 });
  EXPECT_EQ(StoredNotes(59), "") << "Cancel discards what was typed on the way";

  // Down the list with one key, to its end; the way of going on is remembered.
  Window.List().SelectPosition(57);
  const auto acknowledge = [](QDialog& dialog) {
    Press(dialog, Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
    return StateOf(dialog) + ", " + TextOf(dialog, "lblAcknowledged");
  };
  InDetail([&](QDialog& dialog) {
    Notes(dialog).setPlainText(QStringLiteral("seen"));
    EXPECT_EQ(acknowledge(dialog), "value 58, No longer in the list, Previous, Next, Yes");
    EXPECT_FALSE(test::IsShown(dialog, "cmdAcknowledge"));
    Press(dialog, Qt::Key_Up, Qt::ControlModifier);
    test::Click(dialog, "chkGoOn");
    EXPECT_EQ(acknowledge(dialog), "value 59, Trap 57 of 58, Previous, Next, No");
    Press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(StoredNotes(58), "seen");
  InDetail([&](QDialog& dialog) {
    EXPECT_EQ(acknowledge(dialog), "value 60, Trap 57 of 57, Previous, No");
    EXPECT_EQ(acknowledge(dialog), "value 60, No longer in the list, Previous, Yes");
    EXPECT_EQ(acknowledge(dialog), "value 60, No longer in the list, Previous, Yes");
    Press(dialog, Qt::Key_Escape);
  });
  EXPECT_FALSE(IsAcknowledged(56)) << "only what was asked for";
}

TEST_F(TrapsWindowTest, DetailsSaveNotesExactlyOrStayOpen) {
  Store.AddTrap({.SequenceNumber = 1,
                 .EventDescription = "a.1 = <b>one</b>\n; b.1 = " + std::string(9000, 'x'),
                 .EventNotes = "two\r\nlines \xff"});
  Store.AddTrap({.SequenceNumber = 2, .EventNotes = "no\u00A0break"});
  Reset();
  InDetail([&](QDialog& dialog) {
    auto& bindings = Find<QTableView>(dialog, "lvVarBinds");
    const auto copied = [&] {
      QTest::keyClick(&bindings, Qt::Key_C, Qt::ControlModifier);
      return ToUtf8(QApplication::clipboard()->text());
    };
    EXPECT_LE(bindings.rowHeight(1), 15 * bindings.fontMetrics().height()) << "the rest is a key away";
    QTest::mouseClick(bindings.viewport(), Qt::LeftButton, {}, test::CentreOf(bindings, 0, 1));
    EXPECT_EQ(copied(), "<b>one</b>␊");
    bindings.selectAll();
    EXPECT_EQ(copied(), "a.1\t<b>one</b>␊\nb.1\t" + std::string(9000, 'x'));
    test::Click(dialog, "chkAsText");
    EXPECT_TRUE(test::IsShown(dialog, "txtVarBinds"));
    Press(dialog, Qt::Key_Down, Qt::ControlModifier);
    EXPECT_FALSE(test::IsEnabled(dialog, "chkAsText")) << "no bindings: only the text can be shown";
    Notes(dialog).setFocus();
    Notes(dialog).moveCursor(QTextCursor::End);
    Press(dialog, Qt::Key_Return);
    Notes(dialog).insertPlainText(QStringLiteral("it's \"🔥\""));
    Press(dialog, Qt::Key_Return, Qt::ShiftModifier);
    Press(dialog, Qt::Key_Return, Qt::ControlModifier);
  });
  EXPECT_EQ(StoredNotes(1), "two\r\nlines \xff");
  EXPECT_EQ(StoredNotes(2), "no\u00A0break\nit's \"🔥\"\n");

  Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = 2 "
      "BEGIN SELECT RAISE(ABORT, 'disk is full'); END");
  InDetail([&](QDialog& dialog) {
    Notes(dialog).clear();
    Press(dialog, Qt::Key_Up, Qt::ControlModifier);
    Press(dialog, Qt::Key_Return, Qt::ControlModifier);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(StateOf(dialog) + TextOf(dialog, "txtUserNotes"), "description, Trap 2 of 2, Previous");
    Store.Execute("DROP TRIGGER traps.refuse");
    test::Click(dialog, "cmdOK");
  });
  EXPECT_EQ(StoredNotes(2), "");

  // A colleague writes and acknowledges while the dialog is open, and writes again before OK.
  const store::ChangeStamp anna{.Operator = "anna", .Machine = "desk", .Time = 60};
  store::Change change{.ChangeId = 7, .Time = 60, .Author = {"anna", "desk", ""}, .Traps = {}, .Rows = {}};
  change.Traps.Numbers = {{2, 2}};
  InDetail([&](QDialog& dialog) {
    auto& details = dynamic_cast<frmTrapDetail&>(dialog);
    details.NotesChanged(2, "theirs", anna);
    EXPECT_EQ(TextOf(dialog, "txtUserNotes") + TextOf(dialog, "lblNotesNews"),
              "theirsChanged by anna on desk, 1970-01-01 00:01:00.");
    details.ApplyChange(change);
    EXPECT_EQ(TextOf(dialog, "lblAcknowledged"), "By anna on desk, 1970-01-01 00:01:00");
    Notes(dialog).setPlainText(QStringLiteral("mine"));
    details.NotesChanged(2, "newer", anna);
    EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "mine");
    Store.Execute("UPDATE EventTrap SET EventNotes = 'newer' WHERE SequenceNumber = 2");
    const auto ok = [&] { test::Click(dialog, "cmdOK"); };
    test::InDialog(ok, [](QDialog& conflict) { Press(conflict, Qt::Key_Escape); });
    test::InDialog(ok, [](QDialog& conflict) {
      EXPECT_EQ(TextOf(conflict, "txtTheirs") + TextOf(conflict, "txtMine"), "newermine");
      Press(conflict, Qt::Key_Return);
    });
  });
  EXPECT_EQ(StoredNotes(2), "newer\n----------\nmine");
}

TEST_F(TrapsWindowTest, DetailsLetTheListChangeUnderThem) {
  State.gMaxViewTraps = 100;
  Load(100);
  List.sortByColumn(0, Qt::DescendingOrder);
  Window.List().SelectPosition(98);
  InDetail([&](QDialog& dialog) {
    const auto press = [&](Qt::Key key) {
      Press(dialog, key, Qt::ControlModifier);
      return StateOf(dialog);
    };
    Notes(dialog).setPlainText(QStringLiteral("kept"));
    Arrive(101, 101);
    EXPECT_EQ(StateOf(dialog), "value 2, Trap 100 of 100, Previous");
    Arrive(102, 110);
    EXPECT_EQ(StateOf(dialog), "value 2, No longer in the list, Previous");
    EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "kept");
    EXPECT_EQ(press(Qt::Key_Up), "value 11, Trap 100 of 100, Previous");
    press(Qt::Key_Up);
    press(Qt::Key_Up);
    Acknowledge({12, 13, 14});
    EXPECT_EQ(StateOf(dialog), "value 13, No longer in the list, Previous, Next");
    EXPECT_EQ(press(Qt::Key_Down), "value 11, Trap 97 of 97, Previous");
    EXPECT_EQ(press(Qt::Key_Up), "value 15, Trap 96 of 97, Previous, Next");
    Reset();
    EXPECT_EQ(StateOf(dialog), "value 15, Trap 86 of 100, Previous, Next");
    Acknowledge(test::Numbers(Window.Model().Rows()));
    EXPECT_EQ(StateOf(dialog), "value 15, No longer in the list");
    press(Qt::Key_Return);
  });
  EXPECT_EQ(StoredNotes(2), "kept") << "saved by its number";
}

}  // namespace
}  // namespace korvane::traps
