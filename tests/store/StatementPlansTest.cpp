// What console and receiver ask of the store on an ordinary day, recorded on its way to the driver manager:
// no statement looks at more rows than it returns or changes, on any engine, however much is stored.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <fmt/format.h>

#include "alerts/AlertReports.h"
#include "intake/StoreFeeder.h"
#include "receiver/KeptLog.h"
#include "receiver/alerts/AlertReports.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Duty.h"
#include "receiver/store/Housekeeping.h"
#include "reports/ReportModel.h"
#include "store/Acknowledge.h"
#include "store/EngineTest.h"
#include "store/Heartbeats.h"
#include "store/NotesWrite.h"
#include "store/StatementCost.h"
#include "store/Tables.h"
#include "support/Processes.h"
#include "support/StatementRecord.h"
#include "support/World.h"
#include "traps/Acknowledging.h"

namespace korvane::store {
namespace {

using std::chrono::milliseconds;

constexpr std::int32_t kTraps = 30'000;
constexpr std::int32_t kUnacknowledged = 1000;  // the newest, of 100 sources
constexpr std::int32_t kStart = 1'000'000;      // time of the trap before the first; then one a second
constexpr std::int32_t kEntries = 6000;         // of the change log

// Those that look at many rows by their nature, with the reason.
const std::map<std::string, const char*> kMayLookAtMore = {
    {"SELECT COUNT(*) FROM EventTrap WHERE EventAck = 0",
     "once a minute, and at the start: of an index alone"},
    {"SELECT COUNT(*) FROM EventTrap WHERE EventTime >= 0 AND EventTime <= 0",
     "a report that is longer than some blocks: how far its progress bar goes"},
    {"SELECT COUNT(*) FROM EventStructure", "once a minute: what was changed by programs that keep no log"},
    {"SELECT Change_ID FROM Change_Log WHERE Writer = ? ORDER BY Change_ID DESC LIMIT 0",
     "the entry was just made: it is the first that is looked at"},
    {"SELECT EventTime FROM EventTrap WHERE EventAck = 0 AND EventTime < 0 ORDER BY EventTime ASC LIMIT 0 "
     "OFFSET 0",
     "how far a portion reaches: passes over what is acknowledged next, of an index alone"},
    {"SELECT EventTime FROM EventTrap WHERE EventAck = 0 AND EventTime < 0 AND EventTime >= 0 ORDER BY "
     "EventTime "
     "ASC LIMIT 0 OFFSET 0",
     "the same behind the portion before"},
    {"SELECT DISTINCT EnterpriseOid FROM EventStructure", "a list to choose from: of an index alone"},
    {"SELECT MIN(Change_ID), MAX(Change_ID) FROM Change_Log WHERE Change_Time >= 0",
     "a report: the entries since its beginning, which are read next"},
    {"SELECT DISTINCT Source FROM EventTrap WHERE EventAck = 0",
     "a system that stands for sources beyond 32 MiB of names: grows with what is unacknowledged"},
    {"SELECT EventTime FROM EventTrap WHERE EventAck = 0 AND EventTime < 0 ORDER BY EventTime DESC LIMIT 0 "
     "OFFSET 0",
     "once at the start: passes over as many as a window shows, of an index alone"},
};

// Sources whose statements are not of an ordinary day: catalogues and whole partitions, new numbers for the
// whole table, rows that are added past the driver manager.
const std::set<std::string> kApart = {"NumberWatch",   "Partitions",  "TrapPartitions", "Renumbering",
                                      "TrapTableSwap", "TrapNumbers", "EmbeddedInsert"};

std::string ShapeOf(const std::string& statement) {
  std::string shape = std::regex_replace(statement, std::regex("'[^']*'"), "?");
  shape = std::regex_replace(shape, std::regex("-?\\b[0-9]+\\b"), "0");
  return std::regex_replace(
      shape, std::regex("\\(([A-Za-z_]+ BETWEEN 0 AND 0)( OR [A-Za-z_]+ BETWEEN 0 AND 0)*\\)"), "($1 ...)");
}

struct ElapsedClocks : receiver::Clocks {
  receiver::ClockReading Read() override { return {.Wall = kStart + kTraps + 1, .Elapsed = 1'000'000}; }
  bool Synchronized() override { return true; }
};

// A console with the real receiver link, as it is once its windows are open.
struct Console : test::World {
  Console(test::TestStore& store, const std::string& name, intake::ViewOption option, std::int32_t limit)
      : World(store) {
    Connection.WriteAs({name, "desk", name});
    Question.Answer = option;
    State.gMaxViewTraps = limit;
    Model.AttachIntake(Link);
    Windows.Counts = &Model;
    Windows.Reload = [this] {
      std::vector<intake::StoredTrapsTaker*> takers = {&Model, All.get()};
      Stored.Load(takers);
    };
    Bounds.Settled = false;
    Model.Load();
    All = Open();
    All->Reset();
  }
  ~Console() { Feeder.StopRecvEvents(); }

