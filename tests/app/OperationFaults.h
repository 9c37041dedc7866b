// What the operator does, as operations that a failing store may interrupt anywhere: one console over a
// store, an image of that store, and what an operation is to leave behind when it fails and when it succeeds.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/RegistryValues.h"
#include "support/OdbcFaults.h"
#include "support/RulesWorld.h"

namespace korvane::test {

// A console as it stands after a start, without its windows.
struct Hands : RulesWorld {
  explicit Hands(SqliteStore& store) : RulesWorld(store) {
    Bounds.InitialLoad = false;
    State.gLastTrapTime = 1'000'000;
    Platform.Registry.AddKey(kManagerKey);
  }
};

// An operation that is about to be carried out.
struct Work {
  std::function<bool()> Do;  // true: done, as far as the operator can see; what is said means it is not
  std::function<bool()> Again = {};   // what the operator does when it failed; empty: the same once more
  std::function<bool()> Finish = {};  // what makes it final, for what stands in a transaction
  std::function<std::string()> Shown = {};  // by lists and in memory
  std::function<bool()> Agrees = {};        // what is shown is what the store holds
  PromptAnswer Answer = PromptAnswer::Yes;  // to the question that it asks
};
using Begin = std::function<Work(Hands&)>;

struct Operation {
  const char* Name = "";
  Begin Prepare;
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

}  // namespace korvane::test
