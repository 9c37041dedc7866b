// The dialogs of the trap filters, driven by keyboard and mouse as an operator would.
#include "params/frmFilters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <array>
#include <functional>
#include <memory>
#include <stdexcept>

#include "FiltersFixture.h"
#include "common/qt/QtText.h"

namespace korvane::params {
namespace {

using testing::SizeIs;

template <typename Control>
Control& Find(QWidget& window, const char* name) {
  auto* control = window.findChild<Control*>(QString::fromLatin1(name));
  if (control == nullptr) throw std::runtime_error(name);
  return *control;
}

void Click(QWidget& window, const char* name) {
  QTest::mouseClick(&Find<QPushButton>(window, name), Qt::LeftButton);
}

void Choose(QWidget& window, const char* name, const char* text) {
  auto& combo = Find<QComboBox>(window, name);
  combo.setCurrentIndex(combo.findText(QString::fromUtf8(text)));
}

void Retype(QWidget& window, const char* name, const char* text) {
  auto& edit = Find<QLineEdit>(window, name);
  edit.selectAll();
  QTest::keyClicks(&edit, QString::fromUtf8(text));
}

class frmFiltersTest : public test::FiltersFixture {
 protected:
  void Open() {
    Dialog = std::make_unique<frmFilters>(Services);
    Dialog->show();
    Activate();
    Tester = std::make_unique<QAbstractItemModelTester>(List().model());
    List().setFocus();
  }
  // So that keys reach it.
  void Activate() {
    Dialog->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(Dialog.get()));
  }
  QTableView& List() { return Find<QTableView>(*Dialog, "lvEvtFilters"); }
  std::string Cell(int row, int column) {
    return ToUtf8(List().model()->index(row, column).data().toString());
  }
  bool Enabled(const char* button) { return Find<QPushButton>(*Dialog, button).isEnabled(); }
  // Acts on the dialog "Trap Filter" that `open` brings up; it has to be closed by that.
  void InTrapFilter(const std::function<void()>& open, const std::function<void(QWidget&)>& act) {
    bool seen = false;
    QElapsedTimer waited;
    waited.start();
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
      QWidget* modal = QApplication::activeModalWidget();
      if (modal != nullptr && !seen) {
        seen = true;
        act(*modal);
      }
      if (modal != nullptr && waited.elapsed() > 15'000) {
        ADD_FAILURE() << "the dialog stayed open";
        modal->close();
      }
    });
    poll.start(5);
    open();
    EXPECT_TRUE(seen);
    Activate();
  }

  std::unique_ptr<frmFilters> Dialog;
  std::unique_ptr<QAbstractItemModelTester> Tester;
};

TEST_F(frmFiltersTest, AFilterIsAddedEditedAndRemoved) {
  Open();
  EXPECT_EQ(Dialog->windowTitle(), QStringLiteral("Filter Traps"));
  EXPECT_TRUE(Find<QLabel>(*Dialog, "lblEmptyList").isVisible());
  EXPECT_FALSE(Enabled("cmdEdit") || Enabled("cmdRemove"));
  QTest::keyClick(&List(), Qt::Key_Return);
  EXPECT_TRUE(Dialog->isVisible()) << "nothing to edit, nothing to close";

  InTrapFilter([&] { Click(*Dialog, "cmdAdd"); },
               [&](QWidget& info) {
                 EXPECT_EQ(info.windowTitle(), QStringLiteral("Trap Filter"));
                 EXPECT_EQ(Find<QLineEdit>(info, "txtSource").text(), QStringLiteral("-All-"));
                 Click(info, "cmdOK");
                 EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Information);
                 EXPECT_TRUE(info.isVisible());
                 EXPECT_FALSE(Find<QComboBox>(info, "cboEnterprise").isEnabled());
                 Choose(info, "cboGeneric", "enterpriseSpecific");
                 EXPECT_TRUE(Find<QComboBox>(info, "cboEnterprise").isEnabled());
                 Choose(info, "cboEnterprise", "Acme");
                 auto& traps = Find<QListView>(info, "lvTraps");
                 const QRect second = traps.visualRect(traps.model()->index(1, 0));
                 QTest::mouseClick(traps.viewport(), Qt::LeftButton, {}, second.center());
                 auto& source = Find<QLineEdit>(info, "txtSource");
                 QTest::mouseClick(&source, Qt::LeftButton);
                 EXPECT_TRUE(QTest::qWaitFor([&] { return source.hasSelectedText(); }));
                 QTest::keyClicks(&source, QStringLiteral("router1"));  // takes the place of "-All-"
                 QTest::keyClick(&Find<QLineEdit>(info, "txtSource"), Qt::Key_Return);
               });
  ASSERT_EQ(List().model()->rowCount(), 1);
  EXPECT_EQ(Cell(0, 0) + Cell(0, 1) + Cell(0, 2) + Cell(0, 3), "router1enterpriseSpecificAcmefanBack");
  EXPECT_TRUE(Enabled("cmdEdit") && Enabled("cmdRemove")) << "the new row is selected";

  List().setFocus();
  InTrapFilter([&] { QTest::keyClick(&List(), Qt::Key_Return); },
               [&](QWidget& info) {
                 EXPECT_EQ(Find<QListView>(info, "lvTraps").currentIndex().data().toString(),
                           QStringLiteral("fanBack"));
                 Retype(info, "txtVarBinds", "rpm");
                 Click(info, "cmdOK");
               });
  EXPECT_EQ(Cell(0, 4), "rpm");
  const QRect row = List().visualRect(List().model()->index(0, 0));
  QTest::mouseClick(List().viewport(), Qt::LeftButton, {}, row.center());
  InTrapFilter([&] { QTest::mouseDClick(List().viewport(), Qt::LeftButton, {}, row.center()); },
               [&](QWidget& info) {
                 Retype(info, "txtVarBinds", "lost");
                 QTest::keyClick(&info, Qt::Key_Escape);
               });
  EXPECT_EQ(Cell(0, 4), "rpm") << "cancelled";

  Prompt.WillAnswer(PromptAnswer::No);
  Click(*Dialog, "cmdRemove");
  EXPECT_EQ(List().model()->rowCount(), 1);
  Prompt.WillAnswer(PromptAnswer::Yes);
  List().setFocus();
  QTest::keyClick(&List(), Qt::Key_Delete);
  EXPECT_EQ(List().model()->rowCount(), 0);
  EXPECT_FALSE(Enabled("cmdEdit") || Enabled("cmdRemove"));
}

