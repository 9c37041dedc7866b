// Which file of some folders holds which module, and what it imports: found by what stands in the files,
// since makers call them as they like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::mibc {

// A file beyond one of these is refused.
inline constexpr std::uintmax_t kLargestFile = std::uintmax_t{32} << 20U;
inline constexpr std::size_t kMostModulesOfFile = 1000;
inline constexpr std::size_t kMostImportsOfFile = 10'000;  // names of modules

struct ModuleHead {
  std::string Name;
  std::vector<std::string> Imports;  // names of modules, each once
};

// The modules that begin in the text of a file; none: it is no MIB file.
struct ModuleHeads {
  std::vector<ModuleHead> Modules;
  std::size_t Imports = 0;  // of all of them

  // Nothing was looked at behind the one too many.
  bool TooMany() const { return Modules.size() > kMostModulesOfFile || Imports > kMostImportsOfFile; }
};

// Takes a time that grows as the text does.
ModuleHeads HeadsOf(std::string_view text);

// Why the file can't be a MIB file, before anything is parsed; empty: it may be one.
std::string ReasonAgainst(const std::filesystem::path& file);

// After a stop each call returns soon with what it has.
class ModuleIndex {
 public:
  // Looks at the files of the folder itself, not below it.  Unreadable ones are passed over.
  void AddFolder(const std::filesystem::path& folder, const std::stop_token& stop);
  // One that may be among those left out.
  void AddFile(const std::filesystem::path& file);
  // How many files of such a folder were not looked at, since it holds more than is sound.
  std::size_t LeftOut(const std::filesystem::path& folder) const;

  // The files to be read before this one, in an order in which none needs a later one.
  std::vector<std::filesystem::path> NeededBy(const std::filesystem::path& file,
                                              const std::stop_token& stop) const;
  // Modules of the file as far as its folder was added.
  std::vector<std::string> ModulesOf(const std::filesystem::path& file) const;
  // Files with modules in a folder that was added, by name.
  std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder) const;

 private:
  std::size_t Add(const std::filesystem::path& file);
  std::vector<std::filesystem::path> ImportedBy(const std::filesystem::path& file,
                                                const std::set<std::string_view>& own) const;

  std::map<std::filesystem::path, std::vector<ModuleHead>> files_;
  std::map<std::string, std::filesystem::path, std::less<>> fileOfModule_;
  std::map<std::filesystem::path, std::size_t> leftOut_;
  std::size_t names_ = 0;  // of modules and imports
};

}  // namespace korvane::mibc
