#include "ModuleParser.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include <fmt/format.h>

// The library's header is C and names a parameter by a word that C++ keeps for itself.
#define class class_
#include <smi.h>
#undef class

#include "NotificationMapping.h"
#include "ParserProtocol.h"

namespace korvane::mibc {
namespace {

// libsmi's handler of errors gets no argument of ours, and this process reads one file.
struct Parsing {
  std::string File;
  int Faults = 0;
  std::string LastFault;  // one unexpected sign is told once for every sign behind it
};
Parsing gParsing;

constexpr int kMostFaults = 100;
constexpr std::size_t kLongestName = 255;  // what the store's columns hold
constexpr std::size_t kMostSubIdentifiers = 128;
// More than the largest module needs; what runs away ends here instead of taking the machine's memory.
[[maybe_unused]] constexpr rlim_t kMostMemory = rlim_t{2} << 30U;

void Write(std::initializer_list<std::string_view> fields) {
  const std::string line = ProtocolLine({fields.begin(), fields.size()});
  std::fwrite(line.data(), 1, line.size(), stdout);
}

void WriteFault(std::string_view file, int line, std::string reason) {
  std::ranges::replace(reason, '`', '\'');  // the library quotes `so'
  std::string fault = fmt::format("{}\n{}\n{}", file, line, reason);
  if (fault != gParsing.LastFault && ++gParsing.Faults <= kMostFaults) {
    Write({"fault", file, fmt::format("{}", line), DescriptionText(reason)});
  }
  gParsing.LastFault = std::move(fault);
}

// An imported module counts as far as the numbers of the importing one hang on it: a type that it fails to
// define names no trap.
bool SpoilsImporters(std::string_view tag) {
  return tag == "object-identifier-unknown" || tag == "oid-recursive";
}

void NoteError(char* path, int line, int severity, char* message, char* tag) {
  const std::string_view file = path != nullptr ? path : "";
  const std::string_view kind = tag != nullptr ? tag : "";
  if (severity > 1) {
    return;
  }
  if (kind == "module-unknown-format") {
    WriteFault(gParsing.File, 0, "this is no MIB file: no module begins in it");
  } else if (file.empty() || file == gParsing.File || SpoilsImporters(kind)) {
    WriteFault(file.empty() ? gParsing.File : file, line, message != nullptr ? message : "");
  }
}

void LimitProcess(unsigned seconds) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const auto limit = [](auto resource, rlim_t most) {
    const rlimit both{most, most};
    setrlimit(resource, &both);
  };
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 0);
  limit(RLIMIT_CPU, seconds);
#if !defined(__SANITIZE_ADDRESS__)
  limit(RLIMIT_AS, kMostMemory);
#endif
}

std::span<const unsigned> OidOf(const SmiNode& node) {
  return {node.oid, node.oidlen};
}

// The name that the module, or else any module, gives to the OID.
std::string_view NameOf(std::span<const unsigned> oid) {
  const SmiNode* node = smiGetNodeByOID(static_cast<unsigned>(oid.size()), const_cast<SmiSubid*>(oid.data()));
  // Asked for an OID without a node, the library answers with the nearest one above.
  return node != nullptr && node->oidlen == oid.size() && node->name != nullptr ? node->name
                                                                                : std::string_view();
}

// Some modules give the prefix that ends in 0 a name and leave the node above it without one.
std::string EnterpriseName(std::span<const unsigned> oid, std::size_t enterpriseLength) {
  std::string_view name = NameOf(oid.first(enterpriseLength));
  if (name.empty() && enterpriseLength + 1 < oid.size()) {
    name = NameOf(oid.first(enterpriseLength + 1));
  }
  return name.empty() ? DottedOid(oid.first(enterpriseLength)) : std::string(name);
}

