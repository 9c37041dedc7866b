// Makes the N-th statement of every operation fail, for N = 1, 2, 3 … until the operation passes: the store
// is then as it was, the operator is told, and the operation done again leaves what it leaves undisturbed.
// The thread that follows the store goes through the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <utility>

#include "alerts/ActionsForm.h"
#include "alerts/AlertForm.h"
#include "alerts/AlertsForm.h"
#include "categories/CategoriesForm.h"
#include "categories/CategoryCopies.h"
#include "categories/WizardForm.h"
#include "common/RegistryValues.h"
#include "intake/ChangeFollower.h"
#include "intake/StoreFollower.h"
#include "params/FiltersForm.h"
#include "store/ChangeLog.h"
#include "support/OdbcFaults.h"
#include "support/Processes.h"
#include "support/RulesWorld.h"

namespace korvane::test {
namespace {

using alerts::ActionKind;
using alerts::AlertsForm;
using categories::CategoriesForm;
using categories::WizardForm;
using params::FiltersForm;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using traps::TrapsModel;

constexpr int kTraps = 6;

// A store with something of everything.
struct FilledStore : SqliteStore {
  FilledStore() {
    AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "acme", "A fan stopped.");
    const StoredCriterion fan{
        .EnterpriseOid = "1.3.6.1.4.1.9", .GenericTrap = 6, .SpecificTrap = 1, .Severity = 5};
    AddCategory("Bare", {});
    AddCategory("Fans", std::vector{fan, StoredCriterion{.GenericTrap = 2, .Severity = 3}});
    AddFilter({.Source_Agent = "hidden"});
    AddSystem("core", "10.0.0.9");
    for (std::int32_t number = 1; number <= kTraps; ++number) {
      AddTrap({.EventTime = 1000 + number, .Source = number % 3 == 0 ? "ROUTER1" : "router1"});
    }
    for (const char* statement :
         {"INSERT INTO Category_Relation_Master VALUES ('All Categories', 'Fans', 1)",
          "INSERT INTO Trap_Detail (Source_Agent, EnterpriseOid, GenericTrap, SpecificTrap) "
          "VALUES ('10.0.0.1', '1.3.6.1.4.1.9', 6, 1)",
          "INSERT INTO Message_Detail (Destination) VALUES ('pc1')",
          "INSERT INTO Trap_Action_Group (Description, Trap_ID) "
          "SELECT 'Fans stop', MAX(Trap_Table_ID) FROM Trap_Detail",
          "INSERT INTO Trap_Notification_Master (Trap_Group_ID, Message_ID) "
          "SELECT MAX(Trap_Group_ID), 2 FROM Trap_Action_Group"}) {
      Execute(statement);
    }
  }
};

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
    if (table.ends_with("Change_Log")) {
      // What was done twice is noted twice, each time at another moment.
      digestSelect_ +=
          fmt::format("{}SELECT 'Noted: '||COALESCE(group_concat(DISTINCT Kind), '') AS Line FROM {}",
                      digestSelect_.empty() ? "" : " UNION ALL ", table);
    } else if (!table.ends_with("sqlite_sequence")) {
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

// A console as it stands after a start, without its windows.
struct Hands : RulesWorld {
  explicit Hands(SqliteStore& store) : RulesWorld(store) {
    Bounds.InitialLoad = false;
    State.gLastTrapTime = 1'000'000;
    Platform.Registry.AddKey(kManagerKey);
  }
};

// An operation that is about to be carried out.
struct Work {
  std::function<bool()> Do;  // true: done, as far as the operator can see; what is said means it is not
  std::function<bool()> Again = Do;                    // what the operator does when it failed
  std::function<bool()> Finish = [] { return true; };  // what makes it final
  std::function<bool()> Agrees = [] { return true; };  // what is shown is what the store holds
  PromptAnswer Answer = PromptAnswer::Yes;             // to each question that it asks
};

struct Operation {
  const char* Name = "";
  std::function<Work(Hands&)> Prepare;
  // What a failure may leave beside the store as it was: the changes of each, in SQL.
  std::vector<std::vector<std::string>> Partly = {};
  bool MayBeDone = false;    // a failure may come when all is stored
  bool OnlyFinally = false;  // the transaction that Finish commits goes with its link: it is all begun anew
  bool OnlyReads = false;    // without a transaction
  bool Followed = false;     // by the change log: what was done without an answer is seen, too
};

// The dialog is open and was edited; what is left is what closing does.
Work EditingAFilter(Hands& hands) {
  auto form = std::make_shared<FiltersForm>(hands.ForFilters);
  form->Replace(0, {.SourceAgent = "other"});
  return {.Do = [form] { return form->Save(); }, .Answer = PromptAnswer::Cancel};  // whether to try again
}

Work RemovingAFilter(Hands& hands) {
  auto form = std::make_shared<FiltersForm>(hands.ForFilters);
  const auto stored = [&hands] { return FiltersForm(hands.ForFilters).RowCount(); };
  return {.Do = [form] { return form->Remove(0); },
          .Agrees = [form, stored] { return form->RowCount() == stored(); }};
}

// "Manage Categories" with "Fans" selected, and the operator in front of its wizard, who enters something and
// presses Finish again after an error.
struct Manager : categories::CategoriesWindow {
  explicit Manager(
      Hands& hands, std::function<void(WizardForm&)> enter = [](WizardForm&) {})
      : Operator(hands), Enter(std::move(enter)), Form(hands.ForCategories, *this) {
    Form.Open();
    Form.SelectCategory(1);
  }
  bool DeleteFans() {
    return (Form.SelectedName() != "Fans" || Form.DeleteCategory()) && Operator.Prompt.Messages().empty();
  }
  bool Ok() {
    Left = Left || Form.Ok();
    return Left;
  }
  void RunWizard(categories::WizardTask& task, categories::CategoryTransaction& transaction) override {
    WizardForm form(task, transaction, {Operator.Names, Operator.Prompt, Operator.Busy});
    for (int press = 0; form.WasRead() && press < 6 && !Finished; ++press) {
      if (form.NextCaption() == "&Finish") {
        Enter(form);
      } else {
        form.EditName("Made");
      }
      Finished = form.NextOrFinish();
    }
  }
  void ShowBusyPointer(bool) override {}

  Hands& Operator;
  std::function<void(WizardForm&)> Enter;
  CategoriesForm Form;
  bool Finished = false;
  bool Left = false;
};

Operation Managing(
    const char* name, std::function<bool(Manager&)> press,
    std::function<void(WizardForm&)> enter = [](WizardForm&) {}) {
  return {.Name = name,
          .Prepare = [press, enter](Hands& hands) -> Work {
            auto manager = std::make_shared<Manager>(hands, enter);
            return {.Do = [manager, press] { return manager->Finished || press(*manager); },
                    .Finish = [manager] { return manager->Ok() && (manager->Form.Unload(), true); }};
          },
          .OnlyFinally = true};
}

void EnterTrap(WizardForm& form) {
  form.Criteria().ChooseGeneric(4);
  form.ChooseSeverity(3);
  for (int i = 0; i < 2 && form.ListShows() && form.Pending().empty(); ++i) {
    form.Add();
  }
}

Work Importing(Hands& hands) {
  const std::string path = (hands.InstallFolder / "some.dvcat").string();
  std::vector<categories::OfferedCategory> some = categories::CategoriesOfStore(hands.Connection);
  some.back().Category.Details.Description = "Replaced";
  some.back().Category.Details.Traps.pop_back();
  some.push_back({.Category = {.Name = "New", .Details = some.back().Category.Details}});
  categories::WriteChosen(some, path);
  const auto import = [&hands, path] {
    try {
      std::vector<categories::OfferedCategory> offered = categories::CategoriesOfFile(path, hands.Connection);
      for (categories::OfferedCategory& each : offered) {
        each.Chosen = true;
      }
      categories::StoreChosen(offered, *hands.OpenConnection(), [](std::size_t, std::size_t) {});
      return true;
    } catch (const store::DatabaseError& error) {  // as the frame does
      hands.Prompt.Show(error.what(), PromptIcon::Critical);
      return false;
    }
  };
  return {.Do = import, .Again = [&hands, import] {
            // Imported twice, a category has another number.
            return hands.Rows("Category_Group_Master WHERE Category_Name = 'New'") == 1 || import();
          }};
}

std::string ShownIn(const AlertsForm& form) {
  std::string shown;
  for (const alerts::Alert& alert : form.Alerts()) {
    shown += alert.Description;
    for (const ActionKind kind : alerts::kActionKinds) {
      shown += AlertsForm::Uses(alert, kind) ? " Yes" : " No";
    }
  }
  return shown;
}

std::function<Work(Hands&)> InAlerts(std::function<bool(AlertsForm&)> press) {
  return [press](Hands& hands) -> Work {
    auto form = std::make_shared<AlertsForm>(hands.ForAlerts);
    return {.Do = [form, press] { return press(*form); },
            .Agrees = [&hands, form] { return ShownIn(*form) == ShownIn(AlertsForm(hands.ForAlerts)); }};
  };
}

alerts::Alert FirstAlert(Hands& hands) {
  return AlertsForm(hands.ForAlerts).Alerts().front();
}

Work SavingAlert(Hands& hands, const std::optional<alerts::Alert>& alert) {
  auto form = std::make_shared<alerts::AlertForm>(hands.ForAlerts, alert);
  form->EditDescription("Doors");
  form->Criteria().EditSource("10.0.0.2");
  for (const ActionKind kind : alerts::kActionKinds) {
    form->SetAction(kind, 2);
  }
  return {.Do = [form] { return form->Ok(); }};
}

// Opened and left by OK without an edit, which is to change nothing however little could be read.
Work ReviewingAlert(Hands& hands) {
  return {.Do = [&hands, alert = FirstAlert(hands)] {
    alerts::AlertForm form(hands.ForAlerts, alert);
    return form.WasRead() && form.Ok();
  }};
}

Work SavingActions(Hands& hands) {
  auto form = std::make_shared<alerts::ActionsForm>(hands.ForAlerts);
  form->ClearTabs();
  for (const ActionKind kind : alerts::kActionKinds) {
    form->AddTab(kind, 1);
  }
  form->Beep.Description = "loud";
  form->Message.Text = "pc2";
  form->Custom.Text = "/opt/tool";
  return {.Do = [form] { return !form->Ok(); }};
}

constexpr const char* kNoted = "INSERT INTO Change_Log (Change_Time, Kind) VALUES (0, 1)";

std::string Acknowledged(int count) {
  return fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber <= {}", count);
}

// A window then shows what is still to be acknowledged.
std::function<Work(Hands&)> Acknowledging(
    std::function<bool(Hands&, TrapsModel&, const intake::System&)> press) {
  return [press](Hands& hands) -> Work {
    hands.AddSystem("ROUTER1");
    const intake::System& system = hands.AddSystem("router1");
    std::shared_ptr<TrapsModel> window = hands.Open();
    window->Reset();
    return {.Do = [&hands, &system, window, press] { return press(hands, *window, system); },
            .Agrees =
                [&hands, window] {
                  bool more = false;
                  hands.ChangesOfStore.TakeNews(intake::ChangeFollower(0).Read(
                      hands.Connection, std::chrono::steady_clock::now(), more));
                  return std::cmp_equal(window->Rows().Count(), hands.Rows("EventTrap WHERE EventAck = 0"));
                }};
  };
}

bool AcknowledgeAllRows(Hands&, TrapsModel& window, const intake::System&) {
  std::vector<std::uint32_t> rows(window.Rows().Count());
  std::iota(rows.begin(), rows.end(), 0U);
  if (!rows.empty()) {
    window.AcknowledgeSelected(rows);
  }
  return true;
}

bool AcknowledgeSystem(Hands& hands, TrapsModel&, const intake::System& system) {
  return hands.Acknowledge.Ask(system, system.Name, [] { return 2000; }) ==
         systems::SystemAcknowledgement::Done;
}

const Operation kOperations[] = {
    {.Name = "a filter is edited",
     .Prepare = EditingAFilter,
     // The new one stands before the old one goes, so that no trap shows in between.
     .Partly = {{"INSERT INTO Trap_Detail (Source_Agent) VALUES ('other')",
                 "INSERT INTO Trap_Filter_Group (Trap_ID, Description) SELECT MAX(Trap_Table_ID), 'other, "
                 "-All-, -All-, -All-, "
                 "-All-' FROM Trap_Detail",
                 "UPDATE Trap_Filter_Group SET Sort_Order = 1",
                 "INSERT INTO Change_Log (Change_Time, Kind) VALUES (0, 5)"}},
     .MayBeDone = true},
    {"a filter is removed", RemovingAFilter},
    Managing(
        "a category is made", [](Manager& m) { return m.Form.CreateCategory(); }, EnterTrap),
    Managing(
        "a category is edited", [](Manager& m) { return m.Form.EditCategory(); },
        [](WizardForm& form) { form.EditDescription("All that turns, and more"); }),
    Managing(
        "a trap is edited", [](Manager& m) { return m.Form.EditTrap(0).has_value(); },
        [](WizardForm& form) { form.ChooseSeverity(1); }),
    Managing("a trap is removed", [](Manager& m) { return m.Form.RemoveTrap(0); }),
    Managing(
        "a category is moved",
        [](Manager& m) { return m.Form.Selected() == 0U || m.Form.MoveCategory(categories::Direction::Up); }),
    Managing("a category is deleted", [](Manager& m) { return m.DeleteFans() && m.Ok(); }),
    {"categories are imported", Importing},
    {"an alert is added", [](Hands& hands) { return SavingAlert(hands, std::nullopt); }},
    {"an alert is edited", [](Hands& hands) { return SavingAlert(hands, FirstAlert(hands)); }},
    {.Name = "an alert is looked at", .Prepare = ReviewingAlert, .OnlyReads = true},
    {"an alert is removed", InAlerts([](AlertsForm& form) { return form.Remove(1); })},
    {.Name = "an alert's actions are configured",
     .Prepare = InAlerts([](AlertsForm& form) {
       return form.SetActions(1, {ActionKind::Beep, ActionKind::Email}, {.Beep = 2, .Email = 2});
     }),
     .MayBeDone = true},
    {"the four actions are saved", SavingActions},
    {.Name = "rows are acknowledged",
     .Prepare = Acknowledging(AcknowledgeAllRows),
     .Partly = {{Acknowledged(1), kNoted},
                {Acknowledged(2), kNoted},
                {Acknowledged(3), kNoted},
                {Acknowledged(4), kNoted},
                {Acknowledged(5), kNoted}},
     .Followed = true},
    {.Name = "a system is acknowledged", .Prepare = Acknowledging(AcknowledgeSystem), .Followed = true},
};

class OperationFaultsTest : public testing::TestWithParam<Fault> {
 protected:
  static bool Press(Hands& hands, const Work& work, const std::function<bool()>& press) {
    hands.Prompt.Clear();
    hands.Prompt.WillAnswer(work.Answer);
    hands.Prompt.WillAnswer(work.Answer);
    const bool done = press();
    hands.Prompt.ForgetScript();
    return done && hands.Prompt.Messages().empty();
  }

  std::string Undisturbed(const Operation& operation) {
    image_.Restore();
    Hands hands(store_);
    const Work work = operation.Prepare(hands);
    EXPECT_TRUE(Press(hands, work, work.Do) && work.Finish() && work.Agrees()) << hands.Prompt.LastMessage();
    return image_.Digest();
  }

  std::vector<std::string> MayBeLeft(const Operation& operation, const std::string& done) {
    std::vector<std::string> digests;
    if (operation.MayBeDone || GetParam() == Fault::AnswerLost) {
      digests.push_back(done);
    }
    std::vector<std::vector<std::string>> changes = operation.Partly;
    changes.emplace_back();  // none
    for (const std::vector<std::string>& statements : changes) {
      image_.Restore();
      for (const std::string& statement : statements) {
        store_.Execute(statement);
      }
      digests.push_back(image_.Digest());
    }
    return digests;
  }

  static void ExpectItIsSaid(const Hands& hands) {
    std::vector<testing::Matcher<std::string>> texts{HasSubstr(std::string(kFaultText)),
                                                     HasSubstr(" information from the Database. ")};
    if (GetParam() != Fault::Refused) {
      texts.emplace_back(HasSubstr("The connection to the database was lost"));
    }
    using Shown = ScriptedPrompts::Shown;
    std::vector<std::string> said = hands.Prompt.Causes;
    for (const Shown& message : hands.Prompt.Messages()) {
      said.push_back(message.Text);
    }
    EXPECT_THAT(said, Contains(testing::AnyOfArray(texts)));
    EXPECT_THAT(hands.Prompt.Messages(), testing::Each(Field(&Shown::Icon, PromptIcon::Critical)));
  }

  // False when the operation passed without meeting the fault.
  bool FailNth(const Operation& operation, int n, const std::string& left,
               const std::vector<std::string>& mayBeLeft) {
    image_.Restore();
    auto hands = std::make_unique<Hands>(store_);
    Work work = operation.Prepare(*hands);
    FailCall(n, GetParam(), CountedCalls::Statements);
    bool done = Press(*hands, work, work.Do);
    const bool met = EndFaults();
    EXPECT_EQ(hands->Busy.Depth(), 0);
    if (!done) {
      EXPECT_TRUE(met);
      EXPECT_TRUE(GetParam() != Fault::Conflict || operation.OnlyFinally) << "not tried once more";
      ExpectItIsSaid(*hands);
      EXPECT_THAT(mayBeLeft, Contains(image_.Digest()));
      EXPECT_TRUE((GetParam() == Fault::AnswerLost && !operation.Followed) || work.Agrees());
      done = Press(*hands, work, work.Again);
    }
    done = done && work.Finish();
    if (!done && operation.OnlyFinally && GetParam() != Fault::Refused) {
      EXPECT_THAT(mayBeLeft, Contains(image_.Digest()));
      work = {};
      hands = std::make_unique<Hands>(store_);
      work = operation.Prepare(*hands);
      done = image_.Digest() == left || (Press(*hands, work, work.Do) && work.Finish());
    }
    EXPECT_EQ(image_.Digest(), left) << hands->Prompt.LastMessage();
    EXPECT_TRUE(done ? work.Agrees() : GetParam() == Fault::AnswerLost) << hands->Prompt.LastMessage();
    return met;
  }

  FilledStore store_;
  StoreImage image_{store_};
};

TEST_P(OperationFaultsTest, EveryOperationIsDoneWholeOrSaysThatItIsNot) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.Name);
    const std::string left = Undisturbed(operation);
    const std::vector<std::string> mayBeLeft = MayBeLeft(operation, left);
    int n = 1;
    for (bool met = true; met && !HasFailure(); ++n) {
      SCOPED_TRACE(n);
      met = FailNth(operation, n, left, mayBeLeft);
    }
    EXPECT_TRUE(n > 2 || (operation.OnlyReads && GetParam() == Fault::Conflict) || HasFailure())
        << "the faults never reached it";
  }
}

