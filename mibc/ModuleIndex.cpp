#include "ModuleIndex.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

namespace korvane::mibc {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFiles = 5000;  // of one folder
constexpr std::size_t kLongestModuleName = 255;
// The largest collections of modules hold a tenth of each.  They bound what the look through a folder can
// cost: some seconds, and some tens of megabytes.
constexpr std::uintmax_t kMostBytes = std::uintmax_t{512} << 20U;  // of one folder
constexpr std::size_t kMostNames = 200'000;                        // of modules, of all folders
constexpr std::size_t kFirstBytes = 4096;  // of a file; a binary one shows itself there

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool IsBinary(std::string_view text) {
  return text.find('\0') != std::string_view::npos;
}

// Words and signs of a module's text without comments and quoted texts.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  // Empty at the end.
  std::string_view Next() {
    SkipBlanks();
    if (rest_.empty()) {
      return {};
    }
    std::size_t length = 1;
    if (IsWordCharacter(rest_[0])) {
      length = static_cast<std::size_t>(std::ranges::find_if_not(rest_, IsWordCharacter) - rest_.begin());
      length = std::min(length, std::max<std::size_t>(rest_.substr(0, length).find("--"), 1));
    } else if (rest_.starts_with("::=")) {
      length = 3;
    }
    const std::string_view word = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return word;
  }

 private:
  void SkipTo(std::string_view sign) {
    const std::size_t end = rest_.find(sign);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + sign.size());
  }

  void SkipBlanks() {
    while (!rest_.empty()) {
      if (rest_.starts_with("--")) {
        SkipTo("\n");
      } else if (rest_[0] == '"') {
        rest_.remove_prefix(1);
        SkipTo("\"");
      } else if (rest_[0] == ' ' || (rest_[0] >= '\t' && rest_[0] <= '\r')) {
        rest_.remove_prefix(1);
      } else {
        return;
      }
    }
  }

  std::string_view rest_;
};

// Of a binary file the beginning only.
std::optional<std::string> Contents(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > kLargestFile || error) {
    return std::nullopt;
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return std::nullopt;
  }
  std::array<char, kFirstBytes> first{};
  stream.read(first.data(), first.size());
  std::string text(first.data(), static_cast<std::size_t>(stream.gcount()));
  if (stream && !IsBinary(text)) {
    text.append(std::istreambuf_iterator<char>(stream), {});
  }
  return text;
}

// The smallest names, so that which ones are taken does not hang on how the folder lies on the disk.
std::set<std::string> NamesIn(const fs::path& folder, std::size_t& leftOut, const std::stop_token& stop) {
  std::error_code error;
  std::set<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end && !stop.stop_requested();
       entry.increment(error)) {
    std::error_code unreadable;
    std::string name = entry->path().filename().string();
    if (name[0] == '.' || !entry->is_regular_file(unreadable)) {
      continue;
    }
    names.insert(std::move(name));
    if (names.size() > kMostFiles) {
      names.erase(std::prev(names.end()));
      ++leftOut;
    }
  }
  return names;
}

}  // namespace

ModuleHeads HeadsOf(std::string_view text) {
  ModuleHeads heads;
  Words words(text);
  std::string_view name;
  std::unordered_set<std::string_view> imported;  // by the last module
  bool importing = false;
  for (std::string_view word = words.Next(); !word.empty() && !heads.TooMany(); word = words.Next()) {
    if (word == "DEFINITIONS" && !name.empty() && name[0] >= 'A' && name[0] <= 'Z' &&
        name.size() <= kLongestModuleName) {
      heads.Modules.push_back({std::string(name), {}});
      imported.clear();
      importing = false;
    } else if (word == "IMPORTS") {
      importing = !heads.Modules.empty();
    } else if (word == ";") {
      importing = false;
    } else if (word == "FROM" && importing) {
      const std::string_view from = words.Next();
      if (from.size() <= kLongestModuleName && imported.insert(from).second) {
        heads.Modules.back().Imports.emplace_back(from);
        ++heads.Imports;
      }
    }
    // Between the name and the word there may be an OID in braces.
    if (word[0] == '{') {
      while (!word.empty() && word[0] != '}') {
        word = words.Next();
      }
    } else {
      name = word;
    }
  }
  return heads;
}

