// What the tick of the receiver link calls, in which order, and what a failure does; the record it takes
// over, the systems it names, and the bounds of loads that it notes.
#include "intake/Intake.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

#include "intake/ReceivedTrapRecord.h"
#include "store/DatabaseError.h"
#include "support/World.h"

namespace korvane::intake {
namespace {

using namespace std::string_literals;

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
    More = List.size() == ListEndsAt;
    if (More) {
      ListEndsAt = std::string::npos;
      return 0;
    }
    Call("library", List.empty() ? "empty" : "get " + std::to_string(List.front().SequenceNumber));
    return FakeLibrary::GetEventFromList(trap) == 0 ? 0 : -5;  // anything but 0
  }
  std::string_view NotesOfTrap() const override { return "known beside the record"; }
  bool TrapIsNew() const override { return New; }
  bool MoreFollows() const override { return More; }
  void NoteDelivered(const store::IncomingTrap& trap) override { Delivered.push_back(trap.SequenceNumber); }
  void UpdateSystemCounts(const store::IncomingTrap& trap, Arrival arrival) override {
    EXPECT_EQ(arrival, New ? Arrival::Live : Arrival::Stored);
    Call("counts", "count " + std::to_string(trap.SequenceNumber));
    Counted = trap;
  }
  void RefreshStatus() override { Call("counts", "status"); }
  std::vector<TrapsWindow*> InCreationOrder() override { return Windows; }

  std::string Calls;
  bool New = true;
  bool More = false;
  std::size_t ListEndsAt = std::string::npos;  // the list has so many more, but says that it is empty
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
  void StoreReplaced() override {}

 private:
  std::string name_;
  Partners& partners_;
};

class IntakeTest : public testing::Test, public test::World {
 protected:
  IntakeTest() {
    Store.AddSystem("Router One", "192.0.2.1");
    SystemList.LoadSystems(Connection);
  }

  static ReceivedTrap Trap(std::int32_t number, std::int32_t time = 100) {
    return {"192.0.2.1", "1.3.6.1.4.1.9", 1, "abc", "def", number, "d", 6, time, time};
  }
  std::string Tick(std::deque<ReceivedTrap> traps = {}) {
    std::ranges::copy(traps, std::back_inserter(partners_.List));
    partners_.Calls.clear();
    intake_.CheckTraps();
    return partners_.Calls;
  }

  Partners partners_;
  NotingWindow a_{"A", partners_};
  NotingWindow b_{"B", partners_};
  intake::Intake intake_{partners_,      Names, SystemList, partners_, partners_,
                         ChangesOfStore, State, Prompt,     DebugLog};
};

TEST_F(IntakeTest, ATickDrainsTheListAndThenRefreshesInCreationOrder) {
  intake_.StartIntake(77);
  EXPECT_TRUE(Prompt.Messages().empty());
  EXPECT_EQ(partners_.StartedAt, 77);
  partners_.StartAnswer = 2001;
  intake_.StartIntake(77);
  EXPECT_TRUE(Prompt.LastMessage().starts_with("Could not start thread to receive new traps. "));
  partners_.Windows = {&b_, &a_};
  Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  EXPECT_EQ(
      Tick({Trap(1), Trap(2)}),
      "get 1, count 1, B 1 fanFailed dabcdef, A 1 fanFailed dabcdef, "
      "get 2, count 2, B 2 fanFailed dabcdef, A 2 fanFailed dabcdef, empty, status, B status, A status");

  partners_.Windows = {&a_};
  Filters.Assign({params::TrapFilter{.SourceAgent = "ROUTER one"}});
  Names.ClearCache();
  EXPECT_EQ(Tick({Trap(3, 500)}), "get 3, empty, status, A status");
  EXPECT_EQ(partners_.Delivered, (std::vector<std::int32_t>{1, 2, 3})) << "its filter may go later";
  EXPECT_EQ(State.gLastTrapTime, 500);
  partners_.New = false;  // it was there at the start
  Tick({Trap(4)});
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);
  partners_.New = true;

  // A list that goes on is shown before the rest of it is taken, which is no tick.
  partners_.ListEndsAt = 1;
  EXPECT_EQ(Tick({Trap(5), Trap(6)}), "get 5, status, A status");
  EXPECT_EQ(intake_.Counters().Ticks, 4);
  EXPECT_FALSE(intake_.TakeMore());
  EXPECT_EQ(partners_.Delivered.back(), 6);
  EXPECT_EQ(intake_.Counters().Ticks, 4);

  // A late trap does not move the mark back, and the mark follows the time key alone.
  ReceivedTrap keyed = Trap(5, 600);
  keyed.EventTime = 1;
  Tick({Trap(4, 200), keyed, Trap(6, 550)});
  EXPECT_EQ(State.gLastTrapTime, 600);

  // Texts are cut at their first NUL before they are joined.
  Filters.Assign({});
  Names.ClearCache();
  ReceivedTrap trap = Trap(9);
  for (std::string* text : {&trap.Source, &trap.EnterpriseOid, &trap.EventDescription, &trap.VarBindsFirst,
                            &trap.VarBindsSecond}) {
    *text += std::string("\0junk", 5);
  }
  Tick({trap});
  const store::IncomingTrap& counted = partners_.Counted;
  EXPECT_EQ(fmt::format("{}|{}|{}|{}|{}|{}|{}", counted.Source, counted.SystemName, counted.SystemAddress,
                        counted.EnterpriseOid, counted.EventDescription(), counted.Event_ExtDescr(),
                        counted.EventNotes),
            "192.0.2.1|Router One|192.0.2.1|1.3.6.1.4.1.9|d|abcdef|known beside the record");
}

