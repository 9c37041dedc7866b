// What the other system gives: registry, accounts, sockets, host names, clock, programs, files, services, and
// the window of a running copy.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/StartupChecks.h"
#include "common/RegistryValues.h"
#include "common/ReplacedFile.h"
#include "common/Services.h"
#include "mainwnd/FrameCaption.h"
#include "platform/Files.h"
#include "platform/Identity.h"
#include "platform/TrustedPath.h"
#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"
#include "store/EventTime.h"
#include "support/FakePlatform.h"
#include "support/Files.h"
#include "support/TempFolder.h"

// after the system's other headers
#include <aclapi.h>
#include <sddl.h>

namespace korvane::platform {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
constexpr auto kHive = RegistryHive::LocalMachine;

// With this access list, as the system's text for one.
void Guard(const fs::path& path, const wchar_t* list) {
  PSECURITY_DESCRIPTOR described = nullptr;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &described, nullptr),
            0);
  EXPECT_NE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, described), 0);
  LocalFree(described);
}
std::string GuardOf(const fs::path& path) {
  PSECURITY_DESCRIPTOR described = nullptr;
  LPWSTR text = nullptr;
  if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            nullptr, nullptr, &described) == ERROR_SUCCESS) {
    ConvertSecurityDescriptorToStringSecurityDescriptorW(described, SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
  }
  std::string list = text == nullptr ? "" : Narrow(text);
  LocalFree(text);
  LocalFree(described);
  return list;
}
constexpr const wchar_t* kOursAlone = L"D:P(A;;FA;;;BA)(A;;FA;;;SY)";

TEST(WindowsRegistryTest, GivesEveryTypeAndWritesOnlyIntoAKeyThatIsThere) {
  const std::wstring path = Wide(kManagerKey);
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr),
            0);
  const auto put = [key](const wchar_t* name, DWORD type, const void* data, std::size_t bytes) {
    RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
  };
  const auto putText = [&put](const wchar_t* name, DWORD type, const std::wstring& text) {
    put(name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
  };
  const auto registry = MakeRegistry();
  const auto read = [&registry](std::string_view name, std::string_view keyPath = kManagerKey) {
    std::string text;
    return GetRegistryValue(*registry, kHive, keyPath, name, text) ? text : "(unreadable)";
  };
  putText(L"KVInstallPath", REG_SZ, L"C:\\Programme\\\u00FC\u20AC");
  putText(L"Expand", REG_EXPAND_SZ, L"%TEMP%");
  put(L"Binary", REG_BINARY, "abc", 3);
  put(L"Unended", REG_SZ, L"unended", 7 * sizeof(wchar_t));
  const DWORD hours = 12;
  put(L"KVAckFreqHours", REG_DWORD, &hours, sizeof hours);
  // With its end mark a text of 1,024 bytes is over the buffer, whatever its characters take.
  for (const auto& [name, text] : {std::pair{L"Fits", std::wstring(1023, L'x')},
                                   {L"Long", std::wstring(1024, L'x')},
                                   {L"Wide", std::wstring(512, L'\u00FC')}}) {
    putText(name, REG_SZ, text);
  }
  for (const auto& [name, text] : {std::pair{"kvinstallpath", "C:\\Programme\\\u00FC\u20AC"s},
                                   {"Expand", ""s},
                                   {"Binary", ""s},
                                   {"Unended", "unended"s},
                                   {"KVAckFreqHours", "12"s},
                                   {"Fits", std::string(1023, 'x')},
                                   {"Long", "(unreadable)"s},
                                   {"Wide", "(unreadable)"s},
                                   {"Absent", "(unreadable)"s}}) {
    EXPECT_EQ(read(name), text) << name;
  }
  EXPECT_EQ(read("KVInstallPath\0x"s), "(unreadable)");
  EXPECT_TRUE(SetRegistryDword(*registry, kHive, kManagerKey, "KVAckFreqHours", -2));
  EXPECT_EQ(read("KVAckFreqHours"), "-2");
  const std::string absent = std::string(kManagerKey) + "\\Absent";
  EXPECT_FALSE(SetRegistryDword(*registry, kHive, absent, "KVAckFreqHours", 1));
  HKEY made = nullptr;
  EXPECT_NE(RegOpenKeyExW(HKEY_LOCAL_MACHINE, Wide(absent).c_str(), 0, KEY_READ, &made), 0)
      << "a key was made";
  RegCloseKey(key);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());

  const auto settings = MakeSettings();
  EXPECT_EQ(settings->GetSetting("Absent", "MainLeft", "1000"), "1000");
  settings->SaveSetting("Settings", "MainLeft", "12.5 \u00FC");
  EXPECT_EQ(MakeSettings()->GetSetting("Settings", "MainLeft", "1000"), "12.5 \u00FC");
}

