// A received trap or inform, free of any library's types, so that mapping and formatting are plain functions
// that can be tested on values.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace korvane::receiver {

using Oid = std::vector<std::uint32_t>;

enum class ValueType {
  Integer,
  Unsigned,  // Gauge32, Unsigned32
  Counter32,
  Counter64,
  TimeTicks,
  OctetString,
  ObjectId,
  IpAddress,
  Opaque,
  Float,  // the two opaque floating-point forms
  Null,
  NoSuchObject,
  NoSuchInstance,
  EndOfMibView,
  Unknown
};

struct Value {
  ValueType Type = ValueType::Null;
  std::int64_t Number = 0;  // Integer
  std::uint64_t Count = 0;  // Unsigned, Counter32, Counter64, TimeTicks
  double Real = 0;          // Float
  Oid ObjectId = {};        // ObjectId
  std::string Bytes = {};   // OctetString, IpAddress (in network order), Opaque, Unknown
};

struct Binding {
  Oid Name;
  Value Content;
};

enum class SnmpVersion { V1, V2c, V3 };

struct Notification {
  SnmpVersion Version = SnmpVersion::V2c;
  std::string PeerAddress;           // text of the address the packet came from
  std::int64_t ReceivedSeconds = 0;  // UTC
  // Of an SNMPv1 trap only; the other versions carry the same in their bindings.
  Oid Enterprise;
  std::int32_t Generic = 0;
  std::int32_t Specific = 0;
  std::array<std::uint8_t, 4> AgentAddress{};
  std::vector<Binding> Bindings;
};

}  // namespace korvane::receiver