TEST_F(IntakeTest, ATrapWhoseLookupFailsIsTriedAgainAndThenAdmittedWithoutADefinition) {
  Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "Acme");
  Categories.Assign({{"All", {params::CategoryCriterion{.Severity = 5}}}});
  partners_.Windows = {&a_};
  Store.Execute("ALTER TABLE EventStructure RENAME TO Elsewhere");
  EXPECT_EQ(Tick({Trap(1), Trap(2), Trap(3)}), "get 1, status, A status");  // the tick stops where it is
  EXPECT_EQ(intake_.Counters().PeriodTraps, 0);
  EXPECT_EQ(Tick(), "count 1, A 1 1.3.6.1.4.1.9.0.1 dabcdef, get 2, status, A status");
  EXPECT_EQ(partners_.Counted.Severity, 5);  // rules need no query
  Store.Execute("ALTER TABLE Elsewhere RENAME TO EventStructure");
  EXPECT_EQ(Tick(),
            "count 2, A 2 fanFailed dabcdef, get 3, count 3, A 3 fanFailed dabcdef, empty, status, "
            "A status");
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);
}

TEST_F(IntakeTest, AFailingPartnerCostsNobodyElseATrapAndDoublesNone) {
  partners_.Windows = {&a_, &b_};
  const std::string shown = " 1.3.6.1.4.1.9.0.1 dabcdef";
  const std::string shows = ", status, A status, B status";
  const std::string end = ", empty" + shows;
  partners_.Failures["B"] = 1;
  EXPECT_EQ(Tick({Trap(1)}), "get 1, count 1, A 1" + shown + shows) << "what it has admitted";
  EXPECT_EQ(Tick(), "B 1" + shown + end);

  partners_.Failures = {{"A", 2}, {"counts", 3}};  // and one that keeps failing
  EXPECT_EQ(Tick({Trap(2), Trap(3)}), "get 2, B status");
  EXPECT_EQ(Tick(), "B 2" + shown + ", get 3, count 3, A 3" + shown + ", B 3" + shown + end);
  EXPECT_EQ(intake_.Counters().PeriodTraps, 3);

  partners_.Windows.clear();
  partners_.Failures["library"] = 1;
  EXPECT_EQ(Tick({Trap(4)}), "status");
  EXPECT_EQ(Tick(), "get 4, count 4, empty, status");
  State.gShuttingDown = true;
  EXPECT_EQ(Tick({Trap(5)}), "");
}

using Addresses = std::multiset<std::uint32_t>;

