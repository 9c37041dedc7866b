#include "NotificationMapping.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/Utf8.h"

namespace korvane::mibc {
namespace {

constexpr std::array<unsigned, 8> kSnmp = {1, 3, 6, 1, 2, 1, 11, 0};  // "snmp", and the 0 of a mapped trap
constexpr unsigned kLastGenericTrap = 5;

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Lengths only: over-long forms and surrogates pass, which no module holds and every reader survives.
std::size_t Utf8Length(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0x80                     ? 1
                             : first >= 0xC2 && first <= 0xDF ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  if (length == 0 || length > text.size()) {
    return 0;
  }
  return std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), IsContinuation)
             ? length
             : 0;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = Utf8Length(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::string FromLatin1(std::string_view text) {
  std::string result;
  for (const char c : text) {
    platform::AppendUtf8(result, static_cast<unsigned char>(c));
  }
  return result;
}

// "- item", "* item", "1) item", "1. item"
bool BeginsItem(std::string_view line) {
  if (line.size() > 1 && (line[0] == '-' || line[0] == '*') && line[1] == ' ') {
    return true;
  }
  const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
  return digits > 0 && digits < 3 && digits + 1 < line.size() &&
         (line[digits] == ')' || line[digits] == '.') && line[digits + 1] == ' ';
}

std::string_view Trimmed(std::string_view line) {
  const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
  line.remove_prefix(start);
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

MappedOid MapNotificationOid(std::span<const unsigned> oid) {
  if (oid.empty()) {
    return {};
  }
  std::size_t length = oid.size() - 1;
  if (length > 0 && oid[length - 1] == 0) {
    --length;
  }
  return {length, static_cast<std::int32_t>(oid.back())};
}

bool IsGenericTrap(std::span<const unsigned> oid) {
  return oid.size() == kSnmp.size() + 1 && std::equal(kSnmp.begin(), kSnmp.end(), oid.begin()) &&
         oid.back() <= kLastGenericTrap;
}

std::string DottedOid(std::span<const unsigned> oid) {
  return fmt::format("{}", fmt::join(oid, "."));
}

std::string DescriptionText(std::string_view source) {
  std::string text = IsUtf8(source) ? std::string(source) : FromLatin1(source);
  std::string result;
  bool newLine = false;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string line(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
    const std::string_view words = Trimmed(line);
    if (words.empty()) {
      newLine = true;
      continue;
    }
    if (!result.empty()) {
      result += newLine || BeginsItem(words) ? '\n' : ' ';
    }
    newLine = false;
    result += words;
  }
  return result;
}

}  // namespace korvane::mibc
