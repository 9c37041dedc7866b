// Real SNMP traffic through the receiver and the store to what the windows show: as categories select it,
// also through an outage of the store.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "categories/CategoryCopies.h"
#include "categories/CategoryStore.h"
#include "intake/StoreFeeder.h"
#include "receiver/Running.h"
#include "reports/ReportModel.h"
#include "support/Processes.h"
#include "support/RulesWorld.h"

namespace korvane::test {
namespace {

using std::chrono::milliseconds;

constexpr char kSample[] = "1.3.6.1.4.1.32473.1";
constexpr char kOther[] = "1.3.6.1.4.1.99999.7";
constexpr char kText[] = "1.3.6.1.4.1.32473.1.1.1.0";

bool Eventually(const std::function<bool()>& condition) {
  return WaitUntil(condition, std::chrono::seconds(60));
}

// Every text begins with a tag in brackets, by which the rows are told apart.
char TagOf(std::string_view varBinds) {
  const std::size_t bracket = varBinds.find('[');
  return bracket == std::string_view::npos ? '?' : varBinds[bracket + 1];
}

std::string TagsOf(const traplist::TrapRows& rows) {
  std::string tags;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    tags += TagOf(rows.VarBindsAt(row));
  }
  std::ranges::sort(tags);
  return tags;
}

// The console without its windows, as it stands after a start, with the real receiver link.  A test drives
// the ticks.
struct HeadlessConsole : RulesWorld {
  explicit HeadlessConsole(TestStore& store) : RulesWorld(store) {
    State.gMaxViewTraps = 10'000;
    SystemList.LoadSystems(Connection);
    ReadRules();
    Model.AttachIntake(Link);
    Windows.Counts = &Model;
    Model.Load();
    OpenWindow({.WindowName = "All Traps "});
  }
  ~HeadlessConsole() override { Feeder.StopRecvEvents(); }

  traps::TrapsModel& OpenWindow(params::WindowParameters parameters) {
    Opened.push_back(Open(traps::WindowKind::Selected, std::move(parameters)));
    Opened.back()->Reset();
    return *Opened.back();
  }
  traps::TrapsModel& AllTraps() { return *Opened.front(); }
  // Ticks until "All Traps " holds as many rows.
  bool Shows(std::size_t rows) {
    return Eventually([&] {
      Model.CheckTraps();
      return AllTraps().Rows().Count() >= rows;
    });
  }
  // The window has each trap that is not acknowledged once, the Systems window counts them all.
  void ExpectAllOfTheStore() {
    std::vector<std::int32_t> stored;
    store::Recordset rows = Store.Db().OpenRecordset(
        "SELECT SequenceNumber FROM EventTrap WHERE EventAck = 0 ORDER BY SequenceNumber");
    while (rows.Next()) {
      stored.push_back(rows.Integer("SequenceNumber"));
    }
    EXPECT_THAT(Numbers(AllTraps().Rows()), testing::WhenSorted(stored));
    std::int64_t counted = 0;
    for (std::size_t row = 0; row < Model.RowCount(); ++row) {
      counted += Model.Row(row).Total();
    }
    EXPECT_EQ(counted, static_cast<std::int64_t>(stored.size()));
  }
  // Of a report of all times.
  std::string TagsOfReport(params::WindowParameters parameters) {
    constexpr auto kForever = std::numeric_limits<std::int32_t>::max();
    reports::ReportModel report(ForReports,
                                {.FromTime = 0, .ToTime = kForever, .Window = std::move(parameters)},
                                reports::ReportModel::Events{.BatchesReady = [] {}, .StateChanged = [] {}});
    report.Reset();
    EXPECT_TRUE(Eventually([&] {
      report.TakeBatches(milliseconds(15));
      return report.State() == reports::ReportState::Complete;
    })) << report.Notice();
    return TagsOf(report.Rows());
  }
  void CategoriesChanged() override {
    std::vector<intake::StoredTrapsTaker*> takers = {&Model};
    takers.insert(takers.end(), Windows.Models.begin(), Windows.Models.end());
    Stored.Load(takers);
  }