class TestMemory : public StringMemory {
 public:
  std::string Read(std::uint32_t address) override { return Strings.at(address); }
  std::uint32_t Make(std::string_view bytes) override {
    Strings[++Made] = bytes;
    return Made;
  }
  void Release(std::uint32_t address) noexcept override { Released.insert(address); }
  // Of the ten fields of a record, each of four bytes, the lowest first.
  ReceivedTrap Decode(const std::array<std::uint32_t, kReceivedTrapBytes / 4>& fields) {
    std::array<std::byte, kReceivedTrapBytes> record{};
    for (std::size_t i = 0; i < record.size(); ++i) {
      record[i] = static_cast<std::byte>(fields[i / 4] >> (i % 4 * 8));
    }
    return DecodeReceivedTrap(record, *this);
  }

  Addresses Released;
  std::uint32_t Made = 0x20;
  std::map<std::uint32_t, std::string> Strings = {
      {0x01020304, "src"}, {0x80000005, "1.3.6"}, {0x0c, "first"}, {0xffffffff, ""}, {0x18, "d\x80\x81\xe9"}};
};

TEST(ReceivedTrapRecordTest, EveryFieldLiesWhereItBelongsAndEveryStringIsReleasedOnce) {
  const std::array<std::uint32_t, 10> record = {0x01020304,  0x80000005, 0xfffffffe, 0x0c,       0xffffffff,
                                                123'456'789, 0x18,       6,          0x7fffffff, 0x80000000};
  TestMemory memory;
  const ReceivedTrap trap = memory.Decode(record);
  EXPECT_EQ(fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", trap.Source, trap.EnterpriseOid, trap.SpecificTrap,
                        trap.VarBindsFirst, trap.VarBindsSecond, trap.SequenceNumber, trap.EventDescription,
                        trap.GenericTrap, trap.EventTime, trap.TimeKey),
            "src|1.3.6|-2|first||123456789|d\u20AC\u0081\u00E9|6|2147483647|-2147483648");
  EXPECT_EQ(memory.Decode({}).Source, "") << "null addresses are empty texts";
  // What the library is handed before it fills the record, for it to replace.
  TestMemory handed;
  std::array<std::byte, kReceivedTrapBytes> bytes{};
  EncodeReceivedTrap(trap, bytes, handed, [](std::string_view) { return "ansi"s; });
  const ReceivedTrap back = DecodeReceivedTrap(bytes, handed);
  EXPECT_EQ(
      back.Source + back.EnterpriseOid + back.VarBindsFirst + back.VarBindsSecond + back.EventDescription,
      "ansiansiansiansi");
  EXPECT_TRUE(back.SpecificTrap == -2 && back.SequenceNumber == trap.SequenceNumber &&
              back.GenericTrap == 6 && back.EventTime == trap.EventTime && back.TimeKey == trap.TimeKey);
  EXPECT_EQ(handed.Released, (Addresses{0x21, 0x22, 0x23, 0x24})) << "an empty text has no string";
  memory.Strings.erase(0x0c);
  EXPECT_THROW(memory.Decode(record), std::out_of_range);
  EXPECT_EQ(memory.Released, (Addresses{0x01020304, 0x01020304, 0x80000005, 0x80000005, 0x0c, 0x0c,
                                        0xffffffff, 0xffffffff, 0x18, 0x18}));
}

class SystemsTest : public testing::Test, public test::World {
 protected:
  // A trap's system as "name, address".
  std::string Named(std::string_view source) {
    store::IncomingTrap trap;
    trap.Source = source;
    SystemList.NameSystem(trap);
    return std::string(trap.SystemName) + ", " + std::string(trap.SystemAddress);
  }
};

