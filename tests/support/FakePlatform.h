// Scriptable stand-ins for the machine: public fields say how a fake answers and what it was asked.  Every
// fake answers as on a healthy machine until told otherwise.  FakePlatform holds one of each, all writing
// into one call log.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"
#include "support/CallLog.h"

namespace korvane::test {

// Keys exist once a value was put or AddKey named them; names compare ignoring (ASCII) case.
class FakeRegistry : public platform::RegistryStore {
 public:
  void AddKey(std::string_view keyPath);
  void PutText(std::string_view keyPath, std::string_view valueName, std::string_view text,
               platform::RegistryType type = platform::RegistryType::String);
  void PutDword(std::string_view keyPath, std::string_view valueName, std::uint32_t value);
  void PutBytes(std::string_view keyPath, std::string_view valueName, platform::RegistryData data);
  void Remove(std::string_view keyPath, std::string_view valueName);
  std::optional<std::uint32_t> Dword(std::string_view keyPath, std::string_view valueName) const;

  std::optional<platform::RegistryData> QueryValue(platform::RegistryHive hive, std::string_view keyPath,
                                                   std::string_view valueName, std::uint32_t accessMask,
                                                   std::size_t maxBytes) override;
  bool SetDword(platform::RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                std::uint32_t value, std::uint32_t accessMask) override;

  bool Readable = true;
  bool Writable = true;                   // false refuses a mask with write rights too
  std::vector<std::uint32_t> Masks;       // of every access, in order
  std::vector<std::string> WrittenNames;  // of every write that succeeded, in order
  CallLog* Calls = nullptr;               // "QueryValue NAME", "SetDword NAME=VALUE"

 private:
  std::map<std::string, std::map<std::string, platform::RegistryData>> keys_;  // lower case
};

class FakeSettings : public platform::SettingsStore {
 public:
  std::string GetSetting(std::string_view section, std::string_view name,
                         std::string_view defaultText) override;
  void SaveSetting(std::string_view section, std::string_view name, std::string_view text) override;

  std::map<std::string, std::string> Values;  // "Section/Name"
  CallLog* Calls = nullptr;                   // "SaveSetting NAME=TEXT"
};

class FakeAccountGroups : public platform::AccountGroups {
 public:
  std::optional<std::vector<std::string>> GroupNames() override;
  std::optional<std::string> AdministratorsName() override;

  std::optional<std::vector<std::string>> Names = std::vector<std::string>{"users", "sudo"};
  std::optional<std::string> Administrators = "sudo";
  CallLog* Calls = nullptr;  // "GroupNames", "AdministratorsName"
};

class FakeRunningInstance : public platform::RunningInstance {
 public:
  bool PreviousInstanceExists() override;
  bool FindTopLevelWindow(std::string_view title) override;
  bool BringToForeground() override;
  bool ShowMaximised() override;

  bool Exists = false;
  std::string WindowTitle;  // of the running copy
  bool Foreground = true;
  bool Maximised = true;
  CallLog* Calls = nullptr;  // the names of the operations; "FindTopLevelWindow TITLE"
};

class FakeServiceControl : public platform::ServiceControl {
 public:
  std::unique_ptr<platform::ServiceManager> OpenManager() override;

  bool ManagerThere = true;
  std::set<std::string> Services = {"KVReceiver"};
  bool StartWorks = true;
  CallLog* Calls = nullptr;  // "OpenManager", "OpenService NAME", "SendStop NAME", "Start NAME",
                             // "CloseService NAME", "CloseManager"
};

class FakeSockets : public platform::Sockets {
 public:
  platform::SocketStartup Start(std::uint16_t requestedVersion) override;
  int Cleanup() override;

  platform::SocketStartup Answer{.Started = true, .Version = 0x0101, .MaxSockets = 1024};
  int CleanupError = 0;
  std::uint16_t Requested = 0;
  CallLog* Calls = nullptr;  // "Sockets::Start", "Sockets::Cleanup"
};

class FakePrograms : public platform::Programs {
 public:
  struct Started {
    std::string Program;
    std::vector<std::string> Arguments;
    bool operator==(const Started&) const = default;
  };
  bool Start(std::string_view program, const std::vector<std::string>& arguments) override;

  std::set<std::string> Missing;  // these can't be started
  std::vector<Started> Attempts;  // the missing ones included
  CallLog* Calls = nullptr;       // "Start PROGRAM"
};

class FakeDirectories : public platform::Directories {
 public:
  bool SetCurrentDirectory(std::string_view path) override;

  bool Allowed = true;
  std::string Current;
  CallLog* Calls = nullptr;  // "SetCurrentDirectory PATH"
};

// Stands still unless moved; sleeping moves it, and so does looking at it when it is told to.
class FakeClock : public platform::Clock {
 public:
  std::int64_t UtcSeconds() override { return Utc; }
  std::int64_t MonotonicMilliseconds() override { return Milliseconds += MillisecondsPerLook; }
  void SleepMilliseconds(int milliseconds) override;
  int TimeZoneBiasMinutes() override { return BiasMinutes; }
  void Advance(std::int64_t milliseconds);

  std::int64_t Utc = 1'000'000'000;
  std::int64_t Milliseconds = 1'000'000;
  std::int64_t MillisecondsPerLook = 0;
  int BiasMinutes = 0;
  std::vector<int> Sleeps;
  CallLog* Calls = nullptr;  // "Sleep MILLISECONDS"

 private:
  std::int64_t untoldMilliseconds_ = 0;
};

// Safe from any thread as long as the fields are not changed meanwhile.
class FakeHostNames : public platform::HostNames {
 public:
  std::optional<std::string> NameOfAddress(std::string_view address) override;
  std::optional<std::string> AddressOfName(std::string_view name) override;
  std::string DomainOfThisHost() override { return Domain; }

  std::map<std::string, std::string> Names;  // address to name, read both ways
  std::string Domain = "example.net";
};

struct FakePlatform {
  FakePlatform();
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  CallLog Calls;
  FakeRegistry Registry;
  FakeSettings Settings;
  FakeAccountGroups Groups;
  FakeRunningInstance Instance;
  FakeServiceControl Services;
  FakeSockets Sockets;
  FakePrograms Programs;
  FakeDirectories Directories;
  FakeClock Clock;
  FakeHostNames HostNames;
};

}  // namespace korvane::test
