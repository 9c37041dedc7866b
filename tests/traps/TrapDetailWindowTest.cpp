// The trap detail dialog offscreen, opened from a Traps window and driven by keys.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTextBlock>
#include <QTimer>
#include <functional>

#include "common/qt/QtText.h"
#include "support/World.h"
#include "traps/LongTextView.h"
#include "traps/TrapsList.h"
#include "traps/frmTrapDetail.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::StoredTrap;

class TrapDetailWindowTest : public testing::Test {
 protected:
  void SetUp() override {
    world_.State.gMaxViewTraps = 100;
    params::WindowParameters parameters;
    parameters.WindowName = "All Traps ";
    window_ = std::make_unique<frmTraps>(world_.ForTraps, world_.Windows, traps::WindowKind::Selected,
                                         parameters, nullptr);
    world_.Windows.Models.push_back(&window_->Model());
    view_ = window_->findChild<QTableView*>(QStringLiteral("lvTraps"));
    window_->resize(700, 320);
    window_->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
  }
  void TearDown() override { window_.reset(); }

  static StoredTrap Trap(std::int32_t number) {
    return {.SequenceNumber = number,
            .EventTime = 1000 + number,
            .EventDescription = "value " + std::to_string(number)};
  }
  void Load(std::int32_t count) {
    for (std::int32_t number = 1; number <= count; ++number) {
      world_.Store.AddTrap(Trap(number));
    }
    window_->Reset();
  }
  // One tick of the intake.
  void Arrive(std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      world_.Deliver(Trap(number), {window_.get()});
    }
    window_->UpdateStatusBar();
  }

  // Runs what opens the dialog and works on it once it is up, which must close it.
  void InDialog(const std::function<void()>& open, const std::function<void()>& work) {
    QElapsedTimer time;
    time.start();
    bool worked = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
      dialog_ = qobject_cast<frmTrapDetail*>(QApplication::activeModalWidget());
      if (dialog_ != nullptr && dialog_->isActiveWindow() && !worked) {
        worked = true;
        work();
        EXPECT_FALSE(dialog_->isVisible());
        dialog_->reject();
      } else if (time.elapsed() > 20'000) {
        qFatal("the trap detail dialog did not come up and go");
      }
    });
    poll.start(5);
    open();
    EXPECT_TRUE(worked);
  }
  void InDialog(const std::function<void()>& work) {
    InDialog([this] { window_->ShowTrapDetail(); }, work);
  }

  template <class Control>
  Control* Find(const char* name) {
    auto* control = dialog_->findChild<Control*>(QLatin1String(name));
    EXPECT_NE(control, nullptr) << name;
    return control;
  }
  QString Field(const char* name) { return Find<QLineEdit>(name)->text(); }
  QPlainTextEdit* Notes() { return Find<QPlainTextEdit>("txtUserNotes"); }
  QPushButton* Button(const char* name) { return Find<QPushButton>(name); }
  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(dialog_->focusWidget(), key, modifiers);
  }
  std::string StoredNotes(std::int32_t number) {
    return world_.Store.Text("SELECT * FROM EventTrap WHERE SequenceNumber = " + std::to_string(number),
                             "EventNotes");
  }

  test::LoadedWorld world_;
  std::unique_ptr<frmTraps> window_;
  QTableView* view_ = nullptr;
  frmTrapDetail* dialog_ = nullptr;
};

TEST_F(TrapDetailWindowTest, OpensOnTheSelectedTrapByKeyAndDoubleClick) {
  Load(5);
  window_->List().SelectPosition(2);
  QString shown;
  const auto read = [&] {
    shown = Find<QPlainTextEdit>("txtVarBinds")->toPlainText();
    EXPECT_EQ(dialog_->focusWidget(), Notes());
    Press(Qt::Key_Escape);
  };
  InDialog([&] { QTest::keyClick(view_, Qt::Key_Return); }, read);
  EXPECT_EQ(shown, QStringLiteral("value 3"));
  const auto doubleClick = [&] {
    const QPoint place = view_->visualRect(view_->model()->index(3, 1)).center();
    QTest::mouseClick(view_->viewport(), Qt::LeftButton, {}, place);
    QTest::mouseDClick(view_->viewport(), Qt::LeftButton, {}, place);
  };
  InDialog(doubleClick, read);
  EXPECT_EQ(shown, QStringLiteral("value 4"));
  view_->clearSelection();
  InDialog(read);
  EXPECT_EQ(shown, QStringLiteral("value 1")) << "without a selection the first";
}

