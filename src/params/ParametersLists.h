// The lists that the parameters dialogs offer: categories, enterprises, and the traps of one enterprise.
// User-interface thread; every call may throw DatabaseError.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::params {

class ParametersLists {
 public:
  virtual ~ParametersLists() = default;
  virtual std::vector<std::string> CategoryNames() = 0;    // in table order
  virtual std::vector<std::string> EnterpriseNames() = 0;  // once each
  // As a trap record carries them in TrapName, since windows compare them exactly.
  virtual std::vector<std::string> TrapNamesOf(std::string_view enterpriseName) = 0;
  // The generic code under which a standard trap is stored; nothing for a trap of its own enterprise.
  virtual std::optional<std::int32_t> GenericTrapOf(std::string_view enterpriseName,
                                                    std::string_view trapName) = 0;
};

// Read from the store when asked.
class StoredParametersLists : public ParametersLists {
 public:
  StoredParametersLists(store::Connection& connection, store::TrapNames& names)
      : connection_(connection), names_(names) {}

  std::vector<std::string> CategoryNames() override;
  std::vector<std::string> EnterpriseNames() override;
  std::vector<std::string> TrapNamesOf(std::string_view enterpriseName) override;
  std::optional<std::int32_t> GenericTrapOf(std::string_view enterpriseName,
                                            std::string_view trapName) override;

 private:
  store::Connection& connection_;
  store::TrapNames& names_;
};

}  // namespace korvane::params
