// The dialog that configures actions, driven by keyboard and mouse, over a real store.
#include "alerts/frmActions.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

#include "alerts/AlertsWorld.h"

namespace korvane::alerts {
namespace {

struct frmActionsTest : test::AlertsWorld, testing::Test {
  template <typename Control>
  Control& Find(const char* name) {
    auto* control = Dialog.findChild<Control*>(QString::fromLatin1(name));
    EXPECT_NE(control, nullptr) << name;
    return *control;
  }
  void Type(const char* name, const char* text) {
    auto& edit = Find<QLineEdit>(name);
    edit.selectAll();
    QTest::keyClicks(&edit, QString::fromUtf8(text));
  }
  void Show() {
    Dialog.show();
    Dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&Dialog));
  }
  void Ok() { QTest::mouseClick(&Find<QPushButton>("cmdOK"), Qt::LeftButton); }

  frmActions Dialog{Services};
};

TEST_F(frmActionsTest, ChecksEachTabInOrderAndReusesEqualRows) {
  Dialog.AddBeepTab(1);
  Dialog.AddEmailTab(1);
  Dialog.AddMessageTab(1);
  Dialog.AddCustomTab(1);
  Show();
  auto& tabs = Find<QTabWidget>("tabActions");
  ASSERT_EQ(tabs.count(), 4);
  const auto expectRefusal = [&](const char* text, int tab) {
    tabs.setCurrentIndex(0);
    Ok();
    EXPECT_EQ(Prompt.LastMessage(), text);
    EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Information);
    EXPECT_EQ(tabs.currentIndex(), tab) << text;
    EXPECT_TRUE(Dialog.isVisible());
  };
  expectRefusal("Beep description should not be empty.", 0);
  Type("txtBeepDesc", "three short ones");
  Type("txtBeepCount", "3x-1");
  EXPECT_EQ(Find<QLineEdit>("txtBeepCount").text(), QStringLiteral("31")) << "digits only";
  auto& server = Find<QComboBox>("cboSMTPServer");
  EXPECT_EQ(server.currentText(), QStringLiteral("mail.example.net")) << "the machine's own";
  EXPECT_EQ(Find<QLineEdit>("txtEmailFrom").text(), QStringLiteral("Korvane@example.net"));
  EXPECT_EQ(Find<QLineEdit>("txtSubject").text(), QStringLiteral("Korvane"));
  server.setEditText({});
  expectRefusal("SMTP Server address should not be empty.", 1);
  server.setEditText(QStringLiteral("smtp"));
  auto& to = Find<QComboBox>("cboEmailTo");
  to.setEditText({});
  expectRefusal("Destination Email address should not be empty.", 1);
  to.setEditText(QStringLiteral("ops@example.net"));
  Find<QLineEdit>("txtEmailFrom").clear();
  expectRefusal("Source Email address should not be empty.", 1);
  Type("txtEmailFrom", "o'brien@example.net");
  Ok();
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical) << "the store refuses an apostrophe";
  Type("txtEmailFrom", "k@example.net");
  expectRefusal("Message destination should not be empty.", 2);
  Find<QComboBox>("cboMsgDest").setEditText(QStringLiteral("pc1"));
  expectRefusal("You have not configured Custom details.", 3);
  Prompt.WillAnswerFiles({"/opt/tool"});
  QTest::mouseClick(&Find<QPushButton>("cmdBrowse"), Qt::LeftButton);
  EXPECT_EQ(Find<QComboBox>("cboCustom").currentText(), QStringLiteral("/opt/tool"));
  EXPECT_TRUE(Dialog.Cancelled());
  Ok();
  EXPECT_FALSE(Dialog.Cancelled());
  EXPECT_EQ(Dialog.Ids(), (ActionIds{2, 2, 2, 2}));
  EXPECT_EQ(Store.Number("SELECT Beep_Count FROM Beep_Detail WHERE Beep_ID = 2"), 31);
  EXPECT_EQ(Store.Number("SELECT Frequency FROM Beep_Detail WHERE Beep_ID = 2"), 0) << "empty counts as 0";

  // What was stored is offered, and opens as it was.
  frmActions again(Services);
  again.AddEmailTab(2);
  EXPECT_EQ(again.findChild<QComboBox*>(QStringLiteral("cboSMTPServer"))->count(), 1);
  EXPECT_EQ(again.findChild<QLineEdit*>(QStringLiteral("txtEmailFrom"))->text(),
            QStringLiteral("k@example.net"));
  again.ClearTabs();
  again.AddMessageTab(2);
  EXPECT_EQ(again.findChild<QTabWidget*>(QStringLiteral("tabActions"))->count(), 1);
  QTest::mouseClick(again.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
  EXPECT_EQ(again.Ids(), (ActionIds{.Message = 2}));
}

TEST_F(frmActionsTest, FieldsSayWhatTheyAreForAndArrowsMoveBetweenThem) {
  Dialog.AddBeepTab(1);
  Dialog.AddEmailTab(1);
  Show();
  const auto& beepHelp = Find<QLabel>("lblBeepHelp");
  EXPECT_EQ(beepHelp.text(), QStringLiteral("Enter a brief description for the beep configuration."));
  QTest::keyClick(&Find<QLineEdit>("txtBeepDesc"), Qt::Key_Down);
  EXPECT_TRUE(Find<QLineEdit>("txtBeepCount").hasFocus());
  EXPECT_EQ(beepHelp.text(), QStringLiteral("Specify the number of times beep should be generated."));
  QTest::keyClick(&Find<QLineEdit>("txtBeepCount"), Qt::Key_Up);
  QTest::keyClick(&Find<QLineEdit>("txtBeepDesc"), Qt::Key_Up);
  EXPECT_TRUE(Find<QLineEdit>("txtBeepDesc").hasFocus()) << "the first stays";
  Find<QTabWidget>("tabActions").setCurrentIndex(1);
  Find<QComboBox>("cboSMTPServer").setFocus();
  QTest::keyClick(Find<QComboBox>("cboSMTPServer").lineEdit(), Qt::Key_Down);
  EXPECT_EQ(Find<QLabel>("lblEmailHelp").text(),
            QStringLiteral("Specify the Email address to where notification should send."));
  QTest::keyClick(&Find<QLineEdit>("txtSubject"), Qt::Key_Down);
  EXPECT_FALSE(Find<QLineEdit>("txtBeepDesc").hasFocus()) << "the other page is another matter";
}

}  // namespace
}  // namespace korvane::alerts
