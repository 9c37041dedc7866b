#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TrapDefinitionTable.h"
#include "store/ChangeLog.h"
#include "store/DatabaseError.h"
#include "store/EngineTest.h"
#include "store/TrapNames.h"

namespace korvane::mibc {
namespace {

using store::EngineOf;

constexpr const char* kAcme = "1.3.6.1.4.1.32473";

struct TrapDefinitionTableTest : store::EngineTest {
  TrapDefinitionTableTest() { Made->Connect(Own); }
  std::vector<Definition> Rows() {
    std::vector<Definition> rows;
    store::Recordset stored =
        Db.OpenRecordset("SELECT * FROM EventStructure ORDER BY EnterpriseOid, RequestType");
    while (stored.Next()) {
      rows.push_back({stored.Text("EnterpriseOid"), stored.Integer("RequestType"),
                      stored.Text("SpecificTrap"), stored.Text("Name"), stored.Text("TrapDescription")});
    }
    return rows;
  }
  StoredCounts Store(std::vector<Definition> definitions, const char* name = "ACME-MIB") {
    const std::vector<Module> modules = {{name, std::move(definitions)}};
    return Table.Store(modules).at(0);
  }

  store::Connection Own;
  TrapDefinitionTable Table{Own};
};
KORVANE_ON_EVERY_ENGINE(TrapDefinitionTableTest);

TEST_P(TrapDefinitionTableTest, UpdatesInsteadOfDoublingAndIsFoundByTheConsole) {
  Made->AddDefinition("1.3.6.1.4.1.5", 1, "other", "another", "untouched");
  Made->AddDefinition(kAcme, 9, "ofAnOlderModule", "oldName", "stays");
  const std::string text(64U << 10U, 'd');
  const Definition first{kAcme, 1, "doorOpen", "acme", "It's \"so\" -- \\ Größe ❄"};
  const Definition second{kAcme, -1, "doorShut", "acme", text};
  EXPECT_EQ(Store({first, second, {kAcme, 1, "doorAgain", "acme", ""}}), (StoredCounts{2, 0, 0, 1}));
  const std::vector<Definition> expected = {second,
                                            first,
                                            {kAcme, 9, "ofAnOlderModule", "acme", "stays"},
                                            {"1.3.6.1.4.1.5", 1, "other", "another", "untouched"}};
  EXPECT_EQ(Rows(), expected);
  Definition unnamed = first;
  unnamed.Name = kAcme;  // by a module that gives the enterprise by its number
  EXPECT_EQ(Store({unnamed, second}), (StoredCounts{0, 0, 2, 0}));
  EXPECT_EQ(Rows(), expected);

  store::TrapNames names(Db);
  Definition renamed = first;
  renamed.SpecificTrap = "doorAjar";
  renamed.TrapDescription = "";
  EXPECT_EQ(Store({renamed, second}), (StoredCounts{0, 1, 1, 0}));
  EXPECT_EQ(store::ReadChanges(Db, "Kind = 8").size(), 3U) << "an open console has to notice";
  EXPECT_EQ(Rows().at(1), renamed);
  EXPECT_EQ(names.GetTrapSpecific(kAcme, 1), "doorAjar");
}

// "traps" is what many makers call theirs; dialogs list the traps of an enterprise by its name.  And a file
// is taken whole or not at all.
TEST_P(TrapDefinitionTableTest, KeepsEnterprisesApartAndTakesAllOrNothing) {
  for (int run = 0; run < 2; ++run) {
    Store({{"1.3.6.1.4.1.1", 1, "a", "traps", ""}}, "A-MIB");
    Store({{"1.3.6.1.4.1.2", 1, "b", "traps", ""}}, "B-MIB");
  }
  const std::vector<Definition> before = {{"1.3.6.1.4.1.1", 1, "a", "traps", ""},
                                          {"1.3.6.1.4.1.2", 1, "b", "B-MIB::traps", ""}};
  EXPECT_EQ(Rows(), before);
  const std::vector<Module> modules = {
      {"A-MIB", {{"1.3.6.1.4.1.1", 1, "changed", "traps", "after"}, {kAcme, 2, "added", "acme", ""}}},
      {"B-MIB", {{"1.3.6.1.4.1.7", 1, "refused", "it's a broken name", ""}}}};
  EXPECT_THROW(Table.Store(modules), store::DatabaseError);
  EXPECT_EQ(Rows(), before);
}

}  // namespace
}  // namespace korvane::mibc
