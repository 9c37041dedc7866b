#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/TrustedPath.h"
#include "platform/linux/ChildProcess.h"
#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

constexpr int kAskDesktopMilliseconds = 3000;

// Where the desktop names no editor of its own; those of the larger desktops first.
constexpr std::array<const char*, 14> kKnownEditors = {
    "gnome-text-editor", "gedit",         "kate",        "kwrite", "mousepad", "xed",     "pluma",
    "featherpad",        "pantheon-code", "lxqt-editor", "geany",  "l3afpad",  "leafpad", "xedit"};

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

// The desktop entry that opens plain text, for example "org.gnome.TextEditor.desktop"; empty: none is named.
std::string DesktopTextEditor() {
  const std::optional<std::string> asked = FindProgram("xdg-mime");
  if (!asked) {
    return {};
  }
  std::string entry =
      RunAndRead(*asked, {"query", "default", "text/plain"}, kAskDesktopMilliseconds).value_or("");
  entry.erase(std::min(entry.find('\n'), entry.size()));
  return entry.ends_with(".desktop") ? entry : std::string();
}

// A relative name would start with whatever its text starts with, an option's dash too, and some editors
// open it from another directory.
std::vector<std::string> AbsoluteFiles(const std::vector<std::string>& files) {
  std::vector<std::string> absolute;
  for (const std::string& file : files) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(file, error);
    absolute.push_back(error ? file : path.string());
  }
  return absolute;
}

bool StartFound(std::string_view name, const std::vector<std::string>& arguments) {
  const std::optional<std::string> file = FindProgram(name);
  return file && StartDetached(*file, arguments);
}

// The desktop's own choice first, then an editor that is known to be one, then whatever opens the file.
bool StartTextEditor(const std::vector<std::string>& arguments) {
  const std::vector<std::string> files = AbsoluteFiles(arguments);
  if (FindProgram("gtk-launch")) {
    if (const std::string entry = DesktopTextEditor(); !entry.empty()) {
      std::vector<std::string> launch = {entry};
      launch.insert(launch.end(), files.begin(), files.end());
      if (StartFound("gtk-launch", launch)) {
        return true;
      }
    }
  }
  for (const char* editor : kKnownEditors) {
    if (StartFound(editor, files)) {
      return true;
    }
  }
  return StartFound("xdg-open", files);
}

// "DIRECTORY\NAME.exe" is the program NAME in that directory; nothing for any other text.
std::optional<std::string> MappedPath(std::string_view program) {
  constexpr std::size_t kSuffix = 4;
  std::string path(program);
  if (path.find('\\') == std::string::npos || path.size() < kSuffix ||
      !EqualsIgnoringCase(path.substr(path.size() - kSuffix), ".exe")) {
    return std::nullopt;
  }
  path.resize(path.size() - kSuffix);
  std::ranges::replace(path, '\\', '/');
  return path;
}

class LinuxPrograms : public Programs {
 public:
  explicit LinuxPrograms(std::string ownFolder) : ownFolder_(std::move(ownFolder)) {}

  bool Start(std::string_view program, const std::vector<std::string>& arguments) override {
    // A path with blanks may come quoted, as a command line would need it.
    if (program.size() >= 2 && program.starts_with('"') && program.ends_with('"')) {
      program = program.substr(1, program.size() - 2);
    }
    if (EqualsIgnoringCase(program, "NOTEPAD.EXE")) {
      return StartTextEditor(arguments);
    }
    const std::optional<std::string> mapped = MappedPath(program);
    if (mapped && !ownFolder_.empty()) {
      const std::filesystem::path own = ownFolder_ / std::filesystem::path(*mapped).filename();
      if (access(own.c_str(), X_OK) == 0) {
        return StartDetached(own.string(), arguments);
      }
    }
    const std::optional<std::string> file = FindProgram(mapped ? *mapped : program);
    return file && OnlyTrustedHandsCanChange(*file) && StartDetached(*file, arguments);
  }

 private:
  const std::filesystem::path ownFolder_;
};

}  // namespace

std::string OwnFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

std::unique_ptr<Programs> MakePrograms(std::string ownFolder) {
  return std::make_unique<LinuxPrograms>(std::move(ownFolder));
}

}  // namespace korvane::platform