TEST_F(frmFiltersTest, EveryWayOutSavesAndPassesTheChangeOn) {
  const std::array<std::function<void()>, 3> ways = {[&] { Click(*Dialog, "cmdOK"); },
                                                     [&] { QTest::keyClick(&List(), Qt::Key_Escape); },
                                                     [&] { Dialog->close(); }};
  int saved = 0;
  for (const auto& leave : ways) {
    Open();
    const std::string source = "router" + std::to_string(++saved);
    InTrapFilter([&] { Click(*Dialog, "cmdAdd"); },
                 [&](QWidget& info) {
                   Retype(info, "txtSource", source.c_str());
                   Click(info, "cmdOK");
                 });
    leave();
    EXPECT_FALSE(Dialog->isVisible());
    EXPECT_EQ(FiltersFrom(source), 1);
    EXPECT_THAT(InMemory.Filters(), SizeIs(saved));
    EXPECT_EQ(Windows.Changes, saved);
  }
}

TEST_F(frmFiltersTest, AFilterThatCanNotBeSavedKeepsTheDialogOpen) {
  Store.AddFilter({.Source_Agent = "<b>bold\x01"});
  Open();
  EXPECT_EQ(Cell(0, 0), "<b>bold\xe2\x90\x81");
  InTrapFilter([&] { Click(*Dialog, "cmdEdit"); },
               [&](QWidget& info) {
                 Retype(info, "txtSource", "o'brien");
                 Click(info, "cmdOK");
               });
  for (const PromptAnswer answer : {PromptAnswer::Cancel, PromptAnswer::No}) {
    Prompt.WillAnswer(answer);
    Dialog->close();
    EXPECT_EQ(Dialog->isVisible(), answer == PromptAnswer::Cancel);
    EXPECT_EQ(Windows.Changes, answer == PromptAnswer::Cancel ? 0 : 1);
  }
  EXPECT_EQ(Filters(), 1);
}

TEST_F(frmFiltersTest, RowsAreFoundInAnyOrderOfTheList) {
  for (const char* source : {"b", "c", "a"}) Store.AddFilter({.Source_Agent = source});
  Open();
  QTest::keyClick(&List(), Qt::Key_1, Qt::ControlModifier);
  EXPECT_EQ(Cell(0, 0) + Cell(1, 0) + Cell(2, 0), "abc");
  List().selectRow(1);
  InTrapFilter([&] { Click(*Dialog, "cmdEdit"); },
               [&](QWidget& info) {
                 EXPECT_EQ(Find<QLineEdit>(info, "txtSource").text(), QStringLiteral("b"));
                 Retype(info, "txtSource", "z");
                 Click(info, "cmdOK");
               });
  EXPECT_EQ(Cell(0, 0) + Cell(1, 0) + Cell(2, 0), "acz");
  EXPECT_EQ(List().currentIndex().row(), 2) << "the edited row stays selected where it went";
  List().selectRow(0);
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(*Dialog, "cmdRemove");
  EXPECT_EQ(Cell(0, 0) + Cell(1, 0), "cz");
  EXPECT_EQ(FiltersFrom("a"), 0);
  EXPECT_TRUE(List().selectionModel()->isRowSelected(0));
}

TEST_F(frmFiltersTest, EverythingIsReachedByKeyboardAndHasAName) {
  Store.AddFilter({.GenericTrap = 6});
  Open();
  const auto walk = [](QWidget& window, QWidget& first) {
    first.setFocus();
    QString reached;
    while (!reached.contains(window.focusWidget()->objectName())) {
      reached += window.focusWidget()->objectName() + QLatin1Char(' ');
      const QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(window.focusWidget());
      EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << reached.toStdString();
      QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
    }
    return reached.toStdString();
  };
  EXPECT_EQ(walk(*Dialog, List()), "lvEvtFilters cmdAdd cmdEdit cmdRemove cmdOK ");
  EXPECT_EQ(Find<QPushButton>(*Dialog, "cmdOK").text(), QStringLiteral("&Close"));
  InTrapFilter([&] { Click(*Dialog, "cmdEdit"); },
               [&](QWidget& info) {
                 EXPECT_EQ(walk(info, Find<QLineEdit>(info, "txtSource")),
                           "txtSource cboGeneric cboEnterprise lvTraps txtVarBinds cmdOK cmdCancel ");
                 Click(info, "cmdCancel");
               });
}

}  // namespace
}  // namespace korvane::params
