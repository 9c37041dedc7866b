#include <gtest/gtest.h>

#include <QComboBox>

#include "common/RegistryValues.h"
#include "config/frmConfig.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/WindowDriver.h"

namespace korvane::config {
namespace {

using test::TextOf;

TEST(ConfigWindowTest, AnOperatorChangesTheIntervalsByKeyboard) {
  test::FakePlatform machine;
  test::ScriptedPrompts prompt;
  test::RecordingBusy busy;
  machine.Registry.PutDword(kManagerKey, kPurgeFrequencyValue, 89);
  machine.Registry.PutDword(kManagerKey, kAckFrequencyValue, 36);
  frmConfig dialog({machine.Registry, machine.Services, machine.Clock, prompt, busy});
  test::ShowActive(dialog);
  EXPECT_EQ(TextOf(dialog, "cboHours"), "36") << "what is stored stays until another is chosen";
  EXPECT_EQ(test::Find<QComboBox>(dialog, "cboHours").count(), 25);
  EXPECT_EQ(test::DefaultButton(dialog), "cmdOK");
  EXPECT_EQ(test::RepeatedMnemonics(dialog), "");
  const auto step = [&](const char* arrows, Qt::Key key) {
    test::Find<QWidget>(dialog, arrows).setFocus();
    for (int i = 0; i < 3; ++i) {
      test::Press(dialog, key);
    }
  };
  step("UpDown2", Qt::Key_Up);
  EXPECT_EQ(TextOf(dialog, "txtPurge"), "90");
  step("UpDown1", Qt::Key_Up);
  EXPECT_EQ(TextOf(dialog, "txtViewLimit"), "4000");
  step("UpDown1", Qt::Key_Down);
  test::Press(dialog, Qt::Key_Down);
  EXPECT_EQ(TextOf(dialog, "txtViewLimit"), "1000");
  test::Type(dialog, "txtViewLimit", "12345");
  test::Choose(dialog, "cboHours", "8");

  prompt.WillAnswer(PromptAnswer::No);
  test::Click(dialog, "cmdOK");
  EXPECT_EQ(TextOf(dialog, "txtViewLimit"), "12345");
  prompt.WillAnswer(PromptAnswer::Yes);
  test::Press(dialog, Qt::Key_Return);
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kAckFrequencyValue), 8U);
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kPurgeFrequencyValue), 90U);
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kMaxViewTrapsValue), 12345U);
}

}  // namespace
}  // namespace korvane::config
