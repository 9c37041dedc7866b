#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Compiler.h"
#include "MibReader.h"
#include "ModuleParser.h"
#include "ParserProtocol.h"
#include "TrapDefinitionTable.h"
#include "common/Text.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#if KORVANE_MIBC_WINDOW
#include "qt/WindowMain.h"
#endif

namespace {

using namespace korvane;

constexpr std::string_view kUsage =
    "Takes the traps that MIB files define into the trap store, so that the console shows their names.\n"
    "\n"
    "usage: mibc [--check] FILE-OR-FOLDER...\n"
    "       mibc [--help | --version]\n"
    "  --check  read the files and say what is wrong with them; store nothing\n"
    "\n"
    "Without a file, and with a display, a window asks for them.\n"
    "Imported modules are looked for beside the given files, in /usr/share/snmp/mibs, in the folders of\n"
    "/var/lib/mibs and among those that come with the program. A file with an error is refused whole. "
    "Compiling\n"
    "again brings known traps up to date. The store is the data source \"dvldb\".\n"
    "Exit status: 0 all were taken, 1 some were refused, 2 wrong call.\n";

constexpr std::size_t kMostFaultsShown = 20;

void Print(const mibc::CompiledFile& compiled, const std::filesystem::path& shown) {
  if (!compiled.Refused()) {
    for (const mibc::CompiledModule& module : compiled.Modules) {
      fmt::print("{} ({}): {}\n", module.Name, VisibleText(shown.string()), ResultText(module));
    }
    return;
  }
  std::fflush(stdout);
  for (std::size_t i = 0; i < std::min(compiled.Faults.size(), kMostFaultsShown); ++i) {
    fmt::print(stderr, "{}\n", VisibleText(FaultText(compiled.Faults[i])));
  }
  if (compiled.Faults.size() > kMostFaultsShown) {
    fmt::print(stderr, "... and {} more\n", compiled.Faults.size() - kMostFaultsShown);
  }
  // What a folder holds is told file by file.
  if (!std::filesystem::is_directory(shown)) {
    fmt::print(stderr, "{}: refused, nothing of it was stored\n", VisibleText(shown.string()));
  }
}

int CompileFiles(const std::vector<std::filesystem::path>& given, bool checkOnly) {
  store::Connection connection;
  mibc::TrapDefinitionTable table(connection);
  if (!checkOnly) {
    try {
      connection.Open(store::kDataSourceName, {}, {});
    } catch (const store::DatabaseError& failure) {
      fmt::print(stderr, "mibc: the trap store can't be opened: {}\n", failure.what());
      return 1;
    }
  }
  mibc::MibReader reader({.Folders = mibc::StandardFolders()});
  mibc::Compiler compiler(reader, checkOnly ? nullptr : &table);
  bool refused = false;
  for (const std::filesystem::path& file : compiler.FilesOf(given)) {
    const mibc::CompiledFile compiled = compiler.Compile(file);
    Print(compiled, file);
    refused = refused || compiled.Refused();
  }
  return refused ? 1 : 0;
}

int WrongCall() {
  fmt::print(stderr, "{}", kUsage);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (!arguments.empty() && arguments[0] == mibc::kParseOption) {
    // The library's tree of the modules is not taken apart first: the process ends with it.
    std::_Exit(mibc::RunParser(mibc::TaskOf(arguments)));
  }
  bool checkOnly = false;
  bool onlyFiles = false;
  std::vector<std::filesystem::path> files;
  for (const std::string& argument : arguments) {
    if (onlyFiles || !argument.starts_with("-")) {
      files.emplace_back(argument);
    } else if (argument == "--") {
      onlyFiles = true;
    } else if (argument == "--help") {
      fmt::print("{}", kUsage);
      return 0;
    } else if (argument == "--version") {
      fmt::print("mibc {}\n", KORVANE_VERSION);
      return 0;
    } else if (argument == "--check") {
      checkOnly = true;
    } else {
      return WrongCall();
    }
  }
  if (!files.empty()) {
    return CompileFiles(files, checkOnly);
  }
#if KORVANE_MIBC_WINDOW
  if (!checkOnly && mibc::HasDisplay()) {
    return mibc::ShowWindow(argc, argv);
  }
#endif
  return WrongCall();
}