  static intake::StoreFeederOptions Quick(const intake::LoadBounds& bounds) {
    intake::StoreFeederOptions options;
    options.KnownNumber = [&bounds] { return bounds.StartNumber; };
    options.PollInterval = milliseconds(50);
    options.FirstRetry = milliseconds(50);
    options.LongestRetry = milliseconds(200);
    return options;
  }
  intake::StoreFeeder Feeder{
      [this] { return OpenConnection(); }, std::make_shared<FakeHostNames>(), {}, Quick(Bounds)};
  intake::Intake Link{Feeder, Names, SystemList, Model, Windows, ChangesOfStore, State, Prompt, DebugLog};
  std::vector<std::unique_ptr<traps::TrapsModel>> Opened;
};

struct Wanted {
  std::string Category;
  std::vector<categories::TrapDetail> Rows;
  std::string Tags;  // of the traps that it is about
};

// The order matters: the first category that takes a trap grades it.
const std::vector<Wanted> kCategories = {
    {"By name", {{.Source = "CORErouter", .Severity = 1}}, "bc"},
    {"By address", {{.Source = "10.30.0.1", .Severity = 2}}, "ai"},
    {"Downs", {{.GenericTrap = 2, .Severity = 3}}, "ab"},
    {"Doors", {{.GenericTrap = 6, .EnterpriseOid = kSample, .SpecificTrap = "3", .Severity = 4}}, "de"},
    {"Cabinets", {{.GenericTrap = 6, .EnterpriseOid = kSample, .Severity = 5}}, "def"},
    {"Enterprises", {{.GenericTrap = 6, .Severity = 3}}, "defgh"},
    {"Fans", {{.VarBinds = "fAN FAILED", .Severity = 1}}, "fg"},
    {"Either", {{.GenericTrap = 3}, {.GenericTrap = 0}}, "ci"},
    {"Neither", {{.Source = "10.30.0", .GenericTrap = 2}}, ""},
};

class TrapsReachTheWindowsTest : public testing::Test {
 protected:
  void V1(const std::string& enterprise, const std::string& agent, int generic, int specific,
          const std::string& text) {
    Send({"1", "-c", "public", receiver_.Address(), enterprise, agent, std::to_string(generic),
          std::to_string(specific), "", kText, "s", text});
  }
  void V2(const std::string& trap, const std::string& agent, const std::string& text) {
    Send({"2c", "-c", "public", receiver_.Address(), "", trap, kText, "s", text, "1.3.6.1.6.3.18.1.3.0", "a",
          agent});
  }
  void Send(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"snmptrap", "-Ln", "-v"});
    ASSERT_EQ(receiver::RunCommand(arguments), 0);
    ++sent_;
  }
  // Nine traps, "a" to "i".
  void SendAll() {
    V1("1.3.6.1.2.1.11", "10.30.0.1", 2, 0, "[a] quiet");
    V2("1.3.6.1.6.3.1.1.5.3", "10.30.0.2", "[b] quiet");
    V2("1.3.6.1.6.3.1.1.5.4", "10.30.0.2", "[c] quiet");
    V1(kSample, "10.30.0.3", 6, 3, "[d] quiet");
    V2(std::string(kSample) + ".0.3", "10.30.0.3", "[e] quiet");
    V2(std::string(kSample) + ".0.4", "10.30.0.4", "[f] the fan FAILED in PSU 2");
    V1(kOther, "10.30.0.6", 6, 3, "[g] Fan failed in psu 1");
    V2(std::string(kOther) + ".0.42", "10.30.0.22", "[h] the fan faile");
    V1("1.3.6.1.4.1.8072.3.2.10", "10.30.0.1", 0, 0, "[i] quiet");
  }
  // Live windows and fresh reports hold exactly what their categories are about, each trap this often.
  void ExpectSelected(HeadlessConsole& console, std::size_t times) {
    for (std::size_t i = 0; i < kCategories.size(); ++i) {
      std::string tags;
      for (const char tag : kCategories[i].Tags) {
        tags.append(times, tag);
      }
      EXPECT_EQ(TagsOf(console.Opened.at(i + 1)->Rows()), tags) << kCategories[i].Category;
      EXPECT_EQ(console.TagsOfReport({.Category = kCategories[i].Category}), tags) << kCategories[i].Category;
    }
    const std::map<char, std::int32_t> graded = {{'a', 2}, {'b', 1}, {'c', 1}, {'d', 4}, {'e', 4},
                                                 {'f', 5}, {'g', 3}, {'h', 3}, {'i', 2}};
    const traplist::TrapRows& rows = console.AllTraps().Rows();
    EXPECT_EQ(rows.Count(), sent_);
    for (std::size_t row = 0; row < rows.Count(); ++row) {
      const char tag = TagOf(rows.VarBindsAt(row));
      EXPECT_EQ(rows.SeverityAt(row), times == 0 ? 0 : graded.at(tag)) << tag;
    }
  }

  SqliteStore store_;
  receiver::RunningReceiver receiver_{""};
  std::size_t sent_ = 0;
};

