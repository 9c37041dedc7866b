// Compiles MIB files one after the other: reads each and stores what it defines, or says why not.
// One thread, the one that the connection belongs to.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Definition.h"
#include "MibReader.h"
#include "TrapDefinitionTable.h"

namespace korvane::mibc {

struct CompiledModule {
  std::string Name;
  std::vector<Definition> Definitions;
  std::optional<StoredCounts> Stored;  // nothing when the files were only checked
};

struct CompiledFile {
  std::filesystem::path File;
  // Without faults: its modules.  With them: the names of what was refused, as far as they are known.
  std::vector<CompiledModule> Modules;
  std::vector<Fault> Faults;

  bool Refused() const { return !Faults.empty(); }
};

// "3 traps added, 1 updated, 2 unchanged"; "2 traps, not stored"; "no traps".
std::string ResultText(const CompiledModule& module);

class Compiler {
 public:
  // Without a table the files are only checked.  All references must outlive this object.
  Compiler(MibReader& reader, TrapDefinitionTable* table) : reader_(reader), table_(table) {}

  // The files to compile: those given, absolute, and for a folder the files with modules in it.
  // Fault: a folder without such files, or with too many, is answered as a file of its own, so that it gets
  // its reason.  After a stop: those found so far.
  std::vector<std::filesystem::path> FilesOf(const std::vector<std::filesystem::path>& given,
                                             const std::stop_token& stop = {});

  CompiledFile Compile(const std::filesystem::path& file, const std::stop_token& stop = {});

 private:
  MibReader& reader_;
  TrapDefinitionTable* table_;
};

}  // namespace korvane::mibc
