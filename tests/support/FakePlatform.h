// Scriptable stand-ins for the machine: public fields say how a fake answers and what it was asked.  Every
// fake answers as on a healthy machine until told otherwise.  FakePlatform holds one of each, all writing
// into one call log: the operation's name, and what it was asked for behind a blank.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/Text.h"
#include "platform/Notifications.h"
#include "platform/Platform.h"
#include "support/CallLog.h"

namespace korvane::test {

struct Logging {
  CallLog* Calls = nullptr;
  void Note(std::string_view call, std::string_view what = {}) const {
    Record(Calls, std::string(call).append(what.empty() ? "" : " ").append(what));
  }
  template <typename Answer>
  Answer Noted(const Answer& answer, std::string_view call, std::string_view what = {}) const {
    Note(call, what);
    return answer;
  }
};

// Keys exist once a value was put or AddKey named them; names compare ignoring case.
class FakeRegistry : public platform::RegistryStore, public Logging {
 public:
  void AddKey(std::string_view keyPath) { keys_.insert(FoldCase(keyPath)); }
  void PutText(std::string_view keyPath, std::string_view valueName, std::string_view text,
               platform::RegistryType type = platform::RegistryType::String) {
    PutBytes(keyPath, valueName, {type, std::string(text) + '\0'});
  }
  void PutDword(std::string_view keyPath, std::string_view valueName, std::uint32_t value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);  // on the machines of these tests in the order it wants
    PutBytes(keyPath, valueName, {platform::RegistryType::Dword, bytes});
  }
  void PutBytes(std::string_view keyPath, std::string_view valueName, platform::RegistryData data) {
    AddKey(keyPath);
    values_[Place(keyPath, valueName)] = std::move(data);
  }
  void Remove(std::string_view keyPath, std::string_view valueName) {
    values_.erase(Place(keyPath, valueName));
  }
  std::optional<std::uint32_t> Dword(std::string_view keyPath, std::string_view valueName) const {
    const auto data = Find(keyPath, valueName);
    if (!data || data->Type != platform::RegistryType::Dword) {
      return std::nullopt;
    }
    std::uint32_t value = 0;
    std::memcpy(&value, data->Bytes.data(), sizeof value);
    return value;
  }

  std::optional<platform::RegistryData> QueryValue(platform::RegistryHive, std::string_view keyPath,
                                                   std::string_view valueName, std::uint32_t,
                                                   std::size_t maxBytes) override {
    Note("QueryValue", valueName);
    const auto data = Find(keyPath, valueName);
    return !data || data->Bytes.size() > maxBytes ? std::nullopt : data;
  }
  bool SetDword(platform::RegistryHive, std::string_view keyPath, std::string_view valueName,
                std::uint32_t value, std::uint32_t) override {
    Note("SetDword", std::string(valueName) + "=" + std::to_string(value));
    if (!keys_.contains(FoldCase(keyPath))) {
      return false;
    }
    PutDword(keyPath, valueName, value);
    WrittenNames.emplace_back(valueName);
    return true;
  }

  std::vector<std::string> WrittenNames;  // of every write that succeeded, in order

