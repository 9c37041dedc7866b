#include "receiver/snmp/MessageHeader.h"

#include <algorithm>

#include "receiver/snmp/NetSnmp.h"

namespace korvane::receiver {
namespace {

struct Element {
  unsigned char Type = 0;
  std::string_view Content;
};

// The first element of a series of them, taken off it.  The library's own function, so that nothing is read
// differently here and there.
std::optional<Element> Take(std::string_view& series) {
  std::size_t length = series.size();
  Element element;
  auto* start = reinterpret_cast<u_char*>(const_cast<char*>(series.data()));
  const u_char* content = asn_parse_header(start, &length, &element.Type);
  if (content == nullptr || length > series.size() - static_cast<std::size_t>(content - start)) {
    return std::nullopt;
  }
  series.remove_prefix(static_cast<std::size_t>(content - start));
  element.Content = series.substr(0, length);
  series.remove_prefix(length);
  return element;
}

std::optional<std::string_view> Take(std::string_view& series, unsigned char type) {
  const auto element = Take(series);
  return element && element->Type == type ? std::optional(element->Content) : std::nullopt;
}

constexpr unsigned char kSequence = ASN_SEQUENCE | ASN_CONSTRUCTOR;

bool IsNumber(std::string_view octets, char value) {
  return !octets.empty() && octets.back() == value &&
         std::all_of(octets.begin(), octets.end() - 1, [](char c) { return c == 0; });
}

}  // namespace

std::optional<UsmHeader> ReadUsmHeader(std::string_view packet) {
  auto message = Take(packet, kSequence);
  const auto version = message ? Take(*message, ASN_INTEGER) : std::nullopt;
  if (!version || !IsNumber(*version, SNMP_VERSION_3) || !Take(*message, kSequence)) {
    return std::nullopt;
  }
  auto parameters = Take(*message, ASN_OCTET_STR);
  auto fields = parameters ? Take(*parameters, kSequence) : std::nullopt;
  if (!fields) {
    return std::nullopt;
  }
  const auto engineId = Take(*fields, ASN_OCTET_STR);
  if (!engineId || !Take(*fields, ASN_INTEGER) || !Take(*fields, ASN_INTEGER)) {
    return std::nullopt;
  }
  const auto user = Take(*fields, ASN_OCTET_STR);
  return user ? std::optional(UsmHeader{.EngineId = *engineId, .User = *user}) : std::nullopt;
}

std::string ResponseTo(std::string_view packet) {
  const auto at = [start = packet.data()](std::string_view part) {
    return static_cast<std::size_t>(part.data() - start);
  };
  std::string_view rest = packet;
  auto message = Take(rest, kSequence);
  if (!message || !Take(*message, ASN_INTEGER) || !Take(*message, ASN_OCTET_STR)) {
    return {};
  }
  const std::size_t type = at(*message);
  auto pdu = Take(*message, SNMP_MSG_INFORM);
  if (!pdu || !Take(*pdu, ASN_INTEGER)) {
    return {};
  }
  const auto status = Take(*pdu, ASN_INTEGER);
  const auto index = status ? Take(*pdu, ASN_INTEGER) : std::nullopt;
  if (!index) {
    return {};
  }
  std::string response(packet.substr(0, at(rest)));  // what follows the message is no part of it
  response[type] = static_cast<char>(SNMP_MSG_RESPONSE);
  response.replace(at(*status), status->size(), status->size(), '\0');
  response.replace(at(*index), index->size(), index->size(), '\0');
  return response;
}

}  // namespace korvane::receiver
