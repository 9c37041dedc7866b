// Runs the operator's program with the trap's fields as arguments: source, enterprise OID, community (empty:
// it is not stored), generic code, and the trap's name.  A firing for one trap has these five and no more.  A
// summary has behind them those of the newest trap "summary", the number of traps, and for each source that
// is told "traps=source", without a source for the others; a test has "test".
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "receiver/alerts/AlertAction.h"

namespace korvane::receiver {

class ProgramAction : public AlertAction {
 public:
  explicit ProgramAction(std::chrono::milliseconds longest = std::chrono::seconds(30)) : longest_(longest) {}

  ActionSet Kind() const override { return kProgramAction; }
  std::string_view Name() const override { return "a program"; }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;

 private:
  std::chrono::milliseconds longest_;
};

std::vector<std::string> ProgramArguments(const AlertFiring& firing);

}  // namespace korvane::receiver
