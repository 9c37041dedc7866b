// Lists of a small store, without a store.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "params/ParametersLists.h"

namespace korvane::test {

class FakeLists : public params::ParametersLists {
 public:
  std::vector<std::string> CategoryNames() override { return {"Links", "Fans"}; }
  std::vector<std::string> EnterpriseNames() override { return {"Acme", "Zeta"}; }
  std::vector<std::string> TrapNamesOf(std::string_view enterpriseName) override {
    return enterpriseName == "Acme" ? std::vector<std::string>{"fanFailed", "fanBack"}
                                    : std::vector<std::string>{"zap"};
  }
  std::optional<std::int32_t> GenericTrapOf(std::string_view, std::string_view) override { return {}; }
};

}  // namespace korvane::test