// Whatever call of a read fails, each trap and each entry of the change log comes once.
TEST(StoreFollowerFaultsTest, EverythingIsDeliveredOnceWhicheverCallFails) {
  SqliteStore store;
  for (const Fault fault : {Fault::Refused, Fault::LinkLost}) {
    bool met = true;
    for (int n = 1; met && !testing::Test::HasFailure(); ++n) {
      SCOPED_TRACE(n);
      store.Execute("DELETE FROM EventTrap");
      store.Execute("DELETE FROM Change_Log");
      intake::StoreFollower follower(intake::TrapFollower(0), 0, std::chrono::minutes(1));
      store::Connection connection;
      store.Connect(connection);
      const auto start = std::chrono::steady_clock::now();
      follower.Read(connection, start);
      store.AddTraps(std::vector<StoredTrap>{{.SequenceNumber = 1}, {.SequenceNumber = 3}});
      store::NoteChange(store.Db(), store::ChangeKind::Notes, store::SelectionOf({1}));

      std::vector<std::int32_t> numbers;
      std::size_t changes = 0;
      FailCall(n, fault);
      for (int second = 1; second <= 3; ++second) {
        try {
          const auto read = follower.Read(connection, start + std::chrono::seconds(second));
          for (const auto& trap : read.Traps) numbers.push_back(trap.SequenceNumber);
          changes += read.News.Changes.size();
          EXPECT_FALSE(read.Replaced);
        } catch (const store::DatabaseError&) {
          if (!connection.IsOpen()) store.Connect(connection);
        }
      }
      met = EndFaults();
      EXPECT_EQ(numbers, (std::vector<std::int32_t>{1, 3}));
      EXPECT_EQ(changes, 1U);
    }
  }
}

// Two places to lose a link: before the store does its work, and before it says that it did.
constexpr const char* kFaultNames[] = {"Refused", "LinkLost", "AnswerLost", "Conflict"};
INSTANTIATE_TEST_SUITE_P(, OperationFaultsTest,
                         testing::Values(Fault::Refused, Fault::LinkLost, Fault::AnswerLost, Fault::Conflict),
                         [](const auto& each) { return kFaultNames[static_cast<int>(each.param)]; });

}  // namespace
}  // namespace korvane::test
