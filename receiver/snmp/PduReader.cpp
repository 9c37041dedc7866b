#include "receiver/snmp/PduReader.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "receiver/snmp/NetSnmp.h"
#include "receiver/snmp/Notification.h"
#include "receiver/snmp/ValueText.h"

namespace korvane::receiver {
namespace {

Oid OidOf(const oid* numbers, std::size_t length) {
  Oid result;
  if (numbers != nullptr) {
    result.resize(length);
    std::transform(numbers, numbers + length, result.begin(),
                   [](oid number) { return static_cast<std::uint32_t>(number); });
  }
  return result;
}

std::uint64_t Combined(const counter64& value) {
  return (static_cast<std::uint64_t>(value.high) & 0xFFFFFFFF) << 32 | (value.low & 0xFFFFFFFF);
}

void ReadNumber(const variable_list& variable, Value& value) {
  const auto unsigned32 = static_cast<std::uint32_t>(*variable.val.integer);
  switch (variable.type) {
    case ASN_INTEGER:
      value.Type = ValueType::Integer;
      value.Number = static_cast<std::int32_t>(*variable.val.integer);
      break;
    case ASN_GAUGE:
      value.Type = ValueType::Unsigned;
      value.Count = unsigned32;
      break;
    case ASN_COUNTER:
      value.Type = ValueType::Counter32;
      value.Count = unsigned32;
      break;
    default:
      value.Type = ValueType::TimeTicks;
      value.Count = unsigned32;
  }
}

bool ReadOpaqueNumber(const variable_list& variable, Value& value) {
  switch (variable.type) {
    case ASN_OPAQUE_FLOAT:
      value.Type = ValueType::Float;
      value.Real = static_cast<double>(*variable.val.floatVal);
      return true;
    case ASN_OPAQUE_DOUBLE:
      value.Type = ValueType::Float;
      value.Real = *variable.val.doubleVal;
      return true;
    case ASN_OPAQUE_I64:
      value.Type = ValueType::Integer;
      value.Number = static_cast<std::int64_t>(Combined(*variable.val.counter64));
      return true;
    case ASN_OPAQUE_U64:
    case ASN_OPAQUE_COUNTER64:
      value.Type = ValueType::Counter64;
      value.Count = Combined(*variable.val.counter64);
      return true;
    default:
      return false;
  }
}

ValueType OctetType(u_char type) {
  switch (type) {
    case ASN_OCTET_STR:
      return ValueType::OctetString;
    case ASN_IPADDRESS:
      return ValueType::IpAddress;
    case ASN_OPAQUE:
      return ValueType::Opaque;
    default:
      return ValueType::Unknown;
  }
}

Value ReadValue(const variable_list& variable) {
  Value value;
  switch (variable.type) {
    case ASN_NULL:
      return value;
    case SNMP_NOSUCHOBJECT:
      value.Type = ValueType::NoSuchObject;
      return value;
    case SNMP_NOSUCHINSTANCE:
      value.Type = ValueType::NoSuchInstance;
      return value;
    case SNMP_ENDOFMIBVIEW:
      value.Type = ValueType::EndOfMibView;
      return value;
    case ASN_OBJECT_ID:
      value.Type = ValueType::ObjectId;
      value.ObjectId = OidOf(variable.val.objid, variable.val_len / sizeof(oid));
      return value;
    default:
      break;
  }
  if (variable.val.string == nullptr) {
    value.Type = OctetType(variable.type);
    return value;
  }
  switch (variable.type) {
    case ASN_INTEGER:
    case ASN_GAUGE:
    case ASN_COUNTER:
    case ASN_TIMETICKS:
      ReadNumber(variable, value);
      return value;
    case ASN_COUNTER64:
      value.Type = ValueType::Counter64;
      value.Count = Combined(*variable.val.counter64);
      return value;
    default:
      break;
  }
  if (!ReadOpaqueNumber(variable, value)) {
    value.Type = OctetType(variable.type);
    value.Bytes.assign(reinterpret_cast<const char*>(variable.val.string), variable.val_len);
  }
  return value;
}

}  // namespace

std::optional<Notification> ReadPdu(const snmp_pdu& pdu) {
  if (pdu.command != SNMP_MSG_TRAP && pdu.command != SNMP_MSG_TRAP2 && pdu.command != SNMP_MSG_INFORM) {
    return std::nullopt;
  }
  Notification notification;
  notification.Version = pdu.command == SNMP_MSG_TRAP    ? SnmpVersion::V1
                         : pdu.version == SNMP_VERSION_3 ? SnmpVersion::V3
                                                         : SnmpVersion::V2c;
  if (pdu.command == SNMP_MSG_TRAP) {
    notification.Enterprise = OidOf(pdu.enterprise, pdu.enterprise_length);
    notification.Generic = static_cast<std::int32_t>(pdu.trap_type);
    notification.Specific = static_cast<std::int32_t>(pdu.specific_type);
    std::memcpy(notification.AgentAddress.data(), pdu.agent_addr, notification.AgentAddress.size());
  }
  std::size_t count = 0;
  for (const variable_list* variable = pdu.variables; variable != nullptr;
       variable = variable->next_variable) {
    ++count;
  }
  notification.Bindings.reserve(count);
  for (const variable_list* variable = pdu.variables; variable != nullptr;
       variable = variable->next_variable) {
    notification.Bindings.push_back({OidOf(variable->name, variable->name_length), ReadValue(*variable)});
  }
  return notification;
}

Peer PeerOf(const SocketAddress& sender) {
  if (sender.Any.sa_family == AF_INET) {
    const sockaddr_in& from = sender.V4;
    return {AddressText({reinterpret_cast<const char*>(&from.sin_addr), 4}), ntohs(from.sin_port)};
  }
  if (sender.Any.sa_family != AF_INET6) {
    return {};
  }
  const sockaddr_in6& from = sender.V6;
  const std::string_view octets(reinterpret_cast<const char*>(&from.sin6_addr), 16);
  const std::uint16_t port = ntohs(from.sin6_port);
  if (IN6_IS_ADDR_V4MAPPED(&from.sin6_addr)) {
    return {AddressText(octets.substr(12)), port};
  }
  std::string text = AddressText(octets);
  std::array<char, IF_NAMESIZE> interface {};
  // The same link-local address may stand for different systems on different links.
  if (IN6_IS_ADDR_LINKLOCAL(&from.sin6_addr) &&
      if_indextoname(from.sin6_scope_id, interface.data()) != nullptr) {
    text += '%';
    text += interface.data();
  }
  return {text, port};
}

}  // namespace korvane::receiver
