// The category wizard as the operator uses it: its pages in each mode, keys, and what Finish and errors do.

#include "categories/frmTrpCatWiz.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "CategoriesWorld.h"

namespace korvane::categories {
namespace {

using testing::ElementsAre;

struct frmTrpCatWizTest : test::CategoriesWorld, testing::Test {
  frmTrpCatWizTest() {
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme", "A fan stands still.");
    Store.Connect(OwnConnection);
    Transaction = std::make_unique<CategoryTransaction>(OwnConnection);
  }
  void Show(WizardTask task) {
    Task = std::move(task);
    Window = std::make_unique<frmTrpCatWiz>(Task, *Transaction, Names, Prompt);
    Window->show();
    Window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(Window.get()));
  }
  template <typename Control>
  Control& Find(const char* name) {
    auto* control = Window->findChild<Control*>(QString::fromLatin1(name));
    EXPECT_NE(control, nullptr) << name;
    return *control;
  }
  void Type(const char* name, const char* text) {
    QTest::keyClicks(&Find<QLineEdit>(name), QString::fromUtf8(text));
  }
  void Choose(const char* name, const char* item) {
    auto& combo = Find<QComboBox>(name);
    combo.setCurrentIndex(combo.findText(QString::fromUtf8(item)));
  }
  void Click(const char* name) { QTest::mouseClick(&Find<QPushButton>(name), Qt::LeftButton); }
  std::string Caption() { return Find<QPushButton>("cmdNextFinish").text().toStdString(); }
  // The information on the page that shows.
  std::string Info() {
    const char* label = Find<QWidget>("pagCategory").isVisible() ? "lblInfo1" : "lblInfo2";
    return Find<QLabel>(label).text().toStdString();
  }
  std::vector<std::string> Pending() {
    std::vector<std::string> cells;
    const QAbstractItemModel& rows = *Find<QTableView>("lvTraps").model();
    for (int row = 0; row < rows.rowCount(); ++row) {
      cells.push_back(rows.index(row, 0).data().toString().toStdString() + "/" +
                      rows.index(row, 3).data().toString().toStdString());
    }
    return cells;
  }
  std::vector<std::string> TabOrder() {
    std::vector<std::string> names;
    const QWidget* first = QApplication::focusWidget();
    const QWidget* at = first;
    do {
      names.push_back(at->objectName().toStdString());
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      at = QApplication::focusWidget();
    } while (at != nullptr && at != first && names.size() < 20);
    return names;
  }
  std::vector<TrapDetail> Stored(const char* category) {
    return CategoryStore(*Transaction).LoadTrapDetails(category).Traps;
  }

  store::Connection OwnConnection;
  std::unique_ptr<CategoryTransaction> Transaction;
  WizardTask Task;
  std::unique_ptr<frmTrpCatWiz> Window;
};

TEST_F(frmTrpCatWizTest, EachModeHasItsPagesAndTexts) {
  CategoryWriter(*Transaction)
      .AddCategory("A\u202E<b>", "old", 4, std::vector{TrapDetail{.Source = "r1", .Severity = 5}});
  constexpr char kAddTraps[] =
      "Add Traps to the category. Note that Enterprise can be selected only when Generic is "
      "'enterpriseSpecific'.";
  const struct {
    WizardMode Mode;
    const char* Title;
    const char* Info;
    const char* Caption;
    const char* Focus;
    bool Category;
    bool List;
  } modes[] = {
      {WizardMode::AddCategory, "Add Category",
       "Provide information about new trap category that you want to create.", "&Next >", "txtCatName", true,
       false},
      {WizardMode::EditCategory, "Edit Category", "Edit the description for this category.", "&Finish",
       "txtCatDescription", true, false},
      {WizardMode::AddTrapDetails, "Add Trap Detail", kAddTraps, "&Finish", "txtSource", false, true},
      {WizardMode::EditTrapDetail, "Edit Trap Detail",
       "Edit Trap information. Note that Enterprise can be selected only when Generic is "
       "'enterpriseSpecific'.",
       "&Finish", "txtSource", false, false}};
  for (const auto& mode : modes) {
    Show({.Mode = mode.Mode,
          .CategoryName = mode.Mode == WizardMode::AddCategory ? "" : "A\u202E<b>",
          .TrapTableId = Stored("A\u202E<b>").front().TrapTableId});
    EXPECT_EQ(Window->windowTitle(), QString::fromLatin1(mode.Title));
    EXPECT_EQ(Info(), mode.Info);
    EXPECT_EQ(Caption(), mode.Caption);
    EXPECT_EQ(Window->focusWidget()->objectName(), QString::fromLatin1(mode.Focus)) << mode.Title;
    EXPECT_EQ(Find<QGroupBox>("fraCategory").isVisible(), mode.Category) << mode.Title;
    EXPECT_EQ(Find<QTableView>("lvTraps").isVisible(), mode.List) << mode.Title;
    EXPECT_EQ(Find<QPushButton>("cmdAdd").isVisible(), mode.List) << mode.Title;
    EXPECT_TRUE(Find<QPushButton>("cmdNextFinish").isDefault());
  }
  EXPECT_EQ(Find<QLineEdit>("txtSource").text(), QStringLiteral("r1"));
  EXPECT_EQ(Find<QComboBox>("cboSeverity").currentText(), QStringLiteral("Critical"));

  Show({.Mode = WizardMode::EditCategory, .CategoryName = "A\u202E<b>"});
  EXPECT_TRUE(Find<QLineEdit>("txtCatName").isReadOnly());
  EXPECT_FALSE(Find<QLineEdit>("txtCatName").text().contains(QChar(0x202E)));
  Find<QPlainTextEdit>("txtCatDescription").setPlainText(QStringLiteral("new"));
  Click("cmdNextFinish");
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, "A\u202E<b>") << "what is shown for it is not its name";
  EXPECT_EQ(CategoryStore(*Transaction).LoadTrapDetails("A\u202E<b>").Description, "new");
}

