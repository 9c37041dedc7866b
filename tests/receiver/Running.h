// A real receiver process on free ports of loopback, with the means to look at it.
#pragma once

#include <map>
#include <sstream>

#include "Counterparts.h"
#include "common/RegistryValues.h"
#include "support/TempFolder.h"

namespace korvane::receiver {

class RunningReceiver {
 public:
  // users: the lines of its SNMP file; values: further lines of the registry's key.  The data source is that
  // of the environment.
  explicit RunningReceiver(std::string_view users = "", std::string_view values = "")
      : port_(test::FreePort(AF_INET)), port6_(test::FreePort(AF_INET6)) {
    test::WriteFile(folder_ / "users", users);
    std::filesystem::permissions(folder_ / "users", std::filesystem::perms(0600));
    test::WriteFile(RegistryFile(),
                    fmt::format("Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\{}]\n"
                                "\"KVListenAddresses\"=\"udp:127.0.0.1:{},udp6:[::1]:{}\"\n"
                                "\"KVSpoolDir\"=\"{}\"\n\"KVSnmpConfig\"=\"{}\"\n{}",
                                kManagerKey, port_, port6_, (folder_ / "spool").string(),
                                (folder_ / "users").string(), values));
  }
  ~RunningReceiver() { End(SIGKILL); }

  // Until it listens.
  bool Start() {
    process_ = Spawn(Command(), folder_ / "log");
    return test::WaitUntil([&] { return Log().find(" ready\n") != std::string::npos || !Alive(); }) &&
           Alive();
  }
  // How it is started; works in its folder.
  std::vector<std::string> Command() const {
    return {"env", "-C", folder_.Path(), "KORVANE_REGISTRY=" + RegistryFile().string(), KVRECEIVER};
  }
  void Signal(int signal) { kill(process_, signal); }
  bool Alive() {
    int status = 0;
    if (process_ > 0 && waitpid(process_, &status, WNOHANG) == process_) {
      process_ = 0;
      exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : WCOREDUMP(status) ? -2 : -1;
    }
    return process_ > 0;
  }
  // Its exit status, -1 when a signal ended it, -2 when a dump is left.
  int End(int signal) {
    if (Alive()) Signal(signal);
    test::WaitUntil([&] { return !Alive(); });
    return exitStatus_;
  }

  // Under the leak sanitizer.  The embedded engine's driver loses some memory at every connect, and is
  // unloaded before the report, so a leak counts when its stack names a function of ours or of the SNMP
  // library.
  bool OwnLeaks() const {
    const std::string log = Log();
    return log.find(" in korvane::") != std::string::npos || log.find("libnetsnmp") != std::string::npos;
  }

  std::string Log() const { return test::ReadFile(folder_ / "log"); }
  // The figures of a fresh counters line, and of the last one.
  std::map<std::string, std::uint64_t> Counters() {
    const std::size_t before = Log().rfind(kMark);
    Signal(SIGUSR1);
    test::WaitUntil([&] { return Log().rfind(kMark) != before; });
    return LastCounters();
  }
  std::map<std::string, std::uint64_t> LastCounters() const {
    const std::string log = Log();
    std::map<std::string, std::uint64_t> figures;
    if (const std::size_t last = log.rfind(kMark); last != std::string::npos) {
      std::istringstream parts(log.substr(last + kMark.size(), log.find('\n', last) - last - kMark.size()));
      for (std::string part; std::getline(parts >> std::ws, part, ',');) {
        const std::size_t blank = part.rfind(' ');
        figures[part.substr(0, blank)] = std::stoull(part.substr(blank + 1));
      }
    }
    return figures;
  }

  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  std::string Address6() const { return fmt::format("udp6:[::1]:{}", port6_); }
  std::uint16_t Port() const { return port_; }
  pid_t Process() const { return process_; }
  const std::filesystem::path& Folder() const { return folder_.Path(); }
  std::filesystem::path RegistryFile() const { return folder_ / "registry.reg"; }

 private:
  static constexpr std::string_view kMark = "counters: ";

  test::TempFolder folder_;
  std::uint16_t port_;
  std::uint16_t port6_;
  pid_t process_ = 0;
  int exitStatus_ = -1;
};

}  // namespace korvane::receiver