TEST(WindowsMachineTest, AnswersInTheTermsOfTheConsole) {
  EXPECT_TRUE(app::IsUserAdministrator(*MakeAccountGroups()));
  const Identity identity = ThisProcess();
  EXPECT_TRUE(!identity.Login.empty() && identity.Process.starts_with(identity.Machine + ":"));

  const auto sockets = MakeSockets();
  const SocketStartup startup = sockets->Start(0x0101);
  EXPECT_TRUE(startup.Started && startup.Version == 0x0101 && startup.MaxSockets >= 1) << startup.MaxSockets;
  EXPECT_EQ(sockets->Cleanup(), 0);
  EXPECT_EQ(sockets->Cleanup(), WSANOTINITIALISED);
  for (const char* address : {"192.0.2.7", "2001:db8::7", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(IsAddressText(address)) << address;
  }
  for (const std::string& text : {""s, "router"s, "192.0.2"s, "192.0.2.256"s, "192.0.2.7 "s, "10.0.0.1%eth0"s,
                                  "fe80::1%"s, "10.0.0.1\0x"s}) {
    EXPECT_FALSE(IsAddressText(text)) << text;
  }
  const auto names = MakeHostNames();
  EXPECT_EQ(names->AddressOfName("localhost"), "127.0.0.1");
  EXPECT_EQ(names->NameOfAddress("no address"), std::nullopt);

  const auto clock = MakeClock();
  SYSTEMTIME local{};
  GetLocalTime(&local);
  const std::int64_t shown = store::LocalToEventTime(
      {local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond}, 0);
  EXPECT_NEAR(static_cast<double>(clock->UtcSeconds() - shown), clock->TimeZoneBiasMinutes() * 60.0, 5.0);
  const std::int64_t before = clock->MonotonicMilliseconds();
  clock->SleepMilliseconds(50);
  EXPECT_GE(clock->MonotonicMilliseconds() - before, 30);

  // A program starts without a locale; once it has one, dates are as the user set them.
  const store::LocalDateTime afternoon{2024, 2, 29, 13, 2, 3};
  EXPECT_EQ(store::FormatDateTime(afternoon), "2024-02-29 13:02:03");
  ASSERT_NE(std::setlocale(LC_TIME, ""), nullptr);
  const std::string written = store::FormatDateTime(afternoon);
  std::setlocale(LC_TIME, "C");
  EXPECT_EQ(written, "2/29/2024 1:02:03 PM");
}

TEST(WindowsServicesTest, AreStoppedAndStartedAndTheirFailureIsTold) {
  const auto services = MakeServiceControl();
  test::FakeClock clock;
  EXPECT_EQ(RestartService(*services, clock, "NoSuchService"), 2);
  EXPECT_TRUE(clock.Sleeps.empty());
  EXPECT_EQ(RestartService(*services, clock, "MSIServer\0x"s), 2);
  SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  SC_HANDLE broken = CreateServiceW(
      manager, L"KorvaneTest", nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
      SERVICE_ERROR_NORMAL, L"C:\\no\\such\\program.exe", nullptr, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(broken, nullptr);
  EXPECT_EQ(RestartService(*services, clock, "KorvaneTest"), 3);
  EXPECT_EQ(clock.Sleeps, std::vector{2000});
  DeleteService(broken);
  CloseServiceHandle(broken);
  CloseServiceHandle(manager);
  // One of the system's own, stopped before and running after, or one that a trial by hand names.
  const char* const named = std::getenv("KORVANE_TEST_SERVICE");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(RestartService(*services, *MakeClock(), named != nullptr ? named : "MSIServer"), 0);
  }
}

struct WindowsFilesTest : testing::Test {
  WindowsFilesTest() { Guard(Folder.Path(), kOursAlone); }
  const test::TempFolder Folder;
};

TEST_F(WindowsFilesTest, KeepTheirRightsAndTheirNamesInAnyScript) {
  EXPECT_EQ(GetACP(), 65001U) << "the manifest";
  const std::string name = "Bericht \u00FC\u20AC.csv";
  const fs::path target = Folder / PathOf(name);
  EXPECT_EQ(TextOf(target.filename()), name);
  const auto replace = [&target](std::string_view text, FileUse use) {
    ReplacedFile file(TextOf(target), use);
    return file.Write(text) && file.Commit() ? "" : file.Error();
  };
  EXPECT_EQ(replace("old", FileUse::Document), "");
  const std::string usual = GuardOf(target);
  Guard(target, kOursAlone);
  const std::string guard = GuardOf(target);
  EXPECT_NE(guard, usual);
  const auto before = IdentityOfFile(target);
  EXPECT_EQ(replace("new", FileUse::Document), "");
  EXPECT_EQ(test::ReadFile(target), "new");
  EXPECT_EQ(GuardOf(target), guard);
  EXPECT_TRUE(before && IdentityOfFile(target) && IdentityOfFile(target) != before);
  EXPECT_EQ(IdentityOfFile(Folder / "absent"), std::nullopt);

  // A file that is open elsewhere can't be exchanged; the next try is the caller's.
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> open(std::fopen(TextOf(target).c_str(), "rb"),
                                                             std::fclose);
  ASSERT_NE(open, nullptr);
  EXPECT_NE(replace("newer", FileUse::Document), "");
  EXPECT_EQ(test::ReadFile(target), "new");
  EXPECT_EQ(replace("scratch", FileUse::Scratch), "") << "rewritten where it stands";
  EXPECT_EQ(test::ReadFile(target), "scratch");

  fs::create_hard_link(target, Folder / "planted");
  errno = 0;
  EXPECT_EQ(OpenSharedToAppend(Folder / "planted"), nullptr);
  EXPECT_EQ(OpenSharedToRewrite(Folder.Path()), nullptr);
  EXPECT_EQ(OpenSharedToRewrite(Folder / "absent"), nullptr);
  EXPECT_EQ(errno, ENOENT);

  test::WriteFile(Folder / "trusted.ini", "0123456789");
  EXPECT_EQ(ReadTrustedFile(Folder / "trusted.ini", 10), "0123456789");
  EXPECT_EQ(ReadTrustedFile(Folder / "trusted.ini", 9), std::nullopt);
  Guard(Folder / "trusted.ini", L"D:P(A;;FA;;;BA)(A;;FA;;;WD)");
  EXPECT_EQ(ReadTrustedFile(Folder / "trusted.ini", 10), std::nullopt) << "everybody may write it";
}

TEST_F(WindowsFilesTest, AreProgramsThatGetTheirArgumentsAsTheyAre) {
  std::array<wchar_t, MAX_PATH> own{};
  GetModuleFileNameW(nullptr, own.data(), MAX_PATH);
  const fs::path recorder = fs::path(own.data()).parent_path() / "recorder.exe";
  const fs::path tools = Folder / PathOf("shared t\u00F6\u00F6ls");
  const fs::path mibc = tools / "mibc.exe";
  fs::create_directory(tools);
  fs::copy_file(recorder, mibc);
  fs::copy_file(recorder, tools / "NOTEPAD.EXE");
  fs::copy_file(recorder, tools / "plain.bat");
  const auto programs = MakePrograms();
  const auto record = [&mibc] {
    const fs::path out = mibc.native() + L".out";
    test::WaitUntil([&out] { return fs::exists(out); });
    std::string text = test::ReadFile(out);
    fs::remove(out);
    return text;
  };
  const std::vector<std::string> arguments = {
      "",   "it's \"quoted\"",  "%PATH% & del *", "back\\slash\\", "\\\\\"\\", "line\nbreak \u00FC\u20AC",
      "-x", "a\\\\b \\\" c\\\\"};
  std::string expected;
  for (const std::string& argument : arguments) expected += "arg\n" + argument + "\n";
  EXPECT_TRUE(programs->Start(TextOf(mibc), arguments));
  EXPECT_EQ(record(), expected);

  const fs::path before = fs::current_path();
  EXPECT_TRUE(MakeDirectories()->SetCurrentDirectory(TextOf(tools)));
  EXPECT_FALSE(MakeDirectories()->SetCurrentDirectory(TextOf(tools / "absent")));
  EXPECT_TRUE(programs->Start("NOTEPAD.EXE", {}));
  for (const std::string& program : {"\"" + TextOf(mibc) + "\"", ".\\mibc.exe"s}) {
    EXPECT_TRUE(programs->Start(program, {"x"}));
    EXPECT_EQ(record(), "arg\nx\n");
  }
  EXPECT_FALSE(fs::exists(tools / "NOTEPAD.EXE.out")) << "a program of the working folder";
  for (const std::string& program :
       {""s, "mibc.exe"s, TextOf(tools / "plain.bat"), TextOf(tools / "absent.exe"), TextOf(tools)}) {
    EXPECT_FALSE(programs->Start(program, {})) << program;
  }
  EXPECT_FALSE(programs->Start(TextOf(mibc), {"a\0b"s}));
  Guard(mibc, L"D:P(A;;FA;;;BA)(A;;FA;;;WD)");
  EXPECT_FALSE(programs->Start(TextOf(mibc), {"x"})) << "everybody may exchange it";
  fs::current_path(before);
}

TEST(WindowsRunningInstanceTest, IsFoundByItsMutexAndRaisedByItsTitle) {
  {
    const auto first = MakeRunningInstance();
    EXPECT_FALSE(first->PreviousInstanceExists() || first->PreviousInstanceExists());
    const auto second = MakeRunningInstance();
    EXPECT_TRUE(second->PreviousInstanceExists());
    EXPECT_FALSE(app::ActivatePreviousInstance(*second)) << "it has no window yet";
    // Titles are found ignoring case, and the caption ends in a blank.
    std::vector<HWND> windows;
    for (const std::string& title :
         {std::string(mainwnd::kFrameCaption), "KORVANE MANAGER CONSOLE "s, "Korvane Manager Console"s}) {
      windows.push_back(CreateWindowExW(0, L"STATIC", Wide(title).c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                                        0, 0, 200, 100, nullptr, nullptr, nullptr, nullptr));
      ASSERT_NE(windows.back(), nullptr);
    }
    EXPECT_TRUE(app::ActivatePreviousInstance(*second));
    EXPECT_NE(IsZoomed(windows.front()), 0);
    EXPECT_EQ(IsZoomed(windows[1]) + IsZoomed(windows[2]), 0);
    std::ranges::for_each(windows, DestroyWindow);
  }
  EXPECT_FALSE(MakeRunningInstance()->PreviousInstanceExists());
}

}  // namespace
}  // namespace korvane::platform
