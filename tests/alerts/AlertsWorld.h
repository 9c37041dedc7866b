// Everything the windows of alerts are given, over a real embedded store.
#pragma once

#include <string>

#include "alerts/AlertServices.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"

namespace korvane::test {

class MailLibrary : public intake::ReceiverLibrary {
 public:
  std::int32_t StartRecvEvents(std::int32_t) override { return intake::kReceiverThreadOk; }
  std::int32_t GetEventFromList(intake::ReceivedTrap&) override { return 0; }
  std::int32_t StopRecvEvents() override { return intake::kReceiverThreadOk; }
  bool KVResolveSystemName(const std::string&, std::string&) override { return false; }
  intake::MailSettings GetDefaultMailSettings() override {
    return {.SmtpServer = "mail.example.net", .Recipient = "root@example.net", .Domain = "example.net"};
  }
};

struct AlertsWorld {
  AlertsWorld() { Store.Connect(Connection); }
  AlertsWorld(const AlertsWorld&) = delete;
  AlertsWorld& operator=(const AlertsWorld&) = delete;

  SqliteStore Store;
  FakePlatform Platform;
  ScriptedPrompts Prompt;
  store::Connection Connection;
  store::TrapNames Names{Connection};
  MailLibrary Library;
  alerts::AlertServices Services{.Connection = Connection,
                                 .Names = Names,
                                 .Prompt = Prompt,
                                 .Registry = Platform.Registry,
                                 .Settings = Platform.Settings,
                                 .Library = Library};
};

}  // namespace korvane::test
