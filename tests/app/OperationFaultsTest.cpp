// Makes the N-th statement of every operation fail, for N = 1, 2, 3 … until the operation passes: the store
// is then as it was, the operator is told, and the operation done again leaves what it leaves undisturbed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "OperationFaults.h"
#include "fmt/format.h"

namespace korvane::test {

namespace {

using testing::Contains;
using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

// Everything that the store holds, to be compared and to be brought back.
class StoreImage {
 public:
  explicit StoreImage(TestStore& store) : store_(store) {
    store_.Execute("ATTACH DATABASE ':memory:' AS image");
    for (const std::string schema : {"main", "traps"}) {
      // Only this connection; what is tested writes as ever.
      store_.Execute("PRAGMA " + schema + ".synchronous = OFF");
      // The last keys stand behind the tables that move them.
      store::Recordset tables = store_.Db().OpenRecordset(
          fmt::format("SELECT name, (SELECT group_concat('quote('||name||')', '||'',''||') "
                      "FROM pragma_table_info(tables.name, '{0}')) AS Cells FROM {0}.sqlite_master AS tables "
                      "WHERE type = 'table' ORDER BY name = 'sqlite_sequence'",
                      schema));
      while (tables.Next()) {
        Add(schema + "." + tables.Text("name"), tables.Text("Cells"));
      }
    }
  }

  std::string Digest() {
    std::string digest;
    store::Recordset rows = store_.Db().OpenRecordset(digestSelect_);
    while (rows.Next()) {
      digest += rows.Text("Line") + "\n";
    }
    return digest;
  }

  void Restore() {
    store::Transaction transaction(store_.Db());
    for (const std::string& table : tables_) {
      store_.Execute("DELETE FROM " + table);
      store_.Execute(fmt::format("INSERT INTO {0} SELECT * FROM image.\"{0}\" ORDER BY rowid", table));
    }
    transaction.Commit();
  }

 private:
  void Add(const std::string& table, const std::string& cells) {
    store_.Execute(fmt::format("CREATE TABLE image.\"{0}\" AS SELECT * FROM {0} ORDER BY rowid", table));
    tables_.push_back(table);
    if (!table.ends_with("sqlite_sequence")) {
      digestSelect_ += fmt::format(
          "{0}SELECT '{1}: '||COALESCE(group_concat({2}, '; '), '') AS Line "
          "FROM (SELECT * FROM {1} ORDER BY rowid)",
          digestSelect_.empty() ? "" : " UNION ALL ", table, cells);
    }
  }

  TestStore& store_;
  std::vector<std::string> tables_;
  std::string digestSelect_;
};

// A store with something of everything.
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

class OperationFaultsTest : public testing::TestWithParam<Fault> {
 protected:
  // What the operation left undisturbed.
  struct Left {
    std::string Digest;
    std::string Shown;
  };

  OperationFaultsTest() { FillStore(store_); }

  static std::string ShownBy(const Work& work) { return work.Shown ? work.Shown() : std::string(); }
  static bool Press(Hands& hands, const Work& work, const std::function<bool()>& press) {
    hands.Prompt.Clear();
    hands.Prompt.WillAnswer(work.Answer);
    const bool done = press();
    hands.Prompt.ForgetScript();
    return done && hands.Prompt.Messages().empty();
  }
  static bool Finished(const Work& work) { return !work.Finish || work.Finish(); }
  static bool Agrees(const Work& work) { return !work.Agrees || work.Agrees(); }

  Left Undisturbed(const Operation& operation) {
    image_->Restore();
    Hands hands(store_);
    const Work work = operation.Prepare(hands);
    EXPECT_TRUE(Press(hands, work, work.Do) && Finished(work)) << hands.Prompt.LastMessage();
    EXPECT_TRUE(Agrees(work));
    return {image_->Digest(), ShownBy(work)};
  }

  std::vector<std::string> MayBeLeft(const Operation& operation, const std::string& done) {
    std::vector<std::string> digests;
    if (operation.MayBeDone || GetParam() == Fault::AnswerLost) {
      digests.push_back(done);
    }
    std::vector<std::vector<std::string>> changes = operation.Partly;
    changes.emplace_back();  // none
    for (const std::vector<std::string>& statements : changes) {
      image_->Restore();
      for (const std::string& statement : statements) {
        store_.Execute(statement);
      }
      digests.push_back(image_->Digest());
    }
    return digests;
  }