  bool Sees(const std::function<bool()>& condition) {
    return test::WaitUntil([&] {
      Model.CheckTraps();
      return condition();
    });
  }
  std::string_view NotesOf(std::int32_t sequenceNumber) const {
    const std::vector<std::int32_t> numbers = test::Numbers(All->Rows());
    const auto row = std::ranges::find(numbers, sequenceNumber) - numbers.begin();
    return All->Rows().At(static_cast<std::size_t>(row)).EventNotes;
  }
  static intake::StoreFeederOptions Quick(const intake::LoadBounds& bounds) {
    intake::StoreFeederOptions options;
    options.KnownNumber = [&bounds] { return bounds.StartNumber; };
    options.KnownChange = [&bounds] { return bounds.StartChange; };
    options.PollInterval = milliseconds(10);
    options.CheckInterval = milliseconds(100);
    options.ReceiversEvery = milliseconds(10);
    return options;
  }
  intake::StoreFeeder Feeder{
      [this] { return OpenConnection(); }, std::make_shared<test::FakeHostNames>(), {}, Quick(Bounds)};
  intake::Intake Link{Feeder, Names, SystemList, Model, Windows, ChangesOfStore, State, Prompt, DebugLog};
  std::unique_ptr<traps::TrapsModel> All;
};

class StatementPlansTest : public EngineTest {
 protected:
  // As it is before anybody works, also what is taken out of the store again.
  void Fill() {
    const test::OffTheRecord helper;
    for (const char* table : {"EventTrap", "Change_Log", "EventStructure", "System_Table"}) {
      Made->Execute(
          fmt::format("{} {}", GetParam() == Engine::Sqlite ? "DELETE FROM" : "TRUNCATE TABLE", table));
    }
    std::vector<test::StoredTrap> traps(kTraps);
    for (std::int32_t i = 0; i < kTraps; ++i) {
      traps[static_cast<std::size_t>(i)] = {.SequenceNumber = i + 1,
                                            .EventTime = kStart + i + 1,
                                            .Source = fmt::format("10.0.0.{}", i % 100),
                                            .EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", i % 30),
                                            .EventDescription = std::string(i == kTraps - 5 ? 600 : 60, 'd'),
                                            .EventAck = i < kTraps - kUnacknowledged ? 1 : 0};
    }
    Made->AddTraps(traps);
    if (GetParam() == Engine::PostgreSql) {
      Made->Execute(
          fmt::format("ALTER TABLE EventTrap ALTER COLUMN SequenceNumber RESTART WITH {}", kTraps + 1));
    }
    const Transaction transaction(Db);
    AddRows(kChangeLog, {"Change_Time", "Kind", "Operator", "Machine", "Writer", "Numbers"}, kEntries,
            [](std::int32_t i) {
              return std::vector<BatchInsert::Value>{
                  kStart + i * 3, i % 200 == 0 ? 3 : 1 + i % 2, "ann", "desk", "x", "7"};
            });
    AddRows(kEventStructure, {"EnterpriseOid", "RequestType", "SpecificTrap", "Name"}, 3000,
            [](std::int32_t i) {
              return std::vector<BatchInsert::Value>{kOids[static_cast<std::size_t>(i % 300)], i / 300,
                                                     "trap", "maker"};
            });
    Db.Commit();
  }
  template <class Row>
  void AddRows(std::string_view table, std::vector<std::string_view> columns, std::int32_t count, Row row) {
    BatchInsert insert(Db, table, columns);
    for (std::int32_t i = 0; i < count; ++i) insert.Add(row(i));
    insert.Flush();
  }

  test::StoredTrap NewTrap() const { return {.EventTime = kStart + kTraps, .Source = "10.0.0.7"}; }
  void OtherProgram(const std::function<void()>& change) {
    const test::OffTheRecord helper;
    change();
  }