TEST_F(frmTrpCatWizTest, MakesACategoryFromTheKeyboard) {
  Show({});
  EXPECT_THAT(TabOrder(), ElementsAre("txtCatName", "txtCatDescription", "cmdNextFinish", "cmdCancel"));
  QTest::keyClick(Window->focusWidget(), Qt::Key_Return);
  EXPECT_EQ(Prompt.LastMessage(), "Please assign a name to the category.");
  EXPECT_EQ(Caption(), "&Next >");
  Type("txtCatName", "Fans");
  QTest::keyClick(Window->focusWidget(), Qt::Key_Return);
  EXPECT_EQ(Caption(), "&Finish");
  EXPECT_EQ(Info().substr(0, 26), "Add Traps to the category.");

  auto& enterprise = Find<QComboBox>("cboEnterprise");
  for (const char* generic : {"-All-", "linkDown", "enterpriseSpecific"}) {
    Choose("cboGeneric", generic);
    EXPECT_EQ(enterprise.isEnabled(), generic == std::string("enterpriseSpecific")) << generic;
  }
  EXPECT_THAT(TabOrder(), ElementsAre("txtSource", "cboGeneric", "cboEnterprise", "lvEnterpriseTraps",
                                      "cboSeverity", "txtVarBinds", "cmdAdd", "lvTraps", "txtDescription",
                                      "cmdNextFinish", "cmdCancel"));
  Choose("cboEnterprise", "acme");
  QTest::keyClick(&Find<QListView>("lvEnterpriseTraps"), Qt::Key_Down);
  EXPECT_EQ(Find<QPlainTextEdit>("txtDescription").toPlainText(), QStringLiteral("A fan stands still."));
  Click("cmdAdd");
  EXPECT_EQ(Prompt.LastMessage(), "Severity should be other than the default 'Clear'.");
  Choose("cboSeverity", "Major");
  Click("cmdAdd");
  Choose("cboGeneric", "linkDown");
  EXPECT_EQ(enterprise.currentText(), QStringLiteral("-All-")) << "no enterprise stays behind unseen";
  for (const char* source : {"r", "o"}) {
    Type("txtSource", source);
    Click("cmdAdd");
  }
  EXPECT_THAT(Pending(), ElementsAre("-All-/fanFailed", "r/-All-", "ro/-All-"));

  auto& list = Find<QTableView>("lvTraps");
  EXPECT_FALSE(Find<QPushButton>("cmdRemove").isEnabled());
  list.selectRow(1);
  Click("cmdRemove");
  EXPECT_THAT(Pending(), ElementsAre("-All-/fanFailed", "ro/-All-"));
  QTest::keyClick(&list, Qt::Key_Delete);
  EXPECT_THAT(Pending(), ElementsAre("-All-/fanFailed")) << "the next row was selected";
  QTest::keyClick(Window.get(), Qt::Key_Return);
  EXPECT_FALSE(Window->isVisible());
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, "Fans");
  ASSERT_EQ(Stored("Fans").size(), 1U);
  EXPECT_EQ(Stored("Fans")[0].SpecificTrap, "7");
}

TEST_F(frmTrpCatWizTest, EscapeLeavesNothingBehind) {
  CategoryWriter(*Transaction).AddCategory("A", "", 4, {});
  const int before = Transaction->ChangesBegun();
  Show({.Mode = WizardMode::AddTrapDetails, .CategoryName = "A"});
  Type("txtSource", "r1");
  Choose("cboSeverity", "Minor");
  Click("cmdAdd");
  QTest::keyClick(&Find<QTableView>("lvTraps"), Qt::Key_Escape);
  EXPECT_FALSE(Window->isVisible());
  EXPECT_TRUE(Task.Cancelled);
  EXPECT_EQ(Transaction->ChangesBegun(), before);
}

TEST_F(frmTrpCatWizTest, StaysOpenAfterADatabaseErrorAndASecondFinishIsWhole) {
  Show({});
  Type("txtCatName", "Fans");
  Click("cmdNextFinish");
  Choose("cboSeverity", "Minor");
  for (const char* source : {"a", "b"}) {
    Type("txtSource", source);
    Click("cmdAdd");
  }
  Store.Execute(
      "CREATE TRIGGER Fails BEFORE INSERT ON Category_Relation_Master BEGIN SELECT RAISE(ABORT, 'disk "
      "full'); "
      "END");
  Click("cmdNextFinish");
  ASSERT_FALSE(Prompt.Messages().empty());
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical);
  EXPECT_THAT(Prompt.LastMessage(), testing::HasSubstr("disk full"));
  EXPECT_TRUE(Window->isVisible());
  EXPECT_TRUE(Task.Cancelled);
  EXPECT_EQ(Stored("Fans").size(), 2U) << "what was written stays in the opener's transaction";
  OwnConnection.Execute("DROP TRIGGER Fails");
  Find<QTableView>("lvTraps").selectRow(0);
  Click("cmdRemove");
  Click("cmdNextFinish");
  EXPECT_FALSE(Window->isVisible());
  EXPECT_FALSE(Task.Cancelled);
  ASSERT_EQ(Stored("Fans").size(), 1U) << "only what the list showed at last";
  EXPECT_EQ(Stored("Fans")[0].Source, "ab");
}

}  // namespace
}  // namespace korvane::categories
