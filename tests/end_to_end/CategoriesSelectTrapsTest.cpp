// Categories made as the operator makes them, on real SNMP traffic: which traps each kind of criterion brings
// into a live window and a report, through a category file and back, and what a long category change leaves
// alone meanwhile.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "HeadlessConsole.h"
#include "categories/CategoriesForm.h"
#include "categories/CategoryCopies.h"
#include "categories/WizardForm.h"
#include "params/WindowParametersForm.h"
#include "receiver/Running.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane {
namespace {

using categories::CategoriesForm;
using categories::WizardForm;
using test::HeadlessConsole;

constexpr char kSample[] = "1.3.6.1.4.1.32473.1";  // of mibc/sample
constexpr char kOther[] = "1.3.6.1.4.1.99999.7";
constexpr char kText[] = "1.3.6.1.4.1.32473.1.1.1.0";

// One entry of the wizard's second page; what is empty is left as it stands there.
struct Criterion {
  std::string Source = {};
  std::string Generic = {};
  std::string Enterprise = {};
  std::string Trap = {};
  std::string VarBinds = {};
};

struct Wanted {
  std::string Category;
  std::size_t Severity;
  std::vector<Criterion> Criteria;
  std::string Tags;  // of the traps below that it is about
};

// The order matters: the first category that takes a trap grades it.
const std::vector<Wanted> kCategories = {
    {"By name", 1, {{.Source = "CORErouter"}}, "bc"},
    {"By address", 2, {{.Source = "10.30.0.1"}}, "ai"},
    {"Downs", 3, {{.Generic = "linkDown"}}, "ab"},
    {"Doors",
     4,
     {{.Generic = "enterpriseSpecific", .Enterprise = "korvaneSample", .Trap = "sampleDoorOpened"}},
     "de"},
    {"Cabinets", 5, {{.Generic = "enterpriseSpecific", .Enterprise = "korvaneSample"}}, "def"},
    {"Enterprises", 3, {{.Generic = "enterpriseSpecific", .Enterprise = "-All-"}}, "defgh"},
    {"Fans", 1, {{.Source = "-All-", .Generic = "-All-", .VarBinds = "fAN FAILED"}}, "fg"},
    {"All of it",
     1,
     {{.Source = "10.30.0.4",
       .Generic = "enterpriseSpecific",
       .Enterprise = "korvaneSample",
       .Trap = "sampleUplinkLost",
       .VarBinds = "psu"}},
     "f"},
    {"Either", 1, {{.Generic = "linkUp"}, {.Generic = "coldStart"}}, "ci"},
    {"Neither", 1, {{.Source = "10.30.0", .Generic = "linkDown"}}, ""},
};

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

void ChooseText(const params::ListControl& list, const std::string& text,
                const std::function<void(std::size_t)>& choose) {
  if (text.empty()) {
    return;
  }
  ASSERT_TRUE(list.Enabled) << text;
  const auto found = std::ranges::find(list.Items, text);
  ASSERT_NE(found, list.Items.end()) << text;
  choose(static_cast<std::size_t>(found - list.Items.begin()));
}

// "Manage Categories" with an operator in front of its wizard.
class Manager : private categories::CategoriesWindow {
 public:
  explicit Manager(HeadlessConsole& console) : services_(console.ForCategories), form_(services_, *this) {
    EXPECT_TRUE(form_.Open());
  }
  CategoriesForm& Form() { return form_; }

  void Create(const Wanted& wanted) {
    operate_ = [&](WizardForm& wizard) {
      wizard.EditName(wanted.Category);
      EXPECT_FALSE(wizard.NextOrFinish());
      for (const Criterion& criterion : wanted.Criteria) {
        Enter(criterion, wizard.Criteria());
        wizard.ChooseSeverity(wanted.Severity);
        wizard.Add();
      }
      EXPECT_EQ(wizard.Pending().size(), wanted.Criteria.size());
      EXPECT_TRUE(wizard.NextOrFinish());
    };
    EXPECT_TRUE(form_.CreateCategory());
    EXPECT_EQ(form_.SelectedName(), wanted.Category);
  }
  void Ok() {
    EXPECT_TRUE(form_.Ok());
    form_.Unload();
  }

