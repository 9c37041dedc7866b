#include "config/frmConfig.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include "common/RegistryValues.h"
#include "config/UpDown.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"

namespace korvane::config {
namespace {

TEST(frmConfigTest, AnOperatorChangesTheIntervalsByKeyboard) {
  test::FakePlatform machine;
  test::ScriptedPrompts prompt;
  test::RecordingBusy busy;
  machine.Registry.PutDword(kManagerKey, kPurgeFrequencyValue, 89);
  machine.Registry.PutDword(kManagerKey, kAckFrequencyValue, 36);
  frmConfig dialog({.Registry = machine.Registry,
                    .Services = machine.Services,
                    .Clock = machine.Clock,
                    .Prompt = prompt,
                    .Busy = busy});
  dialog.show();
  auto& purge = *dialog.findChild<QLineEdit*>(QStringLiteral("txtPurge"));
  auto& limit = *dialog.findChild<QLineEdit*>(QStringLiteral("txtViewLimit"));
  auto& hours = *dialog.findChild<QComboBox*>(QStringLiteral("cboHours"));
  EXPECT_EQ(hours.currentText(), QStringLiteral("36")) << "what is stored stays until another is chosen";
  EXPECT_EQ(hours.count(), 25);

  auto& days = *dialog.findChild<UpDown*>(QStringLiteral("UpDown2"));
  for (int i = 0; i < 3; ++i) {
    QTest::keyClick(&days, Qt::Key_Up);
  }
  EXPECT_EQ(purge.text(), QStringLiteral("90"));
  auto& traps = *dialog.findChild<UpDown*>(QStringLiteral("UpDown1"));
  QTest::keyClick(&traps, Qt::Key_Up);
  EXPECT_EQ(limit.text(), QStringLiteral("2000"));
  for (int i = 0; i < 3; ++i) {
    QTest::keyClick(&traps, Qt::Key_Down);
  }
  EXPECT_EQ(limit.text(), QStringLiteral("1000"));
  limit.selectAll();
  QTest::keyClicks(&limit, QStringLiteral("12345"));
  hours.setCurrentIndex(7);

  prompt.WillAnswer(PromptAnswer::No);
  QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
  EXPECT_TRUE(dialog.isVisible());
  EXPECT_EQ(limit.text(), QStringLiteral("12345"));
  prompt.WillAnswer(PromptAnswer::Yes);
  QTest::keyClick(&dialog, Qt::Key_Return);
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kAckFrequencyValue), 8U);
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kPurgeFrequencyValue), 90U);
  EXPECT_EQ(machine.Registry.Dword(kManagerKey, kMaxViewTrapsValue), 12345U);
}

}  // namespace
}  // namespace korvane::config
