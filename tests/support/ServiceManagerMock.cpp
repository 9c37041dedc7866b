#include "support/ServiceManagerMock.h"

#include <chrono>
#include <stdexcept>
#include <vector>

#include "platform/linux/LinuxPlatform.h"
#include "support/Processes.h"

namespace korvane::test {

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
