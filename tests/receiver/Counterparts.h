// The other ends of the receiver, on loopback: programs and sockets that send to it, a mail server, and a
// machine that takes messages.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "support/FreePort.h"
#include "support/Processes.h"

namespace korvane::receiver {

// Starts a program without a shell.  Its output goes to the file, and it finds nothing of this machine's SNMP
// tools, journal and time service.  What the leak sanitizer finds does not change how it ends.
inline pid_t Spawn(const std::vector<std::string>& command, const std::string& output = "/dev/null") {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  const int file = open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  dup2(file, 1);
  dup2(file, 2);
  for (const auto& [name, value] :
       {std::pair("MIBS", ""), std::pair("SNMPCONFPATH", "/nonexistent"),
        std::pair("SNMP_PERSISTENT_DIR", "/nonexistent"), std::pair("PYTHONUNBUFFERED", "1"),
        std::pair("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent"),
        std::pair("LSAN_OPTIONS", "exitcode=0")}) {
    setenv(name, value, 1);
  }
  unsetenv("JOURNAL_STREAM");
  execvp(arguments[0], arguments.data());
  _exit(127);
}

// Its exit status.
inline int RunCommand(const std::vector<std::string>& command) {
  int status = 0;
  waitpid(Spawn(command), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class LoopbackSocket {
 public:
  explicit LoopbackSocket(int type) : descriptor_(socket(AF_INET, type, 0)) {}
  ~LoopbackSocket() { close(descriptor_); }
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  int Descriptor() const { return descriptor_; }
  bool Connect(std::uint16_t port) const {
    const sockaddr_in to = At(port, INADDR_LOOPBACK);
    return connect(descriptor_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
  }
  void Bind(std::uint16_t port, std::uint32_t address = INADDR_LOOPBACK) const {
    const sockaddr_in from = At(port, address);
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0) {
      throw std::runtime_error("the port is taken");
    }
  }
  // The next packet that is there already, else an empty text.
  std::string Next() const {
    std::string packet(65536, '\0');
    const ssize_t got = recv(descriptor_, packet.data(), packet.size(), MSG_DONTWAIT);
    packet.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return packet;
  }

 private:
  static sockaddr_in At(std::uint16_t port, std::uint32_t address) {
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr.s_addr = htonl(address);
    at.sin_port = htons(port);
    return at;
  }

  int descriptor_;
};

// Sends ready-made packets from one socket, of this port and address.
class PacketSender {
 public:
  explicit PacketSender(std::uint16_t port, std::uint16_t from = 0, std::uint32_t address = INADDR_LOOPBACK) {
    socket_.Bind(from, address);
    socket_.Connect(port);
  }
  bool Send(std::string_view packet) {
    // A receiver that was just killed answers with an ICMP error, which the next call reports.
    const auto sent = [&] { return send(socket_.Descriptor(), packet.data(), packet.size(), 0) >= 0; };
    return sent() || sent();
  }
  std::string Answer() { return socket_.Next(); }

 private:
  LoopbackSocket socket_{SOCK_DGRAM};
};

// A mail server of the test's own, which writes every mail it gets to a file.
class MailSink {
 public:
  explicit MailSink(std::filesystem::path file)
      : file_(std::move(file)),
        port_(test::FreePort(AF_INET, SOCK_STREAM)),
        process_(Spawn({"python3", "-m", "aiosmtpd", "-n", "-l", Address()}, file_)) {}
  ~MailSink() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  MailSink(const MailSink&) = delete;
  MailSink& operator=(const MailSink&) = delete;

  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  std::string Mails() const { return test::ReadFile(file_); }
  bool Listens() const { return LoopbackSocket(SOCK_STREAM).Connect(port_); }

 private:
  std::filesystem::path file_;
  std::uint16_t port_;
  pid_t process_;
};

// A machine that keeps what messages come.
class MessageSink {
 public:
  MessageSink() { socket_.Bind(port_); }
  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  std::string Next() { return socket_.Next(); }

 private:
  LoopbackSocket socket_{SOCK_DGRAM};
  std::uint16_t port_ = test::FreePort(AF_INET);
};

}  // namespace korvane::receiver
