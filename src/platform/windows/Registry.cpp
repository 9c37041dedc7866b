#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

// Null: not there, or not with these rights.
RegistryKey OpenKey(std::string_view keyPath, std::uint32_t accessMask) {
  HKEY key = nullptr;
  const std::optional<std::wstring> path = WideWithoutNul(keyPath);
  if (!path || RegOpenKeyExW(HKEY_LOCAL_MACHINE, path->c_str(), 0, accessMask, &key) != ERROR_SUCCESS) {
    return nullptr;
  }
  return RegistryKey(key);
}

bool IsText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ;
}

// Whoever wrote the value may have left its end mark away.
std::string TextBytes(const std::vector<std::byte>& stored) {
  std::wstring text(stored.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), stored.data(), text.size() * sizeof(wchar_t));
  std::string bytes = Narrow(text);
  if (!bytes.ends_with('\0')) {
    bytes += '\0';
  }
  return bytes;
}

class WindowsRegistry : public RegistryStore {
 public:
  std::optional<RegistryData> QueryValue(RegistryHive, std::string_view keyPath, std::string_view valueName,
                                         std::uint32_t accessMask, std::size_t maxBytes) override {
    const RegistryKey key = OpenKey(keyPath, accessMask);
    const std::optional<std::wstring> name = WideWithoutNul(valueName);
    if (!key || !name) {
      return std::nullopt;
    }
    // No text has fewer bytes in UTF-8 than units in UTF-16.
    std::vector<std::byte> stored(maxBytes * sizeof(wchar_t));
    auto size = static_cast<DWORD>(stored.size());
    DWORD type = REG_NONE;
    if (RegQueryValueExW(key.get(), name->c_str(), nullptr, &type, reinterpret_cast<BYTE*>(stored.data()),
                         &size) != ERROR_SUCCESS) {
      return std::nullopt;
    }
    stored.resize(size);
    RegistryData data{.Type = static_cast<RegistryType>(type), .Bytes = {}};
    data.Bytes = IsText(type) ? TextBytes(stored)
                              : std::string(reinterpret_cast<const char*>(stored.data()), stored.size());
    return data.Bytes.size() <= maxBytes ? std::optional(std::move(data)) : std::nullopt;
  }

  // The system writes its registry to disk by itself, behind a log of its own: asking for it at once would
  // take a right more than setting the value.
  bool SetDword(RegistryHive, std::string_view keyPath, std::string_view valueName, std::uint32_t value,
                std::uint32_t accessMask) override {
    const RegistryKey key = OpenKey(keyPath, accessMask);
    const std::optional<std::wstring> name = WideWithoutNul(valueName);
    const DWORD number = value;
    return key && name &&
           RegSetValueExW(key.get(), name->c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof number) == ERROR_SUCCESS;
  }
};

}  // namespace

std::unique_ptr<RegistryStore> MakeRegistry() {
  return std::make_unique<WindowsRegistry>();
}

}  // namespace korvane::platform
