#include "platform/windows/SystemHeaders.h"
// names of access lists need what stands above
#include <sddl.h>

#include <array>
#include <cstddef>

#include "platform/windows/SystemHandle.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

// As it stands in the names of objects; empty: not to be had.
std::wstring SidOfUser() {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) {
    return {};
  }
  const SystemHandle token(opened);
  alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
  DWORD bytes = 0;
  LPWSTR text = nullptr;
  if (GetTokenInformation(token.get(), TokenUser, user.data(), static_cast<DWORD>(user.size()), &bytes) ==
          0 ||
      ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, &text) == 0) {
    return {};
  }
  const std::unique_ptr<wchar_t, LocalFreer> freed(text);
  return text;
}

// The system finds titles ignoring case, and gives no more than one at a time.
HWND WindowTitled(const std::wstring& title) {
  HWND window = nullptr;
  std::wstring found;
  do {
    window = FindWindowExW(nullptr, window, nullptr, title.c_str());
    found.assign(title.size() + 2, L'\0');
    found.resize(window == nullptr ? 0
                                   : static_cast<std::size_t>(GetWindowTextW(
                                         window, found.data(), static_cast<int>(found.size()))));
  } while (window != nullptr && found != title);
  return window;
}

// A copy that is busy and answers nobody is raised all the same: the system does it.
class WindowsRunningInstance : public RunningInstance {
 public:
  bool PreviousInstanceExists() override {
    if (mutex_) {
      return false;
    }
    SystemHandle mutex(
        CreateMutexW(nullptr, FALSE, (L"Global\\KorvaneManagerConsole-" + SidOfUser()).c_str()));
    if (mutex && GetLastError() == ERROR_ALREADY_EXISTS) {
      return true;
    }
    mutex_ = std::move(mutex);
    return false;
  }
  bool FindTopLevelWindow(std::string_view title) override {
    const std::optional<std::wstring> wide = WideWithoutNul(title);
    window_ = wide ? WindowTitled(*wide) : nullptr;
    return window_ != nullptr;
  }
  bool BringToForeground() override { return SetForegroundWindow(window_) != 0; }
  // What the call answers is whether the window was shown before.
  bool ShowMaximised() override {
    return ShowWindow(window_, SW_SHOWMAXIMIZED) != 0 || IsWindowVisible(window_);
  }

 private:
  SystemHandle mutex_;
  HWND window_ = nullptr;
};

}  // namespace

std::unique_ptr<RunningInstance> MakeRunningInstance() {
  return std::make_unique<WindowsRunningInstance>();
}

}  // namespace korvane::platform