TEST_F(TrapsReachTheWindowsTest, AsCategoriesSelectThemThroughAnOutageAndThroughAFile) {
  store_.AddSystem("CoreRouter", "10.30.0.2");
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  HeadlessConsole console(store_);
  for (const Wanted& wanted : kCategories) {
    console.OpenWindow({.Category = wanted.Category});
  }
  const auto manager = console.OpenConnection();
  categories::CategoryTransaction change(*manager);
  for (const Wanted& wanted : kCategories) {
    categories::CategoryWriter(change).AddCategory(wanted.Category, "", 0, wanted.Rows);
  }
  // While the operator thinks it over, nothing waits for the change.
  V2("1.3.6.1.6.3.1.1.5.2", "10.30.0.9", "[x] quiet");
  SendAll();
  ASSERT_TRUE(console.Shows(sent_)) << receiver_.Log();
  console.AllTraps().AcknowledgeSelected(std::vector<std::uint32_t>{0});
  --sent_;
  ExpectSelected(console, 0);
  change.Commit();
  categories::CategoriesSaved(console.ForCategories);
  ExpectSelected(console, 1);

  // The store goes away while traps keep coming, and comes back: everything is shown, nothing twice.
  store_.TakeAway();
  SendAll();
  EXPECT_TRUE(Eventually([&] {
    console.Model.CheckTraps();
    return receiver_.Counters()["spooled"] == 9;
  })) << "the receiver never missed the store";
  store_.BringBack();
  ASSERT_TRUE(console.Shows(sent_)) << receiver_.Log();
  ExpectSelected(console, 2);

  const std::string file = (console.InstallFolder / "all.dvcat").string();
  EXPECT_EQ(categories::WriteChosen(categories::CategoriesOfStore(console.Connection), file), "");
  categories::CategoryTransaction removal(*manager);
  for (const Wanted& wanted : kCategories) {
    categories::CategoryStore(removal).DeleteCategoryAllKinds(wanted.Category);
  }
  removal.Commit();
  categories::CategoriesSaved(console.ForCategories);
  ExpectSelected(console, 0);
  categories::StoreChosen(categories::CategoriesOfFile(file, console.Connection), *manager,
                          [](std::size_t, std::size_t) {});
  categories::CategoriesSaved(console.ForCategories);
  ExpectSelected(console, 2);
  console.ExpectAllOfTheStore();
  EXPECT_EQ(console.Prompt.LastMessage(), "");
}

}  // namespace
}  // namespace korvane::test
