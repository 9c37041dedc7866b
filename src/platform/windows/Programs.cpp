#include <algorithm>
#include <array>
#include <cwctype>
#include <filesystem>

#include "platform/Files.h"
#include "platform/TrustedPath.h"
#include "platform/windows/SystemHandle.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

// As CommandLineToArgvW and the C library take a line apart: a backslash is one, but in front of a quote,
// where it must be doubled and one more must guard the quote.
std::wstring Quoted(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') {
      quoted.append(backslashes + 1, L'\\');
    }
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

// Where the system keeps its own programs; not the working folder, which others write too.
std::filesystem::path OfTheSystem(const std::wstring& name) {
  std::array<wchar_t, MAX_PATH> folder{};
  const UINT units = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
  return units == 0 ? std::filesystem::path() : std::filesystem::path(folder.data()) / name;
}

// Of all that can be started only what is a program itself: the system hands the others to a shell.
bool IsProgram(const std::filesystem::path& file) {
  std::wstring ending = file.extension().native();
  std::ranges::transform(ending, ending.begin(), [](wchar_t c) { return c < 128 ? std::towlower(c) : c; });
  std::error_code error;
  return ending == L".exe" && std::filesystem::is_regular_file(file, error);
}

class WindowsPrograms : public Programs {
 public:
  bool Start(std::string_view program, const std::vector<std::string>& arguments) override {
    // A path with blanks may come quoted, as a command line would need it.
    if (program.size() >= 2 && program.starts_with('"') && program.ends_with('"')) {
      program = program.substr(1, program.size() - 2);
    }
    const std::optional<std::wstring> name = WideWithoutNul(program);
    if (!name || name->empty()) {
      return false;
    }
    std::error_code error;
    const bool bare = name->find_first_of(L"\\/:") == std::wstring::npos;
    const std::filesystem::path file = bare ? OfTheSystem(*name) : std::filesystem::absolute(*name, error);
    return !error && IsProgram(file) && (bare || OnlyTrustedHandsCanChange(file)) &&
           StartFile(file, arguments);
  }

 private:
  static bool StartFile(const std::filesystem::path& file, const std::vector<std::string>& arguments) {
    std::wstring line = Quoted(file.native());
    for (const std::string& argument : arguments) {
      const std::optional<std::wstring> wide = WideWithoutNul(argument);
      if (!wide) {
        return false;
      }
      line += L' ' + Quoted(*wide);
    }
    STARTUPINFOW how{};
    how.cb = sizeof how;
    how.dwFlags = STARTF_USESHOWWINDOW;
    how.wShowWindow = SW_SHOWNORMAL;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(file.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_DEFAULT_ERROR_MODE, nullptr,
                       nullptr, &how, &started) == 0) {
      return false;
    }
    const SystemHandle process(started.hProcess);
    const SystemHandle thread(started.hThread);
    return true;
  }
};

}  // namespace

std::unique_ptr<Programs> MakePrograms() {
  return std::make_unique<WindowsPrograms>();
}

}  // namespace korvane::platform
