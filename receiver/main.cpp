#include <fmt/format.h>
#include <sys/prctl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "platform/linux/LinuxPlatform.h"
#include "receiver/Check.h"
#include "receiver/Configuration.h"
#include "receiver/Service.h"
#include "receiver/ServiceLog.h"

namespace {

constexpr std::string_view kUsage =
    "Receives SNMP traps and informs and stores them in the trap store.\n"
    "\n"
    "usage: kvreceiver [--foreground | --debuggable | --check | --help | --version]\n"
    "  --foreground  run until SIGTERM or SIGINT, logging to standard error (the default)\n"
    "  --debuggable  the same, and let debuggers and core dumps see the memory with its passphrases\n"
    "  --check       try the configuration, the spool folder and the trap store; then end\n"
    "\n"
    "SIGUSR1 logs the counters, SIGHUP reads the SNMP users again, SIGUSR2 says that the clock is right.\n"
    "Settings are read from the registry file: KVListenAddresses, KVSpoolDir, KVSnmpConfig, KVCaptureMiB,\n"
    "KVReceiverGroup.\n";

constexpr std::array<std::string_view, 5> kOptions = {"--foreground", "--debuggable", "--check", "--help",
                                                      "--version"};

}  // namespace

int main(int argc, char** argv) {
  using namespace korvane;
  const std::string_view option = argc > 1 ? argv[1] : "--foreground";
  if (argc > 2 || std::find(kOptions.begin(), kOptions.end(), option) == kOptions.end()) {
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
  if (option != "--debuggable") {
    // Passphrases are in this memory: no core dump, and no look into it by another process of this user.  A
    // limit on the size of core dumps would not hold for one that the kernel pipes to a program.
    prctl(PR_SET_DUMPABLE, 0);
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
