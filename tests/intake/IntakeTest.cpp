// What the tick of the receiver link calls, in which order, and what a failure does; the record it takes
// over, the systems it names, and the bounds of loads that it notes.
#include "intake/Intake.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

#include "intake/ReceivedTrapRecord.h"
#include "store/DatabaseError.h"
#include "support/Processes.h"
#include "support/World.h"

namespace korvane::intake {
namespace {

// Everybody whom the link calls, windows excepted, in one: notes each call, and fails as often as it is told.
class Partners : public test::FakeLibrary, public SystemCounts, public TrapsWindows {
 public:
  void Call(const std::string& partner, const std::string& what) {
    if (int& left = Failures[partner]; left > 0) {
      --left;
      throw std::runtime_error(partner + " failed");
    }
    Calls += (Calls.empty() ? "" : ", ") + what;
  }
  std::int32_t GetEventFromList(ReceivedTrap& trap) override {
    Call("library", List.empty() ? "empty" : "get " + std::to_string(List.front().SequenceNumber));
    return FakeLibrary::GetEventFromList(trap) == 0 ? 0 : -5;  // anything but 0
  }
  std::string_view NotesOfTrap() const override { return "known beside the record"; }
  void NoteDelivered(const store::IncomingTrap& trap) override { Delivered.push_back(trap.SequenceNumber); }
  void UpdateSystemCounts(const store::IncomingTrap& trap) override {
    Call("counts", "count " + std::to_string(trap.SequenceNumber));
    Counted = trap;
  }
  void RefreshStatus() override { Call("counts", "status"); }
  std::vector<TrapsWindow*> InCreationOrder() override { return Windows; }

  std::string Calls;
  std::map<std::string, int> Failures;
  std::vector<std::int32_t> Delivered;
  store::IncomingTrap Counted;  // its texts live in the intake until the next one
  std::vector<TrapsWindow*> Windows;
};

class NotingWindow : public TrapsWindow {
 public:
  NotingWindow(std::string name, Partners& partners) : name_(std::move(name)), partners_(partners) {}
  void PublicAddTraps(const store::IncomingTrap& trap) override {
    partners_.Call(name_,
                   fmt::format("{} {} {} {}", name_, trap.SequenceNumber, trap.TrapName(), trap.VarBinds));
  }
  void UpdateStatusBar() override { partners_.Call(name_, name_ + " status"); }

 private:
  std::string name_;
  Partners& partners_;
};

class IntakeTest : public testing::Test {
 protected:
  IntakeTest() {
    world_.Store.AddSystem("Router One", "192.0.2.1");
    world_.SystemList.LoadSystems(world_.Connection);
    world_.State.gDebugMode = true;
    std::filesystem::current_path(world_.InstallFolder.Path());  // where the log goes
  }
  ~IntakeTest() override { std::filesystem::current_path(home_); }

  static ReceivedTrap Trap(std::int32_t number, std::int32_t time = 100) {
    return {"192.0.2.1", "1.3.6.1.4.1.9", 1, "abc", "def", number, "d", 6, time, time};
  }
  std::string Tick(std::deque<ReceivedTrap> traps = {}) {
    std::ranges::copy(traps, std::back_inserter(partners_.List));
    partners_.Calls.clear();
    intake_.CheckTraps();
    return partners_.Calls;
  }
  static std::string LogText() { return test::ReadFile("KVConsole.Log"); }

