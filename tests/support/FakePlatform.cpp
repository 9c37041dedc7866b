#include "support/FakePlatform.h"

#include <algorithm>
#include <utility>

namespace korvane::test {
namespace {

constexpr std::uint32_t kWriteRights = 0x0002 | 0x0004;  // set value, create subkey

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

std::string DwordBytes(std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<char>((value >> shift) & 0xFFU));
  }
  return bytes;
}

class FakeService : public platform::Service {
 public:
  FakeService(FakeServiceControl& owner, std::string name) : owner_(owner), name_(std::move(name)) {}
  ~FakeService() override { Record(owner_.Calls, "CloseService " + name_); }
  void SendStop() override { Record(owner_.Calls, "SendStop " + name_); }
  bool Start() override {
    Record(owner_.Calls, "Start " + name_);
    return owner_.StartWorks;
  }

 private:
  FakeServiceControl& owner_;
  std::string name_;
};

class FakeServiceManager : public platform::ServiceManager {
 public:
  explicit FakeServiceManager(FakeServiceControl& owner) : owner_(owner) {}
  ~FakeServiceManager() override { Record(owner_.Calls, "CloseManager"); }
  std::unique_ptr<platform::Service> OpenService(std::string_view name) override {
    Record(owner_.Calls, "OpenService " + std::string(name));
    if (!owner_.Services.contains(std::string(name))) {
      return nullptr;
    }
    return std::make_unique<FakeService>(owner_, std::string(name));
  }

 private:
  FakeServiceControl& owner_;
};

}  // namespace

void FakeRegistry::AddKey(std::string_view keyPath) {
  keys_[Lower(keyPath)];
}

void FakeRegistry::PutText(std::string_view keyPath, std::string_view valueName, std::string_view text,
                           platform::RegistryType type) {
  PutBytes(keyPath, valueName, {type, std::string(text) + '\0'});
}

void FakeRegistry::PutDword(std::string_view keyPath, std::string_view valueName, std::uint32_t value) {
  PutBytes(keyPath, valueName, {platform::RegistryType::Dword, DwordBytes(value)});
}

void FakeRegistry::PutBytes(std::string_view keyPath, std::string_view valueName,
                            platform::RegistryData data) {
  keys_[Lower(keyPath)][Lower(valueName)] = std::move(data);
}

void FakeRegistry::Remove(std::string_view keyPath, std::string_view valueName) {
  keys_[Lower(keyPath)].erase(Lower(valueName));
}

std::optional<std::uint32_t> FakeRegistry::Dword(std::string_view keyPath, std::string_view valueName) const {
  const auto key = keys_.find(Lower(keyPath));
  if (key == keys_.end()) {
    return std::nullopt;
  }
  const auto value = key->second.find(Lower(valueName));
  if (value == key->second.end() || value->second.Type != platform::RegistryType::Dword) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number |= static_cast<std::uint32_t>(static_cast<unsigned char>(value->second.Bytes.at(i))) << (8 * i);
  }
  return number;
}

std::optional<platform::RegistryData> FakeRegistry::QueryValue(platform::RegistryHive,
                                                               std::string_view keyPath,
                                                               std::string_view valueName,
                                                               std::uint32_t accessMask,
                                                               std::size_t maxBytes) {
  Masks.push_back(accessMask);
  Record(Calls, "QueryValue " + std::string(valueName));
  const auto key = keys_.find(Lower(keyPath));
  if (!Readable || ((accessMask & kWriteRights) != 0 && !Writable) || key == keys_.end()) {
    return std::nullopt;
  }
  const auto value = key->second.find(Lower(valueName));
  if (value == key->second.end() || value->second.Bytes.size() > maxBytes) {
    return std::nullopt;
  }
  return value->second;
}

