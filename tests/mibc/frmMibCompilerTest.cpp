#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QTableView>

#include "frmMibCompiler.h"
#include "support/Processes.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"
#include "support/WindowDriver.h"

namespace korvane::mibc {
namespace {

using test::TextOf;

TEST(frmMibCompilerTest, ShowsWhatBecameOfEachModuleAndStopsAndClosesInTheMiddleOfAFile) {
  const test::SqliteStore store;
  const test::TempFolder folder;
  const std::filesystem::path good = KORVANE_SOURCE_DIR "/mibc/sample/KORVANE-SAMPLE-MIB";
  const std::filesystem::path bad = folder / "bad.mib";
  test::WriteFile(bad, "BAD-MIB DEFINITIONS ::= BEGIN\noops\nEND\n");
  const auto ended = [](const frmMibCompiler& window) {
    return test::WaitFor([&] { return test::IsEnabled(window, "cmdFiles"); });
  };
  frmMibCompiler window({.Reader = {.Parser = KORVANE_MIBC, .Folders = {KORVANE_SOURCE_DIR "/mibc/mibs"}},
                         .DataSource = store.DataSource()});
  auto& list = test::Find<QTableView>(window, "lvModules");
  const QAbstractItemModelTester tester(list.model());
  window.Compile({good, bad});
  EXPECT_FALSE(test::IsEnabled(window, "cmdFiles"));
  ASSERT_TRUE(ended(window));
  EXPECT_EQ(test::Cell(list, 0, 0) + test::Cell(list, 0, 1), "KORVANE-SAMPLE-MIB4 traps added");
  EXPECT_EQ(test::Cell(list, 1, 0) + test::Cell(list, 1, 1).substr(0, 21), "BAD-MIBRefused: syntax error");
  EXPECT_EQ(TextOf(window, "lblState"),
            "1 module: 4 traps added, 0 updated, 0 unchanged. 1 file was refused.");
  // The refused one is selected, so that its reason stands in the details.
  EXPECT_EQ(TextOf(window, "txtDetails").find(bad.string() + ":3: syntax error"), 0U);

  const std::filesystem::path parser = folder / "parser";
  const std::filesystem::path began = folder / "parser.began";
  test::WriteFile(parser, "#!/bin/sh\ntouch \"$0.began\"\nexec sleep 60\n");
  std::filesystem::permissions(parser, std::filesystem::perms(0700));
  frmMibCompiler hanging({.Reader = {.Parser = parser, .Folders = {}}, .DataSource = store.DataSource()});
  hanging.show();
  hanging.Compile({good});
  ASSERT_TRUE(test::WaitFor([&] { return std::filesystem::exists(began); }));
  test::Click(hanging, "cmdStop");
  ASSERT_TRUE(ended(hanging));
  EXPECT_EQ(TextOf(hanging, "lblState").find("Stopped. 0 modules"), 0U);
  std::filesystem::remove(began);
  hanging.Compile({good});
  ASSERT_TRUE(test::WaitFor([&] { return std::filesystem::exists(began); }));
}  // the window goes while its parser hangs

}  // namespace
}  // namespace korvane::mibc
