// The other ends of the receiver's actions: a mail server and a machine that takes messages.
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
#include <utility>

#include <fmt/format.h>

#include "support/FreePort.h"
#include "support/Processes.h"

namespace korvane::receiver {

// A mail server of the test's own, which writes every mail it gets to a file.
class MailSink {
 public:
  explicit MailSink(std::filesystem::path file)
      : file_(std::move(file)), port_(test::FreePort(AF_INET, SOCK_STREAM)) {
    process_ = fork();
    if (process_ == 0) {
      dup2(open(file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
      setenv("PYTHONUNBUFFERED", "1", 1);
      const std::string address = Address();
      execl("/usr/bin/python3", "python3", "-m", "aiosmtpd", "-n", "-l", address.c_str(), nullptr);
      _exit(127);
    }
  }
  ~MailSink() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  MailSink(const MailSink&) = delete;
  MailSink& operator=(const MailSink&) = delete;

  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  std::string Mails() const { return test::ReadFile(file_); }
  bool Listens() const {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    const bool answered = connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return answered;
  }

 private:
  std::filesystem::path file_;
  std::uint16_t port_;
  pid_t process_ = 0;
};

// A UDP socket that keeps what comes.
class MessageSink {
 public:
  MessageSink() : socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("no port for messages");
    }
    port_ = ntohs(address.sin_port);
  }
  ~MessageSink() { close(socket_); }
  MessageSink(const MessageSink&) = delete;
  MessageSink& operator=(const MessageSink&) = delete;

  std::string Address() const { return fmt::format("127.0.0.1:{}", port_); }
  // The next one that is there already, else an empty text.
  std::string Next() {
    char buffer[8192];
    const ssize_t got = recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
    return got > 0 ? std::string(buffer, static_cast<std::size_t>(got)) : std::string();
  }

 private:
  int socket_;
  std::uint16_t port_ = 0;
};

}  // namespace korvane::receiver
