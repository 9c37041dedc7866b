// Everything that the dialogs of filters, categories and alerts are given, over a real embedded store.
#pragma once

#include <fmt/format.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "alerts/AlertServices.h"
#include "categories/CategoryServices.h"
#include "categories/CategoryWriter.h"
#include "params/FilterServices.h"
#include "store/DatabaseError.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
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

struct RulesWorld : params::FilteredWindows, categories::CategorisedWindows {
  RulesWorld() { Store.Connect(Connection); }
  RulesWorld(const RulesWorld&) = delete;
  RulesWorld& operator=(const RulesWorld&) = delete;

  void FiltersChanged() override {
    ++Changes;
    if (OnChange) {
      OnChange();
    }
  }
  void CategoriesChanged() override { ++Changes; }

  int Rows(std::string_view tableAndCondition) {
    return Store.Number(fmt::format("SELECT COUNT(*) FROM {}", tableAndCondition));
  }
  void AddCategory(const std::string& name, const std::string& description = "",
                   const std::vector<categories::TrapDetail>& traps = {}) {
    categories::CategoryTransaction transaction(Connection);
    categories::CategoryWriter(transaction).AddCategory(name, description, 0, traps);
    transaction.Commit();
  }

  SqliteStore Store;
  FakePlatform Platform;
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  store::Connection Connection;
  store::TrapNames Names{Connection};
  params::CategoryInformation Categories;
  params::TrapFilters Filters;
  MailLibrary Library;
  int Changes = 0;  // how often the windows were told of new filters or categories
  std::function<void()> OnChange;
  bool Reachable = true;           // for further connections
  store::ConnectionOptions Asked;  // of the last of them
  params::FilterServices ForFilters{Connection, Names, Filters, Prompt, Busy, Platform.Settings, *this};
  categories::CategoryServices ForCategories{Connection,
                                             [this](store::ConnectionOptions options) {
                                               Asked = options;
                                               if (!Reachable) {
                                                 throw store::DatabaseError("no server", "08001", 0, "");
                                               }
                                               auto connection = std::make_unique<store::Connection>();
                                               Store.Connect(*connection);
                                               return connection;
                                             },
                                             Names,
                                             Categories,
                                             Prompt,
                                             Busy,
                                             Platform.Clock,
                                             Platform.Settings,
                                             *this};
  alerts::AlertServices ForAlerts{Connection, Names, Prompt, Platform.Registry, Platform.Settings, Library};
};

}  // namespace korvane::test
