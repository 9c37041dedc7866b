#include "receiver/Check.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <system_error>

#include "common/Text.h"
#include "receiver/snmp/Listener.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

bool Report(std::string_view what, std::string_view problem) {
  fmt::print("{}: {}\n", VisibleText(what), problem.empty() ? "ok" : VisibleText(problem));
  return problem.empty();
}

std::string FolderProblem(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::exists(folder, error)) {
    return "does not exist yet";
  }
  return access(folder.c_str(), R_OK | W_OK | X_OK) == 0 ? "" : std::generic_category().message(errno);
}

std::string StoreProblem() {
  try {
    store::Connection connection;
    connection.Open(store::kDataSourceName, {}, {},
                    {.ConnectTimeoutSeconds = 10, .CommandTimeoutSeconds = 10});
    connection.OpenRecordset(store::kEventTrap, "1 = 0").Next();
    connection.OpenRecordset("Receiver_State", "1 = 0").Next();
    connection.OpenRecordset("Receiver_Duty", "1 = 0").Next();
    connection.OpenRecordset(store::kReceiverHeartbeat, "1 = 0").Next();
    return {};
  } catch (const store::DatabaseError& error) {
    return error.what();
  }
}

}  // namespace

bool CheckConfiguration(const Configuration& configuration) {
  bool good = true;
  for (const std::string& address : configuration.ListenAddresses) {
    good = Report(fmt::format("listen address {}", address), ListenAddressProblem(address)) && good;
  }
  good = Report(fmt::format("spool folder {}", configuration.SpoolFolder.string()),
                FolderProblem(configuration.SpoolFolder)) &&
         good;
  const SnmpAccess access = ReadSnmpAccess(configuration.SnmpFile);
  for (const auto& texts : {access.Problems, access.Warnings}) {
    for (const std::string& text : texts) {
      good = Report(configuration.SnmpFile.string(), text) && good;
    }
  }
  Report(
      fmt::format("{}: {}", configuration.SnmpFile.string(), access.Summary()),
      access.Problems.empty() ? "" : "a start would admit no more than that, a reload would change nothing");
  if (!configuration.Group.empty()) {
    good = Report(fmt::format("receiver group {}", configuration.Group), GroupProblem(configuration.Group)) &&
           good;
  }
  good = Report(fmt::format("mail server {}", configuration.Mail.Server),
                MailAccessProblem(configuration.Mail)) &&
         good;
  return Report("trap store", StoreProblem()) && good;
}

}  // namespace korvane::receiver
