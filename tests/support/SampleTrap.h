// One enterprise trap with every field filled, for tests that change a field or two.
#pragma once

#include <string>
#include <string_view>

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
    SetVarBinds("the link down", "port 4");
  }
  SampleTrap(const SampleTrap&) = delete;
  SampleTrap& operator=(const SampleTrap&) = delete;

  void SetVarBinds(std::string_view description, std::string_view extended) {
    varBinds_ = std::string(description) + std::string(extended);
    Trap.VarBinds = varBinds_;
    Trap.DescriptionLength = description.size();
  }

  std::string Oid = "1.3.6.1.4.1.99999.1";
  store::TrapDefinition Definition{"fanFailed", "Acme", "A fan stands still."};
  store::IncomingTrap Trap;

 private:
  std::string varBinds_;
};

}  // namespace korvane::test
