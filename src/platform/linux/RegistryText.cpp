#include "platform/linux/RegistryText.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/Utf8.h"

namespace korvane::platform {
namespace {

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00";
constexpr std::string_view kBlanks = " \t";

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Calls take(code) for each character; false at the first bytes that are no UTF-8.
template <typename Take>
bool ForEachCharacter(std::string_view text, Take take) {
  const auto* at = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto left = static_cast<utf8proc_ssize_t>(text.size());
  while (left > 0) {
    utf8proc_int32_t code = 0;
    const utf8proc_ssize_t used = utf8proc_iterate(at, left, &code);
    if (used <= 0) {
      return false;
    }
    take(code);
    at += used;
    left -= used;
  }
  return true;
}

// One character for one, as the registry compares names.
std::string UpperCase(std::string_view name) {
  std::string upper;
  ForEachCharacter(name, [&upper](std::int32_t code) {
    AppendUtf8(upper, static_cast<char32_t>(utf8proc_toupper(code)));
  });
  return upper;
}

std::optional<std::string> FromUtf16(std::string_view bytes) {
  if (bytes.size() % 2 != 0) {
    return std::nullopt;
  }
  const auto unit = [bytes](std::size_t at) {
    return static_cast<std::int32_t>(static_cast<unsigned char>(bytes[at])) |
           static_cast<std::int32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8;
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    std::int32_t code = unit(at);
    if (code >= 0xD800 && code < 0xDC00 && at + 3 < bytes.size()) {
      const std::int32_t low = unit(at + 2);
      if (low < 0xDC00 || low > 0xDFFF) {
        return std::nullopt;
      }
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      at += 2;
    } else if (code >= 0xD800 && code <= 0xDFFF) {
      return std::nullopt;
    }
    AppendUtf8(text, static_cast<char32_t>(code));
  }
  return text;
}

std::optional<std::string> Utf8Of(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) {
    return FromUtf16(bytes.substr(2));
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    bytes.remove_prefix(3);
  }
  if (!ForEachCharacter(bytes, [](std::int32_t) {})) {
    return std::nullopt;
  }
  return std::string(bytes);
}

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// Goes on reading a quoted text, with \\ and \" for the two characters themselves, until its closing quote;
// false when the text ends before it.
bool ReadQuotedFrom(std::size_t& at, std::string_view text, std::string& read) {
  for (; at < text.size(); ++at) {
    if (text[at] == '"') {
      return true;
    }
    if (text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == '\\' || text[at + 1] == '"')) {
      ++at;
    }
    read.push_back(text[at]);
  }
  return false;
}

// Reads the quoted text that starts at the text's first byte.  Nothing when it does not end; else the text,
// and where its closing quote stands.
std::optional<std::pair<std::string, std::size_t>> ReadQuoted(std::string_view text) {
  std::string read;
  std::size_t at = 1;
  return ReadQuotedFrom(at, text, read) ? std::optional(std::pair(std::move(read), at)) : std::nullopt;
}

std::string QuotedName(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '\\' || c == '"') {
      quoted.push_back('\\');
    }
    quoted.push_back(c);
  }
  return quoted + '"';
}

std::optional<std::uint32_t> ReadHex(std::string_view digits) {
  std::uint32_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

std::string DwordBytes(std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<char>((value >> shift) & 0xFFU));
  }
  return bytes;
}

std::optional<std::string> ReadHexBytes(std::string_view list) {
  std::string bytes;
  list = Trimmed(list);
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    const std::optional<std::uint32_t> byte = ReadHex(Trimmed(list.substr(0, comma)));
    if (!byte || *byte > 0xFF) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<char>(*byte));
    list = Trimmed(list.substr(std::min(comma + 1, list.size())));
  }
  return bytes;
}

// "hex:" is binary data, "hex(N):" data of the type N; texts stand in it as UTF-16.
std::optional<RegistryData> ReadHexData(std::string_view data) {
  const std::size_t colon = data.find(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view type = data.substr(3, colon - 3);
  auto number = static_cast<std::uint32_t>(RegistryType::Binary);
  if (!type.empty()) {
    if (!type.starts_with('(') || !type.ends_with(')') || type.size() < 3) {
      return std::nullopt;
    }
    const std::optional<std::uint32_t> given = ReadHex(type.substr(1, type.size() - 2));
    if (!given) {
      return std::nullopt;
    }
    number = *given;
  }
  std::optional<std::string> bytes = ReadHexBytes(data.substr(colon + 1));
  const auto registryType = static_cast<RegistryType>(number);
  if (bytes && (registryType == RegistryType::String || registryType == RegistryType::ExpandString)) {
    bytes = FromUtf16(*bytes);
  }
  return bytes ? std::optional(RegistryData{registryType, std::move(*bytes)}) : std::nullopt;
}

std::optional<RegistryData> ReadNumberOrBytes(std::string_view data) {
  data = Trimmed(data.substr(0, data.find(';')));
  if (data.starts_with("dword:")) {
    const std::optional<std::uint32_t> number = ReadHex(data.substr(6));
    return number ? std::optional(RegistryData{RegistryType::Dword, DwordBytes(*number)}) : std::nullopt;
  }
  return data.starts_with("hex") ? ReadHexData(data) : std::nullopt;
}

// The length of the value's name in the line, quotes included; 0 when the line starts with no name.
std::size_t NameLength(std::string_view line) {
  if (line.starts_with('@')) {
    return 1;
  }
  if (!line.starts_with('"')) {
    return 0;
  }
  const auto quoted = ReadQuoted(line);
  return quoted ? quoted->second + 1 : 0;
}

}  // namespace

