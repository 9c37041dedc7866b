#include "receiver/alerts/MailAccess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "common/Text.h"
#include "receiver/alerts/MessageAction.h"
#include "receiver/spool/Files.h"

namespace korvane::receiver {
namespace {

constexpr std::string_view kSmtpPort = "25";
constexpr std::string_view kSmtpTlsPort = "465";
constexpr std::size_t kMostPasswordBytes = 1024;

bool IsHost(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_' || c == ':';
  });
}

}  // namespace

std::optional<MailTls> MailTlsOf(std::string_view text) {
  if (text.empty() || text == "none") {
    return MailTls::None;
  }
  return text == "starttls" ? std::optional(MailTls::StartTls)
         : text == "tls"    ? std::optional(MailTls::Tls)
                            : std::nullopt;
}

std::optional<MailServer> MailServerOf(std::string_view server, const MailAccess& access) {
  MachineAddress machine = SplitMachine(server, "");
  const MachineAddress site = SplitMachine(access.Server, "");
  MailServer found;
  if (EqualsIgnoreCase(machine.Host, site.Host) && (machine.Port.empty() || machine.Port == site.Port)) {
    machine.Port = site.Port;
    found.Access = &access;
  }
  const bool tls = found.Access != nullptr && access.Tls == MailTls::Tls;
  if (machine.Port.empty()) {
    machine.Port = tls ? kSmtpTlsPort : kSmtpPort;
  }
  if (!IsHost(machine.Host) || machine.Port.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  const bool isAddress = machine.Host.find(':') != std::string::npos;
  found.Url = fmt::format("{}://{}{}{}:{}", tls ? "smtps" : "smtp", isAddress ? "[" : "", machine.Host,
                          isAddress ? "]" : "", machine.Port);
  return found;
}

MailPassword ReadMailPassword(const std::filesystem::path& file) {
  const auto refused = [&](std::string_view why) {
    return MailPassword{.Text = {}, .Problem = fmt::format("the password file {}: {}", file.string(), why)};
  };
  const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!opened.IsOpen() || fstat(opened.Number(), &status) != 0) {
    return refused(std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    return refused("it is no file");
  }
  if ((status.st_mode & 077U) != 0) {
    return refused("others than its owner may use it: chmod 0600");
  }
  if (status.st_uid != 0 && status.st_uid != geteuid()) {
    return refused("it belongs to another user: chown it to the receiver's");
  }
  std::array<char, kMostPasswordBytes> bytes{};
  const std::ptrdiff_t got = ReadAt(opened, bytes.data(), bytes.size(), 0);
  std::string_view text(bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  text = text.substr(0, text.find_first_of(std::string_view("\r\n\0", 3)));
  return text.empty() ? refused("there is no password in its first line")
                      : MailPassword{.Text = std::string(text), .Problem = {}};
}

std::string MailAccessProblem(const MailAccess& access) {
  if (!access.Problem.empty()) {
    return access.Problem;
  }
  if (!access.CaFile.empty() && ::access(access.CaFile.c_str(), R_OK) != 0) {
    return fmt::format("the certificates {}: {}", access.CaFile.string(),
                       std::generic_category().message(errno));
  }
  return access.User.empty() ? std::string() : ReadMailPassword(access.PasswordFile).Problem;
}

}  // namespace korvane::receiver
