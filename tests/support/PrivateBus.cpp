#include "support/PrivateBus.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/Processes.h"
#include "support/ServiceManagerMock.h"

extern char** environ;

namespace korvane::test {

Companion::Companion(std::vector<std::string> commandLine) {
  std::vector<char*> arguments;
  for (std::string& argument : commandLine) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  if (posix_spawn(&process_, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
    process_ = -1;
  }
}

Companion::~Companion() {
  if (process_ > 0) {
    Resume();
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
  }
}

void Companion::Pause() const {
  kill(process_, SIGSTOP);
}

void Companion::Resume() const {
  kill(process_, SIGCONT);
}

namespace {

// The socket's file is there a moment before anyone listens on it.
bool Listens(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const platform::FileDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return connect(probe.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

}  // namespace

PrivateBus::PrivateBus() {
  const std::string socket = (folder_ / "bus").string();
  const std::filesystem::path configuration = folder_ / "bus.conf";
  address_ = "unix:path=" + socket;
  WriteFile(configuration,
            "<busconfig><type>session</type><auth>EXTERNAL</auth><listen>" + address_ +
                R"(</listen><policy context="default"><allow own="*"/>)"
                R"(<allow send_destination="*"/><allow receive_sender="*"/></policy></busconfig>)");
  daemon_ = std::make_unique<Companion>(std::vector<std::string>{
      "/usr/bin/dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + configuration.string()});
  if (!WaitUntil([&socket] { return Listens(socket); })) {
    throw std::runtime_error("the private bus does not come up");
  }
}

ServiceManagerMock::ServiceManagerMock(const std::string& units) {
  WriteFile(Log(), "");
  process_ = std::make_unique<Companion>(std::vector<std::string>{
      "/usr/bin/python3", "-m", "dbusmock", "--logfile", (folder_ / "mock.log").string(), "--template",
      KORVANE_SOURCE_DIR "/tests/support/systemd_template.py", "--parameters",
      R"({"log": ")" + Log().string() + R"(", "units": )" + units + "}"});
  if (!WaitUntil([] { return platform::MakeServiceControl(200, 200)->OpenManager() != nullptr; },
                 std::chrono::seconds(60))) {
    throw std::runtime_error("the service manager does not come up");
  }
}

}  // namespace korvane::test
