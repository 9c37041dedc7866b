// Which traps are meant: by filters, alerts and the traps of categories.  Plain values, no threads.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::params {

// As stored.  All conditions must hold.
struct TrapCriteria {
  std::string SourceAgent = {};    // empty: any
  std::int32_t GenericTrap = -1;   // -1: any
  std::string EnterpriseOid = {};  // empty: any; filters test it for generic 6 only
  std::int32_t SpecificTrap = 0;   // 0: any; filters test it for generic 6 only
  std::string VarBinds = {};       // a part of the variable bindings, in any letter case; empty: any
  bool operator==(const TrapCriteria&) const = default;
};

}  // namespace korvane::params
