// "Manage Categories" as the operator uses it: keys, menus, the bar between the lists, and the ways out.

#include "categories/frmCategories.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "CategoriesWorld.h"
#include "categories/CategoryPanes.h"

namespace korvane::categories {
namespace {

struct frmCategoriesTest : test::CategoriesWorld, testing::Test {
  void AddCategory(const std::string& name, const std::string& description,
                   const std::vector<TrapDetail>& traps) {
    CategoryTransaction transaction(Connection);
    CategoryWriter(transaction).AddCategory(name, description, 0, traps);
    transaction.Commit();
  }
  void AddTwo() {
    AddCategory("Lines", "Links", {{.Source = "a", .GenericTrap = 2}, {.Source = "b", .GenericTrap = 3}});
    AddCategory("Doors", "", {{.Source = "c", .GenericTrap = 2}});
  }
  template <typename Control>
  Control& Find(const char* name) {
    auto* control = Window.findChild<Control*>(QString::fromLatin1(name));
    EXPECT_NE(control, nullptr) << name;
    return *control;
  }
  void Show() {
    ASSERT_TRUE(Window.Open());
    Window.show();
    Window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&Window));
  }
  QTreeView& Tree() { return Find<QTreeView>("tvEvtGrps"); }
  QTableView& List() { return Find<QTableView>("lvEvtDetails"); }
  bool Enabled(const char* name) { return Find<QPushButton>(name).isEnabled(); }
  // The dialog that opens next is closed with Escape; its title.
  QString TitleOfDialog(const std::function<void()>& act) {
    QString title;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
      QWidget* dialog = QApplication::activeModalWidget();
      if (dialog != nullptr && dialog != &Window) {
        title = dialog->windowTitle();
        QTest::keyClick(dialog, Qt::Key_Escape);
      } else if (std::chrono::steady_clock::now() > deadline) {
        poll.stop();
      }
    });
    poll.start(5);
    act();
    return title;
  }
  // Which items of the menu are enabled that a right click at this place opens.
  std::string MenuAt(QAbstractItemView& view, const QPoint& place, const char* name) {
    Q_EMIT view.customContextMenuRequested(place);
    auto& menu = Find<QMenu>(name);
    EXPECT_TRUE(menu.isVisible());
    std::string enabled;
    for (const QAction* item : menu.actions()) {
      enabled += item->isEnabled() ? item->text().toStdString() + " " : "";
    }
    menu.close();
    return enabled;
  }

  frmCategories Window{Services};
};

TEST_F(frmCategoriesTest, WithoutCategoriesOnlyCreateIsOffered) {
  Show();
  EXPECT_TRUE(Enabled("cmdCreateEvtGrp"));
  for (const char* button :
       {"cmdEditEvtGrp", "cmdDeleteEvtGrp", "cmdAddEvtDet", "cmdEditEvtDet", "cmdRemoveEvtDet"}) {
    EXPECT_FALSE(Enabled(button)) << button;
  }
  EXPECT_EQ(MenuAt(Tree(), {20, 40}, "mnuPopEvtGrp"), "New ");
  EXPECT_EQ(MenuAt(List(), {20, 40}, "mnuPopEvtDet"), "");
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Delete, Qt::Key_F2}) {
    QTest::keyClick(&Tree(), key);
    QTest::keyClick(&List(), key);
  }
  EXPECT_TRUE(Window.isVisible()) << "Enter in a list is not OK";
  EXPECT_TRUE(Find<QPushButton>("cmdOK").isDefault());
  QTest::keyClick(&Tree(), Qt::Key_Escape);
  EXPECT_FALSE(Window.isVisible());
}

TEST_F(frmCategoriesTest, ShowsWhatIsChosenAndSpellsOutHostileTexts) {
  AddTwo();
  AddCategory("<b>\u202Enull", "One\nline", {{.Source = "<i>x\ty", .GenericTrap = 6, .VarBinds = "a\rb"}});
  Show();
  const QAbstractItemModelTester names(Tree().model());
  const QAbstractItemModelTester traps(List().model());
  EXPECT_EQ(Find<QLabel>("lblTitle1").text(), QStringLiteral("Lines"));
  EXPECT_EQ(Find<QLabel>("lblTitle2").text(), QStringLiteral("Links"));
  EXPECT_EQ(List().model()->rowCount(), 2);
  EXPECT_FALSE(Enabled("cmdRemoveEvtDet"));
  QTest::keyClick(&Tree(), Qt::Key_End);
  EXPECT_EQ(Find<QLabel>("lblTitle2").text(), QStringLiteral("One␊line"));
  EXPECT_EQ(List().model()->index(0, 0).data().toString(), QStringLiteral("<i>x␉y"));
  EXPECT_EQ(List().model()->index(0, 4).data().toString(), QStringLiteral("a␍b"));
  EXPECT_FALSE(Find<QLabel>("lblTitle1").text().contains(QChar(0x202E)));
  EXPECT_TRUE(
      List().model()->index(0, 0).data(Qt::ToolTipRole).toString().contains(QStringLiteral("&lt;i&gt;")));
}