TEST_F(TrapDetailWindowTest, StepsThroughTheListByMouseAndKeys) {
  Load(60);
  window_->List().SelectPosition(57);
  InDialog([&] {
    const auto isAt = [&](int position) {
      EXPECT_EQ(window_->List().SelectedPosition(), position);
      EXPECT_EQ(Find<QPlainTextEdit>("txtVarBinds")->toPlainText(),
                QStringLiteral("value %1").arg(position + 1));
      EXPECT_TRUE(
          view_->viewport()->rect().intersects(view_->visualRect(view_->model()->index(position, 0))));
      EXPECT_EQ(Button("cmdPrevious")->isEnabled(), position > 0);
      EXPECT_EQ(Button("cmdNext")->isEnabled(), position < 59);
      EXPECT_EQ(Find<QLabel>("lblPlace")->text(), QStringLiteral("Trap %1 of 60").arg(position + 1));
    };
    Notes()->setPlainText(QStringLiteral("one\ntwo"));
    Press(Qt::Key_Down, Qt::ControlModifier);
    isAt(58);
    Button("cmdNext")->setFocus();
    Press(Qt::Key_Space);
    isAt(59);
    EXPECT_EQ(dialog_->focusWidget(), Button("cmdPrevious")) << "OK would close on the next blank";
    Press(Qt::Key_PageDown);
    isAt(59);
    Press(Qt::Key_PageUp);
    Press(Qt::Key_Up, Qt::ControlModifier);
    isAt(57);
    EXPECT_EQ(Notes()->toPlainText(), QStringLiteral("one\ntwo"));
    Notes()->setFocus();
    Press(Qt::Key_PageDown);
    isAt(57);  // the page keys are the editor's own there
    QTest::keyClick(dialog_, Qt::Key_P, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window_->List().SelectedPosition() == 56; }));
    isAt(56);
    QTest::mouseClick(Button("cmdCancel"), Qt::LeftButton);
  });
  EXPECT_EQ(StoredNotes(58), "") << "Cancel discards what was typed on the way";

  window_->Model().RemoveAcknowledged(test::Numbers(window_->Model().Rows()));
  Arrive(61, 61);
  InDialog([&] {
    EXPECT_FALSE(Button("cmdPrevious")->isEnabled() || Button("cmdNext")->isEnabled());
    dialog_->close();
  });
}

TEST_F(TrapDetailWindowTest, SavesNotesExactlyAndOnlyThoseEdited) {
  world_.Store.AddTrap({.SequenceNumber = 1, .EventNotes = "two\r\nlines \xff"});
  world_.Store.AddTrap({.SequenceNumber = 2,
                        .EventNotes = "no\xC2\xA0"
                                      "break"});
  window_->Reset();
  InDialog([&] {
    Press(Qt::Key_Down, Qt::ControlModifier);
    Notes()->moveCursor(QTextCursor::End);
    Press(Qt::Key_Return);
    Notes()->insertPlainText(QString::fromUtf8("it's \"\xF0\x9F\x94\xA5\""));
    Press(Qt::Key_Return, Qt::ShiftModifier);
    Press(Qt::Key_Return, Qt::ControlModifier);
  });
  EXPECT_EQ(StoredNotes(1), "two\r\nlines \xff");
  EXPECT_EQ(StoredNotes(2),
            "no\xC2\xA0"
            "break\nit's \"\xF0\x9F\x94\xA5\"\n");

  InDialog([&] {
    EXPECT_EQ(Find<QLabel>("lblPlace")->text(), QStringLiteral("Trap 2 of 2"));
    EXPECT_TRUE(Notes()->toPlainText().contains(QLatin1String("it's"))) << "the row has the new notes";
    Notes()->clear();
    Find<QLineEdit>("lblSource")->setFocus();
    Press(Qt::Key_Return);  // the default button
  });
  EXPECT_EQ(StoredNotes(2), "");
}

TEST_F(TrapDetailWindowTest, StaysOpenWithTheTextWhenTheStoreRefuses) {
  Load(2);
  world_.Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = 1 "
      "BEGIN SELECT RAISE(ABORT, 'disk is full'); END");
  InDialog([&] {
    Notes()->setPlainText(QStringLiteral("first"));
    Press(Qt::Key_Down, Qt::ControlModifier);
    Notes()->setPlainText(QStringLiteral("second"));
    QTest::mouseClick(Button("cmdOK"), Qt::LeftButton);
    EXPECT_TRUE(dialog_->isVisible());
    EXPECT_THAT(world_.Prompt.LastMessage(), testing::HasSubstr("disk is full"));
    EXPECT_EQ(Notes()->toPlainText(), QStringLiteral("first"));
    EXPECT_EQ(window_->List().SelectedPosition(), 0);
    world_.Store.Execute("DROP TRIGGER traps.refuse");
    world_.Store.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber = 1");
    QTest::mouseClick(Button("cmdOK"), Qt::LeftButton);
    EXPECT_TRUE(dialog_->isVisible());
    EXPECT_THAT(world_.Prompt.LastMessage(), testing::HasSubstr("changed meanwhile"));
    QTest::mouseClick(Button("cmdOK"), Qt::LeftButton);
  });
  EXPECT_EQ(StoredNotes(1), "theirs\n---------- your text ----------\nfirst");
  EXPECT_EQ(StoredNotes(2), "second");
}