  void ConsolesWork() {
    { const Console newOnly(*Made, "eve", intake::ViewOption::ShowOnlyNewTraps, 200); }
    Console anna(*Made, "anna", intake::ViewOption::LoadRecentTraps, 200);
    Console ben(*Made, "ben", intake::ViewOption::NotAsked, kTraps);
    const auto shown = [&] { return ben.All->Rows().Count(); };
    ASSERT_EQ(shown(), kUnacknowledged - 1U) << "the newest comes by the link";
    ASSERT_TRUE(ben.Sees([&] { return shown() == kUnacknowledged; }));
    OtherProgram([&] { Made->AddTrap(NewTrap()); });
    ASSERT_TRUE(ben.Sees([&] { return shown() == kUnacknowledged + 1U; }));
    const intake::System& system = ben.SystemList.At(ben.SystemList.FindSystem("10.0.0.7"));
    const auto ofSystem = ben.Open(traps::WindowKind::PerSystem, {}, &system);
    ofSystem->Reset();
    EXPECT_EQ(ofSystem->Rows().Count(), 11U);

    // Acknowledged and taken back, each seen by the other.
    anna.All->AcknowledgeSelected(std::vector<std::uint32_t>{0, 1, 7});
    ASSERT_TRUE(ben.Sees([&] { return shown() == kUnacknowledged - 2U; }));
    anna.Strip.Press(StripKind::Told);
    ASSERT_TRUE(ben.Sees([&] { return shown() == kUnacknowledged + 1U; }));
    ben.Prompt.WillAnswer(PromptAnswer::Yes);
    ben.Acknowledge.Ask(system, "a", [] { return kStart + kTraps; });
    ben.Strip.Press(StripKind::Told);
    intake::System further;
    further.FurtherOf = &ben.SystemList;
    intake::Systems::SourcesOf(further, ben.Connection);
    traps::AcknowledgeOne(ben.ForTraps, {kTraps + 1000, kStart}, "");
    WriteNotes(anna.Connection, {kTraps - 3, kStart + kTraps - 3}, "", "called the site");
    ASSERT_TRUE(ben.Sees([&] { return ben.NotesOf(kTraps - 3) == "called the site"; }));
    // By a program that keeps no log.
    OtherProgram([&] {
      Made->Execute(fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber = {}", kTraps - 9));
    });
    ASSERT_TRUE(ben.Sees([&] { return shown() == kUnacknowledged; }));

    reports::ReportModel report(ben.ForReports,
                                {.FromTime = kStart + 1000, .ToTime = kStart + 2500, .Window = {}},
                                {.BatchesReady = [] {}, .StateChanged = [] {}}, {.RowsBeforeCount = 256});
    report.Reset();
    ASSERT_TRUE(test::WaitUntil([&] {
      report.TakeBatches(milliseconds(100));
      return report.State() == reports::ReportState::Complete;
    }));
    EXPECT_EQ(report.Rows().Count(), 1501U);
    AcknowledgeAll(ben.Connection, kStart + kTraps, [](auto...) { return true; });
    // The newest of all goes: whether the store goes as far as before is looked for.
    OtherProgram(
        [&] { Made->Execute(fmt::format("DELETE FROM EventTrap WHERE SequenceNumber > {}", kTraps)); });
    ASSERT_TRUE(test::WaitUntil([&] { return ben.Feeder.State().Following.MissingFor.count() > 0; }));
  }

  void ReceiverWorks() {
    receiver::DatabaseTrapStore traps(Made->DataSource());
    traps.Open("spool", 1000, 0);
    std::vector<receiver::SpooledTrap> some(100);
    for (std::size_t i = 0; i < some.size(); ++i) some[i].Number = i + 1;
    traps.Store(some, 0);
    traps.Skip(101, 100);
    traps.Probe();
    traps.Beat({}, true);

    const test::TempFolder folder;
    receiver::KeptLog log;
    // One of a group takes over, stores, and reads what that was.
    receiver::Spool spool(folder / "spool");
    receiver::Duty duty(spool, traps, log, {.Group = "pair"});
    some.resize(1);
    some[0].Number = 102;
    some[0].Row.EventTime = kStart + kTraps;
    spool.Append(std::vector(1, some[0].Row));
    duty.Connected(101);
    duty.Look();
    ASSERT_EQ(duty.Judge(some).Do, receiver::DutyVerdict::Action::Store);
    traps.Store(some, 101);
    duty.Done({}, some);
    duty.Look();
    some[0].Number = 103;
    duty.Judge(some);
    duty.HandOver();
    ElapsedClocks clocks;
    const std::stop_source never;
    for (const receiver::Intervals intervals : {receiver::Intervals{.AckHours = 0, .PurgeDays = 1}, {5, 0}}) {
      // Twice: what the clock alone says is held back, until it is confirmed.
      receiver::Housekeeping keeper(Made->DataSource(), intervals, clocks, folder.Path(), log,
                                    {.RowsAtFirst = 100, .MostRows = 100, .Breath = milliseconds(0)});
      keeper.Round(never.get_token());
      keeper.Round(never.get_token());
    }
    receiver::ChangesMark(Db);
    alerts::AlertReports(Db).AskTest(1);
    receiver::TakeAskedTests(Db);
  }

  static inline const std::vector<std::string> kOids = [] {
    std::vector<std::string> oids;
    for (int i = 0; i < 300; ++i) oids.push_back(fmt::format("1.3.6.1.4.1.{}", i));
    return oids;
  }();
};
KORVANE_ON_EVERY_ENGINE(StatementPlansTest);

// The statements that stand in the sources of these tables' users, as what they look like once they are sent.
std::map<std::string, std::regex> StatementsOfSources() {
  std::map<std::string, std::regex> found;
  const std::regex literals(R"re("((?:[^"\\]|\\.|"\s*")*)")re");
  for (const char* part : {"/src", "/receiver"}) {
    for (const auto& file :
         std::filesystem::recursive_directory_iterator(KORVANE_SOURCE_DIR + std::string(part))) {
      if (file.path().extension() != ".cpp" || kApart.contains(file.path().stem())) continue;
      const std::string text = test::ReadFile(file.path());
      if (text.find("kEventTrap") == std::string::npos && text.find("kChangeLog") == std::string::npos)
        continue;
      for (std::sregex_iterator at(text.begin(), text.end(), literals), end; at != end; ++at) {
        std::string literal = std::regex_replace((*at)[1].str(), std::regex("\"\\s*\""), "");
        if (!std::regex_search(
                literal,
                std::regex("^(SELECT|UPDATE|DELETE) (?!.*(Store_Identity|\\{\\}EventTime = )).*\\{\\}")))
          continue;
        std::string pattern = std::regex_replace(literal, std::regex("[.()*?+|^$]"), "\\$&");
        pattern = std::regex_replace(pattern, std::regex("\\{\\}"), "[^]*");
        found.emplace(literal, std::regex(pattern + "[^]*"));
      }
    }
  }
  return found;
}

TEST_P(StatementPlansTest, NoStatementLooksAtMoreThanItReturns) {
  Fill();
  std::set<std::string> sent;
  {
    const test::StatementRecord record;
    ConsolesWork();
    if (HasFatalFailure()) return;
    OtherProgram([&] { Fill(); });
    ReceiverWorks();
    sent = record.Taken();
  }
  for (const auto& [literal, pattern] : StatementsOfSources()) {
    EXPECT_TRUE(
        std::ranges::any_of(sent, [&](const std::string& text) { return std::regex_match(text, pattern); }))
        << "this test must make the programs send: " << literal;
  }

  Fill();
  const std::unique_ptr<CostMeter> meter = MakeCostMeter(*Made, GetParam());
  std::map<std::string, int> measured;
  const std::regex worthIt(
      "^(SELECT .* FROM|UPDATE|DELETE)[^]*(EventTrap|Change_Log|EventStructure|System_Table)[^]*");
  for (const std::string& statement : sent) {
    const std::string shape = ShapeOf(statement);
    if (!std::regex_match(statement, worthIt) || kMayLookAtMore.contains(shape) || ++measured[shape] > 4)
      continue;
    const StatementCost cost = meter->Measure(statement);
    EXPECT_LE(cost.Looked, meter->MostFor(cost.Rows))
        << cost.Rows << " rows of: " << statement.substr(0, 2000) << "\n"
        << cost.Plan;
  }
  EXPECT_GT(measured.size(), 30U);
}

}  // namespace
}  // namespace korvane::store
