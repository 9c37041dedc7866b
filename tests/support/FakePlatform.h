// Scriptable stand-ins for the machine: public fields say how a fake answers and what it was asked.  Every
// fake answers as on a healthy machine until told otherwise.  FakePlatform holds one of each, all writing
// into one call log: the operation's name, and what it was asked for behind a blank.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "common/Text.h"
#include "platform/Platform.h"
#include "support/CallLog.h"

namespace korvane::test {

struct Logging {
  CallLog* Calls = nullptr;
  void Note(std::string_view call, std::string_view what = {}) const {
    Record(Calls, std::string(call).append(what.empty() ? "" : " ").append(what));
  }
};

// Keys exist once a value was put or AddKey named them; names compare ignoring case.
class FakeRegistry : public platform::RegistryStore, public Logging {
 public:
  void AddKey(std::string_view keyPath) { keys_[FoldCase(keyPath)]; }
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

 private:
  const platform::RegistryData* Find(std::string_view keyPath, std::string_view valueName) const;
  std::map<std::string, std::map<std::string, platform::RegistryData>> keys_;  // folded names
};

struct FakeSettings : platform::SettingsStore, Logging {
  std::string GetSetting(std::string_view section, std::string_view name,
                         std::string_view defaultText) override {
    const auto found = Values.find(std::string(section).append("/").append(name));
    return found == Values.end() ? std::string(defaultText) : found->second;
  }
  void SaveSetting(std::string_view section, std::string_view name, std::string_view text) override {
    Note("SaveSetting", std::string(name).append("=").append(text));
    Values[std::string(section).append("/").append(name)] = text;
  }

  std::map<std::string, std::string> Values;  // "Section/Name"
};

struct FakeAccountGroups : platform::AccountGroups, Logging {
  std::optional<std::vector<std::string>> GroupNames() override {
    Note("GroupNames");
    return Names;
  }
  std::optional<std::string> AdministratorsName() override {
    Note("AdministratorsName");
    return Administrators;
  }

  std::optional<std::vector<std::string>> Names = std::vector<std::string>{"users", "sudo"};
  std::optional<std::string> Administrators = "sudo";
};

struct FakeRunningInstance : platform::RunningInstance, Logging {
  bool PreviousInstanceExists() override {
    Note("PreviousInstanceExists");
    return Exists;
  }
  bool FindTopLevelWindow(std::string_view title) override {
    Note("FindTopLevelWindow", title);
    return Exists && title == WindowTitle;
  }
  bool BringToForeground() override {
    Note("BringToForeground");
    return Foreground;
  }
  bool ShowMaximised() override {
    Note("ShowMaximised");
    return Maximised;
  }

  bool Exists = false;
  std::string WindowTitle;  // of the running copy
  bool Foreground = true;
  bool Maximised = true;
};

// Logs as far as the service too: "OpenService NAME", "SendStop NAME", "Start NAME".
struct FakeServiceControl : platform::ServiceControl, Logging {
  std::unique_ptr<platform::ServiceManager> OpenManager() override;

  std::set<std::string> Services = {"KVReceiver"};
  bool StartWorks = true;
};

struct FakeSockets : platform::Sockets, Logging {
  platform::SocketStartup Start(std::uint16_t requestedVersion) override {
    Note("Sockets::Start");
    Requested = requestedVersion;
    return Answer;
  }
  int Cleanup() override {
    Note("Sockets::Cleanup");
    return CleanupError;
  }

  platform::SocketStartup Answer{.Started = true, .Version = 0x0101, .MaxSockets = 1024};
  int CleanupError = 0;
  std::uint16_t Requested = 0;
};

struct FakePrograms : platform::Programs, Logging {
  struct Started {
    std::string Program;
    std::vector<std::string> Arguments;
    bool operator==(const Started&) const = default;
  };
  bool Start(std::string_view program, const std::vector<std::string>& arguments) override {
    Note("Start", program);
    Attempts.push_back({std::string(program), arguments});
    return !Missing.contains(std::string(program));
  }

  std::set<std::string> Missing;  // these can't be started
  std::vector<Started> Attempts;  // the missing ones included
};

struct FakeDirectories : platform::Directories, Logging {
  bool SetCurrentDirectory(std::string_view path) override {
    Note("SetCurrentDirectory", path);
    return Allowed;
  }

  bool Allowed = true;
};

// Stands still unless moved; sleeping moves it, and so does looking at it when it is told to.
class FakeClock : public platform::Clock, public Logging {
 public:
  std::int64_t UtcSeconds() override { return Utc; }
  std::int64_t MonotonicMilliseconds() override { return Milliseconds += MillisecondsPerLook; }
  void SleepMilliseconds(int milliseconds) override {
    Note("Sleep", std::to_string(milliseconds));
    Sleeps.push_back(milliseconds);
    Advance(milliseconds);
  }
  int TimeZoneBiasMinutes() override { return BiasMinutes; }
  void Advance(std::int64_t milliseconds) {
    Milliseconds += milliseconds;
    untoldMilliseconds_ += milliseconds;
    Utc += untoldMilliseconds_ / 1000;
    untoldMilliseconds_ %= 1000;
  }

  std::int64_t Utc = 1'000'000'000;
  std::int64_t Milliseconds = 1'000'000;
  std::int64_t MillisecondsPerLook = 0;
  int BiasMinutes = 0;
  std::vector<int> Sleeps;

 private:
  std::int64_t untoldMilliseconds_ = 0;
};

// Safe from any thread as long as the fields are not changed meanwhile.
struct FakeHostNames : platform::HostNames {
  std::optional<std::string> NameOfAddress(std::string_view address) override {
    const auto found = Names.find(std::string(address));
    return found == Names.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<std::string> AddressOfName(std::string_view name) override {
    for (const auto& [address, known] : Names) {
      if (EqualsIgnoreCase(known, name)) {
        return address;
      }
    }
    return std::nullopt;
  }
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
