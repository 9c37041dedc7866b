#include "intake/Systems.h"

#include <gtest/gtest.h>

#include "store/DatabaseError.h"
#include "support/TestStore.h"

namespace korvane::intake {
namespace {

using test::SqliteStore;

store::IncomingTrap TrapOf(std::string_view source) {
  store::IncomingTrap trap;
  trap.Source = source;
  return trap;
}

struct SystemsTest : testing::Test {
  SystemsTest() { Store.Connect(Connection); }

  std::int32_t StoredRows(const std::string& condition = "1 = 1") {
    return Store.Number("SELECT COUNT(*) FROM System_Table WHERE " + condition);
  }

  SqliteStore Store;
  store::Connection Connection;
  Systems List;
};

TEST_F(SystemsTest, ASystemIsOneUnderItsNameItsAddressesAndEveryLetterCase) {
  Store.AddSystem("Router1", "10.0.0.1", "Switch");
  Store.AddSystem("router1", "10.0.0.2", "Switch");
  Store.AddSystem("Émile", "", "Manual");
  Store.Execute("INSERT INTO Module_Table (System_Name, Module_ID) VALUES ('Router1', 7)");
  ASSERT_TRUE(List.LoadSystems(Connection));
  ASSERT_EQ(List.Count(), 2U);
  EXPECT_EQ(List.At(0).Type, "Switch");
  EXPECT_EQ(List.At(0).Modules, std::vector<std::string>{"7"});

  for (const char* text : {"Router1", "ROUTER1", "10.0.0.1", "10.0.0.2"}) {
    EXPECT_EQ(List.SystemOfSource(text), 0U) << text;
    EXPECT_EQ(List.SystemOfSource(text), 0U) << text;
  }
  EXPECT_EQ(List.SystemOfSource("éMILE"), 1U);
  const std::vector<std::string> sources = {"Router1", "ROUTER1", "10.0.0.1", "10.0.0.2"};
  EXPECT_EQ(List.At(0).Sources, sources);
  EXPECT_EQ(List.FindSystem("router10"), Systems::kNone);
}

TEST_F(SystemsTest, NamingATrapAddsNothingAndCountingItAddsOneSystem) {
  auto trap = TrapOf("192.0.2.7");
  List.NameSystem(trap);
  EXPECT_EQ(trap.SystemName, "192.0.2.7");
  EXPECT_EQ(trap.SystemAddress, "192.0.2.7");
  EXPECT_EQ(List.Count(), 0U);

  const std::size_t byAddress = List.SystemOfSource("192.0.2.7");
  const std::size_t byName = List.SystemOfSource("printer");
  EXPECT_EQ(List.At(byAddress).Address, "192.0.2.7");
  EXPECT_EQ(List.At(byName).Address, "");
  EXPECT_EQ(List.At(byName).Type, kManualSystemType);
  EXPECT_EQ(List.SystemOfSource("192.0.2.7"), byAddress);
  EXPECT_EQ(List.Count(), 2U);

  auto named = TrapOf("PRINTER");
  List.NameSystem(named);
  EXPECT_EQ(named.SystemName, "printer");
  EXPECT_EQ(named.SystemAddress, "PRINTER");
  EXPECT_EQ(List.At(byName).Sources, std::vector<std::string>{"printer"});
}

TEST_F(SystemsTest, AResolvedNameKeepsAddressAndSourcesAndNeverDoublesAName) {
  const std::size_t first = List.SystemOfSource("2001:db8::7");
  const std::size_t second = List.SystemOfSource("10.0.0.9");
  EXPECT_TRUE(List.IsKnownByAddressOnly(first));
  List.Rename(first, std::string_view("edge7\0tail", 10));
  EXPECT_EQ(List.At(first).Name, "edge7");
  EXPECT_EQ(List.At(first).Address, "2001:db8::7");
  EXPECT_FALSE(List.IsKnownByAddressOnly(first));
  EXPECT_EQ(List.SystemOfSource("2001:db8::7"), first);
  EXPECT_EQ(List.SystemOfSource("EDGE7"), first);

  List.Rename(second, "Edge7");
  List.Rename(second, "");
  EXPECT_EQ(List.At(second).Name, "10.0.0.9");
}

TEST_F(SystemsTest, WritesBackWhatIsNewOrChangedAndDeletesNothing) {
  Store.AddSystem("core", "10.0.0.1", "Switch");
  Store.AddSystem("10.0.0.2", "10.0.0.2", "Manual");
  Store.AddSystem("10.0.0.3", "10.0.0.3", "Switch");
  Store.AddSystem("10.0.0.4", "10.0.0.4", "Manual");
  Store.Execute("INSERT INTO Module_Table (System_Name, Module_ID) VALUES ('10.0.0.4', 1)");
  ASSERT_TRUE(List.LoadSystems(Connection));
  List.Rename(List.FindSystem("10.0.0.2"), "two");
  List.Rename(List.FindSystem("10.0.0.3"), "three");
  List.Rename(List.FindSystem("10.0.0.4"), "four");
  List.SystemOfSource("new");
  List.SystemOfSource("");
  List.SystemOfSource("added elsewhere");
  Store.AddSystem("Added Elsewhere", "10.9.9.9", "Switch");
  List.SaveSystems(Connection);
  List.SaveSystems(Connection);

  EXPECT_EQ(StoredRows(), 6);
  EXPECT_EQ(StoredRows("System_Name = 'core' AND IP_Address = '10.0.0.1' AND System_Type = 'Switch'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'two' AND IP_Address = '10.0.0.2' AND System_Type = 'Manual'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'new' AND IP_Address = '' AND System_Type = 'Manual'"), 1);
  // Known to others by these names.
  EXPECT_EQ(StoredRows("System_Name = '10.0.0.3'"), 1);
  EXPECT_EQ(StoredRows("System_Name = '10.0.0.4'"), 1);
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Module_Table WHERE System_Name = '10.0.0.4'"), 1);
}

TEST_F(SystemsTest, OneRowThatCannotBeWrittenDoesNotLoseTheOthers) {
  Store.Execute(
      "INSERT INTO System_Table (System_Name, IP_Address, System_Type) VALUES ('o''brien', '', 'Manual')");
  ASSERT_TRUE(List.LoadSystems(Connection));
  List.SetAddress(List.FindSystem("O'Brien"), "10.0.0.1");
  List.SystemOfSource("it's new");
  List.SystemOfSource("after");
  // No statement can address the row of that name.
  EXPECT_THROW(List.SaveSystems(Connection), store::DatabaseError);
  EXPECT_FALSE(Connection.InTransaction());
  EXPECT_EQ(StoredRows("System_Name = 'it''s new'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'after'"), 1);
  EXPECT_EQ(StoredRows("System_Name = 'o''brien' AND IP_Address = ''"), 1);
}

TEST_F(SystemsTest, AReadThatFailsLeavesTheListAsItWas) {
  Store.AddSystem("core", "10.0.0.1");
  ASSERT_TRUE(List.LoadSystems(Connection));
  Store.AddSystem("edge", "10.0.0.2");
  Store.Execute("DROP TABLE Module_Table");
  EXPECT_FALSE(List.LoadSystems(Connection));
  EXPECT_EQ(List.Count(), 1U);
  EXPECT_NE(List.FindSystem("core"), Systems::kNone);
}

}  // namespace
}  // namespace korvane::intake
