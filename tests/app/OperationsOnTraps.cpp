// The operations on stored traps: loading, acknowledging, notes, and the start and the end of the console.
#include <numeric>
#include <utility>

#include "OperationFaults.h"
#include "app/ConsoleStore.h"
#include "app/StartupFixture.h"
#include "fmt/format.h"
#include "reports/ReportModel.h"
#include "support/Processes.h"
#include "support/World.h"
#include "systems/SystemAcknowledge.h"
#include "traps/TrapDetailForm.h"

namespace korvane::test {
namespace {

using traps::TrapsModel;

constexpr int kTraps = 6;

std::vector<std::int32_t> Unacknowledged(Hands& hands) {
  std::vector<std::int32_t> numbers;
  store::Recordset rows = hands.Store.Db().OpenRecordset(
      "SELECT SequenceNumber FROM EventTrap WHERE EventAck = 0 ORDER BY SequenceNumber");
  while (rows.Next()) {
    numbers.push_back(rows.Integer(std::size_t{0}));
  }
  return numbers;
}

// A window on all traps.
std::shared_ptr<TrapsModel> OpenWindow(Hands& hands, traps::WindowKind kind = traps::WindowKind::Selected,
                                       const intake::System* system = nullptr) {
  auto window =
      std::make_shared<TrapsModel>(hands.ForTraps, hands.Windows, kind, params::WindowParameters(), system);
  hands.Windows.Models = {window.get()};
  return window;
}

// press acknowledges traps of the window, which then shows what is still to be acknowledged.
Work Acknowledging(Hands& hands, std::shared_ptr<TrapsModel> window, std::function<bool()> press) {
  window->Reset();
  return {.Do =
              [&hands, press = std::move(press)] {
                hands.Prompt.WillAnswer(PromptAnswer::Yes);
                const bool done = press() && hands.Silent();
                hands.Prompt.ForgetScript();
                return done;
              },
          .Agrees = [&hands, window] { return Numbers(window->Rows()) == Unacknowledged(hands); }};
}

Work AcknowledgingRows(Hands& hands) {
  auto window = OpenWindow(hands);
  return Acknowledging(hands, window, [window] {
    std::vector<std::uint32_t> rows(window->Rows().Count());
    std::iota(rows.begin(), rows.end(), 0U);
    if (!rows.empty()) {
      window->AcknowledgeSelected(rows);
    }
    return true;
  });
}

std::string Acknowledged(int count) {
  return fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber <= {}", count);
}

const intake::System& SystemOfTraps(Hands& hands) {
  hands.SystemList.SystemOfSource("ROUTER1");
  return hands.SystemList.At(hands.SystemList.SystemOfSource("router1"));
}

Work AcknowledgingSystem(Hands& hands) {
  auto window = OpenWindow(hands);
  const intake::System& system = SystemOfTraps(hands);
  return Acknowledging(hands, window, [&hands, &system] {
    return hands.Acknowledge.Ask(hands.Windows, system, system.Name, [] { return 2000; }) ==
           systems::SystemAcknowledgement::Done;
  });
}

Work ClosingSystem(Hands& hands) {
  auto window = OpenWindow(hands, traps::WindowKind::PerSystem, &SystemOfTraps(hands));
  return Acknowledging(hands, window, [window] { return window->MayClose(); });
}

Work SavingNotes(Hands& hands) {
  struct Open {
    explicit Open(Hands& hands) : Window(OpenWindow(hands)) {
      Window->Reset();
      Order = std::make_unique<traplist::TrapOrder>(Window->Rows(), traplist::SourceShown::SourceText);
      Form = std::make_unique<traps::TrapDetailForm>(hands.Connection, hands.Windows, hands.Prompt,
                                                     [](std::string_view text) { return std::string(text); });
    }
    traplist::ShownTraps List() const { return {.Rows = Window->Rows(), .Order = *Order}; }
    std::shared_ptr<TrapsModel> Window;
    std::unique_ptr<traplist::TrapOrder> Order;
    std::unique_ptr<traps::TrapDetailForm> Form;
  };
  auto open = std::make_shared<Open>(hands);
  for (const std::size_t position : {0U, 1U}) {
    open->Form->Show(open->List(), position);
    open->Form->EditNotes("seen");
  }
  return {.Do = [open] { return open->Form->Ok(open->List()); },
          .Agrees =
              [&hands, open] {
                const auto noted = [&](std::size_t row) {
                  return open->Window->Rows().At(row).EventNotes == "seen";
                };
                return hands.Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventNotes = 'seen'") ==
                       int{noted(0)} + int{noted(1)};
              }};
}

Work LoadingWindow(Hands& hands) {
  auto window = OpenWindow(hands);
  return {.Do = [window] {
    window->Reset();
    return window->Rows().Count() == std::size_t{kTraps};
  }};
}

// The Systems window at start, and the first tick of the receiver link, which brings what is not older than
// it was told; what failed is loaded again by a later tick.
Work LoadingSystems(Hands& hands) {
  struct Open {
    explicit Open(Hands& hands)
        : Model(hands.Desk, hands.Connection, hands.SystemList, hands.Bounds, hands.Stored, Library,
                Question),
          Intake(Library, hands.Names, hands.SystemList, Model, NoWindows, hands.State, hands.Prompt,
                 hands.DebugLog) {
      Model.AttachIntake(Intake);
    }
    bool Tick() {
      Model.CheckTraps();
      return Model.StatusTexts()[4] == fmt::format("Total Traps: {} ", kTraps);
    }
    FakeLibrary Library;
    ScriptedViewOption Question;
    OpenModels NoWindows;
    systems::SystemsModel Model;
    intake::Intake Intake;
  };
  hands.Bounds.InitialLoad = true;
  auto open = std::make_shared<Open>(hands);
  return {.Do =
              [open] {
                open->Model.Load();
                for (std::int32_t number = 1; number <= kTraps; ++number) {
                  if (1000 + number >= open->Library.StartedAt) {
                    open->Library.Deliver(number, number % 3 == 0 ? "ROUTER1" : "router1", 1000 + number);
                  }
                }
                return open->Tick();
              },
          .Again =
              [&hands, open] {
                hands.Platform.Clock.Advance(60'000);
                return open->Tick();
              }};
}

Work LoadingReport(Hands& hands) {
  auto report = std::make_shared<reports::ReportModel>(
      hands.ForReports, params::ReportParameters{.FromTime = 0, .ToTime = 5000, .Window = {}},
      reports::ReportModel::Events{.BatchesReady = [] {}, .StateChanged = [] {}});
  return {.Do =
              [&hands, report] {
                report->Reset();
                WaitUntil([&] {
                  report->TakeBatches(std::chrono::milliseconds(15));
                  return report->State() != reports::ReportState::Loading;
                });
                if (!report->Notice().empty()) {
                  hands.Prompt.Show(report->Notice(), PromptIcon::Critical);  // it stands in the window
                }
                return report->State() == reports::ReportState::Complete;
              },
          .Shown = [report] { return fmt::to_string(report->Rows().Count()); }};
}

// A console that is started and ended over the real store, the rest of it being fakes.
struct Run {
  explicit Run(Hands& hands) : Operator(hands) {
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/");
  }

  bool Start() {
    return app::Startup({.Instance = Machine.Instance,
                         .Groups = Machine.Groups,
                         .Registry = Machine.Registry,
                         .Directories = Machine.Directories,
                         .Settings = Machine.Settings,
                         .Sockets = Machine.Sockets,
                         .Clock = Machine.Clock,
                         .Prompt = Operator.Prompt,
                         .State = State,
                         .Store = Store,
                         .Splash = Splash,
                         .Windows = Window})
               .Main({}) == app::StartupResult::Running;
  }
  bool End() {
    State.gLastTrapTime = 1006;
    Systems.Rows = {1};
    Operator.Prompt.WillAnswer(PromptAnswer::Yes);
    app::Shutdown shutdown({.Settings = Machine.Settings,
                            .Sockets = Machine.Sockets,
                            .Prompt = Operator.Prompt,
                            .Busy = Operator.Busy,
                            .DebugLog = Operator.DebugLog,
                            .State = State,
                            .Store = Store,
                            .Library = Library});
    shutdown.QueryUnload(&Systems);
    shutdown.Unload(Window);
    return Operator.Silent();
  }
  std::string Shown() const {
    return fmt::format("{} {} {}", Store.SystemList.Count(), Store.Categories.Categories().size(),
                       Store.Filters.Filters().size());
  }

  Hands& Operator;
  FakePlatform Machine;
  ProcessState State;
  app::ConsoleStore Store;
  FakeSplash Splash{Machine.Calls};
  FakeMainWindow Window{Machine.Calls};
  FakeSystemsWindow Systems{Machine.Calls};
  CalledLibrary Library{Machine.Calls};
};

Work Starting(Hands& hands) {
  auto run = std::make_shared<std::unique_ptr<Run>>();
  return {.Do =
              [&hands, run] {
                *run = std::make_unique<Run>(hands);
                return (*run)->Start();
              },
          .Shown = [run] { return *run ? (*run)->Shown() : std::string(); }};
}

// Nothing keeps a console open that is being closed: what failed is done at the end of the next one.
Work Ending(Hands& hands) {
  const auto prepared = [&hands] {
    auto run = std::make_unique<Run>(hands);
    run->Start();
    run->Store.SystemList.SystemOfSource("new");
    return run;
  };
  auto run = std::make_shared<std::unique_ptr<Run>>(prepared());
  return {.Do = [run] { return (*run)->End(); },
          .Again =
              [run, prepared] {
                *run = prepared();
                return (*run)->End();
              }};
}

}  // namespace

std::vector<Operation> OperationsOnTraps() {
  constexpr std::string_view kSystemSaved =
      "INSERT INTO System_Table (System_Name, System_Type) VALUES ('new', 'Manual')";
  std::vector<std::vector<std::string>> rowsDone;
  for (int count = 1; count < kTraps; ++count) {
    rowsDone.push_back({Acknowledged(count)});
  }
  return {
      {.Name = "the console starts", .Prepare = Starting, .Messages = {" information from the Database. "}},
      {.Name = "the console ends",
       .Prepare = Ending,
       .Partly = {{std::string(kSystemSaved)}, {Acknowledged(kTraps - 1)}}},
      {.Name = "a Traps window loads", .Prepare = LoadingWindow, .SaysNothing = true},
      {.Name = "the Systems window loads", .Prepare = LoadingSystems, .SaysNothing = true},
      {.Name = "a report loads", .Prepare = LoadingReport},
      {.Name = "rows are acknowledged", .Prepare = AcknowledgingRows, .Partly = rowsDone},
      {.Name = "a system is acknowledged", .Prepare = AcknowledgingSystem},
      {.Name = "a system's window is closed", .Prepare = ClosingSystem},
      {.Name = "notes of two traps are saved",
       .Prepare = SavingNotes,
       .Partly = {{"UPDATE EventTrap SET EventNotes = 'seen' WHERE SequenceNumber = 1"},
                  {"UPDATE EventTrap SET EventNotes = 'seen' WHERE SequenceNumber = 2"}}},
  };
}

}  // namespace korvane::test
