// One enterprise trap with every field filled, for tests that change a field or two.
#pragma once

#include <string>

#include "store/TrapRecord.h"

namespace korvane::test {

struct SampleTrap {
  SampleTrap() {
    Trap.Source = "router1.example";
    Trap.SystemName = "Router-One";
    Trap.SystemAddress = "192.0.2.7";
    Trap.EnterpriseOid = Oid;
    Trap.Definition = &Definition;
    Trap.SpecificTrap = 17;
    Trap.GenericTrap = 6;
    Trap.Severity = 3;
    Trap.EventTime = 1'700'000'000;
    Trap.SequenceNumber = 42;
    Trap.VarBinds = "the link downport 4";
  }
  SampleTrap(const SampleTrap&) = delete;
  SampleTrap& operator=(const SampleTrap&) = delete;

  std::string Oid = "1.3.6.1.4.1.99999.1";
  store::TrapDefinition Definition{"fanFailed", "Acme", "A fan stands still."};
  store::IncomingTrap Trap;
};

}  // namespace korvane::test
