// The trap store in a real database, on every engine.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "receiver/snmp/ValueText.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/StoreWriter.h"
#include "store/EngineTest.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

class TrapStoreTest : public store::EngineTest {
 protected:
  std::int32_t Count(const std::string& condition) {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  DatabaseTrapStore store_{Made->DataSource()};
};
using store::EngineOf;
KORVANE_ON_EVERY_ENGINE(TrapStoreTest);

SpooledTrap Trap(std::uint64_t number, std::string text) {
  SpooledTrap trap;
  trap.Number = number;
  trap.Row.EventTime = 1'700'000'000;
  trap.Row.Source = "10.0.0.1";
  trap.Row.EnterpriseOid = "1.3.6.1.4.1.9";
  trap.Row.SpecificTrap = static_cast<std::int32_t>(number % 1000);
  trap.Row.EventDescription = std::move(text);
  return trap;
}

TEST_P(TrapStoreTest, RowsAndTheirNumberMoveTogether) {
  constexpr std::uint64_t kRun = std::uint64_t{7} << 40;  // beyond what 32 bits hold
  EXPECT_EQ(store_.Open("spool1", kRun, 0), 0u);
  std::vector<SpooledTrap> traps;
  for (std::uint64_t i = 1; i <= 200; ++i) traps.push_back(Trap(kRun + i, "trap"));
  traps.back().Row.SpecificTrap = -2147483647 - 1;
  traps.back().Row.EnterpriseOid = OidText(Oid(128, 4294967295));  // the longest there is
  store_.Store(traps, 0);
  EXPECT_EQ(Count("EventAck = 0 AND EventNotes = ''"), 200);
  EXPECT_EQ(
      Made->Number("SELECT SpecificTrap FROM EventTrap WHERE SequenceNumber = (SELECT MIN(SequenceNumber) "
                   "FROM EventTrap)"),
      static_cast<std::int32_t>((kRun + 1) % 1000));
  EXPECT_EQ(Made->Text("SELECT * FROM EventTrap WHERE SpecificTrap = -2147483648", "EnterpriseOid"),
            traps.back().Row.EnterpriseOid);
  EXPECT_EQ(store_.Open("spool1", kRun + 200, 5), kRun + 200);

  // A batch that does not follow what is stored changes nothing: another receiver moved the number.
  EXPECT_THROW(store_.Store(std::vector{Trap(kRun + 300, "x")}, kRun + 100), store::DatabaseError);
  EXPECT_EQ(Count("1 = 1"), 200);
  EXPECT_EQ(store_.Open("spool1", kRun + 300, 5), kRun + 200);

  store_.Probe();
  EXPECT_EQ(Count("1 = 1"), 200) << "a probe leaves nothing";
  store_.Skip(kRun + 201, kRun + 200);
  EXPECT_EQ(store_.Open("spool1", kRun + 201, 5), kRun + 201);
  // A number this spool can't have reached is another's: the spool's own memory decides.
  EXPECT_EQ(store_.Open("spool1", kRun + 150, kRun + 120), kRun + 120);
  EXPECT_EQ(store_.Open("spool1", kRun + 150, 0), kRun + 120);
  EXPECT_EQ(store_.Open("spool2", kRun, 42), 42u);
}

TEST_P(TrapStoreTest, AFaultOfTheStoreIsToldFromAFaultOfARow) {
  store_.Open("spool", 1'000, 0);
  const auto trouble = [&](const SpooledTrap& trap) {
    try {
      store_.Store(std::vector{trap}, 0);
    } catch (const store::DatabaseError& error) {
      return IsStoreTrouble(error) ? "store" : "row";
    }
    return "none";
  };
  Made->Execute("ALTER TABLE EventTrap RENAME TO Elsewhere");
  EXPECT_STREQ(trouble(Trap(1, "x")), "store");
  EXPECT_THROW(store_.Probe(), store::DatabaseError);
  Made->Execute("ALTER TABLE Elsewhere RENAME TO EventTrap");
  if (GetParam() != store::Engine::Sqlite) {  // which checks no lengths
    EXPECT_STREQ(trouble([] {
                   SpooledTrap trap = Trap(1, "x");
                   trap.Row.Source.assign(300, 'x');
                   return trap;
                 }()),
                 "row");
  }
  store_.Open("spool", 1'000, 0);
  EXPECT_STREQ(trouble(Trap(1, "x")), "none");
}

TEST_P(TrapStoreTest, AWriterOutlivesItsServer) {
  const test::TempFolder folder;
  Spool spool(folder.Path());
  Counters counters;
  std::string lines;
  ServiceLog log([&](LogLevel, std::string_view line) { lines.append(line).append("\n"); });
  WriterOptions quick;
  quick.BatchTime = quick.FirstPause = std::chrono::milliseconds(5);
  quick.LongestPause = std::chrono::milliseconds(50);
  StoreWriter writer(spool, store_, Quarantine(folder / "quarantine.txt"), counters, log, quick);
  std::thread thread([&] { writer.Run(); });
  int number = 0;
  const auto take = [&](int count) {
    for (; count > 0; --count) spool.Append(std::vector{Trap(1, fmt::format("{:05}", ++number)).Row});
  };
  for (int outage = 0; outage < 2; ++outage) {
    take(500);
    EXPECT_TRUE(test::WaitUntil([&] { return counters.Stored >= 300u; }));
    Made->TakeAway();  // in the middle of its work, or while it is idle
    take(500);
    EXPECT_TRUE(test::WaitUntil([&] { return !writer.StoreAvailable(); }));
    Made->BringBack();
    EXPECT_TRUE(test::WaitUntil([&] { return spool.Waiting() == 0; }, std::chrono::seconds(60))) << lines;
  }
  writer.Stop(std::chrono::seconds(5));
  thread.join();
  Db.Close();
  Made->Connect(Db);
  EXPECT_EQ(Count("1 = 1"), number);
  EXPECT_EQ(counters.Quarantined, 0u) << lines;
  store::Recordset rows = Db.OpenRecordset("SELECT EventDescription FROM EventTrap ORDER BY SequenceNumber");
  for (int expected = 1; expected <= number; ++expected) {
    ASSERT_TRUE(rows.Next());
    ASSERT_EQ(rows.Text("EventDescription"), fmt::format("{:05}", expected)) << "out of order";
  }
}

}  // namespace
}  // namespace korvane::receiver
