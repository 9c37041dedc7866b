// The trap detail dialog offscreen, opened from a Traps window and worked by keys.
#include <gmock/gmock.h>

#include <QApplication>
#include <QClipboard>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTableView>
#include <QTest>
#include <QTextBlock>

#include "support/WindowDriver.h"
#include "support/World.h"
#include "traps/TrapsList.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::Press;
using test::StoredTrap;
using test::TextOf;

class TrapDetailWindowTest : public testing::Test, public test::LoadedWorld {
 protected:
  TrapDetailWindowTest() {
    State.gMaxViewTraps = 100;
    Windows.Models.push_back(&window_.Model());
    window_.resize(700, 320);
    test::ShowActive(window_);
  }

  static StoredTrap Trap(std::int32_t number) {
    return {.SequenceNumber = number,
            .EventTime = 1000 + number,
            .EventDescription = "value " + std::to_string(number)};
  }
  void Load(std::int32_t count) {
    for (std::int32_t number = 1; number <= count; ++number) {
      Store.AddTrap(Trap(number));
    }
    window_.Reset();
  }
  // One tick of the intake.
  void Arrive(std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      Deliver(Trap(number), {&window_});
    }
    window_.UpdateStatusBar();
  }
  void InDetail(const std::function<void(QDialog&)>& act) {
    test::InDialog([this] { window_.ShowTrapDetail(); }, act);
  }
  static QPlainTextEdit& Notes(const QDialog& dialog) {
    return test::Find<QPlainTextEdit>(dialog, "txtUserNotes");
  }
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

  frmTraps window_{ForTraps, Windows, WindowKind::Selected, {}};
  QTableView& view_ = test::Find<QTableView>(window_, "lvTraps");
};

TEST_F(TrapDetailWindowTest, StepsThroughTheListFromTheTrapItWasOpenedOn) {
  Load(60);
  const std::pair<std::function<void()>, std::string> ways[] = {
      {[&] { window_.ShowTrapDetail(); }, "value 1, Trap 1 of 60, Next"},
      {[&] { test::DoubleClick(view_, 3, 1); }, "value 4, Trap 4 of 60, Previous, Next"},
      {[&] { QTest::keyClick(&view_, Qt::Key_Return); }, "value 4, Trap 4 of 60, Previous, Next"}};
  for (const auto& [open, state] : ways) {
    test::InDialog(open, [&state = state](QDialog& dialog) {
      EXPECT_EQ(StateOf(dialog), state);
      EXPECT_TRUE(Notes(dialog).hasFocus());
      Press(dialog, Qt::Key_Escape);
    });
  }
  window_.List().SelectPosition(57);
  InDetail([&](QDialog& dialog) {
    const auto isAt = [&](int position) {
      EXPECT_EQ(StateOf(dialog), "value " + std::to_string(position + 1) + ", Trap " +
                                     std::to_string(position + 1) + " of 60, Previous" +
                                     (position < 59 ? ", Next" : ""));
      EXPECT_EQ(window_.List().SelectedPosition(), position);
      EXPECT_TRUE(view_.viewport()->rect().contains(test::CentreOf(view_, position)));
    };
    Notes(dialog).setPlainText(QStringLiteral("one\ntwo"));
    Press(dialog, Qt::Key_Down, Qt::ControlModifier);
    isAt(58);
    test::Find<QPushButton>(dialog, "cmdNext").setFocus();
    Press(dialog, Qt::Key_Space);
    isAt(59);
    EXPECT_TRUE(test::Find<QPushButton>(dialog, "cmdPrevious").hasFocus())
        << "OK would close on the next blank";
    Press(dialog, Qt::Key_PageUp);
    for (int press = 0; press < 2; ++press) {
      Press(dialog, Qt::Key_PageDown);
      isAt(59);
    }
    Press(dialog, Qt::Key_PageUp);
    Press(dialog, Qt::Key_Up, Qt::ControlModifier);
    isAt(57);
    EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "one\ntwo");
    Notes(dialog).setFocus();
    Press(dialog, Qt::Key_PageDown);
    isAt(57);  // the page keys are the editor's own there
    QTest::keyClick(&dialog, Qt::Key_P, Qt::AltModifier);
    EXPECT_TRUE(test::WaitFor([&] { return window_.List().SelectedPosition() == 56; }));
    test::Click(dialog, "cmdCancel");
  });
  EXPECT_EQ(StoredNotes(58), "") << "Cancel discards what was typed on the way";
}

