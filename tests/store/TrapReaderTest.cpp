#include "store/TrapReader.h"

#include <fmt/format.h>

#include <string>
#include <vector>

#include "EngineTest.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNames.h"

namespace korvane::store {

namespace {

class TrapReaders : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(TrapReaders);

// Every field differs from row to row, and texts that outgrow the block's buffers stand at its borders.
test::StoredTrap NumberedTrap(std::int32_t number) {
  const bool isLong = number % 256 <= 1 || number % 256 == 255;
  const std::string text = fmt::format("{}:", number);
  return {.SequenceNumber = number,
          .EventTime = 100000 + number / 3,
          .Source = "source" + text,
          .EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", number),
          .GenericTrap = number % 7,
          .SpecificTrap = -number,
          .EventDescription = text + std::string(isLong ? std::size_t{64} * 1024 : 20, 'd'),
          .Event_ExtDescr = number % 2 == 0 ? "" : text + std::string(number % 256 == 1 ? 3000 : 10, 'x'),
          .EventNotes = number % 5 == 0 ? text + std::string(number % 256 == 255 ? 600 : 5, 'n') : "",
          .EventAck = number % 2};
}

void ExpectSame(const IncomingTrap& trap, const test::StoredTrap& stored) {
  EXPECT_EQ(trap.SequenceNumber, stored.SequenceNumber);
  EXPECT_EQ(trap.EventTime, stored.EventTime);
  EXPECT_EQ(trap.Source, stored.Source);
  EXPECT_EQ(trap.EnterpriseOid, stored.EnterpriseOid);
  EXPECT_EQ(trap.GenericTrap, stored.GenericTrap);
  EXPECT_EQ(trap.SpecificTrap, stored.SpecificTrap);
  EXPECT_TRUE(trap.EventDescription() == stored.EventDescription);
  EXPECT_TRUE(trap.Event_ExtDescr() == stored.Event_ExtDescr);
  EXPECT_TRUE(trap.VarBinds == stored.EventDescription + stored.Event_ExtDescr);
  EXPECT_TRUE(trap.EventNotes == stored.EventNotes);
  EXPECT_EQ(trap.EventAck, stored.EventAck);
}

TEST_P(TrapReaders, ReadAnyNumberOfRowsWhole) {
  std::vector<test::StoredTrap> traps;
  std::int32_t number = 0;
  for (const std::int32_t rows : {0, 1, 255, 256, 257, 512, 600}) {
    std::vector<test::StoredTrap> more;
    while (number < rows) more.push_back(NumberedTrap(++number));
    Made->AddTraps(more);
    traps.insert(traps.end(), more.begin(), more.end());
    TrapReader reader(Db, "SELECT * FROM EventTrap ORDER BY SequenceNumber");
    IncomingTrap trap;
    for (const test::StoredTrap& stored : traps) {
      ASSERT_TRUE(reader.Next(trap)) << stored.SequenceNumber << " of " << rows;
      ExpectSame(trap, stored);
      if (HasFailure()) FAIL() << stored.SequenceNumber << " of " << rows;
    }
    EXPECT_FALSE(reader.Next(trap));
    EXPECT_FALSE(reader.Next(trap));
  }
}

TEST_P(TrapReaders, TakeColumnsByNameAndLeaveTheOthersEmpty) {
  const test::StoredTrap stored = NumberedTrap(255);
  Made->AddTraps(std::vector{stored, NumberedTrap(256)});
  IncomingTrap trap;
  trap.SystemName = "kept";
  {
    TrapReader reader(
        Db,
        "SELECT 1 AS Other, eventnotes, SEQUENCENUMBER, NULL AS Source, EventTime FROM EventTrap "
        "ORDER BY SequenceNumber");
    ASSERT_TRUE(reader.Next(trap));
    EXPECT_TRUE(trap.EventNotes == stored.EventNotes);
    EXPECT_EQ(trap.SequenceNumber, 255);
    EXPECT_EQ(trap.EventTime, stored.EventTime);
    EXPECT_EQ(trap.Source, "");
    EXPECT_EQ(trap.VarBinds, "");
    EXPECT_EQ(trap.SpecificTrap, 0);
    EXPECT_EQ(trap.SystemName, "kept");
    ASSERT_TRUE(reader.Next(trap));
    EXPECT_FALSE(reader.Next(trap));
  }
  // Without the key a long text can't be read again; it must come whole all the same.
  TrapReader reader(Db,
                    "SELECT EventNotes, EventDescription, EventTime, Source FROM EventTrap "
                    "ORDER BY SequenceNumber");
  ASSERT_TRUE(reader.Next(trap));
  EXPECT_TRUE(trap.EventDescription() == stored.EventDescription);
  EXPECT_TRUE(trap.EventNotes == stored.EventNotes);
  EXPECT_EQ(trap.Source, stored.Source);
  EXPECT_EQ(trap.EventTime, stored.EventTime);
  ASSERT_TRUE(reader.Next(trap));
  EXPECT_EQ(trap.EventNotes, "");
  EXPECT_FALSE(reader.Next(trap));
}

TEST_P(TrapReaders, LeftHalfWayLeaveTheConnectionUsable) {
  std::vector<test::StoredTrap> traps;
  for (int i = 1; i <= 3000; ++i) traps.push_back(NumberedTrap(2 + 256 * i));
  Made->AddTraps(traps);
  {
    TrapReader reader(Db, TrapsLoadStatement(2147483647));
    IncomingTrap trap;
    ASSERT_TRUE(reader.Next(trap));
  }
  EXPECT_EQ(Db.Execute(AcknowledgeAllStatement(2147483647)), 3000);
  Connection other;  // and nothing of it waits for a commit
  Made->Connect(other);
  EXPECT_FALSE(other.OpenRecordset(kEventTrap, "EventAck = 0").Next());
}

// Loading completes each trap while its rows are still being read: the look-ups share the reader's
// connection, and neither they nor a statement that fails among them may cost it a row.
TEST_P(TrapReaders, GoOnWhileNamesAreLookedUpBesideThem) {
  constexpr std::int32_t kRows = 2300;  // more than a server hands over at once
  std::vector<test::StoredTrap> traps;
  for (std::int32_t i = 1; i <= kRows; ++i) {
    test::StoredTrap& trap = traps.emplace_back(NumberedTrap(2 + 256 * i));
    trap.EnterpriseOid = "1.3.6.1.4.1.9." + std::to_string(i);
    trap.GenericTrap = 6;
    trap.SpecificTrap = 7;
  }
  Made->AddTraps(traps);
  Made->AddDefinition("1.3.6.1.4.1.9.1999", 7, "known", "enterprise");
  TrapNames names(Db);
  TrapReader reader(Db, TrapsLoadStatement(2147483647));
  IncomingTrap trap;
  std::int32_t rows = 0;
  std::int32_t known = 0;
  while (reader.Next(trap)) {
    if (++rows == kRows / 2) {
      EXPECT_THROW(Db.OpenRecordset("Missing_Table"), DatabaseError);
    }
    names.GetTrapName(trap);
    known += trap.TrapName() == "known" ? 1 : 0;
  }
  EXPECT_EQ(rows, kRows);
  EXPECT_EQ(known, 1);
}

}  // namespace

}  // namespace korvane::store
