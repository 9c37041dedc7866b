// The dialog "Configure", without its window and worked by an operator.
#include <gmock/gmock.h>

#include <QWidget>

#include "common/RegistryValues.h"
#include "config/frmConfig.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/WindowDriver.h"

namespace korvane::config {
namespace {

using test::TextOf;
using testing::ElementsAre;
using testing::IsEmpty;

struct ConfigTest : testing::Test {
  ConfigForm Open() { return ConfigForm(Services); }

  test::FakePlatform Machine;
  test::FakeRegistry& Registry = Machine.Registry;
  test::ScriptedPrompts Prompt;
  test::RecordingBusy Busy;
  ConfigServices Services{Registry, Machine.Services, Machine.Clock, Prompt, Busy};
};

TEST_F(ConfigTest, AsksAboutWhatWasChangedAndWritesItInOrder) {
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"12", "7", "1000"})) << "none is stored";
  Registry.PutDword(kManagerKey, kAckFrequencyValue, 6);
  Registry.PutText(kManagerKey, kPurgeFrequencyValue, "30");
  for (const auto& [shown, frequency, limit] : {std::tuple(ConfigValues{"6", "30", "2000"}, false, true),
                                                {{"7", "30", "1000"}, true, false},
                                                {{"6", "31", "1000"}, true, false},
                                                {{"1", "1", "3000"}, true, true}}) {
    Prompt.WillAnswer(PromptAnswer::No);
    EXPECT_FALSE(Open().Ok(shown)) << "the entries stay to be mended";
    const std::string question = Prompt.Questions().back().Text;
    EXPECT_EQ(question.find("acknowledge or purge frequency") != question.npos, frequency);
    EXPECT_EQ(question.find("the limit for maximum traps") != question.npos, limit);
  }
  for (const auto& [text, fault] : {std::pair("", "' is not a whole number."),
                                    {"12x", "' is not a whole number."},
                                    {"99999999999", "' is too large. The largest number is 2,147,483,647."},
                                    {"-99999999999", "' is too small."}}) {
    Prompt.WillAnswer(PromptAnswer::Yes);
    EXPECT_FALSE(Open().Ok({"6", "30", text}));
    EXPECT_EQ(Prompt.LastMessage(), std::string("'") + text + fault);
  }
  EXPECT_THAT(Registry.WrittenNames, IsEmpty());
  EXPECT_THAT(Machine.Clock.Sleeps, IsEmpty()) << "nothing was restarted";

  EXPECT_TRUE(Open().Ok({"6", "30", "1000"})) << "no change: no question";
  EXPECT_THAT(Registry.WrittenNames,
              ElementsAre(kAckFrequencyValue, kPurgeFrequencyValue, kMaxViewTrapsValue));
  EXPECT_THAT(Machine.Clock.Sleeps, ElementsAre(2000));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Open().Ok({"24", " 45 ", "0"})) << "typed values need not be those of the arrows";
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"24", "45", "0"}));
}

TEST_F(ConfigTest, EveryFailureHasItsMessageAndTheRestartIsStillTried) {
  Machine.Services.StartWorks = false;
  EXPECT_TRUE(Open().Ok(Open().Loaded()));
  std::string messages;
  for (const auto& message : Prompt.Messages()) {
    messages += message.Text + "|";
  }
  EXPECT_EQ(messages,
            "Could not set acknowledgement frequency.|Could not set purge frequency.|Could not set maximum "
            "view limit.|Failed to restart 'KVReceiver' service. Please restart manually.|");
}

TEST_F(ConfigTest, AnOperatorChangesTheIntervalsByKeyboard) {
  Registry.PutDword(kManagerKey, kPurgeFrequencyValue, 2);
  Registry.PutDword(kManagerKey, kAckFrequencyValue, 36);
  frmConfig dialog(Services);
  test::ShowActive(dialog);
  EXPECT_EQ(TextOf(dialog, "cboHours"), "36") << "what is stored stays until another is chosen";
  const auto step = [&](const char* arrows, Qt::Key key) {
    test::Find<QWidget>(dialog, arrows).setFocus();
    for (int i = 0; i < 3; ++i) {
      test::Press(dialog, key);
    }
  };
  step("UpDown2", Qt::Key_Down);
  EXPECT_EQ(TextOf(dialog, "txtPurge"), "1") << "the least";
  test::Type(dialog, "txtPurge", "0");
  EXPECT_TRUE(test::IsShown(dialog, "lblNever"));
  test::Type(dialog, "txtPurge", "1");
  EXPECT_FALSE(test::IsShown(dialog, "lblNever"));
  step("UpDown1", Qt::Key_Up);
  EXPECT_EQ(TextOf(dialog, "txtViewLimit"), "4000");
  test::Type(dialog, "txtViewLimit", "12345");
  test::Choose(dialog, "cboHours", "8");
  Prompt.WillAnswer(PromptAnswer::Yes);
  test::Press(dialog, Qt::Key_Return);
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_EQ(Registry.Dword(kManagerKey, kAckFrequencyValue), 8U);
  EXPECT_EQ(Registry.Dword(kManagerKey, kPurgeFrequencyValue), 1U);
  EXPECT_EQ(Registry.Dword(kManagerKey, kMaxViewTrapsValue), 12345U);
}

}  // namespace
}  // namespace korvane::config
