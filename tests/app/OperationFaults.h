// What the operator does, as operations that a failing store may interrupt anywhere: one console over a
// store, an image of that store, and what an operation is to leave behind when it fails and when it succeeds.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/AlertServices.h"
#include "support/RulesWorld.h"
#include "categories/CategoryServices.h"
#include "common/Log.h"
#include "common/ProcessState.h"
#include "params/DefinitionVerdicts.h"
#include "params/FilterServices.h"
#include "support/OdbcFaults.h"
#include "support/RecordingBusy.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"
#include "support/TrapsWorld.h"

namespace korvane::test {

// Everything that the store holds, to be compared and to be brought back.
class StoreImage {
 public:
  explicit StoreImage(TestStore& store);
  std::string Digest();
  void Restore();

 private:
  std::vector<std::string> TablesOf(std::string_view schema);

  TestStore& store_;
  std::vector<std::string> tables_;
  std::string digestSelect_;
};

// A console as it stands after a start, without its windows.
struct Hands : params::FilteredWindows, categories::CategorisedWindows {
  explicit Hands(SqliteStore& store);
  void FiltersChanged() override { ++Refreshed; }
  void CategoriesChanged() override { ++Refreshed; }
  std::unique_ptr<store::Connection> OwnConnection() const;
  params::FilterServices ForFilters();
  categories::CategoryServices ForCategories();
  alerts::AlertServices ForAlerts();
  // Nothing was said since the operation began.
  bool Silent() const { return Prompt.Messages().empty(); }

  SqliteStore& Store;
  FakePlatform Machine;
  ProcessState State;
  Log DebugLog{State};
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  store::Connection Db;
  store::TrapNames Names{Db};
  params::CategoryInformation Categories;
  params::TrapFilters Filters;
  params::DefinitionVerdicts Verdicts{Filters, Categories};
  intake::Systems SystemList;
  intake::LoadBounds Bounds;
  MailLibrary Library;
  OpenModels Windows;
  TempFolder Folder;
  int Refreshed = 0;  // how often all windows were
  intake::ViewServices View{Db,
                            Names,
                            Categories,
                            SystemList,
                            Bounds,
                            State,
                            Prompt,
                            Busy,
                            DebugLog,
                            Machine.Clock,
                            Machine.Settings,
                            Library,
                            Machine.Programs,
                            Folder.Path().string(),
                            [this](store::ConnectionOptions) { return OwnConnection(); }};
};

// An operation that is about to be carried out.
struct Work {
  std::function<bool()> Do;           // true: done, as far as the operator can see
  std::function<bool()> Again = {};   // what the operator does when it failed; empty: the same once more
  std::function<bool()> Finish = {};  // what makes it final, for what stands in a transaction
  std::function<std::string()> Shown = {};  // by lists and in memory
  std::function<bool()> Agrees = {};        // what is shown is what the store holds
};

struct Operation {
  const char* Name = "";
  std::function<Work(Hands&)> Prepare;
  // A failure says one of these, beside the texts of the store; without any text it says nothing.
  std::vector<std::string_view> Messages = {};
  bool SaysNothing = false;
  // What a failure may leave beside the store as it was: the changes of each, in SQL.
  std::vector<std::vector<std::string>> Partly = {};
  bool MayBeDone = false;    // a failure may come when all is stored
  bool OnlyFinally = false;  // the transaction that Finish commits goes with its link: it is all begun anew
};

std::vector<Operation> OperationsOfFilters();
std::vector<Operation> OperationsOfCategories();
std::vector<Operation> OperationsOfAlerts();
std::vector<Operation> OperationsOnTraps();

// A store with something of everything.
void FillStore(TestStore& store);

}  // namespace korvane::test
