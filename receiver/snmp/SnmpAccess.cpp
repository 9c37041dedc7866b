#include "receiver/snmp/SnmpAccess.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "receiver/spool/StateFile.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kShortestPassphrase = 8;  // RFC 3414, 11.2
constexpr std::size_t kLongestName = 32;        // RFC 3414, usmUserName

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// Words of a line; nothing when a quote is not closed.
std::optional<std::vector<std::string>> Words(std::string_view line) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < line.size();) {
    if (IsBlank(line[i])) {
      ++i;
    } else if (line[i] == '#') {
      break;
    } else if (line[i] == '"') {
      const std::size_t end = line.find('"', i + 1);
      if (end == std::string_view::npos) {
        return std::nullopt;
      }
      words.emplace_back(line.substr(i + 1, end - i - 1));
      i = end + 1;
    } else {
      const auto end = std::find_if(line.begin() + static_cast<std::ptrdiff_t>(i), line.end(), IsBlank);
      words.emplace_back(line.begin() + static_cast<std::ptrdiff_t>(i), end);
      i = static_cast<std::size_t>(end - line.begin());
    }
  }
  return words;
}

// 5 to 32 octets (RFC 3411) after "0x".
std::optional<std::string> EngineIdOf(std::string_view text) {
  const bool fits = text.starts_with("0x") && text.size() >= 12 && text.size() <= 66;
  return fits ? OctetsOf(text.substr(2)) : std::nullopt;
}

bool IsOneOf(std::string_view word, std::span<const std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// The problem, or an empty text.
std::string ParseUser(std::span<const std::string> words, SnmpUser& user) {
  constexpr std::array<std::string_view, 6> kAuth = {"MD5",     "SHA",     "SHA-224",
                                                     "SHA-256", "SHA-384", "SHA-512"};
  constexpr std::array<std::string_view, 2> kPriv = {"DES", "AES"};
  if (words.size() >= 2 && words[0] == "-e") {
    const auto engineId = EngineIdOf(words[1]);
    if (!engineId) {
      return "the engine ID must be 0x and 5 to 32 octets in hexadecimal digits";
    }
    user.EngineId = *engineId;
    words = words.subspan(2);
  }
  if (words.size() != 1 && words.size() != 3 && words.size() != 5) {
    return "expected: createUser [-e 0xENGINEID] NAME [PROTOCOL PASSPHRASE [PROTOCOL PASSPHRASE]]";
  }
  user.Name = words[0];
  const bool plainName = std::none_of(user.Name.begin(), user.Name.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
  });
  if (user.Name.empty() || user.Name.size() > kLongestName || !plainName) {
    return "a user's name has 1 to 32 characters, without quotes and backslashes";
  }
  if (words.size() >= 3) {
    user.AuthProtocol = words[1];
    user.AuthPassphrase = words[2];
    if (!IsOneOf(user.AuthProtocol, kAuth)) {
      return "the authentication protocol must be MD5, SHA, SHA-224, SHA-256, SHA-384 or SHA-512";
    }
  }
  if (words.size() == 5) {
    user.PrivProtocol = words[3];
    user.PrivPassphrase = words[4];
    if (!IsOneOf(user.PrivProtocol, kPriv)) {
      return "the privacy protocol must be DES or AES";
    }
  }
  if ((words.size() >= 3 && user.AuthPassphrase.size() < kShortestPassphrase) ||
      (words.size() == 5 && user.PrivPassphrase.size() < kShortestPassphrase)) {
    return "a passphrase has at least 8 characters";
  }
  return {};
}

std::string ParseLine(std::string_view line, SnmpAccess& access) {
  const auto words = Words(line);
  if (!words) {
    return "a quote is not closed";
  }
  if (words->empty()) {
    return {};
  }
  const std::span<const std::string> rest = std::span(*words).subspan(1);
  if (words->front() == "createUser") {
    SnmpUser user;
    std::string problem = ParseUser(rest, user);
    if (problem.empty()) {
      access.Users.push_back(std::move(user));
    }
    return problem;
  }
  if (words->front() == "community") {
    if (rest.size() != 1) {
      return "expected: community NAME";
    }
    access.Communities.push_back(rest[0]);
    return {};
  }
  return fmt::format("unknown word {}", words->front());
}

}  // namespace

const SnmpUser* SnmpAccess::FindUser(std::string_view name, std::string_view engineId) const {
  const SnmpUser* any = nullptr;
  for (const SnmpUser& user : Users) {
    if (user.Name == name && user.EngineId == engineId) {
      return &user;
    }
    if (user.Name == name && user.EngineId.empty()) {
      any = &user;
    }
  }
  return any;
}

bool SnmpAccess::AcceptsCommunity(std::string_view community) const {
  return (Communities.empty() && Problems.empty()) ||
         std::find(Communities.begin(), Communities.end(), community) != Communities.end();
}

std::string SnmpAccess::Summary() const {
  return fmt::format("{} SNMPv3 users, {}", Users.size(),
                     !Communities.empty() ? fmt::format("{} communities", Communities.size())
                     : Problems.empty()   ? std::string("any community")
                                          : std::string("no community"));
}

SnmpAccess ParseSnmpAccess(std::string_view text) {
  SnmpAccess access;
  for (std::size_t line = 1; !text.empty(); ++line) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string problem = ParseLine(text.substr(0, end), access);
    if (!problem.empty()) {
      access.Problems.push_back(fmt::format("line {}: {}", line, problem));
    }
    text.remove_prefix(std::min(text.size(), end + 1));
  }
  return access;
}

}  // namespace korvane::receiver
