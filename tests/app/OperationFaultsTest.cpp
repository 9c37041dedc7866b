// Makes the N-th statement of every operation fail, for N = 1, 2, 3 … until the operation passes: the store
// is then as it was, the operator is told, and the operation done again leaves what it leaves undisturbed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "OperationFaults.h"
#include "common/RegistryValues.h"
#include "fmt/format.h"

namespace korvane::test {

StoreImage::StoreImage(TestStore& store) : store_(store) {
  // Only this connection; what is tested writes as ever.
  for (const char* const schema : {"main", "traps"}) {
    store_.Execute(fmt::format("PRAGMA {}.synchronous = OFF", schema));
  }
  store_.Execute("ATTACH DATABASE ':memory:' AS image");
  for (const char* const schema : {"main", "traps"}) {
    store_.Execute(
        fmt::format("CREATE TABLE image.{}_sequence AS SELECT * FROM {}.sqlite_sequence", schema, schema));
    for (const std::string& table : TablesOf(schema)) {
      store_.Execute(fmt::format("CREATE TABLE image.{0} AS SELECT * FROM {0} ORDER BY rowid", table));
      std::string cells;
      store::Recordset columns = store_.Db().OpenRecordset(
          fmt::format("SELECT name FROM pragma_table_info('{}', '{}')", table, schema));
      while (columns.Next()) {
        cells += fmt::format("{}quote({})", cells.empty() ? "" : "||','||", columns.Text("name"));
      }
      digestSelect_ += fmt::format(
          "{0}SELECT '{1}: '||COALESCE(group_concat({2}, '; '), '') AS Line "
          "FROM (SELECT * FROM {1} ORDER BY rowid)",
          tables_.empty() ? "" : " UNION ALL ", table, cells);
      tables_.push_back(table);
    }
  }
}

std::vector<std::string> StoreImage::TablesOf(std::string_view schema) {
  std::vector<std::string> tables;
  store::Recordset rows = store_.Db().OpenRecordset(fmt::format(
      "SELECT name FROM {}.sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%'", schema));
  while (rows.Next()) {
    tables.push_back(rows.Text("name"));
  }
  return tables;
}

std::string StoreImage::Digest() {
  std::string digest;
  store::Recordset rows = store_.Db().OpenRecordset(digestSelect_);
  while (rows.Next()) {
    digest += rows.Text("Line") + "\n";
  }
  return digest;
}

void StoreImage::Restore() {
  store::Transaction transaction(store_.Db());
  for (const std::string& table : tables_) {
    store_.Execute("DELETE FROM " + table);
    store_.Execute(fmt::format("INSERT INTO {0} SELECT * FROM image.{0} ORDER BY rowid", table));
  }
  for (const char* const schema : {"main", "traps"}) {
    store_.Execute(fmt::format("DELETE FROM {}.sqlite_sequence", schema));
    store_.Execute(fmt::format("INSERT INTO {0}.sqlite_sequence SELECT * FROM image.{0}_sequence", schema));
  }
  transaction.Commit();
}

Hands::Hands(SqliteStore& store) : RulesWorld(store) {
  Bounds.InitialLoad = false;
  State.gLastTrapTime = 1'000'000;
  Platform.Registry.AddKey(kManagerKey);
}

void FillStore(TestStore& store) {
  store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "acme", "A fan stopped.");
  store.AddDefinition("1.3.6.1.4.1.50", 2, "doorOpen", "bolt");
  const StoredCriterion fan{
      .EnterpriseOid = "1.3.6.1.4.1.9", .GenericTrap = 6, .SpecificTrap = 1, .Severity = 5};
  store.AddCategory("Bare", {});
  store.AddCategory("Fans", std::vector{fan, StoredCriterion{.GenericTrap = 2, .Severity = 3}});
  store.Execute(
      "UPDATE Category_Group_Master SET Category_Desc = 'All that turns', Severity = 4 "
      "WHERE Category_Name = 'Fans'");
  store.Execute("INSERT INTO Category_Relation_Master VALUES ('All Categories', 'Fans', 1)");
  store.AddFilter({.Source_Agent = "hidden"});
  store.AddFilter({.GenericTrap = 4});
  store.Execute(
      "INSERT INTO Trap_Detail (Source_Agent, EnterpriseOid, GenericTrap, SpecificTrap) "
      "VALUES ('10.0.0.1', '1.3.6.1.4.1.9', 6, 1)");
  store.Execute("INSERT INTO Message_Detail (Destination) VALUES ('pc1')");
  store.Execute(
      "INSERT INTO Trap_Action_Group (Description, Trap_ID) "
      "SELECT 'Fans stop', MAX(Trap_Table_ID) FROM Trap_Detail");
  store.Execute(
      "INSERT INTO Trap_Notification_Master (Trap_Group_ID, Message_ID) "
      "SELECT MAX(Trap_Group_ID), 2 FROM Trap_Action_Group");
  store.AddSystem("core", "10.0.0.9");
  for (std::int32_t number = 1; number <= 6; ++number) {
    store.AddTrap({.SequenceNumber = number,
                   .EventTime = 1000 + number,
                   .Source = number % 3 == 0 ? "ROUTER1" : "router1",
                   .SpecificTrap = number % 2});
  }
}

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

// Two places to lose a link: before the store does its work, and before it says that it did.
constexpr Fault kFaults[] = {Fault::Refused, Fault::LinkLost, Fault::AnswerLost};
constexpr char kLinkText[] = "The connection to the database was lost";