void WriteTrap(SmiNode& node) {
  const std::span<const unsigned> oid = OidOf(node);
  const MappedOid mapped = MapNotificationOid(oid);
  const std::string_view name = node.name != nullptr ? node.name : "";
  const std::string description = DescriptionText(node.description != nullptr ? node.description : "");
  if (name.empty() || name.size() > kLongestName || mapped.EnterpriseLength < 2 ||
      oid.size() > kMostSubIdentifiers) {
    WriteFault(gParsing.File, smiGetNodeLine(&node), "a trap without a usable name or number");
  } else if (node.decl == SMI_DECL_TRAPTYPE && IsGenericTrap(oid)) {
    Write({"trap", kStandardTrapsOid, fmt::format("{}", mapped.SpecificTrap + 1), name, kStandardTrapsName,
           description});
  } else {
    const std::string enterprise = EnterpriseName(oid, mapped.EnterpriseLength);
    if (enterprise.size() > kLongestName) {
      WriteFault(gParsing.File, smiGetNodeLine(&node), "the name of the trap's enterprise is too long");
      return;
    }
    Write({"trap", DottedOid(oid.first(mapped.EnterpriseLength)), fmt::format("{}", mapped.SpecificTrap),
           name, enterprise, description});
  }
}

bool WriteModules() {
  bool any = false;
  for (SmiModule* module = smiGetFirstModule(); module != nullptr; module = smiGetNextModule(module)) {
    if (module->path == nullptr || gParsing.File != module->path) {
      continue;
    }
    any = true;
    Write({"module", module->name});
    for (SmiNode* node = smiGetFirstNode(module, SMI_NODEKIND_NOTIFICATION); node != nullptr;
         node = smiGetNextNode(node, SMI_NODEKIND_NOTIFICATION)) {
      if (gParsing.Faults == 0) {
        WriteTrap(*node);
      }
    }
  }
  return any;
}

}  // namespace

std::vector<std::string> ParserArguments(const ParserTask& task) {
  std::vector<std::string> arguments = {std::string(kParseOption), std::to_string(task.Seconds), task.Path};
  arguments.insert(arguments.end(), task.With.begin(), task.With.end());
  arguments.push_back(task.File);
  return arguments;
}

ParserTask TaskOf(const std::vector<std::string>& arguments) {
  constexpr std::size_t kFixed = 3;
  ParserTask task;
  if (arguments.size() > kFixed) {
    std::from_chars(arguments[1].data(), arguments[1].data() + arguments[1].size(), task.Seconds);
    task.Path = arguments[2];
    task.With.assign(arguments.begin() + kFixed, arguments.end() - 1);
    task.File = arguments.back();
  }
  return task;
}

int RunParser(const ParserTask& task) {
  LimitProcess(task.Seconds);
  gParsing.File = task.File;
  smiInit(nullptr);  // without the machine's and the user's configuration of the library
  smiSetPath(task.Path.c_str());
  // Level 1 are the errors; warnings of higher levels are about style and never change a trap.
  smiSetErrorLevel(1);
  smiSetFlags(SMI_FLAG_ERRORS | SMI_FLAG_RECURSIVE | SMI_FLAG_VIEWALL);
  smiSetErrorHandler(NoteError);
  std::string unresolvedImport = "import-failed";
  smiSetSeverity(unresolvedImport.data(), 1);
  std::string trapNumberZero = "last-subid-zero";  // old modules number their traps from 0, and mean it
  smiSetSeverity(trapNumberZero.data(), 3);
  for (const std::string& file : task.With) {
    smiLoadModule(file.c_str());
  }
  const bool loaded = smiLoadModule(task.File.c_str()) != nullptr;
  if (!WriteModules() && gParsing.Faults == 0) {
    WriteFault(task.File, 0,
               loaded ? "another file with a module of the same name was read instead"
                      : "no module could be read from this file");
  }
  Write({"done"});
  return std::fflush(stdout) == 0 ? 0 : 1;
}

}  // namespace korvane::mibc
