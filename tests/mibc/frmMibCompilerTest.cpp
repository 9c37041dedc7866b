#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include "MibFiles.h"
#include "frmMibCompiler.h"
#include "support/TestStore.h"

namespace korvane::mibc {
namespace {

class frmMibCompilerTest : public testing::Test {
 protected:
  template <typename Widget>
  static Widget& Child(const QWidget& window, const char* name) {
    return *window.findChild<Widget*>(QLatin1String(name));
  }
  static QString Cell(const frmMibCompiler& window, int row, int column) {
    return Child<QTableView>(window, "lvModules").model()->index(row, column).data().toString();
  }
  static bool Ended(const frmMibCompiler& window) {
    return QTest::qWaitFor([&] { return Child<QPushButton>(window, "cmdFiles").isEnabled(); }, 20'000);
  }

  test::SqliteStore store_;
  MibFiles files_;
};

TEST_F(frmMibCompilerTest, ShowsWhatBecameOfEachModule) {
  const auto good = files_.Write("good.mib", ModuleText("GOOD-MIB", Trap("doorOpen", "acmeTraps 1")));
  const auto bad = files_.Write("bad.mib", ModuleText("BAD-MIB", "oops"));
  frmMibCompiler window({.Reader = TestReader(), .DataSource = store_.DataSource()});
  const QAbstractItemModelTester tester(Child<QTableView>(window, "lvModules").model());
  window.show();
  window.Compile({good, bad});
  EXPECT_FALSE(Child<QPushButton>(window, "cmdFiles").isEnabled());
  EXPECT_TRUE(Child<QPushButton>(window, "cmdStop").isEnabled());
  ASSERT_TRUE(Ended(window));
  EXPECT_EQ(Cell(window, 0, 0), QLatin1String("GOOD-MIB"));
  EXPECT_EQ(Cell(window, 0, 1), QLatin1String("1 trap added"));
  EXPECT_EQ(Cell(window, 1, 0), QLatin1String("BAD-MIB"));
  EXPECT_TRUE(Cell(window, 1, 1).startsWith(QLatin1String("Refused: syntax error")));
  EXPECT_EQ(Child<QLabel>(window, "lblState").text(),
            QLatin1String("1 module: 1 trap added, 0 updated, 0 unchanged. 1 file was refused."));
  // The refused one is selected, so that its reason stands in the details.
  EXPECT_TRUE(Child<QPlainTextEdit>(window, "txtDetails")
                  .toPlainText()
                  .startsWith(QString::fromStdString(bad.string()) + QLatin1String(":6: syntax error")));
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM EventStructure"), 1);
}

TEST_F(frmMibCompilerTest, SaysThatTheStoreIsAway) {
  const auto good = files_.Write("good.mib", ModuleText("GOOD-MIB", ""));
  frmMibCompiler window({.Reader = TestReader(), .DataSource = "no such source"});
  window.Compile({good});
  ASSERT_TRUE(Ended(window));
  EXPECT_TRUE(
      Child<QLabel>(window, "lblState").text().startsWith(QLatin1String("The trap store can't be opened: ")));
}

TEST_F(frmMibCompilerTest, StopsAndClosesInTheMiddleOfAFile) {
  const auto parser = files_.WriteParser("touch \"$0.began\"\nexec sleep 60");
  const auto began = files_.Folder() / "parser.began";
  const auto mib = files_.Write("good.mib", ModuleText("GOOD-MIB", ""));
  frmMibCompiler window({.Reader = {.Parser = parser, .Folders = {}}, .DataSource = store_.DataSource()});
  window.Compile({mib});
  ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(began); }, 20'000));
  Child<QPushButton>(window, "cmdStop").click();
  ASSERT_TRUE(Ended(window));
  EXPECT_TRUE(Child<QLabel>(window, "lblState").text().startsWith(QLatin1String("Stopped. 0 modules")));
  std::filesystem::remove(began);
  window.Compile({mib});
  ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(began); }, 20'000));
}  // the window goes while its parser hangs

}  // namespace
}  // namespace korvane::mibc
