#include "receiver/Configuration.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "common/Number.h"
#include "common/RegistryValues.h"
#include "common/Text.h"
#include "receiver/spool/Files.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kMaxBytes = 1024;
constexpr std::uintmax_t kMostSnmpFileBytes = std::uintmax_t{1} << 20;

std::string TextValue(platform::RegistryStore& registry, std::string_view name) {
  const auto data =
      registry.QueryValue(platform::RegistryHive::LocalMachine, kManagerKey, name, kReadAccess, kMaxBytes);
  return data && data->Type == platform::RegistryType::String ? std::string(TrimAtNul(data->Bytes))
                                                              : std::string();
}

// 0 when it is missing or no number.
std::int32_t NumberValue(platform::RegistryStore& registry, std::string_view name) {
  const auto data =
      registry.QueryValue(platform::RegistryHive::LocalMachine, kManagerKey, name, kReadAccess, kMaxBytes);
  if (!data) {
    return 0;
  }
  std::uint32_t number = 0;
  if (data->Type == platform::RegistryType::Dword && data->Bytes.size() == sizeof number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
      number |= std::uint32_t{static_cast<unsigned char>(data->Bytes[i])} << (8 * i);
    }
    return static_cast<std::int32_t>(number);
  }
  return NumberIn<std::int32_t>(TrimAtNul(data->Bytes)).value_or(0);
}

MailAccess ReadMailAccess(platform::RegistryStore& registry) {
  MailAccess access;
  if (const std::string server = TextValue(registry, kSmtpServerValue); !server.empty()) {
    access.Server = server;
  }
  const std::string tls = TextValue(registry, kSmtpTlsValue);
  access.Tls = MailTlsOf(tls).value_or(MailTls::None);
  access.User = TextValue(registry, kSmtpUserValue);
  access.PasswordFile = TextValue(registry, kSmtpPasswordFileValue);
  access.CaFile = TextValue(registry, kSmtpCaFileValue);
  if (!MailTlsOf(tls)) {
    access.Problem = fmt::format("{} is '{}', and must be none, starttls or tls", kSmtpTlsValue, tls);
  } else if (!access.User.empty() && access.Tls == MailTls::None) {
    access.Problem = fmt::format("{} asks for a login, and without {} the password would go in plain text",
                                 kSmtpUserValue, kSmtpTlsValue);
  }
  return access;
}

AlertPace ReadAlertPace(platform::RegistryStore& registry) {
  AlertPace pace;
  const auto read = [&](std::string_view name, std::int32_t& number) {
    const std::int32_t value = NumberValue(registry, name);
    number = value > 0 ? value : number;
  };
  read(kAlertsPerSourceValue, pace.PerSource);
  read(kAlertsPerMinuteValue, pace.PerMinute);
  read(kProgramsPerMinuteValue, pace.ProgramsPerMinute);
  return pace;
}

}  // namespace

std::vector<std::string> SplitAddresses(std::string_view list) {
  constexpr std::string_view kSeparators = ", \t";
  std::vector<std::string> addresses;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find_first_of(kSeparators), list.size());
    if (end > 0) {
      addresses.emplace_back(list.substr(0, end));
    }
    list.remove_prefix(std::min(list.size(), end + 1));
  }
  return addresses;
}

std::string GroupProblem(std::string_view group) {
  constexpr std::size_t kLongest = 64;
  constexpr std::string_view kCharacters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
  return group.size() <= kLongest && group.find_first_not_of(kCharacters) == std::string_view::npos
             ? ""
             : fmt::format("{} takes up to {} letters, digits, dashes, dots and underscores",
                           kReceiverGroupValue, kLongest);
}

Configuration ReadConfiguration(platform::RegistryStore& registry) {
  Configuration configuration;
  if (auto addresses = SplitAddresses(TextValue(registry, kListenAddressesValue)); !addresses.empty()) {
    configuration.ListenAddresses = std::move(addresses);
  }
  if (const std::string folder = TextValue(registry, kSpoolFolderValue); !folder.empty()) {
    configuration.SpoolFolder = folder;
  }
  if (const std::string file = TextValue(registry, kSnmpFileValue); !file.empty()) {
    configuration.SnmpFile = file;
  }
  configuration.Group = TextValue(registry, kReceiverGroupValue);
  configuration.Ages = {.AckHours = NumberValue(registry, kAckFrequencyValue),
                        .PurgeDays = NumberValue(registry, kPurgeFrequencyValue)};
  configuration.Mail = ReadMailAccess(registry);
  configuration.Pace = ReadAlertPace(registry);
  const std::int32_t captureMiB = NumberValue(registry, kCaptureMemoryValue);
  if (captureMiB > 0 && captureMiB <= kMostCaptureMiB) {
    configuration.CaptureBytes = static_cast<std::size_t>(captureMiB) << 20;
  }
  return configuration;
}

SnmpAccess ReadSnmpAccess(const std::filesystem::path& file, const std::filesystem::path& defaultFile) {
  namespace fs = std::filesystem;
  SnmpAccess access;
  std::error_code ignored;
  // A link that leads nowhere is there: somebody meant a file.
  if (file == defaultFile && fs::symlink_status(file, ignored).type() == fs::file_type::not_found) {
    access.Found = false;
    return access;
  }
  try {
    const fs::file_status status = fs::status(file);
    if (!fs::is_regular_file(status) && fs::exists(status)) {
      access.Problems.push_back("it is no file");
      return access;
    }
    if (fs::exists(status) && fs::file_size(file) > kMostSnmpFileBytes) {
      access.Problems.push_back("it is too large");
      return access;
    }
    access = ParseSnmpAccess(ReadWholeFile(file));
    constexpr auto kOthers = fs::perms::group_read | fs::perms::others_read;
    if ((status.permissions() & kOthers) != fs::perms::none &&
        std::any_of(access.Users.begin(), access.Users.end(),
                    [](const SnmpUser& user) { return !user.AuthPassphrase.empty(); })) {
      access.Warnings.push_back(
          "it holds passphrases and others than the receiver may read it: chmod 0600, chown korvane");
    }
  } catch (const std::system_error& error) {
    access.Problems.push_back(error.code().message());
  }
  return access;
}

}  // namespace korvane::receiver