TEST_F(SystemsTest, ASystemIsOneUnderItsNameItsAddressesAndEveryLetterCase) {
  Store.AddSystem("Router1", "10.0.0.1", "Switch");
  Store.AddSystem("router1", "10.0.0.2", "Switch");
  Store.AddSystem("Émile", "", "Manual");
  SystemList.LoadSystems(Connection);
  ASSERT_EQ(SystemList.Count(), 2U);
  const std::vector<std::string> sources = {"Router1", "ROUTER1", "10.0.0.1", "10.0.0.2"};
  for (const std::string& text : sources) {
    EXPECT_EQ(SystemList.SystemOfSource(text), 0U) << text;
  }
  EXPECT_EQ(SystemList.At(0).Sources, sources);
  EXPECT_EQ(SystemList.SystemOfSource("éMILE"), 1U);

  // Naming a trap adds nothing, counting it adds its system, and a resolved name is given to one.
  EXPECT_EQ(Named("192.0.2.7"), "192.0.2.7, 192.0.2.7");
  EXPECT_EQ(SystemList.Count(), 2U);
  const std::size_t printer = SystemList.SystemOfSource("printer");
  const std::size_t edge = SystemList.SystemOfSource("2001:db8::7");
  SystemList.Rename(edge, std::string_view("edge7\0tail", 10));
  EXPECT_EQ(Named("2001:db8::7"), "edge7, 2001:db8::7");
  EXPECT_EQ(SystemList.SystemOfSource("2001:db8::7"), edge);
  EXPECT_EQ(SystemList.SystemOfSource("EDGE7"), edge);
  SystemList.Rename(printer, "Edge7");
  EXPECT_EQ(SystemList.At(printer).Name, "printer");
  EXPECT_EQ(SystemList.Count(), 4U);

  Store.AddSystem("core", "10.0.0.3");
  Store.Execute("DROP TABLE Module_Table");
  EXPECT_FALSE(SystemList.LoadSystems(Connection));
  EXPECT_EQ(SystemList.Count(), 4U) << "a read that fails leaves the list as it was";
}

TEST_F(SystemsTest, WritesBackWhatIsNewOrChangedAndDeletesNothing) {
  Store.AddSystem("core", "10.0.0.1", "Switch");
  Store.AddSystem("10.0.0.2", "10.0.0.2", "Manual");
  Store.AddSystem("10.0.0.3", "10.0.0.3", "Switch");
  Store.AddSystem("10.0.0.4", "10.0.0.4", "Manual");
  Store.Execute("INSERT INTO Module_Table (System_Name, Module_ID) VALUES ('10.0.0.4', 1)");
  Store.Execute(
      "INSERT INTO System_Table (System_Name, IP_Address, System_Type) VALUES ('o''brien', '', 'Manual')");
  SystemList.LoadSystems(Connection);
  for (const auto& [address, name] :
       {std::pair("10.0.0.2", "two"), {"10.0.0.3", "three"}, {"10.0.0.4", "4"}}) {
    SystemList.Rename(SystemList.FindSystem(address), name);
  }
  SystemList.SetAddress(SystemList.FindSystem("O'Brien"), "10.0.0.5");
  for (const char* source : {"it's new", "", "added elsewhere", "after"}) {
    SystemList.SystemOfSource(source);
  }
  Store.AddSystem("Added Elsewhere", "10.9.9.9", "Switch");
  // No statement can address the row of that name, which does not lose the others.
  for (int time = 0; time < 2; ++time) {
    EXPECT_THROW(SystemList.SaveSystems(Connection), store::DatabaseError);
  }
  EXPECT_FALSE(Connection.InTransaction());
  std::string rows;
  auto stored = Store.Db().OpenRecordset("SELECT * FROM System_Table ORDER BY System_Name");
  while (stored.Next()) {
    rows += stored.Text("System_Name") + " " + stored.Text("IP_Address") + " " + stored.Text("System_Type") +
            ", ";
  }
  // What is another product's, or has modules, is known to others by its name.
  EXPECT_EQ(rows,
            "10.0.0.3 10.0.0.3 Switch, 10.0.0.4 10.0.0.4 Manual, Added Elsewhere 10.9.9.9 Switch, "
            "after  Manual, core 10.0.0.1 Switch, it's new  Manual, o'brien  Manual, two 10.0.0.2 Manual, ");
}

TEST(SequenceSetTest, AgreesWithAPlainSet) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::int32_t> numbers(-1500, 1500);
  std::set<std::int32_t> plain;
  SequenceSet set;
  for (int i = 0; i < 5000; ++i) {
    const std::int32_t number = numbers(random);
    ASSERT_EQ(set.Insert(number), plain.insert(number).second);
  }
  for (std::int32_t number = -1600; number <= 1600; ++number) {
    ASSERT_EQ(set.Contains(number), plain.contains(number)) << number;
  }
}

}  // namespace
}  // namespace korvane::intake
