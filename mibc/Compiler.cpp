#include "Compiler.h"

#include <algorithm>
#include <set>
#include <system_error>

#include <fmt/format.h>

#include "store/DatabaseError.h"

namespace korvane::mibc {
namespace {

namespace fs = std::filesystem;

fs::path Absolute(const fs::path& path) {
  std::error_code error;
  fs::path absolute = fs::absolute(path, error).lexically_normal();
  // A folder may come with a slash at its end.
  return absolute.has_filename() ? absolute : absolute.parent_path();
}

}  // namespace

std::string ResultText(const CompiledModule& module) {
  const std::size_t traps = module.Definitions.size();
  if (traps == 0) {
    return "no traps";
  }
  if (!module.Stored) {
    return fmt::format("{} {}, not stored", traps, traps == 1 ? "trap" : "traps");
  }
  std::string text;
  const auto add = [&text](std::size_t count, std::string_view what) {
    if (count > 0) {
      const std::string_view noun = count == 1 ? " trap" : " traps";
      text += fmt::format("{}{}{} {}", text.empty() ? "" : ", ", count, text.empty() ? noun : "", what);
    }
  };
  add(module.Stored->Added, "added");
  add(module.Stored->Updated, "updated");
  add(module.Stored->Unchanged, "unchanged");
  add(module.Stored->Doubled, "left out (number used twice)");
  return text;
}

std::vector<fs::path> Compiler::FilesOf(const std::vector<fs::path>& given, const std::stop_token& stop) {
  std::vector<fs::path> files;
  std::set<fs::path> known;
  const auto add = [&](const fs::path& file) {
    if (known.insert(file).second) {
      files.push_back(file);
    }
  };
  for (const fs::path& path : given) {
    if (stop.stop_requested()) {
      break;
    }
    const fs::path absolute = Absolute(path);
    std::error_code error;
    if (!fs::is_directory(absolute, error)) {
      reader_.AddFile(absolute, stop);
      add(absolute);
      continue;
    }
    reader_.AddFolder(absolute, stop);
    const std::vector<fs::path> inside = reader_.FilesOf(absolute);
    std::ranges::for_each(inside, add);
    if (inside.empty() || reader_.LeftOut(absolute) > 0) {
      add(absolute);
    }
  }
  return files;
}

CompiledFile Compiler::Compile(const fs::path& file, const std::stop_token& stop) {
  std::error_code error;
  if (fs::is_directory(file, error)) {
    const std::size_t leftOut = reader_.LeftOut(file);
    return {file,
            {},
            {{file, 0,
              leftOut == 0 ? "this folder holds no MIB file"
                           : fmt::format("this folder holds too much: {} of its files were left out; give "
                                         "them in smaller folders",
                                         leftOut)}}};
  }
  CompiledFile compiled{file, {}, {}};
  ReadFile read = reader_.Read(file, stop);
  compiled.Faults = std::move(read.Faults);
  if (compiled.Refused()) {
    for (std::string& name : reader_.ModulesOf(file)) {
      compiled.Modules.push_back({std::move(name), {}, std::nullopt});
    }
    return compiled;
  }
  try {
    std::vector<StoredCounts> counts;
    if (table_ != nullptr) {
      counts = table_->Store(read.Modules);
    }
    for (std::size_t i = 0; i < read.Modules.size(); ++i) {
      Module& module = read.Modules[i];
      compiled.Modules.push_back({std::move(module.Name), std::move(module.Definitions),
                                  counts.empty() ? std::nullopt : std::optional(counts[i])});
    }
  } catch (const store::DatabaseError& failure) {
    compiled.Faults.push_back({file, 0, fmt::format("the trap store did not take it: {}", failure.what())});
  }
  return compiled;
}

}  // namespace korvane::mibc