  const std::filesystem::path home_ = std::filesystem::current_path();
  test::World world_;
  Partners partners_;
  NotingWindow a_{"A", partners_};
  NotingWindow b_{"B", partners_};
  Intake intake_{partners_, world_.Names, world_.SystemList, partners_,
                 partners_, world_.State, world_.Prompt,     world_.DebugLog};
};

TEST_F(IntakeTest, AnythingButTwoThousandIsAFailureThatIsShownOnce) {
  intake_.StartIntake(77);
  EXPECT_TRUE(world_.Prompt.Messages().empty());
  EXPECT_EQ(partners_.StartedAt, 77);
  EXPECT_EQ(world_.State.gLastTrapTime, 77);
  for (const std::int32_t answer : {0, 1, -1, 2001}) {
    world_.Prompt.Clear();
    partners_.StartAnswer = answer;
    intake_.StartIntake(77);
    EXPECT_EQ(world_.Prompt.Messages(),
              (std::vector<test::ScriptedPrompts::Shown>{
                  {"Could not start thread to receive new traps. You may not be able to view new incoming "
                   "traps. If the problem persists, please contact support at " +
                       SupportContact(),
                   PromptIcon::Critical}}));
  }
  EXPECT_EQ(Tick(), "empty, status");
}

TEST_F(IntakeTest, ATickDrainsTheListAndThenRefreshesInCreationOrder) {
  partners_.Windows = {&b_, &a_};
  world_.Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  EXPECT_EQ(
      Tick({Trap(1), Trap(2)}),
      "get 1, count 1, B 1 fanFailed dabcdef, A 1 fanFailed dabcdef, "
      "get 2, count 2, B 2 fanFailed dabcdef, A 2 fanFailed dabcdef, empty, status, B status, A status");
  EXPECT_EQ(Tick(), "empty, status, B status, A status");

  partners_.Windows = {&a_};
  world_.Filters.Assign({params::TrapFilter{.SourceAgent = "ROUTER one"}});
  world_.Names.ClearCache();
  EXPECT_EQ(Tick({Trap(3, 500)}), "get 3, empty, status, A status");
  EXPECT_EQ(partners_.Delivered, (std::vector<std::int32_t>{1, 2, 3})) << "its filter may go later";
  EXPECT_EQ(world_.State.gLastTrapTime, 500);
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);

  // A late trap does not move the mark back, and the mark follows the time key alone.
  ReceivedTrap keyed = Trap(5, 600);
  keyed.EventTime = 1;
  Tick({Trap(4, 200), keyed, Trap(6, 550)});
  EXPECT_EQ(world_.State.gLastTrapTime, 600);
}

TEST_F(IntakeTest, TextsAreCutAtTheirFirstNulBeforeTheyAreJoined) {
  ReceivedTrap trap = Trap(9);
  for (std::string* text : {&trap.Source, &trap.EnterpriseOid, &trap.EventDescription, &trap.VarBindsFirst,
                            &trap.VarBindsSecond}) {
    *text += std::string("\0junk", 5);
  }
  Tick({trap});
  EXPECT_EQ(partners_.Counted.Source, "192.0.2.1");
  EXPECT_EQ(partners_.Counted.SystemName, "Router One");
  EXPECT_EQ(partners_.Counted.SystemAddress, "192.0.2.1");
  EXPECT_EQ(partners_.Counted.EnterpriseOid, "1.3.6.1.4.1.9");
  EXPECT_EQ(partners_.Counted.EventDescription(), "d");
  EXPECT_EQ(partners_.Counted.Event_ExtDescr(), "abcdef");
  EXPECT_EQ(partners_.Counted.EventNotes, "known beside the record");
}

TEST_F(IntakeTest, ATrapWhoseLookupFailsIsTriedAgainAndThenAdmittedWithoutADefinition) {
  world_.Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  world_.Categories.Assign({{"All", {params::CategoryCriterion{.Severity = 5}}}});
  partners_.Windows = {&a_};
  world_.Store.Execute("ALTER TABLE EventStructure RENAME TO Elsewhere");
  EXPECT_EQ(Tick({Trap(1), Trap(2), Trap(3)}), "get 1");  // the tick stops where it is
  EXPECT_NE(LogText().find("EventStructure"), std::string::npos) << LogText();
  EXPECT_EQ(intake_.Counters().PeriodTraps, 0);
  EXPECT_EQ(Tick(), "count 1, A 1 1.3.6.1.4.1.9.0.1 dabcdef, get 2");
  EXPECT_EQ(partners_.Counted.Severity, 5);  // rules need no query
  world_.Store.Execute("ALTER TABLE Elsewhere RENAME TO EventStructure");
  EXPECT_EQ(Tick(),
            "count 2, A 2 fanFailed dabcdef, get 3, count 3, A 3 fanFailed dabcdef, empty, status, "
            "A status");
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);
}

TEST_F(IntakeTest, AFailingWindowCostsNobodyElseATrapAndDoublesNone) {
  partners_.Windows = {&a_, &b_};
  const std::string shown = " 1.3.6.1.4.1.9.0.1 dabcdef";
  const std::string end = ", empty, status, A status, B status";
  partners_.Failures["B"] = 1;
  EXPECT_EQ(Tick({Trap(1)}), "get 1, count 1, A 1" + shown);
  EXPECT_EQ(Tick(), "B 1" + shown + end);

  partners_.Failures = {{"A", 1}, {"counts", 2}};  // and one that keeps failing
  EXPECT_EQ(Tick({Trap(2), Trap(3)}), "get 2");
  EXPECT_EQ(Tick(), "B 2" + shown + ", get 3, count 3, A 3" + shown + ", B 3" + shown + end);
  EXPECT_NE(LogText().find("A failed"), std::string::npos);
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);
}

