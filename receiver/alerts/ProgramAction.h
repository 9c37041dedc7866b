// Runs the operator's program with the trap's fields as arguments: source, enterprise OID, community (empty:
// it is not stored), generic code, and the trap's name.
#pragma once

#include <chrono>
#include <string>

#include "receiver/alerts/AlertAction.h"

namespace korvane::receiver {

class ProgramAction : public AlertAction {
 public:
  explicit ProgramAction(std::chrono::milliseconds longest = std::chrono::seconds(30)) : longest_(longest) {}

  std::string_view Name() const override { return "a program"; }
  bool Wanted(const AlertRule& rule) const override { return !rule.Program.empty(); }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;

 private:
  std::chrono::milliseconds longest_;
};

}  // namespace korvane::receiver