std::string ReasonAgainst(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) {
    return "there is no such file";
  }
  if (status.type() != fs::file_type::regular) {
    return error ? error.message() : "this is no regular file";
  }
  if (fs::file_size(file, error) > kLargestFile) {
    return fmt::format("the file is larger than {} MiB", kLargestFile >> 20U);
  }
  const std::optional<std::string> text = Contents(file);
  if (!text) {
    return "the file can't be read";
  }
  if (IsBinary(*text)) {
    return "this is no MIB file: it holds binary data";
  }
  const ModuleHeads heads = HeadsOf(*text);
  if (heads.TooMany()) {
    return fmt::format("more than {} modules begin in this file, or it imports from more than {}",
                       kMostModulesOfFile, kMostImportsOfFile);
  }
  return heads.Modules.empty() ? "this is no MIB file: no module begins in it" : std::string();
}

void ModuleIndex::AddFolder(const fs::path& folder, const std::stop_token& stop) {
  std::uintmax_t bytes = 0;
  std::size_t& leftOut = leftOut_[folder];
  for (const std::string& name : NamesIn(folder, leftOut, stop)) {
    if (stop.stop_requested()) {
      return;
    }
    if (bytes > kMostBytes || names_ > kMostNames) {
      ++leftOut;
    } else {
      bytes += Add(folder / name);
    }
  }
}

void ModuleIndex::AddFile(const fs::path& file) {
  Add(file);
}

// The bytes that were looked at.
std::size_t ModuleIndex::Add(const fs::path& file) {
  if (files_.contains(file)) {
    return 0;
  }
  const std::optional<std::string> text = Contents(file);
  if (!text) {
    return 0;
  }
  ModuleHeads heads = IsBinary(*text) ? ModuleHeads() : HeadsOf(*text);
  // One with too many of them stays without imports: it is there to be named and refused.
  for (ModuleHead& head : heads.Modules) {
    if (heads.TooMany()) {
      head.Imports.clear();
    }
    names_ += 1 + head.Imports.size();
    fileOfModule_.emplace(head.Name, file);
  }
  if (!heads.Modules.empty()) {
    files_.emplace(file, std::move(heads.Modules));
  }
  return text->size();
}

std::size_t ModuleIndex::LeftOut(const fs::path& folder) const {
  const auto found = leftOut_.find(folder);
  return found == leftOut_.end() ? 0 : found->second;
}

// The files from which the modules of one import, each once; modules of its own count for none of them.
std::vector<fs::path> ModuleIndex::ImportedBy(const fs::path& file,
                                              const std::set<std::string_view>& own) const {
  std::vector<fs::path> files;
  const auto found = files_.find(file);
  if (found == files_.end()) {
    return files;
  }
  for (const ModuleHead& head : found->second) {
    for (const std::string& import : head.Imports) {
      const auto from = fileOfModule_.find(import);
      if (from != fileOfModule_.end() && !own.contains(import)) {
        files.push_back(from->second);
      }
    }
  }
  return files;
}

std::vector<fs::path> ModuleIndex::NeededBy(const fs::path& file, const std::stop_token& stop) const {
  // A file of several modules brings them itself, whatever copies lie beside it.
  const std::vector<std::string> names = ModulesOf(file);
  const std::set<std::string_view> own(names.begin(), names.end());
  struct Step {
    fs::path Importer;
    std::vector<fs::path> Files;
    std::size_t Next = 0;
  };
  std::vector<fs::path> needed;
  std::set<fs::path> seen = {file};
  // Not by calls within calls: a chain of imports is as long as whoever wrote the files likes.
  std::vector<Step> path = {{file, ImportedBy(file, own)}};
  while (!path.empty() && !stop.stop_requested()) {
    Step& step = path.back();
    if (step.Next == step.Files.size()) {
      needed.push_back(std::move(step.Importer));
      path.pop_back();
    } else if (const fs::path next = step.Files[step.Next++]; seen.insert(next).second) {
      path.push_back({next, ImportedBy(next, own)});
    }
  }
  if (!needed.empty()) {
    needed.pop_back();  // the file itself is the last
  }
  return needed;
}

std::vector<std::string> ModuleIndex::ModulesOf(const fs::path& file) const {
  std::vector<std::string> names;
  if (const auto found = files_.find(file); found != files_.end()) {
    for (const ModuleHead& head : found->second) {
      names.push_back(head.Name);
    }
  }
  return names;
}

std::vector<fs::path> ModuleIndex::FilesOf(const fs::path& folder) const {
  std::vector<fs::path> files;
  for (const auto& [file, heads] : files_) {
    if (file.parent_path() == folder) {
      files.push_back(file);
    }
  }
  return files;
}

}  // namespace korvane::mibc
