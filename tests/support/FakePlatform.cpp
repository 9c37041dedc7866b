#include "support/FakePlatform.h"

#include <utility>

namespace korvane::test {
namespace {

using platform::RegistryData;
using platform::RegistryType;

constexpr std::uint32_t kWriteRights = 0x0002 | 0x0004;  // set value, create subkey

struct FakeService : platform::Service {
  FakeService(const FakeServiceControl& owner, std::string_view name) : Owner(owner), Name(name) {}
  void SendStop() override { Owner.Note("SendStop", Name); }
  bool Start() override {
    Owner.Note("Start", Name);
    return Owner.StartWorks;
  }
  const FakeServiceControl& Owner;
  std::string Name;
};

struct FakeServiceManager : platform::ServiceManager {
  explicit FakeServiceManager(const FakeServiceControl& owner) : Owner(owner) {}
  std::unique_ptr<platform::Service> OpenService(std::string_view name) override {
    Owner.Note("OpenService", name);
    const bool there = Owner.Services.contains(std::string(name));
    return there ? std::make_unique<FakeService>(Owner, name) : nullptr;
  }
  const FakeServiceControl& Owner;
};

}  // namespace

void FakeRegistry::PutText(std::string_view keyPath, std::string_view valueName, std::string_view text,
                           RegistryType type) {
  PutBytes(keyPath, valueName, {type, std::string(text) + '\0'});
}

void FakeRegistry::PutDword(std::string_view keyPath, std::string_view valueName, std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<char>((value >> shift) & 0xFFU));
  }
  PutBytes(keyPath, valueName, {RegistryType::Dword, bytes});
}

void FakeRegistry::PutBytes(std::string_view keyPath, std::string_view valueName, RegistryData data) {
  keys_[FoldCase(keyPath)][FoldCase(valueName)] = std::move(data);
}

void FakeRegistry::Remove(std::string_view keyPath, std::string_view valueName) {
  keys_[FoldCase(keyPath)].erase(FoldCase(valueName));
}

const RegistryData* FakeRegistry::Find(std::string_view keyPath, std::string_view valueName) const {
  const auto key = keys_.find(FoldCase(keyPath));
  if (key == keys_.end()) {
    return nullptr;
  }
  const auto value = key->second.find(FoldCase(valueName));
  return value == key->second.end() ? nullptr : &value->second;
}

std::optional<std::uint32_t> FakeRegistry::Dword(std::string_view keyPath, std::string_view valueName) const {
  const RegistryData* const data = Find(keyPath, valueName);
  if (data == nullptr || data->Type != RegistryType::Dword) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number |= static_cast<std::uint32_t>(static_cast<unsigned char>(data->Bytes.at(i))) << (8 * i);
  }
  return number;
}

std::optional<RegistryData> FakeRegistry::QueryValue(platform::RegistryHive, std::string_view keyPath,
                                                     std::string_view valueName, std::uint32_t accessMask,
                                                     std::size_t maxBytes) {
  Masks.push_back(accessMask);
  Note("QueryValue", valueName);
  const RegistryData* const data = Find(keyPath, valueName);
  const bool refused = !Readable || ((accessMask & kWriteRights) != 0 && !Writable);
  return refused || data == nullptr || data->Bytes.size() > maxBytes ? std::nullopt : std::optional(*data);
}

bool FakeRegistry::SetDword(platform::RegistryHive, std::string_view keyPath, std::string_view valueName,
                            std::uint32_t value, std::uint32_t accessMask) {
  Masks.push_back(accessMask);
  Note("SetDword", std::string(valueName) + "=" + std::to_string(value));
  if (!Writable || !keys_.contains(FoldCase(keyPath))) {
    return false;
  }
  PutDword(keyPath, valueName, value);
  WrittenNames.emplace_back(valueName);
  return true;
}

std::unique_ptr<platform::ServiceManager> FakeServiceControl::OpenManager() {
  Note("OpenManager");
  return std::make_unique<FakeServiceManager>(*this);
}

FakePlatform::FakePlatform() {
  Registry.Calls = Settings.Calls = Groups.Calls = Instance.Calls = Services.Calls = Sockets.Calls =
      Programs.Calls = Directories.Calls = Clock.Calls = &Calls;
}

}  // namespace korvane::test
