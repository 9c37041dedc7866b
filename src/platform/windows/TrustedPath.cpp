#include "platform/TrustedPath.h"

#include "platform/windows/SystemHeaders.h"
// the calls on access lists need what stands above
#include <aclapi.h>

#include <array>
#include <cstddef>
#include <memory>
#include <system_error>

#include "platform/windows/SystemHandle.h"

namespace korvane::platform {
namespace {

constexpr ACCESS_MASK kRuling = DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_ALL;
constexpr ACCESS_MASK kChangingFile =
    kRuling | GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES;
constexpr ACCESS_MASK kChangingFolder = kRuling | FILE_DELETE_CHILD;

// The service that installs what belongs to the system; its identifier is the same everywhere.
constexpr std::array<DWORD, 6> kTrustedInstaller = {80,         956008885,  3418522649,
                                                    1831038044, 1853292631, 2271478464};

bool IsTrustedInstaller(PSID sid) {
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  PSID installer = nullptr;
  if (AllocateAndInitializeSid(&authority, static_cast<BYTE>(kTrustedInstaller.size()), kTrustedInstaller[0],
                               kTrustedInstaller[1], kTrustedInstaller[2], kTrustedInstaller[3],
                               kTrustedInstaller[4], kTrustedInstaller[5], 0, 0, &installer) == 0) {
    return false;
  }
  const bool equal = EqualSid(sid, installer) != 0;
  FreeSid(installer);
  return equal;
}

bool IsThisUser(PSID sid) {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) {
    return false;
  }
  const SystemHandle token(opened);
  alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
  DWORD bytes = 0;
  return GetTokenInformation(token.get(), TokenUser, user.data(), static_cast<DWORD>(user.size()), &bytes) !=
             0 &&
         EqualSid(sid, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid) != 0;
}

bool IsTrusted(PSID sid) {
  return IsWellKnownSid(sid, WinBuiltinAdministratorsSid) != 0 ||
         IsWellKnownSid(sid, WinLocalSystemSid) != 0 || IsWellKnownSid(sid, WinCreatorOwnerRightsSid) != 0 ||
         IsThisUser(sid) || IsTrustedInstaller(sid);
}

// What refuses is not looked at: it could only take rights away that are counted here.
bool GrantsToOthers(PACL list, ACCESS_MASK rights) {
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (GetAce(list, i, &entry) == 0) {
      return true;
    }
    const auto* const header = static_cast<const ACE_HEADER*>(entry);
    if ((header->AceFlags & INHERIT_ONLY_ACE) != 0 || header->AceType == ACCESS_DENIED_ACE_TYPE) {
      continue;
    }
    auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE ||
        ((allowed->Mask & rights) != 0 && !IsTrusted(reinterpret_cast<PSID>(&allowed->SidStart)))) {
      return true;
    }
  }
  return false;
}

bool ClosedToOthers(const std::filesystem::path& path, ACCESS_MASK rights) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR described = nullptr;
  if (GetNamedSecurityInfoW(const_cast<wchar_t*>(path.c_str()), SE_FILE_OBJECT,
                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr, &list,
                            nullptr, &described) != ERROR_SUCCESS) {
    return false;
  }
  const std::unique_ptr<void, LocalFreer> freed(described);
  // Without a list everybody may do everything.
  return owner != nullptr && IsTrusted(owner) && list != nullptr && !GrantsToOthers(list, rights);
}

}  // namespace

bool OnlyTrustedHandsCanChange(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::path walked = std::filesystem::canonical(path, error);
  if (error || !ClosedToOthers(walked, kChangingFile)) {
    return false;
  }
  while (walked.has_relative_path()) {
    walked = walked.parent_path();
    if (!ClosedToOthers(walked, kChangingFolder)) {
      return false;
    }
  }
  return true;
}

}  // namespace korvane::platform
