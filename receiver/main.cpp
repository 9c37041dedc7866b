#include <fmt/format.h>

#include <cstdio>
#include <string_view>

#include "Check.h"
#include "Configuration.h"
#include "Service.h"
#include "ServiceLog.h"
#include "platform/linux/LinuxPlatform.h"

namespace {

constexpr std::string_view kUsage =
    "Receives SNMP traps and informs and stores them in the trap store.\n"
    "\n"
    "usage: kvreceiver [--foreground | --check | --help | --version]\n"
    "  --foreground  run until SIGTERM or SIGINT, logging to standard error (the default)\n"
    "  --check       try the configuration, the spool folder and the trap store; then end\n"
    "\n"
    "SIGUSR1 logs the counters, SIGHUP reads the SNMP users again.\n"
    "Settings are read from the registry file: KVListenAddresses, KVSpoolDir, KVSnmpConfig.\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace korvane;
  const std::string_view option = argc > 1 ? argv[1] : "--foreground";
  if (argc > 2 ||
      (option != "--foreground" && option != "--check" && option != "--help" && option != "--version")) {
    fmt::print(stderr, "{}", kUsage);
    return 2;
  }
  if (option == "--help") {
    fmt::print("{}", kUsage);
    return 0;
  }
  if (option == "--version") {
    fmt::print("kvreceiver {}\n", KORVANE_VERSION);
    return 0;
  }
  const auto registry = platform::MakeRegistryFile();
  const receiver::Configuration configuration = receiver::ReadConfiguration(*registry);
  if (option == "--check") {
    return receiver::CheckConfiguration(configuration) ? 0 : 1;
  }
  receiver::BlockServiceSignals();
  receiver::ServiceLog log(receiver::StandardErrorSink());
  return receiver::RunService(configuration, *registry, log);
}
