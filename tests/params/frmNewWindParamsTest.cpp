// The real dialog, driven by keyboard and mouse as an operator would.
#include "params/frmNewWindParams.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <array>
#include <memory>

#include "FakeLists.h"
#include "params/ParametersPanel.h"
#include "support/ScriptedPrompts.h"

namespace korvane::params {
namespace {

QString Q(const char* text) {
  return QString::fromUtf8(text);
}

class frmNewWindParamsTest : public testing::Test {
 public:
  frmNewWindParams& Open(int mode) {
    record_.Mode = mode;
    dialog_ = std::make_unique<frmNewWindParams>(record_, lists_, prompts_);
    dialog_->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(dialog_.get()));
    return *dialog_;
  }
  template <typename Control>
  Control& Find(const char* name) {
    Control* control = dialog_->findChild<Control*>(Q(name));
    EXPECT_NE(control, nullptr) << name;
    return *control;
  }
  void Click(const char* name) { QTest::mouseClick(&Find<QPushButton>(name), Qt::LeftButton); }
  // On the circle: only circle and caption take the click.
  void Pick(const char* name) {
    auto& option = Find<QRadioButton>(name);
    QTest::mouseClick(&option, Qt::LeftButton, {}, QPoint(8, option.height() / 2));
  }
  void Choose(const char* name, const char* text) {
    auto& combo = Find<QComboBox>(name);
    combo.setFocus();
    combo.setCurrentIndex(combo.findText(Q(text)));
  }