std::optional<RegistryText> RegistryText::Parse(std::string_view bytes) {
  const std::optional<std::string> text = Utf8Of(bytes);
  if (!text || text->find('\0') != std::string::npos) {
    return std::nullopt;
  }
  RegistryText registry;
  registry.lines_ = SplitLines(*text);
  if (registry.lines_.empty() || Trimmed(registry.lines_.front()) != kHeader || !registry.ReadLines()) {
    return std::nullopt;
  }
  return registry;
}

bool RegistryText::ReadLines() {
  Key* current = nullptr;
  for (std::size_t number = 1; number < lines_.size();) {
    const std::string_view line = Trimmed(lines_[number]);
    if (line.empty() || line.starts_with(';')) {
      ++number;
    } else if (line.starts_with('[')) {
      if (!line.ends_with(']')) {
        return false;
      }
      ReadKey(line.substr(1, line.size() - 2), number, current);
      ++number;
    } else {
      const std::optional<std::size_t> next = ReadValue(number, current);
      if (!next) {
        return false;
      }
      number = *next;
    }
  }
  return true;
}

void RegistryText::ReadKey(std::string_view line, std::size_t number, Key*& current) {
  if (line.starts_with('-')) {  // takes away the key and all below it
    const std::string gone = UpperCase(line.substr(1));
    const std::string below = gone + '\\';
    const auto first = keys_.lower_bound(below);
    auto end = first;
    while (end != keys_.end() && end->first.starts_with(below)) {
      ++end;
    }
    keys_.erase(first, end);
    keys_.erase(gone);
    current = nullptr;
    return;
  }
  current = &keys_[UpperCase(line)];
  current->End = number + 1;
}

// The number of the line behind the value; nothing when the line is no value.
std::optional<std::size_t> RegistryText::ReadValue(std::size_t line, Key* key) {
  const std::string first(Trimmed(lines_[line]));
  const std::size_t nameLength = NameLength(first);
  const std::string_view rest = Trimmed(std::string_view(first).substr(nameLength));
  if (nameLength == 0 || !rest.starts_with('=')) {
    return std::nullopt;
  }
  ValueLines value;
  value.First = line;
  value.Written = first.substr(0, nameLength);
  std::string data(Trimmed(rest.substr(1)));
  std::size_t next = line + 1;
  if (data.starts_with('"')) {
    std::string read;
    std::size_t at = 1;
    bool ended = ReadQuotedFrom(at, data, read);
    for (; !ended && next < lines_.size(); ++next) {  // a text with line breaks is exported as it is
      data.append("\n").append(lines_[next]);
      ended = ReadQuotedFrom(at, data, read);
    }
    const std::string_view behind = ended ? Trimmed(std::string_view(data).substr(at + 1)) : "?";
    if (!behind.empty() && !behind.starts_with(';')) {
      return std::nullopt;
    }
    value.Data = RegistryData{RegistryType::String, std::move(read) + '\0'};
  } else {
    for (; data.ends_with('\\') && next < lines_.size(); ++next) {
      data.pop_back();
      data.append(Trimmed(lines_[next]));
    }
    if (data.ends_with('\\')) {  // cut off: what comes to stand behind it would be taken for its end
      return std::nullopt;
    }
    value.Data = ReadNumberOrBytes(data);
  }
  value.Count = next - line;
  if (key != nullptr) {
    const std::string name = value.Written == "@" ? std::string() : ReadQuoted(value.Written)->first;
    key->Values[UpperCase(name)] = std::move(value);  // of two, the later counts
    key->End = next;
  }
  return next;
}

std::optional<RegistryData> RegistryText::Value(std::string_view keyPath, std::string_view valueName) const {
  const auto key = keys_.find(UpperCase(keyPath));
  if (key == keys_.end()) {
    return std::nullopt;
  }
  const auto value = key->second.Values.find(UpperCase(valueName));
  return value == key->second.Values.end() ? std::nullopt : value->second.Data;
}

std::optional<std::string> RegistryText::WithDword(std::string_view keyPath, std::string_view valueName,
                                                   std::uint32_t value) const {
  const auto key = keys_.find(UpperCase(keyPath));
  if (key == keys_.end()) {
    return std::nullopt;
  }
  const auto old = key->second.Values.find(UpperCase(valueName));
  const bool there = old != key->second.Values.end();
  const std::size_t at = there ? old->second.First : key->second.End;
  const std::size_t behind = there ? at + old->second.Count : at;
  std::string text;
  for (std::size_t line = 0; line <= lines_.size(); ++line) {
    if (line == at) {
      text += fmt::format("{}=dword:{:08x}\n", there ? old->second.Written : QuotedName(valueName), value);
    }
    if (line < lines_.size() && (line < at || line >= behind)) {
      text.append(lines_[line]).push_back('\n');
    }
  }
  return text;
}

}  // namespace korvane::platform