  void ExpectItIsSaid(const Operation& operation, const Hands& hands) {
    if (operation.SaysNothing) {
      EXPECT_THAT(hands.Prompt.Messages(), IsEmpty());
      return;
    }
    std::vector<testing::Matcher<std::string>> texts{HasSubstr(std::string(kFaultText))};
    for (const std::string_view text : operation.Messages) {
      texts.emplace_back(HasSubstr(std::string(text)));
    }
    if (GetParam() != Fault::Refused) {
      texts.emplace_back(HasSubstr("The connection to the database was lost"));
    }
    EXPECT_THAT(hands.Prompt.Messages(),
                Contains(Field(&ScriptedPrompts::Shown::Text, testing::AnyOfArray(texts))));
    EXPECT_THAT(hands.Prompt.Messages(), Each(Field(&ScriptedPrompts::Shown::Icon, PromptIcon::Critical)));
  }

  // False when the operation passed without meeting the fault.
  bool FailNth(const Operation& operation, int n, const Left& left,
               const std::vector<std::string>& mayBeLeft) {
    image_->Restore();
    auto hands = std::make_unique<Hands>(store_);
    Work work = operation.Prepare(*hands);
    FailCall(n, GetParam(), CountedCalls::Statements);
    bool done = Press(*hands, work, work.Do);
    const bool met = EndFaults();
    EXPECT_EQ(hands->Busy.Depth(), 0);
    if (!done) {
      EXPECT_TRUE(met);
      ExpectItIsSaid(operation, *hands);
      EXPECT_THAT(mayBeLeft, Contains(image_->Digest()));
      EXPECT_TRUE(GetParam() == Fault::AnswerLost || Agrees(work));
      done = Press(*hands, work, work.Again ? work.Again : work.Do);
    }
    done = done && Finished(work);
    if (!done && operation.OnlyFinally && GetParam() != Fault::Refused) {
      EXPECT_THAT(mayBeLeft, Contains(image_->Digest()));
      work = {};
      hands = std::make_unique<Hands>(store_);
      work = operation.Prepare(*hands);
      done = image_->Digest() == left.Digest || (Press(*hands, work, work.Do) && Finished(work));
    }
    const std::string digest = image_->Digest();
    EXPECT_TRUE(done || (GetParam() == Fault::AnswerLost && digest == left.Digest))
        << hands->Prompt.LastMessage();
    EXPECT_EQ(digest, left.Digest);
    if (done && digest == left.Digest) {
      EXPECT_EQ(ShownBy(work), left.Shown);
      EXPECT_TRUE(Agrees(work));
    }
    return met;
  }

  void FailEach(const std::vector<Operation>& operations) {
    image_.emplace(store_);
    for (const Operation& operation : operations) {
      SCOPED_TRACE(operation.Name);
      const Left left = Undisturbed(operation);
      const std::vector<std::string> mayBeLeft = MayBeLeft(operation, left.Digest);
      int n = 1;
      for (bool met = true; met && !HasFailure(); ++n) {
        SCOPED_TRACE(n);
        met = FailNth(operation, n, left, mayBeLeft);
      }
      EXPECT_TRUE(n > 2 || HasFailure()) << "the faults never reached it";
    }
  }

  SqliteStore store_;
  std::optional<StoreImage> image_;
};

TEST_P(OperationFaultsTest, OfFilters) {
  FailEach(OperationsOfFilters());
}
TEST_P(OperationFaultsTest, OfCategories) {
  FailEach(OperationsOfCategories());
}
TEST_P(OperationFaultsTest, OfAlerts) {
  FailEach(OperationsOfAlerts());
}
TEST_P(OperationFaultsTest, OnTraps) {
  FailEach(OperationsOnTraps());
}

// Two places to lose a link: before the store does its work, and before it says that it did.
constexpr const char* kFaultNames[] = {"Refused", "LinkLost", "AnswerLost"};
INSTANTIATE_TEST_SUITE_P(, OperationFaultsTest,
                         testing::Values(Fault::Refused, Fault::LinkLost, Fault::AnswerLost),
                         [](const auto& each) { return kFaultNames[static_cast<int>(each.param)]; });

}  // namespace
}  // namespace korvane::test
