// Real SNMP traffic from net-snmp's senders through the receiver and the store to what the windows show.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "HeadlessConsole.h"
#include "receiver/Running.h"
#include "support/TestStore.h"

namespace korvane {
namespace {

using std::chrono::milliseconds;

class TrapsReachTheWindows : public testing::Test {
 protected:
  TrapsReachTheWindows() {
    test::RunProgram({KORVANE_SOURCE_DIR "/install/load-trap-names", "sqlite", store_.MainFile()});
  }

  // Ticks until the window holds as many rows.
  static bool Shows(test::HeadlessConsole& console, std::size_t rows,
                    milliseconds deadline = milliseconds(60'000)) {
    return test::WaitUntil(
        [&] {
          console.Tick();
          return console.AllTraps().Rows().Count() >= rows;
        },
        deadline);
  }

  std::vector<std::int32_t> StoredNumbers() {
    std::vector<std::int32_t> numbers;
    store::Recordset rows =
        store_.Db().OpenRecordset("SELECT SequenceNumber FROM EventTrap ORDER BY SequenceNumber");
    while (rows.Next()) {
      numbers.push_back(rows.Integer("SequenceNumber"));
    }
    return numbers;
  }

  // Sends the sample traps and informs of all three versions; how many there were.
  static std::size_t SendSamples(const std::string& address) {
    const std::string command =
        std::string(KORVANE_SOURCE_DIR "/install/send-sample-traps ") + address + " 2>/dev/null";
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::size_t sent = 0;
    const int read = std::fscanf(pipe, "%zu", &sent);
    return pclose(pipe) == 0 && read == 1 ? sent : 0;
  }

  test::SqliteStore store_;
  receiver::RunningReceiver receiver_{"createUser operator SHA operator-secret AES operator-private\n"};
};

TEST_F(TrapsReachTheWindows, OfAllThreeVersionsNamedCountedAndOnce) {
  const test::StoredCriterion linkDown{.GenericTrap = 2, .Severity = 3};
  store_.AddCategory("Links", std::vector{linkDown});
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  test::HeadlessConsole console(store_);
  traps::TrapsModel& links = console.OpenWindow({.WindowName = "Links", .Category = "Links"});

  const std::size_t sent = SendSamples(receiver_.Address());
  ASSERT_GE(sent, 20U) << receiver_.Log();
  ASSERT_TRUE(Shows(console, sent)) << console.AllTraps().Rows().Count() << " of " << sent << receiver_.Log();

  EXPECT_EQ(test::HeadlessConsole::NumbersOf(console.AllTraps()), StoredNumbers());
  EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(sent));
  std::size_t linksSeen = 0;
  std::vector<std::string> names;
  const traplist::TrapRows& rows = console.AllTraps().Rows();
  for (std::uint32_t row = 0; row < rows.Count(); ++row) {
    const std::string name(rows.TrapNameAt(row));
    names.push_back(name);
    EXPECT_EQ(rows.SeverityAt(row), name == "linkDown" ? 3 : 0) << name;
    linksSeen += name == "linkDown" ? 1 : 0;
  }
  EXPECT_EQ(links.Rows().Count(), linksSeen);
  for (const char* expected : {"coldStart", "linkDown", "egpNeighborLoss", "upsTrapOnBattery",
                               "bgpBackwardTransition", "ospfNbrStateChange", "1.3.6.1.4.1.99999.7.0.42"}) {
    EXPECT_NE(std::ranges::find(names, expected), names.end()) << expected;
  }
}

// The store goes away while traps keep coming, and comes back: everything is shown, nothing twice.
TEST_F(TrapsReachTheWindows, ThroughAStoreThatVanishesAndReturns) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  test::HeadlessConsole console(store_);
  constexpr std::size_t kTraps = 1200;
  std::atomic<std::size_t> sent = 0;
  std::jthread sender([&](const std::stop_token& stop) {
    receiver::PacketSender packets(receiver_.Port());
    for (; sent < kTraps && !stop.stop_requested(); ++sent) {
      packets.Send(receiver::V2Trap("trap number " + std::to_string(sent)));
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  ASSERT_TRUE(Shows(console, 100));
  store_.TakeAway();
  ASSERT_TRUE(test::WaitUntil([&] {
    console.Tick();
    return sent >= kTraps * 3 / 4;
  }));
  store_.BringBack();
  ASSERT_TRUE(Shows(console, kTraps))
      << console.AllTraps().Rows().Count() << " of " << kTraps << receiver_.Log();
  EXPECT_GT(receiver_.Counters()["spooled"], 0U) << "the receiver never missed the store";
  EXPECT_EQ(console.AllTraps().Rows().Count(), kTraps);
  EXPECT_EQ(test::HeadlessConsole::NumbersOf(console.AllTraps()), StoredNumbers());
  EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(kTraps));
}

// Codes that nobody knows and times at the edge come with rows of other programs; none of them may be lost,
// or counted where the window has no column.
TEST_F(TrapsReachTheWindows, WithCodesAndTimesThatNobodyExpects) {
  store_.AddCategory("Odd", std::vector<test::StoredCriterion>{{.SpecificTrap = 9, .Severity = 9},
                                                               {.SpecificTrap = 10, .Severity = -1}});
  store_.AddTrap({.EventTime = 0, .GenericTrap = 7, .SpecificTrap = 9});
  store_.AddTrap({.EventTime = -1, .GenericTrap = -1, .SpecificTrap = 10});
  store_.AddTrap({.EventTime = 2147483646, .EnterpriseOid = "not an oid'", .GenericTrap = 2147483647});
  test::HeadlessConsole console(store_);
  store_.AddTrap(
      {.EventTime = 2147483647, .Source = "", .EnterpriseOid = "", .SpecificTrap = -2147483647 - 1});
  store_.AddTrap({.EventTime = 0, .GenericTrap = 7, .SpecificTrap = 9});
  ASSERT_TRUE(Shows(console, 5)) << console.AllTraps().Rows().Count();
  EXPECT_EQ(test::HeadlessConsole::NumbersOf(console.AllTraps()), StoredNumbers());
  EXPECT_EQ(console.CountedTraps(), 5);
  std::int64_t clear = 0;
  for (std::size_t row = 0; row < console.SystemsWindow().RowCount(); ++row) {
    clear += console.SystemsWindow().Row(row).Counts[0];
  }
  EXPECT_EQ(clear, 5) << "an unknown severity counts as Clear";
}

// Acknowledged in one window, gone from all, and still acknowledged for the next console.
TEST_F(TrapsReachTheWindows, AndLeaveThemOnceAcknowledged) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  receiver::PacketSender packets(receiver_.Port());
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(packets.Send(receiver::V2Trap("it's number " + std::to_string(i))));
  }
  test::HeadlessConsole console(store_);
  ASSERT_TRUE(Shows(console, 20));
  const traps::TrapsModel& other = console.OpenWindow({.WindowName = "Second", .VarBindsMatch = "IT'S"});
  ASSERT_EQ(other.Rows().Count(), 20U);
  console.AllTraps().AcknowledgeSelected(std::vector<std::uint32_t>{3, 4, 19});
  EXPECT_EQ(console.AllTraps().Rows().Count(), 17U);
  EXPECT_EQ(other.Rows().Count(), 17U);
  EXPECT_EQ(console.CountedTraps(), 17);
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 3);
  test::HeadlessConsole next(store_);
  EXPECT_TRUE(Shows(next, 17));
  EXPECT_EQ(next.AllTraps().Rows().Count(), 17U);
}

}  // namespace
}  // namespace korvane
