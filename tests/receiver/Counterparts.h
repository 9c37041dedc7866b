// The other ends of the receiver, on loopback: programs and sockets that send to it, a mail server, and a
// machine that takes messages.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "platform/linux/FileDescriptor.h"
#include "support/Processes.h"

namespace korvane::receiver {

// BER, as far as these messages need it.
inline std::string Ber(unsigned char tag, std::string_view content) {
  std::string result(1, static_cast<char>(tag));
  if (content.size() < 128) {
    result += static_cast<char>(content.size());
  } else {
    result += {static_cast<char>(0x83), static_cast<char>(content.size() >> 16),
               static_cast<char>(content.size() >> 8), static_cast<char>(content.size())};
  }
  return result.append(content);
}

// A number of one to four octets.
inline std::string BerNumber(std::uint32_t value) {
  std::string octets;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (value >> shift != 0 || shift == 0) octets += static_cast<char>(value >> shift);
  }
  return Ber(0x02, (octets[0] & 0x80) != 0 ? '\0' + octets : octets);
}

constexpr unsigned char kTrap2 = 0xA7;
constexpr unsigned char kInform = 0xA6;

// The PDU of a notification 1.3.6.1.4.1.99.0.7 with these bindings behind the two it must have.
inline std::string NotificationPdu(unsigned char type, std::uint32_t requestId, std::string_view bindings) {
  using namespace std::string_literals;
  const std::string upTime = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x02\x01\x01\x03\x00"s) + Ber(0x43, "\x01"));
  const std::string trapOid = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x06\x03\x01\x01\x04\x01\x00"s) +
                                            Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x00\x07"s));
  return Ber(type, BerNumber(requestId) + BerNumber(0) + BerNumber(0) +
                       Ber(0x30, (upTime + trapOid).append(bindings)));
}

inline std::string V2Message(std::string_view pdu) {
  return Ber(0x30, (BerNumber(1) + Ber(0x04, "public")).append(pdu));
}

// As many bindings as a packet holds: 1.3 = null, seven octets each.
inline std::string SmallestBindings(std::size_t count) {
  std::string bindings;
  for (; count > 0; --count) bindings += std::string_view("\x30\x05\x06\x01\x2B\x05\x00", 7);
  return bindings;
}

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
  int Descriptor() const { return descriptor_.Number(); }
  bool Connect(std::uint16_t port) const {
    const sockaddr_in to = At(port, INADDR_LOOPBACK);
    return connect(Descriptor(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
  }
  void Bind(std::uint16_t port, std::uint32_t address = INADDR_LOOPBACK) const {
    const sockaddr_in from = At(port, address);
    if (bind(Descriptor(), reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0) {
      throw std::runtime_error("the port is taken");
    }
  }
  // The next packet that is there already, else an empty text.
  std::string Next() const {
    std::string packet(65536, '\0');
    const ssize_t got = recv(Descriptor(), packet.data(), packet.size(), MSG_DONTWAIT);
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

  platform::FileDescriptor descriptor_;
};

// Sends ready-made packets from one socket, of this port and address.
class PacketSender : public LoopbackSocket {
 public:
  explicit PacketSender(std::uint16_t port, std::uint16_t from = 0, std::uint32_t address = INADDR_LOOPBACK)
      : LoopbackSocket(SOCK_DGRAM) {
    Bind(from, address);
    Connect(port);
  }
  bool Send(std::string_view packet) const {
    // A receiver that was just killed answers with an ICMP error, which the next call reports.
    const auto sent = [&] { return send(Descriptor(), packet.data(), packet.size(), 0) >= 0; };
    return sent() || sent();
  }
};

// A mail server of the test's own, which writes every mail it gets to a file.
class MailSink {
 public:
  explicit MailSink(std::filesystem::path file)
      : file_(std::move(file)),
        port_(test::FreePort(AF_INET, SOCK_STREAM)),
        process_(Spawn({"/usr/bin/python3", "-m", "aiosmtpd", "-n", "-l", Address()}, file_)) {}
  // One that wants encryption, with the certificate of the folder, and a login, which it writes down too.
  MailSink(std::filesystem::path file, const std::filesystem::path& folder, bool fromTheFirstOctet)
      : file_(std::move(file)),
        port_(test::FreePort(AF_INET, SOCK_STREAM)),
        process_(Spawn({"/usr/bin/python3", "-c", kWithLogin, std::to_string(port_), folder,
                        fromTheFirstOctet ? "tls" : "starttls"},
                       file_)) {}
  ~MailSink() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  MailSink(const MailSink&) = delete;
  MailSink& operator=(const MailSink&) = delete;

  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  std::string Name() const { return fmt::format("localhost:{}", port_); }
  std::string Mails() const { return test::ReadFile(file_); }
  bool Listens() const { return LoopbackSocket(SOCK_STREAM).Connect(port_); }

 private:
  static constexpr const char* kWithLogin = R"(
import asyncio, ssl, sys
from aiosmtpd.handlers import Debugging
from aiosmtpd.smtp import SMTP, AuthResult
port, folder, how = sys.argv[1:]
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(folder + '/cert', folder + '/key')
def check(server, session, envelope, mechanism, data):
    print('login', data.login.decode(), data.password.decode())
    return AuthResult(success=True)
def protocol():
    return SMTP(Debugging(), authenticator=check, auth_required=True, require_starttls=how == 'starttls',
                auth_require_tls=how == 'starttls', tls_context=context if how == 'starttls' else None)
async def serve():
    server = await asyncio.get_running_loop().create_server(
        protocol, 'localhost', int(port), ssl=context if how == 'tls' else None)
    await server.serve_forever()
asyncio.run(serve())
)";

  std::filesystem::path file_;
  std::uint16_t port_;
  pid_t process_;
};

// A machine that keeps what messages come.
class MessageSink : public LoopbackSocket {
 public:
  MessageSink() : LoopbackSocket(SOCK_DGRAM) { Bind(port_); }
  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }

 private:
  std::uint16_t port_ = test::FreePort(AF_INET);
};

}  // namespace korvane::receiver
