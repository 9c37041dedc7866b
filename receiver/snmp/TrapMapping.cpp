#include "receiver/snmp/TrapMapping.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "receiver/snmp/ObjectNames.h"
#include "receiver/snmp/ValueText.h"

namespace korvane::receiver {
namespace {

const Oid kSysUpTime = {1, 3, 6, 1, 2, 1, 1, 3, 0};
const Oid kSnmpTrapOid = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const Oid kSnmpTrapEnterprise = {1, 3, 6, 1, 6, 3, 1, 1, 4, 3, 0};
const Oid kSnmpTrapAddress = {1, 3, 6, 1, 6, 3, 18, 1, 3, 0};
const Oid kSnmpTrapCommunity = {1, 3, 6, 1, 6, 3, 18, 1, 4, 0};
const Oid kSnmpTraps = {1, 3, 6, 1, 6, 3, 1, 1, 5};

constexpr std::size_t kWorthShrinking = 256;
constexpr std::string_view kNoAddress("\0\0\0\0", 4);

const Value* Find(const Notification& notification, const Oid& name, ValueType type) {
  for (const Binding& binding : notification.Bindings) {
    if (binding.Name == name) {
      return binding.Content.Type == type ? &binding.Content : nullptr;
    }
  }
  return nullptr;
}

// Generic 0 to 5 for the traps of RFC 3418, which are numbered 1 to 6 below snmpTraps.
std::optional<std::int32_t> StandardGeneric(const Oid& trapOid) {
  if (trapOid.size() != kSnmpTraps.size() + 1 ||
      !std::equal(kSnmpTraps.begin(), kSnmpTraps.end(), trapOid.begin()) || trapOid.back() < 1 ||
      trapOid.back() > 6) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(trapOid.back()) - 1;
}

// What of the bindings went into columns and so does not stand in the list.
struct Consumed {
  bool Enterprise = false;
  bool Address = false;
};

void MapIdentity(const Oid& trapOid, const Notification& notification, TrapRow& row, Consumed& consumed) {
  if (const auto generic = StandardGeneric(trapOid)) {
    const Value* enterprise = Find(notification, kSnmpTrapEnterprise, ValueType::ObjectId);
    consumed.Enterprise = enterprise != nullptr;
    row.EnterpriseOid = OidText(enterprise != nullptr ? enterprise->ObjectId : kSnmpTraps);
    row.GenericTrap = *generic;
    row.SpecificTrap = 0;
    return;
  }
  Oid enterprise = trapOid;
  std::uint32_t specific = 0;
  if (!enterprise.empty()) {
    specific = enterprise.back();
    enterprise.pop_back();
  }
  if (!enterprise.empty() && enterprise.back() == 0) {
    enterprise.pop_back();
  }
  row.EnterpriseOid = OidText(enterprise);
  row.GenericTrap = 6;
  row.SpecificTrap = static_cast<std::int32_t>(specific);
}

void MapSource(const Notification& notification, TrapRow& row, Consumed& consumed) {
  row.Source = notification.PeerAddress;
  if (notification.Version == SnmpVersion::V1) {
    const std::string agent(notification.AgentAddress.begin(), notification.AgentAddress.end());
    if (agent != kNoAddress) {
      row.Source = AddressText(agent);
      return;
    }
  }
  // A trap forwarded by a proxy says here where it comes from.
  const Value* address = Find(notification, kSnmpTrapAddress, ValueType::IpAddress);
  if (address != nullptr && address->Bytes.size() == 4 && address->Bytes != kNoAddress) {
    row.Source = AddressText(address->Bytes);
    consumed.Address = true;
  }
}

bool StandsInList(const Binding& binding, bool carriesTrapOid, const Consumed& consumed) {
  const Oid& name = binding.Name;
  if (name == kSnmpTrapCommunity) {
    return false;  // a password has no place in a list of traps
  }
  return !(carriesTrapOid && (name == kSysUpTime || name == kSnmpTrapOid)) &&
         !(consumed.Enterprise && name == kSnmpTrapEnterprise) &&
         !(consumed.Address && name == kSnmpTrapAddress);
}

// Whole bindings go to the description while they fit, all others to its continuation.  A first binding that
// is too long alone is cut between two characters.
void MapBindings(const Notification& notification, bool carriesTrapOid, const Consumed& consumed,
                 TrapRow& row) {
  bool first = true;
  bool fits = true;
  for (const Binding& binding : notification.Bindings) {
    if (!StandsInList(binding, carriesTrapOid, consumed)) {
      continue;
    }
    std::string text = (first ? "" : "; ") + ObjectText(binding.Name) + " = " + ValueText(binding.Content);
    fits = fits && row.EventDescription.size() + text.size() <= kDescriptionBytes;
    if (fits) {
      row.EventDescription += text;
    } else if (first) {
      row.EventDescription = CutBetweenCharacters(text, kDescriptionBytes);
      row.Event_ExtDescr = text.substr(row.EventDescription.size());
    } else {
      row.Event_ExtDescr += text;
    }
    first = false;
  }
  // Rows wait by the thousand, and growing has left up to half of it unused.
  if (row.Event_ExtDescr.capacity() > row.Event_ExtDescr.size() + kWorthShrinking) {
    row.Event_ExtDescr.shrink_to_fit();
  }
}

std::int32_t EventTimeOf(std::int64_t seconds) {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

std::optional<TrapRow> MapNotification(const Notification& notification) {
  TrapRow row;
  row.EventTime = EventTimeOf(notification.ReceivedSeconds);
  Consumed consumed;
  const bool carriesTrapOid = notification.Version != SnmpVersion::V1;
  if (carriesTrapOid) {
    const Value* trapOid = Find(notification, kSnmpTrapOid, ValueType::ObjectId);
    if (trapOid == nullptr) {
      return std::nullopt;
    }
    MapIdentity(trapOid->ObjectId, notification, row, consumed);
  } else {
    row.EnterpriseOid = OidText(notification.Enterprise);
    row.GenericTrap = notification.Generic;
    row.SpecificTrap = notification.Specific;
  }
  MapSource(notification, row, consumed);
  MapBindings(notification, carriesTrapOid, consumed, row);
  return row;
}

}  // namespace korvane::receiver