const char* NameOf(Fault fault) {
  switch (fault) {
    case Fault::Refused:
      return "Refused";
    case Fault::LinkLost:
      return "LinkLost";
    case Fault::AnswerLost:
      break;
  }
  return "AnswerLost";
}

class OperationFaults : public testing::TestWithParam<Fault> {
 protected:
  static int Failures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  // What the operation left undisturbed.
  struct Left {
    std::string Digest;
    std::string Shown;
  };

  OperationFaults() { FillStore(store_); }

  static std::string ShownBy(const Work& work) { return work.Shown ? work.Shown() : std::string(); }
  static bool DoAll(const Work& work) { return work.Do() && (!work.Finish || work.Finish()); }

  Left Undisturbed(const Operation& operation) {
    image_->Restore();
    Hands hands(store_);
    const Work work = operation.Prepare(hands);
    hands.Prompt.Clear();
    EXPECT_TRUE(DoAll(work)) << hands.Prompt.LastMessage();
    EXPECT_TRUE(!work.Agrees || work.Agrees());
    return {image_->Digest(), ShownBy(work)};
  }

  std::vector<std::string> MayBeLeft(const Operation& operation, const std::string& done) {
    image_->Restore();
    std::vector<std::string> digests{image_->Digest()};
    for (const std::vector<std::string>& statements : operation.Partly) {
      image_->Restore();
      for (const std::string& statement : statements) {
        store_.Execute(statement);
      }
      digests.push_back(image_->Digest());
    }
    if (operation.MayBeDone || GetParam() == Fault::AnswerLost) {
      digests.push_back(done);
    }
    return digests;
  }

  void ExpectItIsSaid(const Operation& operation, const Hands& hands) {
    if (operation.SaysNothing) {
      EXPECT_THAT(hands.Prompt.Messages(), IsEmpty());
      return;
    }
    std::vector<std::string> said;
    for (const ScriptedPrompts::Shown& message : hands.Prompt.Messages()) {
      EXPECT_EQ(message.Icon, PromptIcon::Critical) << message.Text;
      said.push_back(message.Text);
    }
    std::vector<testing::Matcher<std::string>> texts{HasSubstr(std::string(kFaultText))};
    for (const std::string_view text : operation.Messages) {
      texts.emplace_back(HasSubstr(std::string(text)));
    }
    if (GetParam() != Fault::Refused) {
      texts.emplace_back(HasSubstr(kLinkText));
    }
    EXPECT_THAT(said, Contains(testing::AnyOfArray(texts)));
  }

  // False when the operation passed without meeting the fault.
  bool FailNth(const Operation& operation, int n, const Left& left,
               const std::vector<std::string>& mayBeLeft) {
    image_->Restore();
    auto hands = std::make_unique<Hands>(store_);
    Work work = operation.Prepare(*hands);
    const std::string shownBefore = ShownBy(work);
    hands->Prompt.Clear();
    FailCall(n, GetParam(), CountedCalls::Statements);
    bool done = work.Do();
    const bool met = EndFaults();
    EXPECT_EQ(hands->Busy.Depth(), 0);
    if (!done) {
      EXPECT_TRUE(met);
      ExpectItIsSaid(operation, *hands);
      EXPECT_THAT(mayBeLeft, Contains(image_->Digest()));
      EXPECT_TRUE(!work.Agrees || GetParam() == Fault::AnswerLost || work.Agrees());
      hands->Prompt.Clear();
      hands->Prompt.ForgetScript();
      done = work.Again ? work.Again() : work.Do();
    }
    done = done && (!work.Finish || work.Finish());
    if (!done && operation.OnlyFinally && GetParam() != Fault::Refused) {
      EXPECT_THAT(mayBeLeft, Contains(image_->Digest()));
      work = {};
      hands = std::make_unique<Hands>(store_);
      work = operation.Prepare(*hands);
      done = image_->Digest() == left.Digest || DoAll(work);
    }
    const std::string digest = image_->Digest();
    EXPECT_TRUE(done || (GetParam() == Fault::AnswerLost && digest == left.Digest))
        << hands->Prompt.LastMessage();
    EXPECT_EQ(digest, left.Digest);
    if (done && digest == left.Digest) {
      EXPECT_EQ(ShownBy(work), left.Shown);
      EXPECT_TRUE(!work.Agrees || work.Agrees());
    }
    return met;
  }

  void FailEach(const std::vector<Operation>& operations) {
    image_.emplace(store_);
    for (const Operation& operation : operations) {
      SCOPED_TRACE(operation.Name);
      const Left left = Undisturbed(operation);
      const std::vector<std::string> mayBeLeft = MayBeLeft(operation, left.Digest);
      const int failures = Failures();
      int n = 1;
      for (bool met = true; met && Failures() == failures; ++n) {
        SCOPED_TRACE(n);
        met = FailNth(operation, n, left, mayBeLeft);
      }
      EXPECT_TRUE(n > 2 || Failures() > failures) << "the faults never reached it";
    }
  }

  SqliteStore store_;
  std::optional<StoreImage> image_;
};

TEST_P(OperationFaults, OfFilters) {
  FailEach(OperationsOfFilters());
}
TEST_P(OperationFaults, OfCategories) {
  FailEach(OperationsOfCategories());
}
TEST_P(OperationFaults, OfAlerts) {
  FailEach(OperationsOfAlerts());
}
TEST_P(OperationFaults, OnTraps) {
  FailEach(OperationsOnTraps());
}

INSTANTIATE_TEST_SUITE_P(, OperationFaults, testing::ValuesIn(kFaults),
                         [](const auto& fault) { return NameOf(fault.param); });

}  // namespace
}  // namespace korvane::test
