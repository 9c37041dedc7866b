// A test of an alert as the operator follows it: asked for, taken by a receiver, carried out, or without an
// answer.  One object per window; user-interface thread; reads the store when it is told to.  A store that
// can't be read meanwhile only delays the answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "alerts/AlertReports.h"

namespace korvane::alerts {

enum class TrialState { None, Asked, NoAnswer, UnderWay, Done, Failed };

class AlertTrial {
 public:
  explicit AlertTrial(AlertReports& reports) : reports_(reports) {}

  // Takes the place of the one before, which is withdrawn.  Throws DatabaseError.
  void Begin(std::int32_t groupId, std::string description);
  // Looks again; waited: the time since it was asked for.
  void Follow(std::chrono::seconds waited);
  // It is shown no longer; one that no receiver has taken is not carried out.
  void End();

  TrialState State() const { return state_; }
  // True while looking again may find something new.
  bool IsOpen() const { return testId_ != 0; }
  // What the operator is told; empty when there is nothing.
  std::string Text() const;

 private:
  void Withdraw();

  AlertReports& reports_;
  std::int32_t testId_ = 0;
  std::string description_;
  TrialState state_ = TrialState::None;
  std::string takenBy_;
  std::string result_;
};

}  // namespace korvane::alerts
