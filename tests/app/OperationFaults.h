// What the operator does, as operations that a failing store may interrupt anywhere: one console over a
// store, an image of that store, and what an operation is to leave behind when it fails and when it succeeds.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/AlertServices.h"
#include "categories/CategoryServices.h"
#include "common/Log.h"
#include "common/ProcessState.h"
#include "params/DefinitionVerdicts.h"
#include "params/FilterServices.h"
#include "support/OdbcFaults.h"
#include "support/RecordingBusy.h"
#include "support/RulesWorld.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"
#include "support/World.h"

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
struct Hands : RulesWorld {
  explicit Hands(SqliteStore& store);
  // Nothing was said since the operation began.
  bool Silent() const { return Prompt.Messages().empty(); }
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
