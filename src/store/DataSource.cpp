#include "store/DataSource.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>

#include <fmt/format.h>

#include "common/Text.h"
#include "platform/Files.h"

namespace korvane::store {

namespace {

constexpr std::size_t kLargestDataSourceFile = 64UL * 1024;
constexpr std::size_t kLongestWords = 8192;  // more is no data source, and drivers have their bounds

bool NamedByEnvironment(const char* variable) {
  const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): nobody sets it
  return value != nullptr && *value != '\0';
}

bool IsAsked(std::string_view asked, std::string_view key) {
  const std::string wanted = fmt::format(";{}=", key);
  for (std::size_t at = asked.find(';'); at != std::string_view::npos; at = asked.find(';', at + 1)) {
    if (EqualsIgnoreCase(asked.substr(at, wanted.size()), wanted)) return true;
  }
  return false;
}

// What a driver would take apart stands in braces, and so does the name of a driver.
std::string WordOf(std::string_view key, std::string_view value) {
  const bool plain = value.find_first_of(";{}") == std::string_view::npos && !EqualsIgnoreCase(key, "Driver");
  return fmt::format("{}={}", key, plain ? std::string(value) : Braced(value));
}

}  // namespace

std::string Braced(std::string_view value) {
  std::string result = "{";
  for (const char c : value) {
    result += c;
    if (c == '}') result += c;
  }
  return result + "}";
}

std::string ConnectionWords(std::string_view name, std::string_view asked,
                            const std::filesystem::path& file) {
  std::string byName = fmt::format("DSN={}", name);
  if (NamedByEnvironment("ODBCINI") || NamedByEnvironment("ODBCSYSINI")) return byName;
  const std::optional<std::string> text = platform::ReadTrustedFile(file, kLargestDataSourceFile);
  if (!text) return byName;
  std::string words;
  bool inSection = false;
  std::istringstream lines(*text);
  for (std::string read; std::getline(lines, read);) {
    std::ranges::replace_if(
        read, [](char c) { return c == '\t' || c == '\r'; }, ' ');
    const std::string_view line = WithoutBlanks(read);
    const auto equals = line.find('=');
    if (line.starts_with('[')) {
      inSection = EqualsIgnoreCase(line, fmt::format("[{}]", name));
    } else if (inSection && equals != std::string_view::npos && !line.starts_with('#') &&
               !line.starts_with(';')) {
      const std::string_view key = WithoutBlanks(line.substr(0, equals));
      const std::string_view value = WithoutBlanks(line.substr(equals + 1));
      if (!value.empty() && !IsAsked(asked, key)) words += (words.empty() ? "" : ";") + WordOf(key, value);
    }
  }
  return words.empty() || words.size() > kLongestWords ? byName : words;
}

}  // namespace korvane::store
