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

constexpr const char* kFrequency =
    "You have changed acknowledge or purge frequency. This requires Korvane Manager service to be "
    "restarted.\r";
constexpr const char* kLimit =
    "You have changed the limit for maximum traps shown. You have to restart this program for this "
    "configuration to be applied.\r";
constexpr const char* kContinue = "Do you want to continue?";

struct ConfigFormTest : testing::Test {
  ConfigFormTest() {
    Machine.Registry.PutDword(kManagerKey, kAckFrequencyValue, 6);
    Machine.Registry.PutText(kManagerKey, kPurgeFrequencyValue, "30");
  }
  ConfigForm Open() {
    return ConfigForm({.Registry = Machine.Registry,
                       .Services = Machine.Services,
                       .Clock = Machine.Clock,
                       .Prompt = Prompt,
                       .Busy = Busy});
  }
  std::vector<std::string> Messages() const {
    std::vector<std::string> texts;
    for (const auto& message : Prompt.Messages()) {
      EXPECT_EQ(message.Icon, PromptIcon::Critical);
      texts.push_back(message.Text);
    }
    return texts;
  }

  test::FakePlatform Machine;
  test::ScriptedPrompts Prompt;
  test::RecordingBusy Busy;
};

TEST_F(ConfigFormTest, ReadsWhatIsThereAndDefaultsForTheRest) {
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"6", "30", "1000"}));
  Machine.Registry.Readable = false;
  EXPECT_EQ(Open().Loaded(), (ConfigValues{"12", "7", "1000"}));
}

TEST_F(ConfigFormTest, AsksAboutWhatWasChangedOnly) {
  struct Case {
    ConfigValues Shown;
    std::string Question;
  };
  const Case cases[] = {{{"6", "30", "2000"}, std::string(kLimit) + kContinue},
                        {{"7", "30", "1000"}, std::string(kFrequency) + kContinue},
                        {{"6", "31", "1000"}, std::string(kFrequency) + kContinue},
                        {{"1", "1", "3000"}, std::string(kFrequency) + kLimit + kContinue}};
  for (const Case& c : cases) {
    Prompt.Clear();
    Prompt.WillAnswer(PromptAnswer::No);
    EXPECT_FALSE(Open().Ok(c.Shown)) << "the entries stay to be mended";
    EXPECT_THAT(Prompt.Questions(), ElementsAre(test::ScriptedPrompts::Shown{c.Question, PromptIcon::Question,
                                                                             PromptButtons::YesNo}));
  }
  EXPECT_THAT(Machine.Registry.WrittenNames, IsEmpty());
  EXPECT_THAT(Machine.Clock.Sleeps, IsEmpty()) << "nothing was restarted";
}

TEST_F(ConfigFormTest, WritesInOrderAndRestartsWhateverWasChanged) {
  EXPECT_TRUE(Open().Ok({"6", "30", "1000"})) << "no change: no question";
  EXPECT_THAT(Machine.Registry.WrittenNames,
              ElementsAre(kAckFrequencyValue, kPurgeFrequencyValue, kMaxViewTrapsValue));
  EXPECT_THAT(Machine.Clock.Sleeps, ElementsAre(2000));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Open().Ok({"24", " 45 ", "1500"})) << "typed values need not be those of the arrows";
  EXPECT_EQ(Machine.Registry.Dword(kManagerKey, kAckFrequencyValue), 24U);
  EXPECT_EQ(Machine.Registry.Dword(kManagerKey, kPurgeFrequencyValue), 45U);
  EXPECT_EQ(Machine.Registry.Dword(kManagerKey, kMaxViewTrapsValue), 1500U);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_EQ(Busy.Depth(), 0);
}

TEST_F(ConfigFormTest, ATextThatIsNoNumberWritesAndRestartsNothing) {
  for (const char* text : {"", "abc", "12x", "99999999999", "7.5"}) {
    Prompt.WillAnswer(PromptAnswer::Yes);
    EXPECT_FALSE(Open().Ok({"6", "30", text})) << text;
    EXPECT_EQ(Prompt.LastMessage(), "'" + std::string(text) + "' is not a whole number.");
  }
  EXPECT_THAT(Machine.Registry.WrittenNames, IsEmpty());
  EXPECT_THAT(Machine.Clock.Sleeps, IsEmpty());
}

TEST_F(ConfigFormTest, EveryFailureHasItsMessageAndTheRestartIsStillTried) {
  test::FakeRegistry withoutKey;
  test::FakeRegistry closed;
  closed.AddKey(kManagerKey);
  closed.Writable = false;
  Machine.Services.StartWorks = false;
  for (test::FakeRegistry* registry : {&withoutKey, &closed}) {
    Prompt.Clear();
    ConfigForm form({.Registry = *registry,
                     .Services = Machine.Services,
                     .Clock = Machine.Clock,
                     .Prompt = Prompt,
                     .Busy = Busy});
    EXPECT_TRUE(form.Ok(form.Loaded()));
    EXPECT_THAT(Messages(), ElementsAre("Could not set acknowledgement frequency.",
                                        "Could not set purge frequency.", "Could not set maximum view limit.",
                                        "Failed to restart 'KVReceiver' service. Please restart manually."));
    EXPECT_THAT(registry->WrittenNames, IsEmpty());
  }
  EXPECT_THAT(Machine.Clock.Sleeps, ElementsAre(2000, 2000)) << "the restart was tried each time";
}

}  // namespace
}  // namespace korvane::config
