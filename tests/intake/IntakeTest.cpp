// The tick of the receiver link: what it calls, in which order, and what a failure does.
#include "intake/Intake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "params/DefinitionVerdicts.h"
#include "support/CallLog.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"

namespace korvane::intake {
namespace {

using test::CallLog;

class ScriptedLibrary : public ReceiverLibrary {
 public:
  explicit ScriptedLibrary(CallLog& calls) : calls_(calls) {}
  std::int32_t StartRecvEvents(std::int32_t mark) override {
    calls_.push_back("start " + std::to_string(mark));
    return StartAnswer;
  }
  std::int32_t GetEventFromList(ReceivedTrap& trap) override {
    if (FailNext) {
      FailNext = false;
      throw std::runtime_error("bad record");
    }
    calls_.push_back(Traps.empty() ? "empty" : "get " + std::to_string(Traps.front().SequenceNumber));
    if (Traps.empty()) return 0;
    trap = Traps.front();
    Traps.pop_front();
    return -5;  // anything but 0
  }
  std::int32_t StopRecvEvents() override { return kReceiverThreadOk; }
  bool KVResolveSystemName(const std::string&, std::string&) override { return false; }
  MailSettings GetDefaultMailSettings() override { return {}; }
  std::string_view NotesOfTrap() const override { return Notes; }

  std::deque<ReceivedTrap> Traps;
  std::string Notes;
  std::int32_t StartAnswer = kReceiverThreadOk;
  bool FailNext = false;

 private:
  CallLog& calls_;
};

// What a sink was given, as one line.
std::string Line(const store::IncomingTrap& trap) {
  std::string line = std::to_string(trap.SequenceNumber) + " " + std::string(trap.TrapName());
  return line + " [" + std::string(trap.VarBinds) + "]";
}

class RecordingCounts : public SystemCounts {
 public:
  explicit RecordingCounts(CallLog& calls) : calls_(calls) {}
  void NoteDelivered(const store::IncomingTrap& trap) override { Delivered.push_back(trap.SequenceNumber); }
  void UpdateSystemCounts(const store::IncomingTrap& trap) override {
    if (Failures > 0 && Failures-- > 0) throw std::runtime_error("counts failed");
    calls_.push_back("count " + std::to_string(trap.SequenceNumber));
    Last = trap;
  }
  void RefreshStatus() override { calls_.push_back("systems status"); }

  int Failures = 0;
  store::IncomingTrap Last;
  std::vector<std::int32_t> Delivered;

 private:
  CallLog& calls_;
};

class RecordingWindow : public TrapsWindow {
 public:
  RecordingWindow(std::string name, CallLog& calls) : name_(std::move(name)), calls_(calls) {}
  void PublicAddTraps(const store::IncomingTrap& trap) override {
    if (Failures > 0 && Failures-- > 0) throw std::runtime_error(name_ + " failed");
    calls_.push_back(name_ + " " + Line(trap));
  }
  void UpdateStatusBar() override { calls_.push_back(name_ + " status"); }

  int Failures = 0;

 private:
  std::string name_;
  CallLog& calls_;
};

class OpenWindows : public TrapsWindows {
 public:
  std::vector<TrapsWindow*> InCreationOrder() override { return Windows; }
  std::vector<TrapsWindow*> Windows;
};

class OneSystem : public SystemDirectory {
 public:
  void NameSystem(store::IncomingTrap& trap) override {
    trap.SystemName = "Router One";
    trap.SystemAddress = "192.0.2.1";
  }
};

class IntakeTest : public testing::Test {
 protected:
  IntakeTest() {
    store_.Connect(connection_);
    names_.UseVerdicts(verdicts_);
    state_.gDebugMode = true;
    home_ = std::filesystem::current_path();
    std::filesystem::current_path(test::DataSourceFolder());  // where the log goes
    std::filesystem::remove("KVConsole.Log");
  }
  ~IntakeTest() override { std::filesystem::current_path(home_); }

