// Everything "Manage Categories" is given, over a real embedded store.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "categories/CategoryServices.h"
#include "categories/CategoryStore.h"
#include "categories/CategoryWriter.h"
#include "params/CategoryInformation.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/TrapNames.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"

namespace korvane::test {

class CountingWindows : public categories::CategorisedWindows {
 public:
  void CategoriesChanged() override { ++Changes; }
  int Changes = 0;
};

struct CategoriesWorld {
  CategoriesWorld() { Store.Connect(Connection); }
  CategoriesWorld(const CategoriesWorld&) = delete;
  CategoriesWorld& operator=(const CategoriesWorld&) = delete;

  std::int32_t Rows(const std::string& tableAndFilter) {
    return Store.Number("SELECT COUNT(*) FROM " + tableAndFilter);
  }

  SqliteStore Store;
  FakePlatform Platform;
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  store::Connection Connection;
  store::TrapNames Names{Connection};
  params::CategoryInformation Categories;
  CountingWindows Windows;
  bool Reachable = true;
  store::ConnectionOptions Asked;    // of the last connection
  store::Connection* Own = nullptr;  // the window's
  categories::CategoryServices Services{.Shared = Connection,
                                        .OpenConnection =
                                            [this](store::ConnectionOptions options) {
                                              Asked = options;
                                              if (!Reachable) {
                                                throw store::DatabaseError("no server", "08001", 0,
                                                                           "CONNECT");
                                              }
                                              auto connection = std::make_unique<store::Connection>();
                                              Store.Connect(*connection);
                                              Own = connection.get();
                                              return connection;
                                            },
                                        .Names = Names,
                                        .Categories = Categories,
                                        .Prompt = Prompt,
                                        .Busy = Busy,
                                        .Clock = Platform.Clock,
                                        .Settings = Platform.Settings,
                                        .Windows = Windows};
};

}  // namespace korvane::test
