// The operations on filters, categories and alerts.
#include <gtest/gtest.h>

#include <utility>

#include "OperationFaults.h"
#include "alerts/ActionsForm.h"
#include "alerts/AlertForm.h"
#include "alerts/AlertsForm.h"
#include "categories/CategoriesForm.h"
#include "categories/CategoryCopies.h"
#include "categories/WizardForm.h"
#include "fmt/format.h"
#include "params/FiltersForm.h"
#include "store/DatabaseError.h"
#include "support/Processes.h"

namespace korvane::test {
namespace {

using alerts::ActionKind;
using categories::CategoriesForm;
using categories::WizardForm;
using params::FiltersForm;

constexpr std::string_view kCategoriesUnread =
    "Could not read category information from the Database. If the problem persists, please contact product "
    "support.";

// ---- filters

std::string ShownIn(const FiltersForm& form) {
  std::string shown;
  for (std::size_t row = 0; row < form.RowCount(); ++row) {
    shown += fmt::format("{}\n", fmt::join(form.TextsAt(row), ", "));
  }
  return shown;
}

// The dialog is open and was edited; what is left is what closing does.
Work ClosingFilters(Hands& hands, const std::function<void(FiltersForm&)>& edit) {
  auto form = std::make_shared<FiltersForm>(hands.ForFilters);
  edit(*form);
  return {.Do =
              [&hands, form] {
                hands.Prompt.WillAnswer(PromptAnswer::Cancel);  // to the question whether to try again
                const bool saved = form->Save();
                hands.Prompt.ForgetScript();
                return saved;
              },
          .Shown = [form] { return ShownIn(*form); }};
}

// ---- categories

// Plays the operator in front of the wizard, who presses Finish again after an error.
class WizardHand : public categories::CategoriesWindow {
 public:
  WizardHand(Hands& hands, std::function<void(WizardForm&)> enter)
      : hands_(hands), enter_(std::move(enter)) {}
  void RunWizard(categories::WizardTask& task, categories::CategoryTransaction& transaction) override {
    WizardForm form(task, transaction, hands_.Names, hands_.Prompt);
    if (!form.WasRead()) {
      return;
    }
    for (int i = 0;
         i < kPresses && form.Page() == categories::WizardPage::Category && form.NextCaption() != "&Finish";
         ++i) {
      form.EditName("Made");
      form.NextOrFinish();
    }
    enter_(form);
    for (int i = 0; i < kPresses && !Finished; ++i) {
      Finished = form.NextOrFinish();
    }
  }
  void ShowBusyPointer(bool) override {}

  bool Finished = false;

