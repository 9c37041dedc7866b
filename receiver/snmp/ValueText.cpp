#include "receiver/snmp/ValueText.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <array>
#include <iterator>

namespace korvane::receiver {
namespace {

std::string HexPairsText(std::string_view octets) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "hex";
  text.reserve(3 + octets.size() * 3);
  for (const char c : octets) {
    const auto octet = static_cast<unsigned char>(c);
    text += ' ';
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}

// The bytes of the UTF-8 character that starts the text; 0 when none does: truncated, overlong, a surrogate,
// or beyond Unicode.  Databases refuse exactly these.
std::size_t CharacterLength(std::string_view text, std::uint32_t& codePoint) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) {
    codePoint = lead;
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
    return 0;
  }
  codePoint = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) {
      return 0;
    }
    codePoint = codePoint << 6 | (at(i) & 0x3Fu);
  }
  const bool overlong = (length == 3 && codePoint < 0x800) || (length == 4 && codePoint < 0x10000);
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return overlong || surrogate || codePoint > 0x10FFFF ? 0 : length;
}

bool IsControl(std::uint32_t codePoint) {
  return (codePoint < 0x20 && codePoint != '\t' && codePoint != '\n' && codePoint != '\r') ||
         (codePoint >= 0x7F && codePoint < 0xA0);
}

bool IsPrintable(std::string_view text) {
  while (!text.empty()) {
    std::uint32_t codePoint = 0;
    const std::size_t length = CharacterLength(text, codePoint);
    if (length == 0 || IsControl(codePoint)) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace

std::string OidText(const Oid& oid) {
  if (oid.empty()) {
    return "0.0";
  }
  fmt::memory_buffer text;
  for (const std::uint32_t part : oid) {
    if (text.size() != 0) {
      text.push_back('.');
    }
    const fmt::format_int digits(part);
    text.append(digits.data(), digits.data() + digits.size());
  }
  return fmt::to_string(text);
}

std::string AddressText(std::string_view octets) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const int family = octets.size() == 4 ? AF_INET : octets.size() == 16 ? AF_INET6 : AF_UNSPEC;
  if (family == AF_UNSPEC || inet_ntop(family, octets.data(), text.data(), text.size()) == nullptr) {
    return HexPairsText(octets);
  }
  return text.data();
}

std::string TimeTicksText(std::uint64_t hundredths) {
  const std::uint64_t seconds = hundredths / 100;
  const std::uint64_t days = seconds / 86400;
  const std::string time = fmt::format("{:02}:{:02}:{:02}.{:02}", seconds / 3600 % 24, seconds / 60 % 60,
                                       seconds % 60, hundredths % 100);
  return days == 0 ? time : fmt::format("{}d {}", days, time);
}

std::string OctetText(std::string_view octets) {
  std::string_view text = octets;
  while (!text.empty() && text.back() == '\0') {
    text.remove_suffix(1);
  }
  // Octets that are all NUL are a number or an address rather than an empty text.
  if (text.empty() != octets.empty() || !IsPrintable(text)) {
    return HexPairsText(octets);
  }
  return std::string(text);
}

std::string ValueText(const Value& value) {
  switch (value.Type) {
    case ValueType::Integer:
      return fmt::to_string(value.Number);
    case ValueType::Unsigned:
    case ValueType::Counter32:
    case ValueType::Counter64:
      return fmt::to_string(value.Count);
    case ValueType::TimeTicks:
      return TimeTicksText(value.Count);
    case ValueType::OctetString:
      return OctetText(value.Bytes);
    case ValueType::ObjectId:
      return OidText(value.ObjectId);
    case ValueType::IpAddress:
      return AddressText(value.Bytes);
    case ValueType::Opaque:
    case ValueType::Unknown:
      return HexPairsText(value.Bytes);
    case ValueType::Float:
      return fmt::to_string(value.Real);
    case ValueType::Null:
      return "null";
    case ValueType::NoSuchObject:
      return "noSuchObject";
    case ValueType::NoSuchInstance:
      return "noSuchInstance";
    case ValueType::EndOfMibView:
      return "endOfMibView";
  }
  return {};
}

std::string_view CutBetweenCharacters(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) {
    return text;
  }
  while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) {
    --limit;
  }
  return text.substr(0, limit);
}

}  // namespace korvane::receiver