 private:
  static std::pair<std::string, std::string> Place(std::string_view keyPath, std::string_view valueName) {
    return {FoldCase(keyPath), FoldCase(valueName)};
  }
  std::optional<platform::RegistryData> Find(std::string_view keyPath, std::string_view valueName) const {
    const auto found = values_.find(Place(keyPath, valueName));
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  std::map<std::pair<std::string, std::string>, platform::RegistryData> values_;
  std::set<std::string> keys_;
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
  std::optional<std::vector<std::string>> GroupNames() override { return Noted(Names, "GroupNames"); }
  std::optional<std::string> AdministratorsName() override {
    return Noted(Administrators, "AdministratorsName");
  }

  std::optional<std::vector<std::string>> Names = std::vector<std::string>{"users", "sudo"};
  std::optional<std::string> Administrators = "sudo";
};

struct FakeRunningInstance : platform::RunningInstance, Logging {
  bool PreviousInstanceExists() override { return Noted(false, "PreviousInstanceExists"); }
  bool FindTopLevelWindow(std::string_view) override { return false; }
  bool BringToForeground() override { return false; }
  bool ShowMaximised() override { return false; }
};

// The one service is KVReceiver.  Logs as far as it too: "OpenService NAME", "SendStop NAME", "Start NAME".
struct FakeServiceControl : platform::ServiceControl, Logging {
  struct Service : platform::Service {
    explicit Service(const FakeServiceControl& owner) : Owner(owner) {}
    void SendStop() override { Owner.Note("SendStop", "KVReceiver"); }
    bool Start() override { return Owner.Noted(Owner.StartWorks, "Start", "KVReceiver"); }
    const FakeServiceControl& Owner;
  };
  struct Manager : platform::ServiceManager {
    explicit Manager(const FakeServiceControl& owner) : Owner(owner) {}
    std::unique_ptr<platform::Service> OpenService(std::string_view name) override {
      Owner.Note("OpenService", name);
      return name == "KVReceiver" ? std::make_unique<Service>(Owner) : nullptr;
    }
    const FakeServiceControl& Owner;
  };
  std::unique_ptr<platform::ServiceManager> OpenManager() override {
    Note("OpenManager");
    return std::make_unique<Manager>(*this);
  }

  bool StartWorks = true;
};

struct FakeSockets : platform::Sockets, Logging {
  platform::SocketStartup Start(std::uint16_t) override { return Noted(Answer, "Sockets::Start"); }
  int Cleanup() override { return Noted(CleanupError, "Sockets::Cleanup"); }

  platform::SocketStartup Answer{.Started = true, .Version = 0x0101, .MaxSockets = 1024};
  int CleanupError = 0;
};

struct FakePrograms : platform::Programs, Logging {
  struct Started {
    std::string Program;
    std::vector<std::string> Arguments;
    bool operator==(const Started&) const = default;
  };
  bool Start(std::string_view program, const std::vector<std::string>& arguments) override {
    Attempts.push_back({std::string(program), arguments});
    return Noted(!Missing.contains(std::string(program)), "Start", program);
  }

  std::set<std::string> Missing;  // these can't be started
  std::vector<Started> Attempts;  // the missing ones included
};

struct FakeDirectories : platform::Directories, Logging {
  bool SetCurrentDirectory(std::string_view path) override {
    return Noted(Allowed, "SetCurrentDirectory", path);
  }

  bool Allowed = true;
};

// Stands still unless moved; sleeping moves it, and so does looking at it when it is told to.
struct FakeClock : platform::Clock, Logging {
  std::int64_t UtcSeconds() override { return Utc; }
  std::int64_t MonotonicMilliseconds() override { return Milliseconds += MillisecondsPerLook; }
  void SleepMilliseconds(int milliseconds) override {
    Note("Sleep", std::to_string(milliseconds));
    Sleeps.push_back(milliseconds);
    Advance(milliseconds);
  }
  int TimeZoneBiasMinutes() override { return BiasMinutes; }
  void Advance(std::int64_t milliseconds) {
    Utc += (Milliseconds + milliseconds) / 1000 - Milliseconds / 1000;
    Milliseconds += milliseconds;
  }

  std::int64_t Utc = 1'000'000'000;
  std::int64_t Milliseconds = 1'000'000;
  std::int64_t MillisecondsPerLook = 0;
  int BiasMinutes = 0;
  std::vector<int> Sleeps;
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

struct FakeNotifications : platform::Notifications {
  void Show(const platform::Notification& notification) override {
    Shown = notification.Title + " | " + notification.Text;
    ++Shows;
  }
  void Withdraw() override { Shown.clear(); }
  void SetListener(std::function<void()> chosen) override { Chosen = std::move(chosen); }

  std::string Shown;
  int Shows = 0;
  std::function<void()> Chosen;
};

struct FakePlatform {
  FakePlatform() {
    Registry.Calls = Settings.Calls = Groups.Calls = Instance.Calls = Services.Calls = Sockets.Calls =
        Programs.Calls = Directories.Calls = Clock.Calls = &Calls;
  }
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
  FakeNotifications Notifications;
};

}  // namespace korvane::test
