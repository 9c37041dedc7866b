// What became of the actions of alerts and of tests, until it is written to the store.  The lanes report, the
// runner takes.  Held by alert and by test, so it never takes more than the alerts themselves do.  Any
// thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "receiver/alerts/AlertFiring.h"

namespace korvane::receiver {

// Of one alert since it was last written.  Times are UTC seconds, 0: not since then.
struct AlertOutcome {
  std::int64_t Acted = 0;
  std::int64_t Failed = 0;
  std::string Reason;  // of the failure, with the action
};

// Of one test.
struct TestOutcome {
  std::string Result;  // a line for each action that is done or has failed
  int Left = 0;        // actions that are still under way
};

struct AlertNews {
  std::map<std::int32_t, AlertOutcome> Alerts;  // by the alert's key
  std::map<std::int32_t, TestOutcome> Tests;    // by the test's
  bool Empty() const { return Alerts.empty() && Tests.empty(); }
};

class AlertOutcomes {
 public:
  // Before the firing goes to the lanes.
  void Expect(std::int32_t testId, int actions);
  // failure: empty when the action was carried out.
  void Note(const AlertFiring& firing, std::string_view action, const std::string& failure);

  // What is new.  Tests that are still under way stay here too.
  AlertNews Take();
  // It could not be written: what has come since goes before.
  void GiveBack(AlertNews news);

 private:
  std::mutex mutex_;
  AlertNews news_;
  std::map<std::int32_t, TestOutcome> underWay_;
};

}  // namespace korvane::receiver
