// Lists of a small store, without a store.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "params/ParametersLists.h"
#include "store/DatabaseError.h"

namespace korvane::test {

class FakeLists : public params::ParametersLists {
 public:
  std::vector<std::string> CategoryNames() override { return Answer({"Links", "Fans"}); }
  std::vector<std::string> EnterpriseNames() override { return Answer({"Acme", "Zeta"}); }
  std::vector<std::string> TrapNamesOf(std::string_view enterpriseName) override {
    return Answer(enterpriseName == "Acme" ? std::vector<std::string>{"fanFailed", "fanBack"}
                                           : std::vector<std::string>{"zap"});
  }

  bool Lost = false;
  int Calls = 0;

 private:
  std::vector<std::string> Answer(std::vector<std::string> names) {
    ++Calls;
    if (Lost) throw store::DatabaseError("the store is gone", "08S01", 0, "SELECT");
    return names;
  }
};

}  // namespace korvane::test
