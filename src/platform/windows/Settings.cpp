#include "platform/ApplicationTitle.h"
#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

constexpr DWORD kLongestSetting = 64U * 1024;

std::wstring SectionPath(std::string_view section) {
  return Wide(std::string("Software\\").append(kApplicationTitle).append("\\").append(section));
}

class WindowsSettings : public SettingsStore {
 public:
  std::string GetSetting(std::string_view section, std::string_view name,
                         std::string_view defaultText) override {
    std::wstring text(kLongestSetting / sizeof(wchar_t), L'\0');
    DWORD size = kLongestSetting;
    if (RegGetValueW(HKEY_CURRENT_USER, SectionPath(section).c_str(), Wide(name).c_str(), RRF_RT_REG_SZ,
                     nullptr, text.data(), &size) != ERROR_SUCCESS) {
      return std::string(defaultText);
    }
    text.resize(size / sizeof(wchar_t));
    return Narrow(std::wstring_view(text).substr(0, text.find(L'\0')));
  }

  void SaveSetting(std::string_view section, std::string_view name, std::string_view text) override {
    const std::wstring wide = Wide(text);
    RegSetKeyValueW(HKEY_CURRENT_USER, SectionPath(section).c_str(), Wide(name).c_str(), REG_SZ, wide.c_str(),
                    static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t)));
  }
};

}  // namespace

std::unique_ptr<SettingsStore> MakeSettings() {
  return std::make_unique<WindowsSettings>();
}

}  // namespace korvane::platform