 private:
  static void Enter(const Criterion& criterion, params::TrapCriteriaForm& form) {
    const params::TrapCriteriaControls& controls = form.Controls();
    form.EditSource(criterion.Source);
    ChooseText(controls.cboGeneric, criterion.Generic, [&](std::size_t at) { form.ChooseGeneric(at); });
    ChooseText(controls.cboEnterprise, criterion.Enterprise,
               [&](std::size_t at) { form.ChooseEnterprise(at); });
    ChooseText(controls.lvTraps, criterion.Trap, [&](std::size_t at) { form.ChooseTrap(at); });
    form.EditVarBinds(criterion.VarBinds);
  }
  void RunWizard(categories::WizardTask& task, categories::CategoryTransaction& transaction) override {
    WizardForm wizard(task, transaction, services_.Names, services_.Prompt);
    operate_(wizard);
  }
  void ShowBusyPointer(bool) override {}

  categories::CategoryServices& services_;
  CategoriesForm form_;
  std::function<void(WizardForm&)> operate_;
};

class CategoriesSelectTrapsTest : public testing::Test {
 protected:
  CategoriesSelectTrapsTest() {
    test::RunProgram({KORVANE_SOURCE_DIR "/install/load-trap-names", "sqlite", store_.MainFile()});
    store_.AddSystem("CoreRouter", "10.30.0.2");
  }

  static void CompileSample() {
    // Under the leak sanitizer the embedded engine's driver would count against the program.
    test::RunProgram({"env", "LSAN_OPTIONS=exitcode=0", KORVANE_MIBC,
                      KORVANE_SOURCE_DIR "/mibc/sample/KORVANE-SAMPLE-MIB"});
  }
  void V1(const std::string& enterprise, const std::string& agent, int generic, int specific,
          const std::string& text) {
    Send({"1", "-c", "public", receiver_.Address(), enterprise, agent, std::to_string(generic),
          std::to_string(specific), "", kText, "s", text});
  }
  void V2(const std::string& trap, const std::string& agent, const std::string& text) {
    Send({"2c", "-c", "public", receiver_.Address(), "", trap, kText, "s", text, "1.3.6.1.6.3.18.1.3.0", "a",
          agent});
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
  // Ticks until as many traps as were sent show in "All Traps ".
  testing::AssertionResult AllArrive(HeadlessConsole& console) {
    if (console.Shows(sent_) && console.AllTraps().Rows().Count() == sent_) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << console.AllTraps().Rows().Count() << " of " << sent_ << "\n"
                                       << receiver_.Log();
  }

  // Live windows and fresh reports hold exactly what their categories are about, each trap this often.
  void ExpectSelected(HeadlessConsole& console, std::size_t times) {
    for (const Wanted& wanted : kCategories) {
      std::string tags;
      for (const char tag : wanted.Tags) {
        tags.append(times, tag);
      }
      EXPECT_EQ(TagsOf(windows_.at(wanted.Category)->Rows()), tags) << wanted.Category;
      EXPECT_EQ(TagsOf(console.LoadReport({.Category = wanted.Category})->Rows()), tags)
          << "report of " << wanted.Category;
    }
  }
  static void ExpectSeverities(HeadlessConsole& console, const std::map<char, std::int32_t>& severities) {
    const traplist::TrapRows& rows = console.AllTraps().Rows();
    for (std::size_t row = 0; row < rows.Count(); ++row) {
      const char tag = TagOf(rows.VarBindsAt(row));
      EXPECT_EQ(rows.SeverityAt(row), severities.at(tag)) << tag;
    }
  }

  test::SqliteStore store_;
  receiver::RunningReceiver receiver_;
  std::map<std::string, traps::TrapsModel*> windows_;
  std::size_t sent_ = 0;

 private:
  void Send(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"snmptrap", "-Ln", "-v"});
    ASSERT_EQ(receiver::RunCommand(arguments), 0);
    ++sent_;
  }
};

