#include "intake/LibraryLink.h"

#include <array>
#include <utility>

#include "intake/ReceivedTrapRecord.h"

namespace korvane::intake {
namespace {

static_assert(kReceivedTrapBytes == platform::kServiceRecordBytes);

class LibraryMemory : public StringMemory {
 public:
  explicit LibraryMemory(platform::ServiceLibrary& library) : library_(library) {}
  std::uint32_t Make(std::string_view bytes) override { return library_.MakeText(bytes); }
  std::string Read(std::uint32_t address) override { return library_.ReadText(address); }
  void Release(std::uint32_t address) noexcept override { library_.ReleaseText(address); }

 private:
  platform::ServiceLibrary& library_;
};

}  // namespace

std::int32_t LibraryLink::StartRecvEvents(std::int32_t highWaterMark) {
  return library_->StartRecvEvents(highWaterMark);
}

std::int32_t LibraryLink::GetEventFromList(ReceivedTrap& trap) {
  LibraryMemory memory(*library_);
  std::array<std::byte, kReceivedTrapBytes> record{};
  EncodeReceivedTrap(trap, record, memory, [this](std::string_view text) { return library_->ToAnsi(text); });
  const std::int32_t taken = library_->GetEventFromList(record);
  trap = DecodeReceivedTrap(record, memory, [this](std::string_view text) { return library_->ToUtf8(text); });
  return taken;
}

std::int32_t LibraryLink::StopRecvEvents() {
  return library_->StopRecvEvents();
}

bool LibraryLink::KVResolveSystemName(const std::string& address, std::string& name) {
  return library_->KVResolveSystemName(address, name);
}

MailSettings LibraryLink::GetDefaultMailSettings() {
  platform::LibraryMailSettings settings = library_->GetDefaultMailSettings();
  return {.SmtpServer = std::move(settings.SmtpServer),
          .Recipient = std::move(settings.Recipient),
          .Domain = std::move(settings.Domain)};
}

std::unique_ptr<ReceiverLibrary> ChooseLibrary(
    std::unique_ptr<platform::ServiceLibrary> installed,
    const std::function<std::unique_ptr<ReceiverLibrary>()>& makeFeeder) {
  return installed ? std::make_unique<LibraryLink>(std::move(installed)) : makeFeeder();
}

}  // namespace korvane::intake
