// A real receiver process on free ports of loopback, with the means to send to it and to look at it.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Packets.h"
#include "common/RegistryValues.h"
#include "support/FreePort.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {

// Runs a program without a shell and waits for it; its exit status.
inline int RunCommand(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int null = open("/dev/null", O_RDWR);
    dup2(null, 1);
    dup2(null, 2);
    setenv("MIBS", "", 1);
    setenv("SNMPCONFPATH", "/nonexistent", 1);
    setenv("SNMP_PERSISTENT_DIR", "/nonexistent", 1);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class RunningReceiver {
 public:
  // users: the lines of its SNMP file; values: further lines of the registry's key.  The data source is that
  // of the environment.
  // spool: its folder, one of its own when empty.
  explicit RunningReceiver(std::string_view users = "", std::string_view values = "",
                           std::string_view spool = "")
      : port_(test::FreePort(AF_INET)), port6_(test::FreePort(AF_INET6)) {
    test::WriteFile(folder_ / "users", users);
    std::filesystem::permissions(folder_ / "users", std::filesystem::perms(0600));
    test::WriteFile(RegistryFile(),
                    fmt::format("Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\{}]\n"
                                "\"KVListenAddresses\"=\"udp:127.0.0.1:{},udp6:[::1]:{}\"\n"
                                "\"KVSpoolDir\"=\"{}\"\n\"KVSnmpConfig\"=\"{}\"\n{}",
                                kManagerKey, port_, port6_,
                                spool.empty() ? (folder_ / "spool").string() : std::string(spool),
                                (folder_ / "users").string(), values));
  }
  ~RunningReceiver() { End(SIGKILL); }

  // Until it listens.
  bool Start() {
    const std::string log = (folder_ / "log").string();
    process_ = fork();
    if (process_ == 0) {
      setenv("KORVANE_REGISTRY", RegistryFile().c_str(), 1);
      unsetenv("JOURNAL_STREAM");
      setenv("LSAN_OPTIONS", "exitcode=0", 1);  // leaks are judged by OwnLeaks
      // No word of this machine's time service: the clock is not confirmed.
      setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
      // It could leave a core dump, and would do so here.
      const rlimit unlimited{.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
      setrlimit(RLIMIT_CORE, &unlimited);
      if (chdir(folder_.Path().c_str()) != 0) _exit(127);
      dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      execl(KVRECEIVER, KVRECEIVER, nullptr);
      _exit(127);
    }
    return test::WaitUntil([&] { return Log().find(" ready\n") != std::string::npos || !Alive(); }) &&
           Alive();
  }
  void Signal(int signal) { kill(process_, signal); }
  bool Alive() {
    if (process_ <= 0) return false;
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == process_) {
      process_ = 0;
      exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      dumpedCore_ = WIFSIGNALED(status) && WCOREDUMP(status);
    }
    return process_ > 0;
  }
  // Its exit status, -1 when a signal ended it.
  int End(int signal) {
    if (Alive()) Signal(signal);
    test::WaitUntil([&] { return !Alive(); });
    return exitStatus_;
  }

  bool DumpedCore() const { return dumpedCore_; }

  // Under the leak sanitizer.  The embedded engine's driver loses some memory at every connect, and is
  // unloaded before the report, so a leak counts when its stack names a function of ours or of the SNMP
  // library.
  bool OwnLeaks() const {
    const std::string log = Log();
    return log.find(" in korvane::") != std::string::npos || log.find("libnetsnmp") != std::string::npos;
  }

  std::string Log() const { return test::ReadFile(folder_ / "log"); }
  // The figures of a fresh counters line.
  std::map<std::string, std::uint64_t> Counters() {
    const std::size_t before = Lines();
    Signal(SIGUSR1);
    test::WaitUntil([&] { return Lines() > before; });
    return LastCounters();
  }
  std::map<std::string, std::uint64_t> LastCounters() const {
    const std::string log = Log();
    const std::size_t last = log.rfind(kMark);
    if (last == std::string::npos) return {};
    std::string_view line = std::string_view(log).substr(last + kMark.size());
    line = line.substr(0, line.find('\n'));
    std::map<std::string, std::uint64_t> figures;
    while (!line.empty()) {
      const std::string_view one = line.substr(0, line.find(", "));
      const std::size_t blank = one.rfind(' ');
      figures[std::string(one.substr(0, blank))] = std::stoull(std::string(one.substr(blank + 1)));
      line.remove_prefix(std::min(line.size(), one.size() + 2));
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
  std::size_t Lines() const {
    const std::string log = Log();
    std::size_t lines = 0;
    for (std::size_t at = log.find(kMark); at != std::string::npos; at = log.find(kMark, at + 1)) ++lines;
    return lines;
  }

  test::TempFolder folder_;
  std::uint16_t port_;
  std::uint16_t port6_;
  pid_t process_ = 0;
  int exitStatus_ = -1;
  bool dumpedCore_ = false;
};

// The most memory that a process ever had, in bytes.
inline std::size_t HighestMemory(pid_t process) {
  const std::string text = test::ReadFile(fmt::format("/proc/{}/status", process));
  const std::size_t at = text.find("VmHWM:");
  return at == std::string::npos ? 0 : std::stoull(text.substr(at + 6)) * 1024;
}

// Sends ready-made packets from one socket.
class PacketSender {
 public:
  explicit PacketSender(std::uint16_t port) : socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(port);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
      throw std::runtime_error("connect");
    }
  }
  ~PacketSender() { close(socket_); }
  bool Send(std::string_view packet) {
    // A receiver that was just killed answers with an ICMP error, which the next call reports.
    return send(socket_, packet.data(), packet.size(), 0) == static_cast<ssize_t>(packet.size()) ||
           send(socket_, packet.data(), packet.size(), 0) == static_cast<ssize_t>(packet.size());
  }
  // The next answer that is there already, else an empty text.
  std::string Answer() {
    std::string packet(65536, '\0');
    const ssize_t got = recv(socket_, packet.data(), packet.size(), MSG_DONTWAIT);
    packet.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return packet;
  }

 private:
  int socket_;
};

}  // namespace korvane::receiver
