// Real SNMP traffic from net-snmp's senders through the receiver and the store to what the windows show.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "HeadlessConsole.h"
#include "receiver/Running.h"

namespace korvane {
namespace {

using std::chrono::milliseconds;
using test::HeadlessConsole;
using testing::Contains;

class TrapsReachTheWindowsTest : public testing::Test {
 protected:
  TrapsReachTheWindowsTest() {
    test::RunProgram({KORVANE_SOURCE_DIR "/install/load-trap-names", "sqlite", store_.MainFile()});
  }

  // The window has each stored trap once, the Systems window counts them all.
  void ExpectAllOfTheStore(HeadlessConsole& console) {
    std::vector<std::int32_t> stored;
    store::Recordset rows =
        store_.Db().OpenRecordset("SELECT SequenceNumber FROM EventTrap ORDER BY SequenceNumber");
    while (rows.Next()) {
      stored.push_back(rows.Integer("SequenceNumber"));
    }
    EXPECT_THAT(test::Numbers(console.AllTraps().Rows()), testing::WhenSorted(stored));
    EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(stored.size()));
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

TEST_F(TrapsReachTheWindowsTest, OfAllThreeVersionsNamedCountedAndOnceUntilAcknowledged) {
  const test::StoredCriterion linkDown{.GenericTrap = 2, .Severity = 3};
  store_.AddCategory("Links", std::vector{linkDown});
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  HeadlessConsole console(store_);
  traps::TrapsModel& links = console.OpenWindow({.WindowName = "Links", .Category = "Links"});

  const std::size_t sent = SendSamples(receiver_.Address());
  ASSERT_GE(sent, 20U) << receiver_.Log();
  ASSERT_TRUE(console.Shows(sent)) << console.AllTraps().Rows().Count() << " of " << sent << receiver_.Log();
  ExpectAllOfTheStore(console);
  std::vector<std::uint32_t> linksSeen;
  std::vector<std::string> names;
  const traplist::TrapRows& rows = console.AllTraps().Rows();
  for (std::uint32_t row = 0; row < rows.Count(); ++row) {
    names.emplace_back(rows.TrapNameAt(row));
    if (names.back() == "linkDown") {
      linksSeen.push_back(row);
    }
    EXPECT_EQ(rows.SeverityAt(row), names.back() == "linkDown" ? 3 : 0) << names.back();
  }
  EXPECT_EQ(links.Rows().Count(), linksSeen.size());
  for (const char* expected : {"coldStart", "linkDown", "egpNeighborLoss", "upsTrapOnBattery",
                               "bgpBackwardTransition", "ospfNbrStateChange", "1.3.6.1.4.1.99999.7.0.42"}) {
    EXPECT_THAT(names, Contains(expected));
  }

  // In one window, gone from all, and for the next console as well.
  console.AllTraps().AcknowledgeSelected(linksSeen);
  const std::size_t left = sent - linksSeen.size();
  EXPECT_EQ(links.Rows().Count(), 0U);
  EXPECT_EQ(console.AllTraps().Rows().Count(), left);
  EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(left));
  HeadlessConsole next(store_);
  EXPECT_TRUE(next.Shows(left));
  EXPECT_EQ(next.AllTraps().Rows().Count(), left);
}

// The store goes away while traps keep coming, and comes back: everything is shown, nothing twice.
TEST_F(TrapsReachTheWindowsTest, ThroughAStoreThatVanishesAndReturns) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  HeadlessConsole console(store_);
  constexpr std::size_t kTraps = 1200;
  std::atomic<std::size_t> sent = 0;
  std::jthread sender([&](const std::stop_token& stop) {
    receiver::PacketSender packets(receiver_.Port());
    for (; sent < kTraps && !stop.stop_requested(); ++sent) {
      packets.Send(receiver::V2Trap("trap number " + std::to_string(sent)));
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  ASSERT_TRUE(console.Shows(100));
  store_.TakeAway();
  ASSERT_TRUE(test::WaitUntil([&] {
    console.Model.CheckTraps();
    return sent >= kTraps * 3 / 4;
  }));
  store_.BringBack();
  ASSERT_TRUE(console.Shows(kTraps)) << console.AllTraps().Rows().Count() << " of " << kTraps
                                     << receiver_.Log();
  EXPECT_GT(receiver_.Counters()["spooled"], 0U) << "the receiver never missed the store";
  EXPECT_EQ(console.AllTraps().Rows().Count(), kTraps);
  ExpectAllOfTheStore(console);
}

// Codes that nobody knows and times at the edge come with rows of other programs; none of them may be lost,
// or counted where the window has no column.
TEST_F(TrapsReachTheWindowsTest, WithCodesAndTimesThatNobodyExpects) {
  store_.AddCategory("Odd", std::vector<test::StoredCriterion>{{.SpecificTrap = 9, .Severity = 9},
                                                               {.SpecificTrap = 10, .Severity = -1}});
  store_.AddTrap({.EventTime = 0, .GenericTrap = 7, .SpecificTrap = 9});
  store_.AddTrap({.EventTime = -1, .GenericTrap = -1, .SpecificTrap = 10});
  store_.AddTrap({.EventTime = 2147483646, .EnterpriseOid = "not an oid'", .GenericTrap = 2147483647});
  HeadlessConsole console(store_);
  store_.AddTrap(
      {.EventTime = 2147483647, .Source = "", .EnterpriseOid = "", .SpecificTrap = -2147483647 - 1});
  store_.AddTrap({.EventTime = 0, .GenericTrap = 7, .SpecificTrap = 9});
  ASSERT_TRUE(console.Shows(5)) << console.AllTraps().Rows().Count();
  ExpectAllOfTheStore(console);
  std::int64_t clear = 0;
  for (std::size_t row = 0; row < console.Model.RowCount(); ++row) {
    clear += console.Model.Row(row).Counts[0];
  }
  EXPECT_EQ(clear, 5) << "an unknown severity counts as Clear";
}

}  // namespace
}  // namespace korvane
