// A trap on its way through the console: the stored columns and what the lookups add to them.  One object is
// reused for every trap, so its texts are views: they hold until the reader, library or feeder that filled it
// takes the next trap.  Whoever keeps a trap copies what it keeps.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace korvane::store {

// What the trap-name table says of one kind of trap.  Owned by TrapNames and never freed before it, so rows
// keep a pointer; equal definitions share one object.  It holds nothing of the trap's own, so there are as
// many as the table has, whatever senders invent.
struct TrapDefinition {
  std::string TrapName;        // empty: each trap has a name of its own
  std::string EnterpriseName;  // empty: the enterprise is not known, its OID stands for it
  std::string FurtherDescription;
};

struct IncomingTrap {
  std::string_view Source;
  std::string_view SystemName;     // the system's name, or Source when it is not known
  std::string_view SystemAddress;  // the system's address, or Source when it is not known
  std::string_view EnterpriseOid;
  std::string_view VarBinds;          // EventDescription followed directly by Event_ExtDescr
  std::size_t DescriptionLength = 0;  // how much of it is EventDescription; of a stored or delivered trap
  std::string_view EventNotes;        // of a trap from the link: as far as the link knows them
  const TrapDefinition* Definition = nullptr;  // set by TrapNames, never null afterwards
  // Where the definition has no name; as TrapNames set it, it holds until that names the next trap.
  std::string_view OwnName;
  std::int32_t SpecificTrap = 0;
  std::int32_t GenericTrap = 0;
  std::int32_t Severity = 0;
  std::int32_t EventTime = 0;
  std::int32_t SequenceNumber = 0;
  std::int32_t EventAck = 0;
  bool Filtered = false;

  std::string_view EventDescription() const { return VarBinds.substr(0, DescriptionLength); }
  std::string_view Event_ExtDescr() const { return VarBinds.substr(DescriptionLength); }
  std::string_view TrapName() const { return Definition->TrapName.empty() ? OwnName : Definition->TrapName; }
  std::string_view EnterpriseName() const {
    return Definition->EnterpriseName.empty() ? EnterpriseOid : Definition->EnterpriseName;
  }
  std::string_view FurtherDescription() const { return Definition->FurtherDescription; }
};

}  // namespace korvane::store