TEST_F(IntakeTest, AFailingLibraryEndsTheTickOnlyAndShutdownEndsThemAll) {
  partners_.Failures["library"] = 1;
  EXPECT_EQ(Tick({Trap(1)}), "");
  EXPECT_EQ(Tick(), "get 1, count 1, empty, status");
  world_.State.gShuttingDown = true;
  EXPECT_EQ(Tick({Trap(2)}), "");
}

using Releases = std::map<std::uint32_t, int>;

class TestMemory : public StringMemory {
 public:
  std::string Read(std::uint32_t address) override { return Strings.at(address); }
  void Release(std::uint32_t address) noexcept override { ++Released[address]; }
  // Of the ten fields of a record, each of four bytes, the lowest first.
  ReceivedTrap Decode(const std::array<std::uint32_t, kReceivedTrapBytes / 4>& fields) {
    std::array<std::byte, kReceivedTrapBytes> record{};
    for (std::size_t i = 0; i < record.size(); ++i) {
      record[i] = static_cast<std::byte>(fields[i / 4] >> (i % 4 * 8));
    }
    return DecodeReceivedTrap(record, *this);
  }

  Releases Released;
  std::map<std::uint32_t, std::string> Strings = {{0x01020304, "src"},
                                                  {0x80000005, "1.3.6"},
                                                  {0x0c, std::string("first\0pad", 9)},
                                                  {0xffffffff, ""},
                                                  {0x18, "d\x80\xe9"}};
};