TEST_F(TrapDetailWindowTest, SavesNotesExactlyOrStaysOpen) {
  Store.AddTrap({.SequenceNumber = 1, .EventNotes = "two\r\nlines \xff"});
  Store.AddTrap({.SequenceNumber = 2, .EventNotes = "no\u00A0break"});
  window_.Reset();
  InDetail([&](QDialog& dialog) {
    Press(dialog, Qt::Key_Down, Qt::ControlModifier);
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
    EXPECT_THAT(TextOf(dialog, "txtUserNotes"), testing::HasSubstr("it's")) << "the row has the new notes";
    Notes(dialog).clear();
    Press(dialog, Qt::Key_Up, Qt::ControlModifier);
    test::Find<QWidget>(dialog, "lblSource").setFocus();
    Press(dialog, Qt::Key_Return);  // the default button
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_THAT(Prompt.LastMessage(), testing::HasSubstr("disk is full"));
    EXPECT_EQ(StateOf(dialog), "description, Trap 2 of 2, Previous");
    EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "");
    EXPECT_EQ(window_.List().SelectedPosition(), 1);
    Store.Execute("DROP TRIGGER traps.refuse");
    test::Click(dialog, "cmdOK");
  });
  EXPECT_EQ(StoredNotes(2), "");
}

TEST_F(TrapDetailWindowTest, TheListMayChangeUnderIt) {
  Load(100);
  window_.List().SelectPosition(1);
  InDetail([&](QDialog& dialog) {
    Notes(dialog).setPlainText(QStringLiteral("kept"));
    Arrive(101, 101);
    EXPECT_EQ(StateOf(dialog), "value 2, Trap 1 of 100, Next");
    Arrive(102, 110);
    EXPECT_EQ(StateOf(dialog), "value 2, No longer in the list, Next");
    EXPECT_EQ(TextOf(dialog, "txtUserNotes"), "kept");
    Press(dialog, Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(StateOf(dialog), "value 11, Trap 1 of 100, Next");
    window_.TrapsAcknowledged(test::Numbers(window_.Model().Rows()));
    EXPECT_EQ(StateOf(dialog), "value 11, No longer in the list");
    Press(dialog, Qt::Key_Down, Qt::ControlModifier);
    Press(dialog, Qt::Key_Return, Qt::ControlModifier);
  });
  EXPECT_EQ(StoredNotes(2), "kept") << "saved by its number";
}

TEST_F(TrapDetailWindowTest, TextsFromTheNetworkStayTextAndKeepTheLayout) {
  const auto big = [](int size, char c) { return QString(size, QLatin1Char(c)); };
  StoredTrap hostile = Trap(1);
  hostile.Source = "a\nb\xE2\x80\xAE<b>bold</b>" + std::string(50'000, 's');
  hostile.EnterpriseOid = std::string(40'000, '1') + ".7";
  hostile.EventDescription =
      "first\tvalue\r\nsecond \xE2\x80\xAE\x01\rx\n" + std::string(3'000'000, 'A') + "🔥<img src=x>";
  Deliver(hostile, {&window_});
  window_.UpdateStatusBar();
  InDetail([&](QDialog& dialog) {
    dialog.grab();
    EXPECT_LE(dialog.minimumSizeHint().width(), 700);
    EXPECT_THAT(TextOf(dialog, "lblSource"), testing::StartsWith("a␊b\uFFFD<b>bold</b>sss"));
    EXPECT_THAT(TextOf(dialog, "lblEnterprise"), testing::EndsWith("1.7)")) << "the end is not cut off";
    auto& varBinds = test::Find<QPlainTextEdit>(dialog, "txtVarBinds");
    for (QTextBlock block = varBinds.document()->begin(); block.isValid(); block = block.next()) {
      ASSERT_LE(block.length(), 4'000) << "a line that takes long to lay out";
    }
    varBinds.setFocus();
    Press(dialog, Qt::Key_A, Qt::ControlModifier);
    Press(dialog, Qt::Key_C, Qt::ControlModifier);
    const QString shown = QStringLiteral("first\tvalue\nsecond \uFFFD␁␍x\n") + big(3'000'000, 'A') +
                          QStringLiteral("🔥<img src=x>");
    EXPECT_TRUE(QApplication::clipboard()->text() == shown)
        << "copied without the breaks that were made for showing";
    varBinds.moveCursor(QTextCursor::Start);
    varBinds.moveCursor(QTextCursor::Right);
    varBinds.moveCursor(QTextCursor::NextBlock, QTextCursor::KeepAnchor);
    varBinds.copy();
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("irst\tvalue\n"));
    // Laid out word by word this would take minutes.
    QApplication::clipboard()->setText(big(1'000'000, 'w'));
    Notes(dialog).paste();
    dialog.grab();
    Press(dialog, Qt::Key_Escape);
  });
}

TEST_F(TrapDetailWindowTest, KeepsItsSizeAndIgnoresADamagedOne) {
  Load(1);
  auto& kept = Platform.Settings.Values["Settings/TrapDetailSize"];
  for (const char* stored : {"720,610", "", "x", "1", "5,", ",5", "1,1", "-9,-9", "99999999,99999999"}) {
    kept = stored;
    InDetail([&](QDialog& dialog) {
      EXPECT_GE(dialog.width(), dialog.minimumSizeHint().width()) << stored;
      EXPECT_LE(dialog.height(), dialog.screen()->availableSize().height()) << stored;
      dialog.resize(720, 610);
      Press(dialog, Qt::Key_Escape);
    });
    EXPECT_EQ(kept, "720,610");
  }
}

}  // namespace
}  // namespace korvane::traps