TEST_F(TrapDetailWindowTest, TheListMayChangeUnderIt) {
  Load(100);
  window_->List().SelectPosition(1);
  InDialog([&] {
    const auto* place = Find<QLabel>("lblPlace");
    Notes()->setPlainText(QStringLiteral("kept"));
    Arrive(101, 101);
    EXPECT_EQ(place->text(), QStringLiteral("Trap 1 of 100"));
    EXPECT_FALSE(Button("cmdPrevious")->isEnabled());
    Arrive(102, 110);
    EXPECT_EQ(place->text(), QStringLiteral("No longer in the list"));
    EXPECT_EQ(Find<QPlainTextEdit>("txtVarBinds")->toPlainText(), QStringLiteral("value 2"));
    EXPECT_EQ(Notes()->toPlainText(), QStringLiteral("kept"));
    EXPECT_FALSE(Button("cmdPrevious")->isEnabled());
    Press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(place->text(), QStringLiteral("Trap 1 of 100"));
    EXPECT_EQ(Find<QPlainTextEdit>("txtVarBinds")->toPlainText(), QStringLiteral("value 11"));
    window_->TrapsAcknowledged(test::Numbers(window_->Model().Rows()));
    EXPECT_FALSE(Button("cmdPrevious")->isEnabled() || Button("cmdNext")->isEnabled());
    Press(Qt::Key_Down, Qt::ControlModifier);
    Press(Qt::Key_Return, Qt::ControlModifier);
  });
  EXPECT_EQ(StoredNotes(2), "kept") << "saved by its number";
}

TEST_F(TrapDetailWindowTest, TextsFromTheNetworkStayTextAndKeepTheLayout) {
  StoredTrap hostile = Trap(1);
  hostile.Source = "a\nb\xE2\x80\xAE<b>bold</b>" + std::string(50'000, 's');
  hostile.EnterpriseOid = std::string(40'000, '1') + ".7";
  hostile.EventDescription = "first\tvalue\r\nsecond \xE2\x80\xAE\x01\rx\n" + std::string(3'000'000, 'A') +
                             "\xF0\x9F\x94\xA5" + "<img src=x>";
  world_.Deliver(hostile, {window_.get()});
  window_->UpdateStatusBar();
  InDialog([&] {
    dialog_->grab();
    EXPECT_LE(dialog_->minimumSizeHint().width(), 700);
    EXPECT_TRUE(Field("lblSource").startsWith(QString::fromUtf8("a\u240Ab\uFFFD<b>bold</b>sss")));
    EXPECT_TRUE(Field("lblEnterprise").endsWith(QLatin1String("1.7)"))) << "the end is not cut off";

    auto* varBinds = Find<QPlainTextEdit>("txtVarBinds");
    for (QTextBlock block = varBinds->document()->begin(); block.isValid(); block = block.next()) {
      ASSERT_LE(block.length(), 4'000) << "a line that takes long to lay out";
    }
    varBinds->setFocus();
    Press(Qt::Key_A, Qt::ControlModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    const QString copied = QApplication::clipboard()->text();
    const QString expected = QString::fromUtf8("first\tvalue\nsecond \uFFFD\u2401\u240Dx\n") +
                             QString(3'000'000, QLatin1Char('A')) +
                             QString::fromUtf8("\xF0\x9F\x94\xA5<img src=x>");
    EXPECT_TRUE(copied == expected) << "copied without the breaks that were made for showing";
    varBinds->moveCursor(QTextCursor::Start);
    varBinds->moveCursor(QTextCursor::Down, QTextCursor::KeepAnchor);
    varBinds->copy();
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("first\tvalue\n"));
    // Laid out word by word this would take minutes.
    QApplication::clipboard()->setText(QString(1'000'000, QLatin1Char('w')));
    Notes()->paste();
    dialog_->grab();
    Press(Qt::Key_Escape);
  });
}

TEST_F(TrapDetailWindowTest, KeepsItsSizeAndIgnoresADamagedOne) {
  Load(1);
  auto& kept = world_.Platform.Settings.Values["Settings/TrapDetailSize"];
  for (const char* stored : {"720,610", "", "x", "1", "5,", ",5", "1,1", "-9,-9", "99999999,99999999"}) {
    kept = stored;
    InDialog([&] {
      EXPECT_GE(dialog_->width(), dialog_->minimumSizeHint().width()) << stored;
      EXPECT_LE(dialog_->height(), dialog_->screen()->availableSize().height()) << stored;
      dialog_->resize(720, 610);
      Press(Qt::Key_Escape);
    });
    EXPECT_EQ(kept, "720,610");
  }
}

}  // namespace
}  // namespace korvane::traps