bool FakeRegistry::SetDword(platform::RegistryHive, std::string_view keyPath, std::string_view valueName,
                            std::uint32_t value, std::uint32_t accessMask) {
  Masks.push_back(accessMask);
  Record(Calls, "SetDword " + std::string(valueName) + "=" + std::to_string(value));
  if (!Writable || !keys_.contains(Lower(keyPath))) {
    return false;
  }
  PutDword(keyPath, valueName, value);
  WrittenNames.emplace_back(valueName);
  return true;
}

std::string FakeSettings::GetSetting(std::string_view section, std::string_view name,
                                     std::string_view defaultText) {
  const auto found = Values.find(std::string(section) + "/" + std::string(name));
  return found == Values.end() ? std::string(defaultText) : found->second;
}

void FakeSettings::SaveSetting(std::string_view section, std::string_view name, std::string_view text) {
  Record(Calls, "SaveSetting " + std::string(name) + "=" + std::string(text));
  Values[std::string(section) + "/" + std::string(name)] = text;
}

std::optional<std::vector<std::string>> FakeAccountGroups::GroupNames() {
  Record(Calls, "GroupNames");
  return Names;
}

std::optional<std::string> FakeAccountGroups::AdministratorsName() {
  Record(Calls, "AdministratorsName");
  return Administrators;
}

bool FakeRunningInstance::PreviousInstanceExists() {
  Record(Calls, "PreviousInstanceExists");
  return Exists;
}

bool FakeRunningInstance::FindTopLevelWindow(std::string_view title) {
  Record(Calls, "FindTopLevelWindow " + std::string(title));
  return Exists && title == WindowTitle;
}

bool FakeRunningInstance::BringToForeground() {
  Record(Calls, "BringToForeground");
  return Foreground;
}

bool FakeRunningInstance::ShowMaximised() {
  Record(Calls, "ShowMaximised");
  return Maximised;
}

std::unique_ptr<platform::ServiceManager> FakeServiceControl::OpenManager() {
  Record(Calls, "OpenManager");
  return ManagerThere ? std::make_unique<FakeServiceManager>(*this) : nullptr;
}

platform::SocketStartup FakeSockets::Start(std::uint16_t requestedVersion) {
  Record(Calls, "Sockets::Start");
  Requested = requestedVersion;
  return Answer;
}

int FakeSockets::Cleanup() {
  Record(Calls, "Sockets::Cleanup");
  return CleanupError;
}

bool FakePrograms::Start(std::string_view program, const std::vector<std::string>& arguments) {
  Record(Calls, "Start " + std::string(program));
  Attempts.push_back({std::string(program), arguments});
  return !Missing.contains(std::string(program));
}

bool FakeDirectories::SetCurrentDirectory(std::string_view path) {
  Record(Calls, "SetCurrentDirectory " + std::string(path));
  if (Allowed) {
    Current = path;
  }
  return Allowed;
}

void FakeClock::SleepMilliseconds(int milliseconds) {
  Record(Calls, "Sleep " + std::to_string(milliseconds));
  Sleeps.push_back(milliseconds);
  Advance(milliseconds);
}

void FakeClock::Advance(std::int64_t milliseconds) {
  Milliseconds += milliseconds;
  untoldMilliseconds_ += milliseconds;
  Utc += untoldMilliseconds_ / 1000;
  untoldMilliseconds_ %= 1000;
}

std::optional<std::string> FakeHostNames::NameOfAddress(std::string_view address) {
  const auto found = Names.find(std::string(address));
  return found == Names.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> FakeHostNames::AddressOfName(std::string_view name) {
  const auto found =
      std::ranges::find_if(Names, [&](const auto& pair) { return Lower(pair.second) == Lower(name); });
  return found == Names.end() ? std::nullopt : std::optional(found->first);
}

FakePlatform::FakePlatform() {
  Registry.Calls = &Calls;
  Settings.Calls = &Calls;
  Groups.Calls = &Calls;
  Instance.Calls = &Calls;
  Services.Calls = &Calls;
  Sockets.Calls = &Calls;
  Programs.Calls = &Calls;
  Directories.Calls = &Calls;
  Clock.Calls = &Calls;
}

}  // namespace korvane::test