TEST_F(CategoriesSelectTrapsTest, ByEveryKindOfCriterionAndThroughAFile) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  HeadlessConsole console(store_);
  // The first nine are stored before there is any category or their definitions were compiled, the second
  // nine come in live.
  SendAll();
  ASSERT_TRUE(AllArrive(console));
  const auto nameOfD = [&] { return std::string(console.AllTraps().Rows().TrapNameAt(3)); };
  EXPECT_EQ(nameOfD(), std::string(kSample) + ".0.3");
  const std::string mark = console.Names.DefinitionsMark();
  CompileSample();
  EXPECT_NE(console.Names.DefinitionsMark(), mark);
  console.Names.ClearCache();
  console.CategoriesChanged();
  EXPECT_EQ(nameOfD(), "sampleDoorOpened");
  {
    Manager manager(console);
    for (const Wanted& wanted : kCategories) {
      manager.Create(wanted);
    }
    manager.Ok();
  }
  for (const Wanted& wanted : kCategories) {
    windows_[wanted.Category] = &console.OpenWindow({.Category = wanted.Category});
  }
  params::WindowParameters parameters;
  params::StoredParametersLists lists(console.Connection, console.Names);
  params::WindowParametersForm dialog(parameters, lists, console.Prompt);
  const auto& controls = dialog.Controls();
  dialog.ChooseCustom();
  ChooseText(controls.cboGeneric, "enterpriseSpecific", [&](std::size_t at) { dialog.ChooseGeneric(at); });
  ChooseText(controls.cboEnterprise, "korvaneSample", [&](std::size_t at) { dialog.ChooseEnterprise(at); });
  ChooseText(controls.lvTraps, "sampleDoorOpened", [&](std::size_t at) { dialog.ChooseTrap(at); });
  dialog.Ok();
  const traps::TrapsModel& doors = console.OpenWindow(parameters);
  ExpectSelected(console, 1);
  SendAll();
  ASSERT_TRUE(AllArrive(console));
  ExpectSelected(console, 2);
  EXPECT_EQ(TagsOf(doors.Rows()), "ddee") << "the dialog names traps as their rows do";
  const std::map<char, std::int32_t> graded = {{'a', 2}, {'b', 1}, {'c', 1}, {'d', 4}, {'e', 4},
                                               {'f', 5}, {'g', 3}, {'h', 3}, {'i', 2}};
  ExpectSeverities(console, graded);

  const test::TempFolder folder;
  const std::string file = (folder / "all.dvcat").string();
  EXPECT_EQ(categories::WriteChosen(categories::CategoriesOfStore(console.Connection), file), "");
  {
    Manager manager(console);
    for (std::size_t left = kCategories.size(); left > 0; --left) {
      console.Prompt.WillAnswer(PromptAnswer::Yes);
      EXPECT_TRUE(manager.Form().DeleteCategory());
    }
    manager.Ok();
  }
  for (const auto& [name, window] : windows_) {
    EXPECT_EQ(TagsOf(window->Rows()), "") << name;
    EXPECT_EQ(console.LoadReport({.Category = name})->Rows().Count(), 0U) << name;
  }
  EXPECT_EQ(console.AllTraps().Rows().Count(), sent_);

  std::vector<categories::OfferedCategory> offered = categories::CategoriesOfFile(file, console.Connection);
  ASSERT_EQ(offered.size(), kCategories.size());
  categories::StoreChosen(offered, *console.OpenConnection());
  categories::CategoriesSaved(console.ForCategories);
  ExpectSelected(console, 2);
  ExpectSeverities(console, graded);
  EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(sent_));
}

// An operator who leaves "Manage Categories" open with changes in it, and thinks it over.
TEST_F(CategoriesSelectTrapsTest, NotBeforeOkAndNothingWaitsForIt) {
  CompileSample();
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  HeadlessConsole console(store_);
  traps::TrapsModel& pending = console.OpenWindow({.WindowName = "Downs", .Category = "Downs"});
  const Wanted& downs = kCategories[2];
  for (const bool closeBox : {false, true}) {
    Manager manager(console);
    manager.Create(downs);
    SendAll();
    ASSERT_TRUE(AllArrive(console)) << "stored and taken in";
    console.AllTraps().AcknowledgeSelected(std::vector<std::uint32_t>{0, 1, 2});
    sent_ -= 3;
    EXPECT_EQ(console.AllTraps().Rows().Count(), sent_);
    EXPECT_EQ(console.CountedTraps(), static_cast<std::int64_t>(sent_));
    if (closeBox) {
      manager.Form().CloseBox();
    } else {
      console.Prompt.WillAnswer(PromptAnswer::No);
      EXPECT_TRUE(manager.Form().Cancel());
    }
    manager.Form().Unload();
    EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM Category_Group_Master"), 0);
    EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM Trap_Group_Detail"), 0);
    EXPECT_EQ(pending.Rows().Count(), 0U);
  }
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM EventTrap"), 18);
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 6);
  EXPECT_EQ(console.Prompt.LastMessage(), "");

  Manager manager(console);
  manager.Create(downs);
  SendAll();
  ASSERT_TRUE(AllArrive(console));
  EXPECT_EQ(pending.Rows().Count(), 0U) << "not committed yet";
  manager.Ok();
  EXPECT_EQ(TagsOf(pending.Rows()), "aabb") << "the first two were acknowledged";
}

}  // namespace
}  // namespace korvane
