// The operations on filters, categories, alerts and stored traps, and the start and the end of the console.
#include <gtest/gtest.h>

#include <numeric>
#include <tuple>
#include <utility>

#include "ConsoleFakes.h"
#include "OperationFaults.h"
#include "alerts/ActionsForm.h"
#include "alerts/AlertForm.h"
#include "alerts/AlertsForm.h"
#include "app/ConsoleStore.h"
#include "categories/CategoriesForm.h"
#include "categories/CategoryCopies.h"
#include "categories/WizardForm.h"
#include "fmt/format.h"
#include "params/FiltersForm.h"
#include "reports/ReportModel.h"
#include "store/DatabaseError.h"
#include "support/Processes.h"
#include "traps/TrapDetailForm.h"

namespace korvane::test {
namespace {

using alerts::ActionKind;
using alerts::AlertsForm;
using categories::CategoriesForm;
using categories::WizardForm;
using params::FiltersForm;
using traps::TrapsModel;

// What was saved reaches all windows, once, even when it can't be read.
Begin PassingOn(std::function<void(Hands&)> pass, std::function<std::string(const Hands&)> shown) {
  return [pass, shown](Hands& hands) -> Work {
    return {.Do =
                [&hands, pass] {
                  const int before = hands.Changes;
                  pass(hands);
                  return hands.Changes == before + 1;
                },
            .Shown = [&hands, shown] { return shown(hands); }};
  };
}

// ---- filters

std::string ShownIn(const FiltersForm& form) {
  std::string shown;
  for (std::size_t row = 0; row < form.RowCount(); ++row) {
    shown += fmt::format("{}\n", fmt::join(form.TextsAt(row), ", "));
  }
  return shown;
}

// The dialog is open and was edited; what is left is what closing does.
Begin ClosingFilters(std::function<void(FiltersForm&)> edit) {
  return [edit](Hands& hands) -> Work {
    auto form = std::make_shared<FiltersForm>(hands.ForFilters);
    edit(*form);
    return {.Do = [form] { return form->Save(); },
            .Shown = [form] { return ShownIn(*form); },
            .Answer = PromptAnswer::Cancel};  // whether to try again
  };
}

Work RemovingFilter(Hands& hands) {
  auto form = std::make_shared<FiltersForm>(hands.ForFilters);
  return {.Do = [form] { return form->Remove(0); }, .Shown = [form] { return ShownIn(*form); }};
}

// ---- categories

// "Manage Categories" with "Fans" selected, and the operator in front of its wizard, who enters something and
// presses Finish again after an error.
struct Manager : categories::CategoriesWindow {
  Manager(Hands& hands, std::function<void(WizardForm&)> enter)
      : Operator(hands), Enter(std::move(enter)), Form(hands.ForCategories, *this) {}
  bool Open() {
    const bool opened = Form.Open();
    Form.SelectCategory(1);
    return opened;
  }
  void RunWizard(categories::WizardTask& task, categories::CategoryTransaction& transaction) override {
    WizardForm form(task, transaction, Operator.Names, Operator.Prompt);
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
};

std::string ShownIn(const Manager& manager) {
  const CategoriesForm& form = manager.Form;
  std::string shown =
      fmt::format("{} [{}] {}:", fmt::join(form.Categories(), ", "), form.SelectedName(), form.Description());
  for (const categories::TrapDetail& trap : form.Traps()) {
    shown += fmt::format(" {}/{}/{}", trap.EnterpriseOid, trap.GenericTrap, trap.Severity);
  }
  return shown;
}

// OK makes final what was done, unless the press itself leaves, when everything was changed before.
Begin Managing(
    std::function<bool(CategoriesForm&)> press, std::function<void(WizardForm&)> enter = [](WizardForm&) {},
    bool leaves = false) {
  return [press, enter, leaves](Hands& hands) -> Work {
    auto manager = std::make_shared<Manager>(hands, enter);
    manager->Open();
    if (leaves) {
      hands.Prompt.WillAnswer(PromptAnswer::Yes);
      manager->Form.DeleteCategory();
      hands.Prompt.ForgetScript();
    }
    return {.Do = [manager, press] { return manager->Finished || press(manager->Form); },
            .Finish =
                [manager, leaves] {
                  const bool left = leaves || manager->Form.Ok();
                  return left && (manager->Form.Unload(), true);
                }};
  };
}

Begin Leaving(bool (CategoriesForm::*leave)()) {
  return Managing(
      std::mem_fn(leave), [](WizardForm&) {}, true);
}

// Given up after an error, the window is left by OK and opened again.
Work RemovingTrap(Hands& hands) {
  auto failed = std::make_shared<bool>(false);
  return Managing([&hands, failed](CategoriesForm& form) {
    if (*failed) {
      EXPECT_TRUE(form.Ok() || hands.Prompt.LastMessage().find("was lost") != std::string::npos)
          << hands.Prompt.LastMessage();
      hands.Prompt.Clear();
      form.Unload();
      form.Open();
      form.SelectCategory(1);
    }
    *failed = !form.RemoveTrap(0);
    return !*failed;
  })(hands);
}

void EnterTrap(WizardForm& form) {
  form.Criteria().ChooseGeneric(4);
  form.ChooseSeverity(3);
  for (int i = 0; i < 2 && form.ListShows() && form.Pending().empty(); ++i) {
    form.Add();
  }
}

std::string ShownIn(const params::CategoryInformation& categories) {
  std::string shown;
  for (const params::Category& category : categories.Categories()) {
    shown += fmt::format("{} {}\n", category.Name, category.Criteria.size());
  }
  return shown;
}

// As the frame does with what a command throws.
bool Commanded(Hands& hands, const std::function<bool()>& command) {
  try {
    return command();
  } catch (const store::DatabaseError& error) {
    hands.Prompt.Show(error.what(), PromptIcon::Critical);
    return false;
  }
}

Work Exporting(Hands& hands) {
  const std::string path = (hands.InstallFolder / "all.dvcat").string();
  WriteFile(path, "as it was");
  const auto write = [&hands, path] {
    return categories::WriteChosen(categories::CategoriesOfStore(hands.Connection), path).empty();
  };
  return {.Do = [&hands, write] { return Commanded(hands, write); },
          .Shown = [path] { return ReadFile(path); }};
}

Work Importing(Hands& hands) {
  const std::string path = (hands.InstallFolder / "some.dvcat").string();
  std::vector<categories::OfferedCategory> some = categories::CategoriesOfStore(hands.Connection);
  some.back().Category.Details.Description = "Replaced";
  some.back().Category.Details.Traps.pop_back();
  some.push_back({.Category = {.Name = "New", .Details = some.back().Category.Details}});
  categories::WriteChosen(some, path);
  const auto import = [&hands, path] {
    std::vector<categories::OfferedCategory> offered = categories::CategoriesOfFile(path, hands.Connection);
    for (categories::OfferedCategory& each : offered) {
      each.Chosen = true;
    }
    categories::StoreChosen(offered, *hands.OpenConnection());
    return true;
  };
  return {.Do = [&hands, import] { return Commanded(hands, import); },
          // Imported twice, a category has another number.
          .Again =
              [&hands, import] {
                return hands.Store.Number(
                           "SELECT COUNT(*) FROM Category_Group_Master WHERE Category_Name = 'New'") == 1 ||
                       import();
              }};
}

// ---- alerts

std::string ShownIn(const AlertsForm& form) {
  std::string shown;
  for (const alerts::Alert& alert : form.Alerts()) {
    shown += alert.Description;
    for (const ActionKind kind : alerts::kActionKinds) {
      shown += AlertsForm::Uses(alert, kind) ? " Yes" : " No";
    }
    shown += "\n";
  }
  return shown;
}

Begin InAlerts(std::function<bool(AlertsForm&)> press) {
  return [press](Hands& hands) -> Work {
    auto form = std::make_shared<AlertsForm>(hands.ForAlerts);
    return {.Do = [form, press] { return press(*form); },
            .Shown = [form] { return ShownIn(*form); },
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

void AddTabs(alerts::ActionsForm& form, std::int32_t id) {
  form.ClearTabs();
  for (const ActionKind kind : alerts::kActionKinds) {
    form.AddTab(kind, id);
  }
}

Work SavingActions(Hands& hands) {
  auto form = std::make_shared<alerts::ActionsForm>(hands.ForAlerts);
  AddTabs(*form, 1);
  form->Beep.Description = "loud";
  form->Message.Text = "pc2";
  form->Custom.Text = "/opt/tool";
  return {.Do = [form] { return !form->Ok(); }};
}

Work OpeningActions(Hands& hands) {
  auto form = std::make_shared<alerts::ActionsForm>(hands.ForAlerts);
  return {.Do =
              [form] {
                AddTabs(*form, 2);
                return true;
              },
          .Shown = [form] { return form->Message.Text; }};
}

// ---- stored traps

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

const intake::System& SystemOfTraps(Hands& hands) {
  hands.SystemList.SystemOfSource("ROUTER1");
  return hands.SystemList.At(hands.SystemList.SystemOfSource("router1"));
}

std::shared_ptr<TrapsModel> OpenWindow(Hands& hands, const intake::System* system = nullptr) {
  auto window = std::make_shared<TrapsModel>(
      hands.ForTraps, hands.Windows,
      system == nullptr ? traps::WindowKind::Selected : traps::WindowKind::PerSystem,
      params::WindowParameters(), system);
  hands.Windows.Models = {window.get()};
  return window;
}

// A window, of all traps or of their system, which then shows what is still to be acknowledged.
Begin Acknowledging(bool perSystem, std::function<bool(Hands&, TrapsModel&, const intake::System&)> press) {
  return [perSystem, press](Hands& hands) -> Work {
    const intake::System& system = SystemOfTraps(hands);
    auto window = OpenWindow(hands, perSystem ? &system : nullptr);
    window->Reset();
    return {.Do = [&hands, &system, window, press] { return press(hands, *window, system); },
            .Agrees = [&hands, window] { return Numbers(window->Rows()) == Unacknowledged(hands); }};
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
  return hands.Acknowledge.Ask(hands.Windows, system, system.Name, [] { return 2000; }) ==
         systems::SystemAcknowledgement::Done;
}

std::string Acknowledged(int count) {
  return fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber <= {}", count);
}

Work SavingNotes(Hands& hands) {
  auto window = OpenWindow(hands);
  window->Reset();
  auto order = std::make_shared<traplist::TrapOrder>(window->Rows(), traplist::SourceShown::SourceText);
  auto form = std::make_shared<traps::TrapDetailForm>(
      hands.Connection, hands.Windows, hands.Prompt, [](std::string_view text) { return std::string(text); });
  const auto list = [window, order] { return traplist::ShownTraps{.Rows = window->Rows(), .Order = *order}; };
  for (const std::size_t position : {0U, 1U}) {
    form->Show(list(), position);
    form->EditNotes("seen");
  }
  return {.Do = [form, list] { return form->Ok(list()); },
          .Agrees =
              [&hands, window] {
                const auto noted = [&](std::size_t row) {
                  return window->Rows().At(row).EventNotes == "seen" ? 1 : 0;
                };
                return hands.Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventNotes = 'seen'") ==
                       noted(0) + noted(1);
              }};
}

Work LoadingWindow(Hands& hands) {
  return {.Do = [window = OpenWindow(hands)] {
    window->Reset();
    return window->Rows().Count() == std::size_t{kTraps};
  }};
}

// The Systems window at start, and the first tick of the receiver link, which brings what is not older than
// it was told; what failed is loaded again by a later tick.
Work LoadingSystems(Hands& hands) {
  hands.Bounds.InitialLoad = true;
  const auto tick = [&hands] {
    hands.Model.CheckTraps();
    return hands.Model.StatusTexts()[4] == fmt::format("Total Traps: {} ", kTraps);
  };
  return {.Do =
              [&hands, tick] {
                hands.Model.Load();
                for (std::int32_t number = 1; number <= kTraps; ++number) {
                  if (1000 + number >= hands.Library.StartedAt) {
                    hands.Library.Deliver(number, number % 3 == 0 ? "ROUTER1" : "router1", 1000 + number);
                  }
                }
                return tick();
              },
          .Again =
              [&hands, tick] {
                hands.Platform.Clock.Advance(60'000);
                return tick();
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

// ---- the console itself

// Started and ended over the real store, the rest of it being fakes.
struct Run {
  explicit Run(Hands& hands) : Console(&Store, &hands.Prompt) {}
  bool Start() { return Console.Main() == app::StartupResult::Running; }
  bool End() {
    Console.State.gLastTrapTime = 1006;
    Console.TrapsInRows = {1};
    Console.Quit();
    return Console.Busy.Depth() == 0;
  }
  app::ConsoleStore Store;
  FakeConsole Console;
};

std::string ShownIn(const Run& run) {
  return fmt::format("{} {} {}", run.Store.SystemList.Count(), run.Store.Categories.Categories().size(),
                     run.Store.Filters.Filters().size());
}

// Nothing keeps a console open that is being closed: what failed is done at the end of the next one.
Work Ending(Hands& hands) {
  const auto started = [&hands] {
    auto run = std::make_unique<Run>(hands);
    run->Start();
    run->Store.SystemList.SystemOfSource("new");
    return run;
  };
  auto run = std::make_shared<std::unique_ptr<Run>>(started());
  return {.Do = [run] { return (*run)->End(); },
          .Again =
              [run, started] {
                *run = started();
                return (*run)->End();
              }};
}

// ---- all of them

// What is opened once more when it could not be opened.
template <typename Thing>
Begin Opening(std::function<bool(Hands&, std::unique_ptr<Thing>&)> open) {
  return [open](Hands& hands) -> Work {
    auto thing = std::make_shared<std::unique_ptr<Thing>>();
    return {.Do = [&hands, thing, open] { return open(hands, *thing); },
            .Shown = [thing] { return *thing ? ShownIn(**thing) : std::string(); }};
  };
}

}  // namespace

std::vector<Operation> OperationsOfFilters() {
  return {
      {"the filters are listed", Opening<FiltersForm>([](Hands& hands, auto& form) {
         form = std::make_unique<FiltersForm>(hands.ForFilters);
         return form->WasRead();
       })},
      {.Name = "a filter is added",
       .Prepare = ClosingFilters([](FiltersForm& form) { form.Add({.SourceAgent = "new"}); }),
       .MayBeDone = true},
      {.Name = "a filter is edited",
       .Prepare = ClosingFilters([](FiltersForm& form) { form.Replace(0, {.SourceAgent = "other"}); }),
       // The new one stands before the old one goes, so that no trap shows in between.
       .Partly =
           {{"INSERT INTO Trap_Detail (Source_Agent) VALUES ('other')",
             "INSERT INTO Trap_Filter_Group SELECT MAX(Trap_Table_ID), 'other, -All-, -All-, -All-, -All-' "
             "FROM Trap_Detail"}},
       .MayBeDone = true},
      {"a filter is removed", RemovingFilter},
      {"the filters are passed on",
       PassingOn([](Hands& hands) { FiltersForm(hands.ForFilters).Apply(); },
                 [](const Hands& hands) { return fmt::to_string(hands.Filters.Filters().size()); }),
       {"Could not read filter information from the Database. "}},
  };
}

std::vector<Operation> OperationsOfCategories() {
  std::vector<Operation> operations = {
      {"a category is made", Managing(std::mem_fn(&CategoriesForm::CreateCategory), EnterTrap)},
      {"a category is edited",
       Managing(std::mem_fn(&CategoriesForm::EditCategory),
                [](WizardForm& form) { form.EditDescription("All that turns, and more"); })},
      {"a trap is added to a category",
       Managing([](CategoriesForm& form) { return form.AddTraps().has_value(); }, EnterTrap)},
      {"a trap of a category is edited",
       Managing([](CategoriesForm& form) { return form.EditTrap(0).has_value(); },
                [](WizardForm& form) { form.ChooseSeverity(1); })},
      {"a trap of a category is removed", RemovingTrap},
      {"a category is deleted",
       Managing([](CategoriesForm& form) { return form.SelectedName() != "Fans" || form.DeleteCategory(); })},
      {"OK", Leaving(&CategoriesForm::Ok)},
      {"Cancel, and Yes to saving", Leaving(&CategoriesForm::Cancel)},
  };
  for (Operation& inTransaction : operations) {
    inTransaction.OnlyFinally = true;
  }
  operations.insert(
      operations.end(),
      {{"\"Manage Categories\" opens", Opening<Manager>([](Hands& hands, auto& manager) {
          manager = std::make_unique<Manager>(hands, [](WizardForm&) {});
          return manager->Open();
        })},
       {"the categories are passed on",
        PassingOn([](Hands& hands) { categories::CategoriesSaved(hands.ForCategories); },
                  [](const Hands& hands) { return ShownIn(hands.Categories); }),
        {"Could not read category information from the Database. If the problem persists, please contact "
         "product support."}},
       {"categories are exported", Exporting},
       {"categories are imported", Importing}});
  return operations;
}

std::vector<Operation> OperationsOfAlerts() {
  return {
      {"the alerts are listed", Opening<AlertsForm>([](Hands& hands, auto& form) {
         form = std::make_unique<AlertsForm>(hands.ForAlerts);
         return true;
       })},
      {"an alert is added", [](Hands& hands) { return SavingAlert(hands, std::nullopt); }},
      {"an alert is edited", [](Hands& hands) { return SavingAlert(hands, FirstAlert(hands)); }},
      {"an alert is looked at", ReviewingAlert},
      {"an alert is removed", InAlerts([](AlertsForm& form) { return form.Remove(0); })},
      {.Name = "an alert's actions are configured",
       .Prepare = InAlerts([](AlertsForm& form) {
         return form.SetActions(0, {ActionKind::Beep, ActionKind::Email}, {.Beep = 2, .Email = 2});
       }),
       .MayBeDone = true},
      {.Name = "an action of an alert is cleared",
       .Prepare = InAlerts([](AlertsForm& form) {
         return !AlertsForm::Uses(form.Alerts().at(0), ActionKind::Message) ||
                form.ClearAction(0, ActionKind::Message);
       }),
       .MayBeDone = true},
      {"the four actions are opened", OpeningActions},
      {"the four actions are saved", SavingActions},
  };
}

std::vector<Operation> OperationsOnTraps() {
  std::vector<std::vector<std::string>> rowsDone;
  for (int count = 1; count < kTraps; ++count) {
    rowsDone.push_back({Acknowledged(count)});
  }
  return {
      {"the console starts",
       Opening<Run>([](Hands& hands, auto& run) {
         run = std::make_unique<Run>(hands);
         return run->Start();
       }),
       {" information from the Database. "}},
      {.Name = "the console ends",
       .Prepare = Ending,
       .Partly = {{"INSERT INTO System_Table (System_Name, System_Type) VALUES ('new', 'Manual')"},
                  {Acknowledged(kTraps - 1)}}},
      {.Name = "a Traps window loads", .Prepare = LoadingWindow, .SaysNothing = true},
      {.Name = "the Systems window loads", .Prepare = LoadingSystems, .SaysNothing = true},
      {"a report loads", LoadingReport},
      {.Name = "rows are acknowledged",
       .Prepare = Acknowledging(false, AcknowledgeAllRows),
       .Partly = rowsDone},
      {"a system is acknowledged", Acknowledging(false, AcknowledgeSystem)},
      {"a system's window is closed",
       Acknowledging(true,
                     [](Hands&, TrapsModel& window, const intake::System&) { return window.MayClose(); })},
      {.Name = "notes of two traps are saved",
       .Prepare = SavingNotes,
       .Partly = {{"UPDATE EventTrap SET EventNotes = 'seen' WHERE SequenceNumber = 1"},
                  {"UPDATE EventTrap SET EventNotes = 'seen' WHERE SequenceNumber = 2"}}},
  };
}

}  // namespace korvane::test
