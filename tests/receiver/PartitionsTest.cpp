// The partitions of the traps on PostgreSQL: there before they are needed, gone when all in them is old, and
// never in anybody's way.

#include <gtest/gtest.h>

#include <fmt/format.h>

#include "KeptLog.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Housekeeping.h"
#include "store/EngineTest.h"
#include "store/Renumbering.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

constexpr std::int32_t kReceived = 1'700'000'000;
constexpr std::int32_t kWeek = 7 * 86400;

struct SetClocks : Clocks {
  ClockReading Read() override { return Now; }
  bool Synchronized() override { return true; }

  ClockReading Now{.Wall = kReceived, .Elapsed = 86400};
};

class PartitionsTest : public store::EngineTest {
 protected:
  std::int32_t Count(const std::string& condition = "1 = 1") {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  bool Exists(std::int32_t first) {
    return Made->Number(fmt::format("SELECT COUNT(*) FROM pg_class WHERE relname = 'eventtrap_{}'", first)) ==
           1;
  }
  void CountFrom(std::int32_t number) {
    Made->Number(fmt::format("SELECT setval('EventTrap_SequenceNumber_seq', {})", number));
  }
  // So many rows as the next ones of a spool.
  void Store(std::size_t rows) {
    DatabaseTrapStore store(Made->DataSource());
    store.Open("spool", 1'000'000, 0);
    SpooledTrap trap;
    trap.Row.EventTime = kReceived;
    std::vector<SpooledTrap> traps(rows, trap);
    const std::uint64_t from = stored_;
    for (SpooledTrap& each : traps) each.Number = ++stored_;
    store.Store(traps, from);
  }
  HouseholdWork Round(Intervals intervals) {
    Housekeeping keeper(Made->DataSource(), intervals, Machine, Folder.Path(), Log);
    return keeper.Round(std::stop_source().get_token());
  }

  SetClocks Machine;
  const test::TempFolder Folder;
  KeptLog Log;

 private:
  std::uint64_t stored_ = 0;
};
INSTANTIATE_TEST_SUITE_P(, PartitionsTest, testing::Values(store::Engine::PostgreSql), store::EngineOf);

TEST_P(PartitionsTest, AreThereBeforeTheyAreNeededAndAfterAnyLeapOfTheNumbers) {
  CountFrom(75'000'000);
  Round({});
  EXPECT_TRUE(Exists(100'000'000)) << "one ahead, though nothing is ever purged";
  EXPECT_FALSE(Exists(150'000'000));
  for (const std::int32_t last : {999'999'997, 449'999'997, 2'147'483'000}) {
    CountFrom(last);
    Store(5);
    EXPECT_EQ(Count(fmt::format("SequenceNumber > {}", last)), 5) << last;
    Made->Execute("DELETE FROM EventTrap");
  }
  // A gap that an administrator has left is filled, and a table that was put aside keeps its name.
  Made->Execute("ALTER TABLE EventTrap DETACH PARTITION EventTrap_1000000000");
  CountFrom(999'999'999);
  Store(1);
  EXPECT_TRUE(Exists(1'000'000'000));
  EXPECT_EQ(Count("tableoid = 'eventtrap_1000000000_'::regclass"), 1);
  EXPECT_EQ(Log.Lines(), std::vector<std::string>());
}

TEST_P(PartitionsTest, GoWholeWhileOthersReadAndStoreAndNothingNewGoesWithThem) {
  std::vector<test::StoredTrap> traps;
  for (int i = 1; i <= 50; ++i) {
    traps.push_back(
        {.SequenceNumber = i, .EventTime = kReceived - kWeek - i, .EventAck = i % 10 == 0 ? 0 : 1});
  }
  traps.push_back({.SequenceNumber = 50'000'001, .EventTime = kReceived - kWeek - 1, .EventAck = 1});
  // It will be old within the time that a trap may stay to be dropped with its partition.
  traps.push_back({.SequenceNumber = 50'000'002, .EventTime = kReceived - kWeek + 3600, .EventAck = 1});
  traps.push_back({.SequenceNumber = 100'000'001, .EventTime = kReceived - kWeek - 1});
  traps.push_back({.SequenceNumber = 100'000'002, .EventTime = kReceived});
  Made->AddTraps(traps);
  CountFrom(100'000'002);
  Store(1000);  // which keep those before from being the newest, that consoles know the store by
  const Intervals week{.AckHours = 0, .PurgeDays = 7};
  Round(week);
  EXPECT_EQ(Count("EventAck = 0"), 1001);
  EXPECT_EQ(Count("SequenceNumber BETWEEN 50000001 AND 50000002"), 2);
  const std::int32_t others = Count("SequenceNumber < 100");

  // Somebody reads, and somebody else is on the way with a trap, as the partition is to go.
  store::Connection reader;
  store::Connection late;
  Made->Connect(reader);
  Made->Connect(late);
  const store::Transaction reading(reader);
  store::Recordset cursor = reader.OpenRecordset("SELECT * FROM EventTrap ORDER BY SequenceNumber");
  ASSERT_TRUE(cursor.Next());
  store::Transaction coming(late);
  late.Execute(fmt::format("INSERT INTO EventTrap (SequenceNumber, EventTime) VALUES (60, {})", kReceived));
  Round(week);
  EXPECT_EQ(Count("SequenceNumber < 100"), 0);
  EXPECT_NE(store::Renumbering(Db).Plan().Objection(), "") << "its numbers are still to be told";
  CountFrom(199'999'998);
  Store(5);
  std::int32_t read = 1;
  while (cursor.Next()) ++read;
  EXPECT_EQ(read, others + 1003) << "a reader reads to its end";
  coming.Commit();
  reader.Rollback();
  Round(week);
  EXPECT_EQ(Count("SequenceNumber < 100"), others + 1) << "back, for the sake of the new one";

  Machine.Now.Wall += 2 * kWeek;
  Machine.Now.Elapsed += 2 * kWeek;
  for (int i = 0; i < 3; ++i) Round(week);
  EXPECT_EQ(Count("SequenceNumber < 200000000"), 0);
  for (const std::int32_t first : {0, 50'000'000, 100'000'000, 150'000'000})
    EXPECT_FALSE(Exists(first)) << first;
  EXPECT_TRUE(Exists(200'000'000)) << "numbers are still given from it";
  // Five and one of the first, two of the third, and those that were stored.
  EXPECT_EQ(Made->Number("SELECT SUM(Row_Count) FROM Change_Log WHERE Kind = 4"), 8 + 1005);
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM Change_Log WHERE Numbers = '50000001-50000002' AND "
                         "Upper_Time IS NOT NULL"),
            1);
  EXPECT_TRUE(Log.Holds("the empty partition eventtrap_150000000")) << "what was newest went row by row";
  EXPECT_TRUE(Log.Holds("the traps 50000001 to 50000002 were deleted with their partition"));
}

}  // namespace
}  // namespace korvane::receiver
