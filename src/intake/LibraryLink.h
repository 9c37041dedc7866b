// The service library of the machine as the intake's receiver library: hands it the fixed record and takes
// the traps out of it.  It knows nothing of what others change in the store; see ReceiverLibrary.h.
#pragma once

#include <functional>
#include <memory>

#include "intake/ReceiverLibrary.h"
#include "platform/ServiceLibrary.h"

namespace korvane::intake {

class LibraryLink : public ReceiverLibrary {
 public:
  explicit LibraryLink(std::unique_ptr<platform::ServiceLibrary> library) : library_(std::move(library)) {}

  std::int32_t StartRecvEvents(std::int32_t highWaterMark) override;
  std::int32_t GetEventFromList(ReceivedTrap& trap) override;
  std::int32_t StopRecvEvents() override;
  bool KVResolveSystemName(const std::string& address, std::string& name) override;
  MailSettings GetDefaultMailSettings() override;

 private:
  std::unique_ptr<platform::ServiceLibrary> library_;
};

// What delivers the traps: the machine's library where there is one (not null), else what makeFeeder makes.
std::unique_ptr<ReceiverLibrary> ChooseLibrary(
    std::unique_ptr<platform::ServiceLibrary> installed,
    const std::function<std::unique_ptr<ReceiverLibrary>()>& makeFeeder);

}  // namespace korvane::intake