 private:
  static constexpr int kPresses = 3;
  Hands& hands_;
  std::function<void(WizardForm&)> enter_;
};

struct Managed {
  Managed(Hands& hands, std::function<void(WizardForm&)> enter) : Window(hands, std::move(enter)) {}
  WizardHand Window;
  std::unique_ptr<CategoriesForm> Form;
};

std::string ShownIn(const CategoriesForm& form) {
  std::string shown =
      fmt::format("{} [{}] {}:", fmt::join(form.Categories(), ", "), form.SelectedName(), form.Description());
  for (const categories::TrapDetail& trap : form.Traps()) {
    shown += fmt::format(" {}/{}/{}", trap.EnterpriseOid, trap.GenericTrap, trap.Severity);
  }
  return shown;
}

// "Manage Categories" is open with "Fans" selected; OK makes final what was done.
Work Managing(
    Hands& hands, std::function<bool(CategoriesForm&)> press,
    std::function<void(WizardForm&)> enter = [](WizardForm&) {}) {
  auto managed = std::make_shared<Managed>(hands, std::move(enter));
  managed->Form = std::make_unique<CategoriesForm>(hands.ForCategories, managed->Window);
  managed->Form->Open();
  managed->Form->SelectCategory(1);
  const auto pressOnce = [&hands, managed, press = std::move(press)] {
    return managed->Window.Finished || press(*managed->Form);
  };
  return {.Do = [&hands, pressOnce] { return pressOnce() && hands.Silent(); },
          .Again = pressOnce,
          .Finish =
              [managed] {
                if (!managed->Form->Ok()) {
                  return false;
                }
                managed->Form->Unload();
                return true;
              }};
}

std::function<bool(CategoriesForm&)> Answering(Hands& hands, bool (CategoriesForm::*press)()) {
  return [&hands, press](CategoriesForm& form) {
    hands.Prompt.WillAnswer(PromptAnswer::Yes);
    const bool done = (form.*press)();
    hands.Prompt.ForgetScript();
    return done;
  };
}

// Everything is changed; what is left is what makes it final.
Work Leaving(Hands& hands, bool (CategoriesForm::*leave)()) {
  auto managed = std::make_shared<Managed>(hands, [](WizardForm&) {});
  managed->Form = std::make_unique<CategoriesForm>(hands.ForCategories, managed->Window);
  managed->Form->Open();
  managed->Form->SelectCategory(1);
  Answering(hands, &CategoriesForm::DeleteCategory)(*managed->Form);
  return {.Do = [managed, press = Answering(hands, leave)] { return press(*managed->Form); },
          .Finish =
              [managed] {
                managed->Form->Unload();
                return true;
              }};
}

void EnterTrap(WizardForm& form) {
  form.Criteria().ChooseGeneric(4);
  form.ChooseSeverity(3);
  for (int i = 0; i < 2 && form.ListShows() && form.Pending().empty(); ++i) {
    form.Add();
  }
}

// As the frame does with what a command throws.
template <typename Command>
bool Commanded(Hands& hands, Command command) {
  try {
    return command() && hands.Silent();
  } catch (const store::DatabaseError& error) {
    hands.Prompt.Show(error.what(), PromptIcon::Critical);
    return false;
  }
}

std::string ShownIn(const params::CategoryInformation& categories) {
  std::string shown;
  for (const params::Category& category : categories.Categories()) {
    shown += fmt::format("{} {}\n", category.Name, category.Criteria.size());
  }
  return shown;
}

Work Exporting(Hands& hands) {
  const std::string path = (hands.InstallFolder / "all.dvcat").string();
  WriteFile(path, "as it was");
  return {
      .Do =
          [&hands, path] {
            return Commanded(hands, [&] {
              return categories::WriteChosen(categories::CategoriesOfStore(hands.Connection), path).empty();
            });
          },
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
    return Commanded(hands, [&] {
      std::vector<categories::OfferedCategory> offered = categories::CategoriesOfFile(path, hands.Connection);
      for (categories::OfferedCategory& each : offered) {
        each.Chosen = true;
      }
      categories::StoreChosen(offered, *hands.OpenConnection());
      return true;
    });
  };
  // Imported twice, a category has another number.
  const auto unlessThere = [&hands, import] {
    return hands.Store.Number("SELECT COUNT(*) FROM Category_Group_Master WHERE Category_Name = 'New'") > 0 ||
           import();
  };
  return {.Do = import, .Again = unlessThere};
}

// ---- alerts

std::string ShownIn(const alerts::AlertsForm& form) {
  std::string shown;
  for (const alerts::Alert& alert : form.Alerts()) {
    shown += alert.Description;
    for (const ActionKind kind : alerts::kActionKinds) {
      shown += alerts::AlertsForm::Uses(alert, kind) ? " Yes" : " No";
    }
    shown += "\n";
  }
  return shown;
}

Work InAlerts(Hands& hands, std::function<bool(alerts::AlertsForm&)> press) {
  auto form = std::make_shared<alerts::AlertsForm>(hands.ForAlerts);
  return {
      .Do =
          [&hands, form, press = std::move(press)] {
            hands.Prompt.WillAnswer(PromptAnswer::Yes);
            const bool done = press(*form) && hands.Silent();
            hands.Prompt.ForgetScript();
            return done;
          },
      .Shown = [form] { return ShownIn(*form); },
      .Agrees = [&hands, form] { return ShownIn(*form) == ShownIn(alerts::AlertsForm(hands.ForAlerts)); }};
}

Work SavingAlert(Hands& hands, bool stored) {
  std::optional<alerts::Alert> alert;
  if (stored) {
    alert = alerts::AlertsForm(hands.ForAlerts).Alerts().front();
  }
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
  const alerts::Alert alert = alerts::AlertsForm(hands.ForAlerts).Alerts().front();
  return {.Do = [&hands, alert] {
    alerts::AlertForm form(hands.ForAlerts, alert);
    return form.WasRead() && form.Ok() && hands.Silent();
  }};
}

Work SavingActions(Hands& hands) {
  auto form = std::make_shared<alerts::ActionsForm>(hands.ForAlerts);
  for (const ActionKind kind : alerts::kActionKinds) {
    form->AddTab(kind, 1);
  }
  form->Beep.Description = "loud";
  form->Message.Text = "pc2";
  form->Custom.Text = "/opt/tool";
  return {.Do = [form] { return !form->Ok(); }};
}

Work OpeningActions(Hands& hands) {
  auto form = std::make_shared<alerts::ActionsForm>(hands.ForAlerts);
  return {.Do =
              [&hands, form] {
                form->ClearTabs();
                for (const ActionKind kind : alerts::kActionKinds) {
                  form->AddTab(kind, 2);
                }
                return hands.Silent();
              },
          .Shown = [form] { return form->Message.Text; }};
}

}  // namespace

std::vector<Operation> OperationsOfFilters() {
  return {
      {.Name = "the filters are listed",
       .Prepare = [](Hands& hands) -> Work {
         auto form = std::make_shared<std::unique_ptr<FiltersForm>>();
         return {.Do =
                     [&hands, form] {
                       *form = std::make_unique<FiltersForm>(hands.ForFilters);
                       return (*form)->WasRead() && hands.Silent();
                     },
                 .Shown = [form] { return *form ? ShownIn(**form) : std::string(); }};
       }},
      {.Name = "a filter is added",
       .Prepare =
           [](Hands& hands) {
             return ClosingFilters(hands, [](FiltersForm& form) { form.Add({.SourceAgent = "new"}); });
           }},
      {.Name = "a filter is edited",
       .Prepare =
           [](Hands& hands) {
             return ClosingFilters(hands,
                                   [](FiltersForm& form) { form.Replace(0, {.SourceAgent = "other"}); });
           },
       // The new one stands before the old one goes, so that no trap shows in between.
       .Partly =
           {{"INSERT INTO Trap_Detail (Source_Agent) VALUES ('other')",
             "INSERT INTO Trap_Filter_Group SELECT MAX(Trap_Table_ID), 'other, -All-, -All-, -All-, -All-' "
             "FROM Trap_Detail"}}},
      {.Name = "a filter is removed",
       .Prepare = [](Hands& hands) -> Work {
         auto form = std::make_shared<FiltersForm>(hands.ForFilters);
         return {.Do =
                     [&hands, form] {
                       hands.Prompt.WillAnswer(PromptAnswer::Yes);
                       return form->Remove(0);
                     },
                 .Shown = [form] { return ShownIn(*form); }};
       }},
      {.Name = "the filters are passed on",
       .Prepare = [](Hands& hands) -> Work {
         return {.Do =
                     [&hands] {
                       const int before = hands.Changes;
                       FiltersForm(hands.ForFilters).Apply();
                       EXPECT_EQ(hands.Changes, before + 1);
                       return hands.Silent();
                     },
                 .Shown = [&hands] { return fmt::to_string(hands.Filters.Filters().size()); }};
       },
       .Messages = {"Could not read filter information from the Database. "}},
  };
}

std::vector<Operation> OperationsOfCategories() {
  return {
      {.Name = "\"Manage Categories\" opens",
       .Prepare = [](Hands& hands) -> Work {
         auto managed = std::make_shared<Managed>(hands, [](WizardForm&) {});
         return {.Do =
                     [&hands, managed] {
                       managed->Form = std::make_unique<CategoriesForm>(hands.ForCategories, managed->Window);
                       return managed->Form->Open() && hands.Silent();
                     },
                 .Shown = [managed] { return managed->Form ? ShownIn(*managed->Form) : std::string(); }};
       }},
      {.Name = "a category is made",
       .Prepare =
           [](Hands& hands) {
             return Managing(hands, std::mem_fn(&CategoriesForm::CreateCategory), EnterTrap);
           },
       .OnlyFinally = true},
      {.Name = "a category is edited",
       .Prepare =
           [](Hands& hands) {
             return Managing(hands, std::mem_fn(&CategoriesForm::EditCategory), [](WizardForm& form) {
               form.EditDescription(form.Description() + ", and more");
             });
           },
       .OnlyFinally = true},
      {.Name = "a trap is added to a category",
       .Prepare =
           [](Hands& hands) {
             return Managing(
                 hands, [](CategoriesForm& form) { return form.AddTraps().has_value(); }, EnterTrap);
           },
       .OnlyFinally = true},
      {.Name = "a trap of a category is edited",
       .Prepare =
           [](Hands& hands) {
             return Managing(
                 hands, [](CategoriesForm& form) { return form.EditTrap(0).has_value(); },
                 [](WizardForm& form) { form.ChooseSeverity(1); });
           },
       .OnlyFinally = true},
      // Given up after an error, the window is left by OK and opened again.
      {.Name = "a trap of a category is removed",
       .Prepare =
           [](Hands& hands) {
             auto failed = std::make_shared<bool>(false);
             return Managing(hands, [&hands, failed](CategoriesForm& form) {
               if (*failed) {
                 EXPECT_TRUE(form.Ok() || hands.Prompt.LastMessage().find("was lost") != std::string::npos)
                     << hands.Prompt.LastMessage();
                 form.Unload();
                 form.Open();
                 form.SelectCategory(1);
               }
               hands.Prompt.WillAnswer(PromptAnswer::Yes);
               *failed = !form.RemoveTrap(0);
               return !*failed;
             });
           },
       .OnlyFinally = true},
      {.Name = "a category is deleted",
       .Prepare =
           [](Hands& hands) {
             return Managing(
                 hands, [remove = Answering(hands, &CategoriesForm::DeleteCategory)](CategoriesForm& form) {
                   return form.SelectedName() != "Fans" || remove(form);
                 });
           },
       .OnlyFinally = true},
      {.Name = "OK",
       .Prepare = [](Hands& hands) { return Leaving(hands, &CategoriesForm::Ok); },
       .OnlyFinally = true},
      {.Name = "Cancel, and Yes to saving",
       .Prepare = [](Hands& hands) { return Leaving(hands, &CategoriesForm::Cancel); },
       .OnlyFinally = true},
      {.Name = "the categories are passed on",
       .Prepare = [](Hands& hands) -> Work {
         return {.Do =
                     [&hands] {
                       const int before = hands.Changes;
                       categories::CategoriesSaved(hands.ForCategories);
                       EXPECT_EQ(hands.Changes, before + 1);
                       return hands.Silent();
                     },
                 .Shown = [&hands] { return ShownIn(hands.Categories); }};
       },
       .Messages = {kCategoriesUnread}},
      {.Name = "categories are exported", .Prepare = Exporting},
      {.Name = "categories are imported", .Prepare = Importing},
  };
}

std::vector<Operation> OperationsOfAlerts() {
  return {
      {.Name = "the alerts are listed",
       .Prepare = [](Hands& hands) -> Work {
         auto form = std::make_shared<std::unique_ptr<alerts::AlertsForm>>();
         return {.Do =
                     [&hands, form] {
                       *form = std::make_unique<alerts::AlertsForm>(hands.ForAlerts);
                       return hands.Silent();
                     },
                 .Shown = [form] { return *form ? ShownIn(**form) : std::string(); }};
       }},
      {.Name = "an alert is added", .Prepare = [](Hands& hands) { return SavingAlert(hands, false); }},
      {.Name = "an alert is edited", .Prepare = [](Hands& hands) { return SavingAlert(hands, true); }},
      {.Name = "an alert is looked at", .Prepare = ReviewingAlert},
      {.Name = "an alert is removed",
       .Prepare =
           [](Hands& hands) {
             return InAlerts(hands, [](alerts::AlertsForm& form) { return form.Remove(0); });
           }},
      {.Name = "an alert's actions are configured",
       .Prepare =
           [](Hands& hands) {
             return InAlerts(hands, [](alerts::AlertsForm& form) {
               return form.SetActions(0, {ActionKind::Beep, ActionKind::Email}, {.Beep = 2, .Email = 2});
             });
           },
       .MayBeDone = true},
      {.Name = "an action of an alert is cleared",
       .Prepare =
           [](Hands& hands) {
             return InAlerts(hands, [](alerts::AlertsForm& form) {
               return !alerts::AlertsForm::Uses(form.Alerts().at(0), ActionKind::Message) ||
                      form.ClearAction(0, ActionKind::Message);
             });
           },
       .MayBeDone = true},
      {.Name = "the four actions are opened", .Prepare = OpeningActions},
      {.Name = "the four actions are saved", .Prepare = SavingActions},
  };
}

}  // namespace korvane::test