  static ReceivedTrap Trap(std::int32_t number, std::int32_t time = 100) {
    return {.Source = "router1",
            .EnterpriseOid = "1.3.6.1.4.1.9",
            .SpecificTrap = 1,
            .VarBindsFirst = "abc",
            .VarBindsSecond = "def",
            .SequenceNumber = number,
            .EventDescription = "d",
            .GenericTrap = 6,
            .EventTime = time,
            .TimeKey = time};
  }
  CallLog Tick() {
    calls_.clear();
    intake_.CheckTraps();
    return calls_;
  }
  static std::string LogText() {
    std::ifstream file("KVConsole.Log");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void LoseDefinitions() { store_.Execute("ALTER TABLE EventStructure RENAME TO Elsewhere"); }
  void BringDefinitionsBack() { store_.Execute("ALTER TABLE Elsewhere RENAME TO EventStructure"); }

  CallLog calls_;
  test::SqliteStore store_;
  store::Connection connection_;
  params::TrapFilters filters_;
  params::CategoryInformation categories_;
  params::DefinitionVerdicts verdicts_{filters_, categories_};
  store::TrapNames names_{connection_};
  ScriptedLibrary library_{calls_};
  OneSystem directory_;
  RecordingCounts counts_{calls_};
  RecordingWindow a_{"A", calls_};
  RecordingWindow b_{"B", calls_};
  OpenWindows windows_;
  ProcessState state_;
  test::ScriptedPrompts prompts_;
  Log log_{state_};
  Intake intake_{library_, names_, directory_, counts_, windows_, state_, prompts_, log_};
  std::filesystem::path home_;
};

TEST_F(IntakeTest, AnythingButTwoThousandIsAFailureThatIsShownOnce) {
  intake_.StartIntake(77);
  EXPECT_TRUE(prompts_.Messages().empty());
  EXPECT_EQ(calls_, CallLog{"start 77"});
  EXPECT_EQ(state_.gLastTrapTime, 77);
  for (const std::int32_t answer : {0, 1, -1, 2001}) {
    prompts_.Clear();
    library_.StartAnswer = answer;
    intake_.StartIntake(77);
    ASSERT_EQ(prompts_.Messages().size(), 1U);
    EXPECT_EQ(prompts_.LastMessage(),
              "Could not start thread to receive new traps. You may not be able to view new incoming traps. "
              "If the problem persists, please contact support at " +
                  SupportContact());
    EXPECT_EQ(prompts_.Messages().front().Icon, PromptIcon::Critical);
  }
  EXPECT_EQ(Tick(), (CallLog{"empty", "systems status"}));
}

TEST_F(IntakeTest, ATickDrainsTheListAndThenRefreshesInCreationOrder) {
  windows_.Windows = {&b_, &a_};
  store_.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  library_.Traps = {Trap(1), Trap(2)};
  EXPECT_EQ(Tick(), (CallLog{"get 1", "count 1", "B 1 fanFailed [dabcdef]", "A 1 fanFailed [dabcdef]",
                             "get 2", "count 2", "B 2 fanFailed [dabcdef]", "A 2 fanFailed [dabcdef]",
                             "empty", "systems status", "B status", "A status"}));
  EXPECT_EQ(Tick(), (CallLog{"empty", "systems status", "B status", "A status"}));
  windows_.Windows.clear();
  library_.Traps = {Trap(3)};
  library_.Notes = "known beside the record";
  EXPECT_EQ(Tick(), (CallLog{"get 3", "count 3", "empty", "systems status"}));
  EXPECT_EQ(counts_.Last.EventNotes, "known beside the record");
}

TEST_F(IntakeTest, AFilteredTrapCountsButReachesNoWindow) {
  windows_.Windows = {&a_};
  filters_.Assign({params::TrapFilter{.SourceAgent = "ROUTER one"}});
  library_.Traps = {Trap(1, 500)};
  EXPECT_EQ(Tick(), (CallLog{"get 1", "empty", "systems status", "A status"}));
  EXPECT_EQ(counts_.Delivered, std::vector<std::int32_t>{1}) << "its filter may go later";
  EXPECT_EQ(state_.gLastTrapTime, 500);
  EXPECT_EQ(intake_.Counters().TotalTraps, 1);
  EXPECT_EQ(intake_.Counters().PeriodTraps, 1);
}

TEST_F(IntakeTest, ALateTrapDoesNotMoveTheMarkBack) {
  intake_.StartIntake(300);
  library_.Traps = {Trap(1, 200), Trap(2, 400), Trap(3, 350)};
  library_.Traps[1].EventTime = 1;  // the mark follows the time key alone
  Tick();
  EXPECT_EQ(state_.gLastTrapTime, 400);
}

TEST_F(IntakeTest, TextsAreCutAtTheirFirstNulBeforeTheyAreJoined) {
  ReceivedTrap trap = Trap(9);
  const auto padded = [](std::string text) { return text + std::string("\0junk", 5); };
  trap.Source = padded("router1");
  trap.EnterpriseOid = padded("1.3.6.1.4.1.9");
  trap.EventDescription = padded("desc");
  trap.VarBindsFirst = padded("abc");
  trap.VarBindsSecond = padded("def");
  library_.Traps = {trap};
  Tick();
  // The views of the last trap live in the intake until the next one.
  EXPECT_EQ(counts_.Last.Source, "router1");
  EXPECT_EQ(counts_.Last.SystemName, "Router One");
  EXPECT_EQ(counts_.Last.SystemAddress, "192.0.2.1");
  EXPECT_EQ(counts_.Last.EnterpriseOid, "1.3.6.1.4.1.9");
  EXPECT_EQ(counts_.Last.EventDescription(), "desc");
  EXPECT_EQ(counts_.Last.Event_ExtDescr(), "abcdef");
  EXPECT_EQ(counts_.Last.EventNotes, "");
}

TEST_F(IntakeTest, ATrapWhoseLookupFailsIsTriedAgainAndAdmittedWhenTheStoreIsBack) {
  store_.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  windows_.Windows = {&a_};
  LoseDefinitions();
  library_.Traps = {Trap(1), Trap(2)};
  EXPECT_EQ(Tick(), (CallLog{"get 1"}));  // the tick stops where it is
  EXPECT_NE(LogText().find("EventStructure"), std::string::npos) << LogText();
  EXPECT_EQ(intake_.Counters().TotalTraps, 0);
  BringDefinitionsBack();
  EXPECT_EQ(Tick(), (CallLog{"count 1", "A 1 fanFailed [dabcdef]", "get 2", "count 2",
                             "A 2 fanFailed [dabcdef]", "empty", "systems status", "A status"}));
  EXPECT_EQ(intake_.Counters().TotalTraps, 2);
}

TEST_F(IntakeTest, WhenItFailsAgainItIsAdmittedWithoutADefinition) {
  categories_.Assign({{"All", {params::CategoryCriterion{.Severity = 5}}}});
  windows_.Windows = {&a_};
  LoseDefinitions();
  library_.Traps = {Trap(1), Trap(2)};
  Tick();
  EXPECT_EQ(Tick(), (CallLog{"count 1", "A 1 1.3.6.1.4.1.9.0.1 [dabcdef]", "get 2"}));
  EXPECT_EQ(counts_.Last.Severity, 5);  // rules need no query
  EXPECT_EQ(Tick(),
            (CallLog{"count 2", "A 2 1.3.6.1.4.1.9.0.1 [dabcdef]", "empty", "systems status", "A status"}));
  EXPECT_EQ(intake_.Counters().TotalTraps, 2);
}

TEST_F(IntakeTest, AFailingWindowCostsNobodyElseATrapAndDoublesNone) {
  windows_.Windows = {&a_, &b_};
  b_.Failures = 1;
  library_.Traps = {Trap(1)};
  const std::string shown = " 1 1.3.6.1.4.1.9.0.1 [dabcdef]";
  EXPECT_EQ(Tick(), (CallLog{"get 1", "count 1", "A" + shown}));
  EXPECT_EQ(Tick(), (CallLog{"B" + shown, "empty", "systems status", "A status", "B status"}));

  a_.Failures = 2;  // and one that keeps failing
  counts_.Failures = 2;
  library_.Traps = {Trap(2), Trap(3)};
  EXPECT_EQ(Tick(), (CallLog{"get 2"}));
  a_.Failures = 1;
  const CallLog calls = Tick();
  EXPECT_EQ(calls,
            (CallLog{"B 2 1.3.6.1.4.1.9.0.1 [dabcdef]", "get 3", "count 3", "A 3 1.3.6.1.4.1.9.0.1 [dabcdef]",
                     "B 3 1.3.6.1.4.1.9.0.1 [dabcdef]", "empty", "systems status", "A status", "B status"}));
  EXPECT_NE(LogText().find("A failed"), std::string::npos);
  EXPECT_EQ(intake_.Counters().TotalTraps, 3);
}

TEST_F(IntakeTest, AFailingLibraryEndsTheTickOnlyAndShutdownEndsThemAll) {
  library_.Traps = {Trap(1)};
  library_.FailNext = true;
  EXPECT_EQ(Tick(), CallLog{});
  EXPECT_EQ(Tick(), (CallLog{"get 1", "count 1", "empty", "systems status"}));
  state_.gShuttingDown = true;
  library_.Traps = {Trap(2)};
  EXPECT_EQ(Tick(), CallLog{});
}

}  // namespace
}  // namespace korvane::intake
