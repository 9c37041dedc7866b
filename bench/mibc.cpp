// Compiling a MIB file of many notifications into the store, for the first time and again, against nothing
// but inserting the same rows.
//   bench_mibc [notifications]     350 unless given
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

#include "Compiler.h"
#include "Size.h"
#include "store/BatchInsert.h"
#include "store/Tables.h"
#include "support/Processes.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

double Milliseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Objects and notifications of ten branches, with the descriptions of a talkative maker.
std::string ModuleText(int notifications) {
  std::string text =
      "BENCH-MIB DEFINITIONS ::= BEGIN\n"
      "IMPORTS OBJECT-TYPE, NOTIFICATION-TYPE, Integer32, enterprises FROM SNMPv2-SMI\n"
      "  SnmpAdminString FROM SNMP-FRAMEWORK-MIB ifIndex FROM IF-MIB;\n"
      "bench OBJECT IDENTIFIER ::= { enterprises 32473 }\n";
  for (int branch = 0; branch < 10; ++branch) {
    text += fmt::format(
        "branch{0} OBJECT IDENTIFIER ::= {{ bench {1} }}\nobject{0} OBJECT-TYPE SYNTAX SnmpAdminString "
        "MAX-ACCESS accessible-for-notify STATUS current DESCRIPTION \"An object.\" ::= {{ branch{0} 1 }}\n",
        branch, branch + 1);
  }
  const std::string description(600, 'd');
  for (int i = 0; i < notifications; ++i) {
    text += fmt::format(
        "trap{0} NOTIFICATION-TYPE OBJECTS {{ ifIndex, object{1} }} STATUS current DESCRIPTION\n"
        "  \"Number {0}. {2}\" ::= {{ branch{1} 0 {0} }}\n",
        i, i % 10, description);
  }
  return text + "END\n";
}

void BareInserts(store::Connection& connection, const mibc::Module& module) {
  constexpr std::array<std::string_view, 5> kColumns = {"EnterpriseOid", "RequestType", "SpecificTrap",
                                                        "Name", "TrapDescription"};
  store::Transaction transaction(connection);
  store::BatchInsert insert(connection, store::kEventStructure, kColumns);
  for (const mibc::Definition& row : module.Definitions) {
    insert.Add(std::array<store::BatchInsert::Value, 5>{row.EnterpriseOid, row.RequestType, row.SpecificTrap,
                                                        row.Name, row.TrapDescription});
  }
  insert.Flush();
  transaction.Commit();
}

}  // namespace

int main(int argc, char** argv) {
  const int count = bench::Size(argc, argv, 350);
  const test::TempFolder folder;
  const std::filesystem::path file = folder / "BENCH-MIB";
  test::WriteFile(file, ModuleText(count));
  test::SqliteStore store;
  store::Connection connection;
  store.Connect(connection);
  mibc::TrapDefinitionTable table(connection);
  mibc::MibReader reader({.Parser = KORVANE_MIBC, .Folders = {KORVANE_SOURCE_DIR "/mibc/mibs"}});
  mibc::Compiler compiler(reader, &table);
  mibc::CompiledFile compiled;
  const auto compile = [&] { compiled = compiler.Compile(compiler.FilesOf({file}).front()); };

  const double first = Milliseconds(compile);
  Expect(!compiled.Refused() && compiled.Modules.at(0).Stored->Added == static_cast<std::size_t>(count),
         "not everything was stored");
  const double again = Milliseconds(compile);
  Expect(compiled.Modules.at(0).Stored->Unchanged == static_cast<std::size_t>(count),
         "something was changed");
  store.Execute("UPDATE EventStructure SET TrapDescription = 'old'");
  const double update = Milliseconds(compile);
  Expect(compiled.Modules.at(0).Stored->Updated == static_cast<std::size_t>(count), "not all was updated");
  mibc::ReadFile read;
  const double reading = Milliseconds([&] { read = reader.Read(file, {}); });
  store.Execute("DELETE FROM EventStructure");
  const double bare = Milliseconds([&] { BareInserts(connection, read.Modules.at(0)); });

  fmt::print("{} notifications, {} KiB\n", count, std::filesystem::file_size(file) / 1024);
  fmt::print("bare inserts          {:8.1f} ms\n", bare);
  fmt::print("reading alone         {:8.1f} ms\n", reading);
  const auto line = [bare](const char* what, double time) {
    fmt::print("{:<21} {:8.1f} ms  {:6.1f} times the bare inserts\n", what, time, time / bare);
  };
  line("compiling first", first);
  line("compiling unchanged", again);
  line("compiling changed", update);
  return 0;
}
