// What the receiver is told by the machine-wide values it shares with the console.  Read at the start; only
// the file of SNMP users is read again on request.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"
#include "receiver/alerts/MailAccess.h"
#include "receiver/snmp/SnmpAccess.h"
#include "store/Connection.h"

namespace korvane::receiver {

// Reading is all the receiver needs, so it need not be allowed to write these values.
inline constexpr std::uint32_t kReadAccess = 0x20019;
// Of every connection to the trap store.
inline constexpr store::ConnectionOptions kStoreOptions = {.ConnectTimeoutSeconds = 10,
                                                           .CommandTimeoutSeconds = 60};

// Strings below the manager's key, beside kListenAddressesValue; an absent or empty one has its default.
inline constexpr std::string_view kSpoolFolderValue = "KVSpoolDir";
inline constexpr std::string_view kSnmpFileValue = "KVSnmpConfig";
// The name of a group of receivers that get the same traps: letters, digits and "-._", up to 64.
inline constexpr std::string_view kReceiverGroupValue = "KVReceiverGroup";

// Of the mails of alerts.
inline constexpr std::string_view kSmtpTlsValue = "KVSmtpTls";
inline constexpr std::string_view kSmtpUserValue = "KVSmtpUser";
inline constexpr std::string_view kSmtpPasswordFileValue = "KVSmtpPasswordFile";
inline constexpr std::string_view kSmtpCaFileValue = "KVSmtpCaFile";
// Numbers: how often an alert acts within a minute.  Below 1 they have their defaults.
inline constexpr std::string_view kAlertsPerSourceValue = "KVAlertsPerSource";
inline constexpr std::string_view kAlertsPerMinuteValue = "KVAlertsPerMinute";
inline constexpr std::string_view kProgramsPerMinuteValue = "KVProgramsPerMinute";

// A number: MiB of packets that may wait to be decoded.  Out of range it has its default.
inline constexpr std::string_view kCaptureMemoryValue = "KVCaptureMiB";
inline constexpr std::int32_t kMostCaptureMiB = 4096;

inline constexpr std::string_view kDefaultSnmpFile = "/etc/korvane/receiver.conf";

// Ages at which traps are acknowledged and deleted.  Nothing is done for a number below 1: a value that is
// missing from the registry must not cost a trap.
struct Intervals {
  std::int32_t AckHours = 0;
  std::int32_t PurgeDays = 0;
};

// Of one alert.
struct AlertPace {
  std::int32_t PerSource = 10;           // beeps, mails and messages for the traps of one source
  std::int32_t PerMinute = 50;           // for those of all sources
  std::int32_t ProgramsPerMinute = 600;  // runs of a custom program
};

struct Configuration {
  std::vector<std::string> ListenAddresses = {"udp:162", "udp6:162"};
  std::filesystem::path SpoolFolder = "/var/spool/korvane";
  std::filesystem::path SnmpFile = kDefaultSnmpFile;
  Intervals Ages;
  MailAccess Mail;
  AlertPace Pace;
  std::string Group;  // empty: alone
  std::size_t CaptureBytes = std::size_t{256} << 20;
};

// Why the group can't have that name; empty when it can.
std::string GroupProblem(std::string_view group);

Configuration ReadConfiguration(platform::RegistryStore& registry);

// The addresses of a list separated by commas or blanks.
std::vector<std::string> SplitAddresses(std::string_view list);

// The users and communities of the file.  A file that can't be read is a problem, and so is one that is not
// there, except the default one: a fresh installation has none.  That others than the receiver may read the
// passphrases in it is a warning.
SnmpAccess ReadSnmpAccess(const std::filesystem::path& file,
                          const std::filesystem::path& defaultFile = kDefaultSnmpFile);

}  // namespace korvane::receiver
