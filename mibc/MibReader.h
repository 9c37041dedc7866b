// Reads MIB files in a process of its own each, so that a file that brings the parser to crash, to hang or to
// eat up the memory is refused with a reason and harms nobody.  Any thread, one at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "Definition.h"
#include "ModuleIndex.h"

namespace korvane::mibc {

struct ReaderOptions {
  // A program that answers the internal option: this one.
  std::filesystem::path Parser = "/proc/self/exe";
  // Where imported modules are looked for, after the folders of the given files.
  std::vector<std::filesystem::path> Folders;
  std::chrono::milliseconds Longest{60'000};  // for one file
};

// The folders of the machine, and that of the modules that come with this program.
std::vector<std::filesystem::path> StandardFolders();

class MibReader {
 public:
  explicit MibReader(ReaderOptions options) : options_(std::move(options)) {}

  // Before the files of a folder are read: its other files may hold what they import.
  void AddFolder(const std::filesystem::path& folder, const std::stop_token& stop = {});
  // The same for the folder of one file.
  void AddFile(const std::filesystem::path& file, const std::stop_token& stop = {});
  // How many files of such a folder are not among its files, since it holds more than is sound.
  std::size_t LeftOut(const std::filesystem::path& folder) const;
  // Files with modules in such a folder.
  std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder) const;
  std::vector<std::string> ModulesOf(const std::filesystem::path& file) const;

  // The path must be absolute.  A stop is answered with the fault "stopped".
  ReadFile Read(const std::filesystem::path& file, const std::stop_token& stop) const;

 private:
  std::string SearchPath() const;

  ReaderOptions options_;
  std::vector<std::filesystem::path> given_;
  ModuleIndex index_;
};

}  // namespace korvane::mibc
