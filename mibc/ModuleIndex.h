// Which file of some folders holds which module, and what it imports: found by what stands in the files,
// since makers call them as they like.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::mibc {

inline constexpr std::uintmax_t kLargestFile = std::uintmax_t{32} << 20U;

struct ModuleHead {
  std::string Name;
  std::vector<std::string> Imports;  // names of modules, each once
};

// The modules that begin in the text of a file; none: it is no MIB file.
std::vector<ModuleHead> ModuleHeads(std::string_view text);

// Why the file can't be a MIB file, before anything is parsed; empty: it may be one.
std::string ReasonAgainst(const std::filesystem::path& file);

class ModuleIndex {
 public:
  // Looks at the files of the folder itself, not below it.  Unreadable ones are passed over.
  void AddFolder(const std::filesystem::path& folder);

  // The files to be read before this one, in an order in which none needs a later one.
  std::vector<std::filesystem::path> NeededBy(const std::filesystem::path& file) const;
  // Modules of the file as far as its folder was added.
  std::vector<std::string> ModulesOf(const std::filesystem::path& file) const;
  // Files with modules in a folder that was added, by name.
  std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder) const;

 private:
  std::map<std::filesystem::path, std::vector<ModuleHead>> files_;
  std::map<std::string, std::filesystem::path, std::less<>> fileOfModule_;
};

}  // namespace korvane::mibc
