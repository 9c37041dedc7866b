// The rows of a list with many traps, without a store.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "traplist/TrapRows.h"

namespace korvane::bench {

// definitions must outlive the rows.  Traps of 200 sources and 40 kinds, one every three seconds, with
// bindings of the length that routers send.
inline void FillRows(traplist::TrapRows& rows, std::vector<store::TrapDefinition>& definitions,
                     std::int32_t count) {
  for (int kind = 0; kind < 40; ++kind) {
    definitions.push_back({.TrapName = fmt::format("linkStateChange{}", kind),
                           .EnterpriseName = "routers",
                           .FurtherDescription = ""});
  }
  for (std::int32_t i = 0; i < count; ++i) {
    const std::string source = fmt::format("10.{}.{}.1", i % 8, i % 25);
    const std::string varBinds = fmt::format(
        "1.3.6.1.2.1.2.2.1.1.{0} = {0}, 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/{1}, 1.3.6.1.2.1.2.2.1.8 = 2",
        i % 48, i % 997);
    store::IncomingTrap trap;
    trap.Source = source;
    trap.SystemName = source;
    trap.SystemAddress = source;
    trap.VarBinds = varBinds;
    trap.DescriptionLength = varBinds.size();
    trap.Definition = &definitions[static_cast<std::size_t>(i) % definitions.size()];
    trap.EnterpriseOid = "1.3.6.1.4.1.9000";
    trap.SpecificTrap = i % 40;
    trap.EventTime = 1'700'000'000 + i * 3;
    trap.SequenceNumber = i + 1;
    rows.Append(trap);
  }
}

}  // namespace korvane::bench