TEST_F(frmCategoriesTest, KeysMenusAndDoubleClicksDoWhatTheButtonsDo) {
  AddTwo();
  Show();
  List().selectAll();
  EXPECT_FALSE(Enabled("cmdEditEvtDet")) << "which of them?";
  EXPECT_EQ(MenuAt(List(), List().visualRect(List().model()->index(1, 0)).center(), "mnuPopEvtDet"),
            "New Edit Remove ");
  EXPECT_EQ(List().selectionModel()->selectedRows().size(), 1) << "the one under the pointer";
  const QPoint node = Tree().visualRect(Tree().model()->index(1, 0)).center();
  QTest::mouseClick(Tree().viewport(), Qt::RightButton, Qt::NoModifier, node);
  EXPECT_EQ(Find<QLabel>("lblTitle1").text(), QStringLiteral("Doors")) << "a menu is about its node";
  EXPECT_EQ(MenuAt(Tree(), node, "mnuPopEvtGrp"), "New Edit Remove ");
  EXPECT_EQ(MenuAt(Tree(), {5, Tree().height() - 20}, "mnuPopEvtGrp"), "New ");
  EXPECT_EQ(MenuAt(List(), {5, List().height() - 60}, "mnuPopEvtDet"), "New ");
  List().selectRow(0);
  EXPECT_EQ(MenuAt(List(), List().visualRect(List().model()->index(0, 0)).center(), "mnuPopEvtDet"),
            "New Edit Remove ");

  EXPECT_EQ(TitleOfDialog([&] { Find<QAction>("mnuPopNewEvtGrp").trigger(); }),
            QStringLiteral("Add Category"));
  EXPECT_EQ(TitleOfDialog([&] { QTest::keyClick(&Tree(), Qt::Key_Return); }),
            QStringLiteral("Edit Category"));
  EXPECT_EQ(TitleOfDialog([&] { QTest::keyClick(&List(), Qt::Key_Insert); }),
            QStringLiteral("Add Trap Detail"));
  EXPECT_EQ(TitleOfDialog([&] { QTest::keyClick(&List(), Qt::Key_F2); }), QStringLiteral("Edit Trap Detail"));
  EXPECT_EQ(List().selectionModel()->selectedRows().size(), 1) << "a cancelled edit keeps the place";

  Prompt.WillAnswer(PromptAnswer::Yes);
  QTest::keyClick(&List(), Qt::Key_Delete);
  EXPECT_EQ(List().model()->rowCount(), 0);
  EXPECT_FALSE(Enabled("cmdEditEvtDet"));
  Prompt.WillAnswer(PromptAnswer::Yes);
  Find<QPushButton>("cmdDeleteEvtGrp").click();
  EXPECT_EQ(Tree().model()->rowCount(), 1);
  EXPECT_EQ(Tree().currentIndex().row(), 0);
  EXPECT_EQ(List().model()->rowCount(), 2) << "the neighbour's traps";
  QTest::mouseClick(&Find<QPushButton>("cmdOK"), Qt::LeftButton);
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Rows("Category_Group_Master"), 1);
  EXPECT_EQ(Windows.Changes, 1);
}

TEST_F(frmCategoriesTest, EscapeAsksAndTheCloseBoxDiscards) {
  AddTwo();
  Show();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Find<QPushButton>("cmdDeleteEvtGrp").click();
  Prompt.WillAnswer(PromptAnswer::Cancel);
  QTest::keyClick(&Tree(), Qt::Key_Escape);
  EXPECT_TRUE(Window.isVisible());
  Window.close();
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Prompt.Questions().size(), 2U) << "the close box asks nothing";
  EXPECT_EQ(Rows("Category_Group_Master"), 2);
  EXPECT_EQ(Windows.Changes, 0);
  EXPECT_EQ(Platform.Clock.Sleeps, std::vector<int>{500});
}

TEST_F(frmCategoriesTest, DoesNotOpenWithoutAConnection) {
  Reachable = false;
  EXPECT_EQ(Window.exec(), QDialog::Rejected);
  EXPECT_EQ(Prompt.LastMessage(), "no server");
  EXPECT_FALSE(Window.isVisible());
}

TEST_F(frmCategoriesTest, TheBarMovesWithinItsLimitsAndIsRemembered) {
  AddTwo();
  Window.resize(680, 500);
  Show();
  auto& bar = Find<QWidget>("imgSplitter");
  const auto drag = [&](int pixels) {
    QTest::mousePress(&bar, Qt::LeftButton, Qt::NoModifier, {2, 50});
    QTest::mouseMove(&bar, {2 + pixels, 50});
    EXPECT_TRUE(Find<QWidget>("picSplitter").isVisible());
    QTest::mouseRelease(&bar, Qt::LeftButton, Qt::NoModifier, {2 + pixels, 50});
    EXPECT_FALSE(Find<QWidget>("picSplitter").isVisible());
  };
  drag(-1000);
  EXPECT_EQ(Tree().width(), 100);
  drag(5000);
  EXPECT_NEAR(Tree().width(), Find<QWidget>("panes").width() - (1500 - 100) / 15.0, 1);
  drag(-200);
  const int kept = Tree().width();
  Window.resize(Window.width() + 80, Window.height());
  QApplication::processEvents();
  EXPECT_EQ(Tree().width(), kept) << "the list takes what a larger window gives";
  QTest::mouseClick(&Find<QPushButton>("cmdCancel"), Qt::LeftButton);

  frmCategories again(Services);
  ASSERT_TRUE(again.Open());
  again.show();
  EXPECT_EQ(again.size(), Window.size());
  EXPECT_EQ(again.findChild<QTreeView*>(QStringLiteral("tvEvtGrps"))->width(), kept);
}

}  // namespace
}  // namespace korvane::categories