TEST(ReceivedTrapRecordTest, EveryFieldLiesWhereItBelongsAndEveryStringIsReleasedOnce) {
  const std::array<std::uint32_t, 10> record = {0x01020304,  0x80000005, 0xfffffffe, 0x0c,       0xffffffff,
                                                123'456'789, 0x18,       6,          0x7fffffff, 0x80000000};
  const Releases all = {{0x01020304, 1}, {0x80000005, 1}, {0x0c, 1}, {0xffffffff, 1}, {0x18, 1}};
  TestMemory memory;
  const ReceivedTrap trap = memory.Decode(record);
  EXPECT_EQ(trap.Source, "src");
  EXPECT_EQ(trap.EnterpriseOid, "1.3.6");
  EXPECT_EQ(trap.SpecificTrap, -2);
  EXPECT_EQ(trap.VarBindsFirst, std::string("first\0pad", 9));  // cut later, as every delivered text
  EXPECT_EQ(trap.VarBindsSecond, "");
  EXPECT_EQ(trap.SequenceNumber, 123'456'789);
  EXPECT_EQ(trap.EventDescription, "d\xe2\x82\xac\xc3\xa9");
  EXPECT_EQ(trap.GenericTrap, 6);
  EXPECT_EQ(trap.EventTime, std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(trap.TimeKey, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(memory.Released, all);

  TestMemory broken;
  broken.Strings.erase(0x0c);  // can't be read
  EXPECT_THROW(broken.Decode(record), std::out_of_range);
  EXPECT_EQ(broken.Released, all);

  TestMemory unused;  // null addresses are empty texts
  EXPECT_EQ(unused.Decode({}).Source + unused.Decode({}).EventDescription, "");
  EXPECT_EQ(unused.Released, Releases());
}

TEST(ReceivedTrapRecordTest, Windows1252) {
  EXPECT_EQ(Windows1252ToUtf8(std::string_view("A\0\x7f", 3)), std::string_view("A\0\x7f", 3));
  EXPECT_EQ(Windows1252ToUtf8("\x80\x85\x93\x94\x99\x9f"), "\u20AC\u2026\u201C\u201D\u2122\u0178");
  EXPECT_EQ(Windows1252ToUtf8("\x81\x8d\x8f\x90\x9d"), "\xc2\x81\xc2\x8d\xc2\x8f\xc2\x90\xc2\x9d");
  EXPECT_EQ(Windows1252ToUtf8("\xa0\xc4\xff"), "\u00A0\u00C4\u00FF");
}

class SystemsTest : public testing::Test {
 protected:
  SystemsTest() { store_.Connect(connection_); }

  std::int32_t StoredRows(const std::string& condition) {
    return store_.Number("SELECT COUNT(*) FROM System_Table WHERE " + condition);
  }
  // A trap's system as "name, address".
  std::string Named(std::string_view source) {
    store::IncomingTrap trap;
    trap.Source = source;
    systems_.NameSystem(trap);
    return std::string(trap.SystemName) + ", " + std::string(trap.SystemAddress);
  }

  test::SqliteStore store_;
  store::Connection connection_;
  Systems systems_;
};

TEST_F(SystemsTest, ASystemIsOneUnderItsNameItsAddressesAndEveryLetterCase) {
  store_.AddSystem("Router1", "10.0.0.1", "Switch");
  store_.AddSystem("router1", "10.0.0.2", "Switch");
  store_.AddSystem("Émile", "", "Manual");
  store_.Execute("INSERT INTO Module_Table (System_Name, Module_ID) VALUES ('Router1', 7)");
  ASSERT_TRUE(systems_.LoadSystems(connection_));
  ASSERT_EQ(systems_.Count(), 2U);
  EXPECT_EQ(systems_.At(0).Type, "Switch");
  EXPECT_EQ(systems_.At(0).Modules, std::vector<std::string>{"7"});
  const std::vector<std::string> sources = {"Router1", "ROUTER1", "10.0.0.1", "10.0.0.2"};
  for (const std::string& text : sources) {
    EXPECT_EQ(systems_.SystemOfSource(text), 0U) << text;
    EXPECT_EQ(systems_.SystemOfSource(text), 0U) << text;
  }
  EXPECT_EQ(systems_.At(0).Sources, sources);
  EXPECT_EQ(systems_.SystemOfSource("éMILE"), 1U);
  EXPECT_EQ(systems_.FindSystem("router10"), Systems::kNone);

  store_.AddSystem("edge", "10.0.0.3");
  store_.Execute("DROP TABLE Module_Table");
  EXPECT_FALSE(systems_.LoadSystems(connection_));
  EXPECT_EQ(systems_.Count(), 2U) << "a read that fails leaves the list as it was";
  EXPECT_NE(systems_.FindSystem("router1"), Systems::kNone);
}

TEST_F(SystemsTest, NamingATrapAddsNothingCountingItAddsOneAndResolvingItDoublesNone) {
  EXPECT_EQ(Named("192.0.2.7"), "192.0.2.7, 192.0.2.7");
  EXPECT_EQ(systems_.Count(), 0U);
  const std::size_t printer = systems_.SystemOfSource("printer");
  const std::size_t edge = systems_.SystemOfSource("2001:db8::7");
  EXPECT_EQ(systems_.At(printer).Address, "");
  EXPECT_EQ(systems_.At(printer).Type, kManualSystemType);
  EXPECT_EQ(Named("PRINTER"), "printer, PRINTER");
  EXPECT_EQ(systems_.At(printer).Sources, std::vector<std::string>{"printer"});
  EXPECT_FALSE(systems_.IsKnownByAddressOnly(printer));
  EXPECT_TRUE(systems_.IsKnownByAddressOnly(edge));

  systems_.Rename(edge, std::string_view("edge7\0tail", 10));
  EXPECT_EQ(Named("2001:db8::7"), "edge7, 2001:db8::7");
  EXPECT_FALSE(systems_.IsKnownByAddressOnly(edge));
  EXPECT_EQ(systems_.SystemOfSource("2001:db8::7"), edge);
  EXPECT_EQ(systems_.SystemOfSource("EDGE7"), edge);
  systems_.Rename(printer, "Edge7");
  systems_.Rename(printer, "");
  EXPECT_EQ(systems_.At(printer).Name, "printer");
  EXPECT_EQ(systems_.Count(), 2U);
}

TEST_F(SystemsTest, WritesBackWhatIsNewOrChangedAndDeletesNothing) {
  store_.AddSystem("core", "10.0.0.1", "Switch");
  store_.AddSystem("10.0.0.2", "10.0.0.2", "Manual");
  store_.AddSystem("10.0.0.3", "10.0.0.3", "Switch");
  store_.AddSystem("10.0.0.4", "10.0.0.4", "Manual");
  store_.Execute("INSERT INTO Module_Table (System_Name, Module_ID) VALUES ('10.0.0.4', 1)");
  ASSERT_TRUE(systems_.LoadSystems(connection_));
  for (const auto& [address, name] :
       {std::pair("10.0.0.2", "two"), {"10.0.0.3", "three"}, {"10.0.0.4", "4"}}) {
    systems_.Rename(systems_.FindSystem(address), name);
  }
  for (const char* source : {"new", "", "added elsewhere"}) {
    systems_.SystemOfSource(source);
  }
  store_.AddSystem("Added Elsewhere", "10.9.9.9", "Switch");
  systems_.SaveSystems(connection_);
  systems_.SaveSystems(connection_);
  EXPECT_EQ(StoredRows("1 = 1"), 6);
  EXPECT_EQ(StoredRows("System_Name = 'core' AND IP_Address = '10.0.0.1' AND System_Type = 'Switch'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'two' AND IP_Address = '10.0.0.2' AND System_Type = 'Manual'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'new' AND IP_Address = '' AND System_Type = 'Manual'"), 1);
  EXPECT_EQ(StoredRows("System_Name IN ('10.0.0.3', '10.0.0.4')"), 2) << "known to others by these names";
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM Module_Table WHERE System_Name = '10.0.0.4'"), 1);
}

TEST_F(SystemsTest, OneRowThatCannotBeWrittenDoesNotLoseTheOthers) {
  store_.Execute(
      "INSERT INTO System_Table (System_Name, IP_Address, System_Type) VALUES ('o''brien', '', 'Manual')");
  ASSERT_TRUE(systems_.LoadSystems(connection_));
  systems_.SetAddress(systems_.FindSystem("O'Brien"), "10.0.0.1");
  systems_.SystemOfSource("it's new");
  systems_.SystemOfSource("after");
  // No statement can address the row of that name.
  EXPECT_THROW(systems_.SaveSystems(connection_), store::DatabaseError);
  EXPECT_FALSE(connection_.InTransaction());
  EXPECT_EQ(StoredRows("System_Name IN ('it''s new', 'after')"), 2);
  EXPECT_EQ(StoredRows("System_Name = 'o''brien' AND IP_Address = ''"), 1);
}

TEST(LoadBoundsTest, ALaterLoadFindsLateTrapsAndNoOtherAtOrBelowItsBound) {
  struct Row {
    ViewOption Option;
    std::int32_t Lower;  // of later loads
  };
  for (const Row& row : {Row{ViewOption::LoadRecentTraps, 900}, Row{ViewOption::ShowOnlyNewTraps, 999}}) {
    LoadBounds bounds{.Option = row.Option, .StartMark = 1000, .LowerBound = 900, .InitialLoad = false};
    EXPECT_EQ(RangeOfLoad(bounds, 1200).Lower, row.Lower);
    EXPECT_EQ(RangeOfLoad(bounds, 1200).Upper, 1201);
    NoteDelivered(bounds, row.Lower + 1, 1);
    EXPECT_TRUE(bounds.LateTraps.Empty());
    NoteDelivered(bounds, row.Lower, 2);
    NoteDelivered(bounds, 500, 3);
    const LoadRange range = RangeOfLoad(bounds, 1200);
    EXPECT_EQ(range.Lower, 499);
    EXPECT_TRUE(range.Wants(bounds, row.Lower, 2) && range.Wants(bounds, 500, 3));
    EXPECT_TRUE(range.Wants(bounds, row.Lower + 1, 4));
    EXPECT_FALSE(range.Wants(bounds, row.Lower, 5));
  }
}

TEST(SequenceSetTest, AgreesWithAPlainSet) {
  std::mt19937 random(7);
  std::set<std::int32_t> plain;
  SequenceSet set;
  for (int i = 0; i < 5000; ++i) {
    const auto number = static_cast<std::int32_t>(std::uniform_int_distribution<int>(-1500, 1500)(random));
    ASSERT_EQ(set.Insert(number), plain.insert(number).second);
  }
  std::vector<std::int32_t> shuffled(plain.begin(), plain.end());
  std::ranges::shuffle(shuffled, random);
  SequenceSet assigned;
  assigned.Assign(shuffled);
  for (std::int32_t number = -1600; number <= 1600; ++number) {
    ASSERT_EQ(set.Contains(number), plain.contains(number)) << number;
    ASSERT_EQ(assigned.Contains(number), plain.contains(number)) << number;
  }
  EXPECT_EQ(set.Runs(), assigned.Runs());
  for (const std::int32_t edge :
       {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_TRUE(set.Insert(edge));
    EXPECT_TRUE(set.Contains(edge));
    EXPECT_FALSE(set.Insert(edge));
  }
}

}  // namespace
}  // namespace korvane::intake
