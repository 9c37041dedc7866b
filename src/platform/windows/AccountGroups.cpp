#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/windows/SystemHandle.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

constexpr DWORD kReadToken = 0x20008;  // read control and query
constexpr DWORD kMostGroups = 501;
constexpr DWORD kNameUnits = 255;

std::optional<std::string> AccountName(PSID sid) {
  std::array<wchar_t, kNameUnits> name{};
  std::array<wchar_t, kNameUnits> domain{};
  DWORD nameUnits = kNameUnits;
  DWORD domainUnits = kNameUnits;
  SID_NAME_USE use{};
  if (LookupAccountSidW(nullptr, sid, name.data(), &nameUnits, domain.data(), &domainUnits, &use) == 0) {
    return std::nullopt;
  }
  return Narrow(name.data());
}

// The token's groups as the system lays them out; empty: not to be had.
std::vector<std::byte> TokenGroupList() {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), kReadToken, &opened) == 0) {
    return {};
  }
  const SystemHandle token(opened);
  DWORD bytes = 0;
  GetTokenInformation(token.get(), TokenGroups, nullptr, 0, &bytes);
  std::vector<std::byte> list(bytes);
  if (list.size() < sizeof(TOKEN_GROUPS) ||
      GetTokenInformation(token.get(), TokenGroups, list.data(), bytes, &bytes) == 0) {
    return {};
  }
  return list;
}

class WindowsAccountGroups : public AccountGroups {
 public:
  std::optional<std::vector<std::string>> GroupNames() override {
    const std::vector<std::byte> list = TokenGroupList();
    if (list.empty()) {
      return std::nullopt;
    }
    const auto* const groups = reinterpret_cast<const TOKEN_GROUPS*>(list.data());
    std::vector<std::string> names;
    for (DWORD i = 0; i < std::min<DWORD>(groups->GroupCount, kMostGroups); ++i) {
      if (std::optional<std::string> name = AccountName(groups->Groups[i].Sid)) {
        names.push_back(std::move(*name));
      }
    }
    return names;
  }

  std::optional<std::string> AdministratorsName() override {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID sid = nullptr;
    if (AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0,
                                 0, 0, 0, &sid) == 0) {
      return std::nullopt;
    }
    std::optional<std::string> name = AccountName(sid);
    FreeSid(sid);
    return name;
  }
};

}  // namespace

std::unique_ptr<AccountGroups> MakeAccountGroups() {
  return std::make_unique<WindowsAccountGroups>();
}

}  // namespace korvane::platform
