#include "support/PrivateBus.h"

#include <chrono>
#include <csignal>
#include <stdexcept>

#include "platform/linux/LinuxPlatform.h"
#include "support/Processes.h"
#include "support/TestStore.h"

namespace korvane::test {

Companion::Companion(const std::vector<std::string>& commandLine)
    : child_(platform::StartReadable(commandLine.front(), {commandLine.begin() + 1, commandLine.end()})) {
  if (child_.Error != 0) {
    throw std::runtime_error(commandLine.front() + " does not start");
  }
}

Companion::~Companion() {
  Resume();
  kill(child_.Process, SIGTERM);
  platform::WaitForEnd(child_.Process);
}

void Companion::Pause() const {
  kill(child_.Process, SIGSTOP);
}

void Companion::Resume() const {
  kill(child_.Process, SIGCONT);
}

PrivateBus::PrivateBus() {
  const std::filesystem::path configuration = folder_ / "bus.conf";
  WriteFile(configuration,
            "<busconfig><type>session</type><auth>EXTERNAL</auth><listen>" + Address() +
                "</listen><pidfile>" + (folder_ / "pid").string() +
                R"(</pidfile><policy context="default"><allow own="*"/>)"
                R"(<allow send_destination="*"/><allow receive_sender="*"/></policy></busconfig>)");
  // It lets go of its caller when it listens.
  RunProgram({"dbus-daemon", "--fork", "--config-file=" + configuration.string()});
}

PrivateBus::~PrivateBus() {
  kill(std::stoi(ReadFile(folder_ / "pid")), SIGTERM);
}

ServiceManagerMock::ServiceManagerMock(const std::string& units)
    : process_({"/usr/bin/python3", "-m", "dbusmock", "--logfile", (folder_ / "mock.log").string(),
                "--template", std::string(KORVANE_SOURCE_DIR) + "/tests/support/systemd_template.py",
                "--parameters", R"({"log": ")" + Log().string() + R"(", "units": )" + units + "}"}) {
  if (!WaitUntil([] { return platform::MakeServiceControl(200, 200)->OpenManager() != nullptr; },
                 std::chrono::seconds(60))) {
    throw std::runtime_error("the service manager does not come up");
  }
  WriteFile(Log(), "");
}

}  // namespace korvane::test
