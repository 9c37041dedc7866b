#include "config/ConfigForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/RegistryValues.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"

namespace korvane::config {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kFrequency[] =
    "You have changed acknowledge or purge frequency. This requires Korvane Manager service to be "
    "restarted.\r";
constexpr char kLimit[] =
    "You have changed the limit for maximum traps shown. You have to restart this program for this "
    "configuration to be applied.\r";

struct ConfigFormTest : testing::Test {
  ConfigForm Open() { return ConfigForm({Registry, Machine.Services, Machine.Clock, Prompt, Busy}); }

  test::FakePlatform Machine;
  test::FakeRegistry& Registry = Machine.Registry;
  test::ScriptedPrompts Prompt;
  test::RecordingBusy Busy;
};

TEST_F(ConfigFormTest, AsksAboutWhatWasChangedAndWritesItInOrder) {
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"12", "7", "1000"})) << "none is stored";
  Registry.PutDword(kManagerKey, kAckFrequencyValue, 6);
  Registry.PutText(kManagerKey, kPurgeFrequencyValue, "30");
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"6", "30", "1000"}));
  struct Case {
    ConfigValues Shown;
    std::string Question;
  };
  for (const Case& c :
       {Case{{"6", "30", "2000"}, kLimit}, Case{{"7", "30", "1000"}, kFrequency},
        Case{{"6", "31", "1000"}, kFrequency}, Case{{"1", "1", "3000"}, std::string(kFrequency) + kLimit}}) {
    Prompt.WillAnswer(PromptAnswer::No);
    EXPECT_FALSE(Open().Ok(c.Shown)) << "the entries stay to be mended";
    EXPECT_EQ(Prompt.Questions().back(),
              (test::ScriptedPrompts::Shown{c.Question + "Do you want to continue?", PromptIcon::Question,
                                            PromptButtons::YesNo}));
  }
  for (const char* text : {"", "abc", "12x", "99999999999", "7.5"}) {
    Prompt.WillAnswer(PromptAnswer::Yes);
    EXPECT_FALSE(Open().Ok({"6", "30", text}));
    EXPECT_EQ(Prompt.LastMessage(), "'" + std::string(text) + "' is not a whole number.");
  }
  EXPECT_THAT(Registry.WrittenNames, IsEmpty());
  EXPECT_THAT(Machine.Clock.Sleeps, IsEmpty()) << "nothing was restarted";

  Prompt.Clear();
  EXPECT_TRUE(Open().Ok({"6", "30", "1000"})) << "no change: no question";
  EXPECT_THAT(Registry.WrittenNames,
              ElementsAre(kAckFrequencyValue, kPurgeFrequencyValue, kMaxViewTrapsValue));
  EXPECT_THAT(Machine.Clock.Sleeps, ElementsAre(2000));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Open().Ok({"24", " 45 ", "0"})) << "typed values need not be those of the arrows";
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"24", "45", "0"}));
  EXPECT_THAT(Prompt.Messages(), IsEmpty());
  EXPECT_EQ(Busy.Depth(), 0);
}

TEST_F(ConfigFormTest, EveryFailureHasItsMessageAndTheRestartIsStillTried) {
  Machine.Services.StartWorks = false;
  for (const bool keyIsThere : {false, true}) {
    Registry.Writable = !keyIsThere;
    if (keyIsThere) {
      Registry.AddKey(kManagerKey);
    }
    Prompt.Clear();
    EXPECT_TRUE(Open().Ok(Open().Loaded()));
    std::string messages;
    for (const auto& message : Prompt.Messages()) {
      EXPECT_EQ(message.Icon, PromptIcon::Critical);
      messages += message.Text + "|";
    }
    EXPECT_EQ(messages,
              "Could not set acknowledgement frequency.|Could not set purge frequency.|Could not set maximum "
              "view limit.|Failed to restart 'KVReceiver' service. Please restart manually.|");
    EXPECT_THAT(Registry.WrittenNames, IsEmpty());
  }
  EXPECT_THAT(Machine.Clock.Sleeps, ElementsAre(2000, 2000)) << "the restart was tried each time";
}

}  // namespace
}  // namespace korvane::config
