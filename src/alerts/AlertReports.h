// What the receivers tell of the alerts through the store, and the tests that a console asks them for.
// User-interface thread; every call may throw DatabaseError.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "store/Connection.h"

namespace korvane::alerts {

// Of one alert.  Times are seconds since 1970-01-01 00:00:00 UTC by the receiver's clock; 0: never.
struct AlertState {
  std::int32_t LastActed = 0;    // one of its actions was carried out
  std::int32_t LastFailure = 0;  // one was not
  std::string Reason = {};       // of the last failure, with the action
  bool operator==(const AlertState&) const = default;
};

struct AlertTestState {
  std::string TakenBy = {};  // the receiver's machine; empty: none has taken it yet
  bool Done = false;
  std::string Result = {};  // a line for each action that is done or has failed
  bool operator==(const AlertTestState&) const = default;
};

class AlertReports {
 public:
  explicit AlertReports(store::Connection& connection) : connection_(connection) {}

  std::unordered_map<std::int32_t, AlertState> LoadStates();  // by the alert's key

  // Asks whichever receiver sees it first to carry all actions of the alert out.  The test's key.
  std::int32_t AskTest(std::int32_t groupId);
  // Nothing when it is gone.
  std::optional<AlertTestState> LoadTest(std::int32_t testId);
  // Nobody wants to know any more: one that is not taken yet is not carried out.
  void WithdrawTest(std::int32_t testId);

 private:
  store::Connection& connection_;
};

}  // namespace korvane::alerts
