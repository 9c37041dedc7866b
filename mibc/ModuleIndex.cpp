#include "ModuleIndex.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>

#include <fmt/format.h>

namespace korvane::mibc {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFiles = 5000;  // of one folder
constexpr std::size_t kLongestModuleName = 255;

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
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

std::optional<std::string> Contents(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > kLargestFile || error) {
    return std::nullopt;
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

void AddOnce(std::vector<std::string>& names, std::string_view name) {
  if (std::ranges::find(names, name) == names.end()) {
    names.emplace_back(name);
  }
}

}  // namespace

std::vector<ModuleHead> ModuleHeads(std::string_view text) {
  std::vector<ModuleHead> heads;
  Words words(text);
  std::string_view name;
  bool importing = false;
  for (std::string_view word = words.Next(); !word.empty(); word = words.Next()) {
    if (word == "DEFINITIONS" && !name.empty() && name[0] >= 'A' && name[0] <= 'Z' &&
        name.size() <= kLongestModuleName) {
      heads.push_back({std::string(name), {}});
      importing = false;
    } else if (word == "IMPORTS") {
      importing = !heads.empty();
    } else if (word == ";") {
      importing = false;
    } else if (word == "FROM" && importing) {
      AddOnce(heads.back().Imports, words.Next());
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
  if (text->find('\0') != std::string::npos) {
    return "this is no MIB file: it holds binary data";
  }
  return ModuleHeads(*text).empty() ? "this is no MIB file: no module begins in it" : std::string();
}

void ModuleIndex::AddFolder(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> files;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().filename().string()[0] != '.' && files.size() < kMostFiles) {
      files.push_back(entry->path());
    }
  }
  std::ranges::sort(files);
  for (const fs::path& file : files) {
    if (files_.contains(file)) {
      continue;
    }
    const std::optional<std::string> text = Contents(file);
    if (!text || text->find('\0') != std::string::npos) {
      continue;
    }
    std::vector<ModuleHead> heads = ModuleHeads(*text);
    for (const ModuleHead& head : heads) {
      fileOfModule_.emplace(head.Name, file);
    }
    if (!heads.empty()) {
      files_.emplace(file, std::move(heads));
    }
  }
}

std::vector<fs::path> ModuleIndex::NeededBy(const fs::path& file) const {
  std::vector<fs::path> needed;
  std::set<fs::path> seen = {file};
  const std::vector<std::string> own = ModulesOf(file);
  const std::function<void(const fs::path&)> visit = [&](const fs::path& importer) {
    const auto found = files_.find(importer);
    if (found == files_.end()) {
      return;
    }
    for (const ModuleHead& head : found->second) {
      for (const std::string& import : head.Imports) {
        const auto from = fileOfModule_.find(import);
        if (std::ranges::find(own, import) != own.end()) {
          continue;  // a file of several modules brings them itself, whatever copies lie beside it
        }
        if (from != fileOfModule_.end() && seen.insert(from->second).second) {
          visit(from->second);
          needed.push_back(from->second);
        }
      }
    }
  };
  visit(file);
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