  WindowParameters record_;
  test::FakeLists lists_;
  test::ScriptedPrompts prompts_;
  std::unique_ptr<frmNewWindParams> dialog_;
};

TEST_F(frmNewWindParamsTest, ACustomWindowIsPutTogetherThroughTheControls) {
  frmNewWindParams& dialog = Open(kModeNewWindow);
  EXPECT_EQ(dialog.windowTitle(), Q("Select Window Parameters"));
  EXPECT_EQ(Find<ParametersPanel>("freParameters").title(), Q("Select View Parameters:"));
  EXPECT_TRUE(Find<QRadioButton>("optEvtGrp").isChecked());
  EXPECT_FALSE(Find<QLineEdit>("txtSource").isEnabled());

  QTest::keyClicks(&Find<QLineEdit>("txtWindowName"), Q("Fans"));
  Pick("optCustom");
  EXPECT_FALSE(Find<QComboBox>("cboEvtGrps").isEnabled());
  EXPECT_FALSE(Find<QComboBox>("cboEnterprise").isEnabled());
  auto& source = Find<QLineEdit>("txtSource");
  EXPECT_TRUE(source.isEnabled());
  source.selectAll();
  QTest::keyClicks(&source, Q("router1"));
  Choose("cboGeneric", "enterpriseSpecific");
  EXPECT_TRUE(Find<QComboBox>("cboEnterprise").isEnabled());
  Choose("cboEnterprise", "Acme");
  auto& traps = Find<QListView>("lvTraps");
  ASSERT_EQ(traps.model()->rowCount(), 3);
  EXPECT_EQ(traps.currentIndex().data().toString(), Q("-All-"));
  const QRect third = traps.visualRect(traps.model()->index(2, 0));
  QTest::mouseClick(traps.viewport(), Qt::LeftButton, {}, third.center());
  Choose("cboSeverity", "Critical");
  QTest::keyClicks(&Find<QLineEdit>("txtVarBinds"), Q("speed"));
  QTest::keyClick(&Find<QLineEdit>("txtVarBinds"), Qt::Key_Return);  // the default button

  EXPECT_FALSE(dialog.isVisible());
  EXPECT_FALSE(record_.Cancelled);
  EXPECT_EQ(record_.WindowName, "Fans (Custom View)");
  EXPECT_EQ(record_.Source, "router1");
  EXPECT_EQ(record_.Generic, 6);
  EXPECT_EQ(record_.Enterprise, "Acme");
  EXPECT_EQ(record_.TrapName, "fanBack");
  EXPECT_EQ(record_.Severity, 5);
  EXPECT_EQ(record_.VarBindsMatch, "speed");
}

TEST_F(frmNewWindParamsTest, ChangingTheRulesMindShowsInTheControls) {
  Open(kModeNewWindow);
  Pick("optCustom");
  Choose("cboGeneric", "enterpriseSpecific");
  Choose("cboEnterprise", "Acme");
  Choose("cboGeneric", "linkDown");
  EXPECT_EQ(Find<QComboBox>("cboEnterprise").currentText(), Q("-All-"));
  EXPECT_EQ(Find<QListView>("lvTraps").model()->rowCount(), 1);
  Pick("optEvtGrp");
  EXPECT_EQ(Find<QComboBox>("cboGeneric").currentText(), Q("-All-"));
  EXPECT_TRUE(Find<QComboBox>("cboEvtGrps").isEnabled());
  Choose("cboEvtGrps", "Links");
  Click("cmdOK");
  EXPECT_EQ(record_.WindowName, " (Links)");
  EXPECT_EQ(record_.Category, "Links");
}

TEST_F(frmNewWindParamsTest, CancelEscapeAndTheCloseBoxLeaveTheRecordAlone) {
  const auto leave = std::array<void (*)(frmNewWindParamsTest&), 3>{
      [](frmNewWindParamsTest& test) { test.Click("cmdCancel"); },
      [](frmNewWindParamsTest& test) { QTest::keyClick(test.dialog_.get(), Qt::Key_Escape); },
      [](frmNewWindParamsTest& test) { test.dialog_->close(); }};
  for (const auto& way : leave) {
    record_ = {};
    Open(kModeNewWindow);
    QTest::keyClicks(&Find<QLineEdit>("txtWindowName"), Q("typed"));
    way(*this);
    EXPECT_FALSE(dialog_->isVisible());
    EXPECT_TRUE(record_.Cancelled);
    EXPECT_EQ(record_.WindowName, "");
  }
}

TEST_F(frmNewWindParamsTest, ParametersOfAWindowAreShownReadOnly) {
  record_ = {.WindowName = "Fans (Custom View)",
             .Source = "<b>router1</b>",
             .Generic = 6,
             .Severity = 3,
             .Enterprise = "Gone",
             .TrapName = "gone\nTrap"};
  frmNewWindParams& dialog = Open(kModeShowParameters);
  EXPECT_EQ(dialog.windowTitle(), Q("Window Parameters"));
  EXPECT_EQ(Find<ParametersPanel>("freParameters").title(), Q("Window Parameters (Read Only):"));
  EXPECT_EQ(Find<QLineEdit>("txtSource").text(), Q("<b>router1</b>"));
  EXPECT_EQ(Find<QComboBox>("cboSeverity").currentText(), Q("Major"));
  EXPECT_EQ(Find<QListView>("lvTraps").currentIndex().data().toString(), Q("gone\xe2\x90\x8aTrap"));
  for (const QWidget* control : Find<ParametersPanel>("freParameters").findChildren<QWidget*>()) {
    const bool input = qobject_cast<const QLineEdit*>(control) != nullptr ||
                       qobject_cast<const QComboBox*>(control) != nullptr ||
                       qobject_cast<const QListView*>(control) != nullptr ||
                       qobject_cast<const QRadioButton*>(control) != nullptr;
    EXPECT_FALSE(input && control->isEnabled()) << control->objectName().toStdString();
  }
  Click("cmdOK");
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_TRUE(record_.Cancelled);
  EXPECT_EQ(record_.WindowName, "Fans (Custom View)");
}

TEST_F(frmNewWindParamsTest, EveryControlIsReachedByKeyboardAndHasAName) {
  frmNewWindParams& dialog = Open(kModeNewWindow);
  Pick("optCustom");
  Choose("cboGeneric", "enterpriseSpecific");
  EXPECT_TRUE(Find<QPushButton>("cmdOK").isDefault());
  EXPECT_EQ(Find<QPushButton>("cmdCancel").text(), Q("&Cancel"));

  Find<QLineEdit>("txtWindowName").setFocus();
  QStringList reached;
  for (int i = 0; i < 20; ++i) {
    const QWidget* focus = dialog.focusWidget();
    if (reached.contains(focus->objectName())) break;
    reached.append(focus->objectName());
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(dialog.focusWidget());
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << focus->objectName().toStdString();
    QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
  }
  // One stop for the two options, and none for what is disabled.
  EXPECT_EQ(
      reached.join(QLatin1Char(' ')).toStdString(),
      "txtWindowName optCustom txtSource cboSeverity cboGeneric cboEnterprise lvTraps txtVarBinds cmdOK "
      "cmdCancel");
  for (const char* label : {"lblWindowName", "lblEvtGrps", "lblSource", "lblSeverity", "lblGeneric",
                            "lblEnterprise", "lblTraps", "lblVarBinds"}) {
    EXPECT_NE(Find<QLabel>(label).buddy(), nullptr) << label;
  }
}

}  // namespace
}  // namespace korvane::params
