// The restart of a service against a mock of the service manager on a bus of the test's own.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/Services.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/ServiceManagerMock.h"

namespace korvane::platform {
namespace {

// How each unit behaves, what the restart then answers, and how far it goes.
enum class Reached { Start, Stop, Unit };
struct Row {
  std::string Name;
  std::string Behaviour;  // of the unit; empty: there is none
  std::int32_t Code;
  Reached End = Reached::Start;
};
const std::vector<Row> kRows = {
    {"KVReceiver", "{}", 0},
    {"Dotted.service", "{}", 0},
    {"Stopped", R"({"active": "inactive"})", 0},
    {"Crashed", R"({"active": "failed", "stop": "failed"})", 0},
    {"NoSuchService", "", 2, Reached::Unit},
    {"Masked", R"({"load": "masked"})", 2, Reached::Unit},
    {"kvreceiver", "", 2, Reached::Unit},
    {"a/b", "", 2, Reached::Unit},
    {"", "", 2, Reached::Unit},
    {"Fails", R"({"start": "failed"})", 3},
    {"Lacks", R"({"start": "dependency"})", 3},
    {"Exits", R"({"start": "exits"})", 3},
    {"Refused", R"({"start": "refused"})", 3},
    {"Silent", R"({"start": "silent"})", 3},
    {"Lingers", R"({"stop": "deactivating"})", 3},  // not left stopped once it has ended
    {"Stays", R"({"stop": "active"})", 3, Reached::Stop}};

// Notes the wait in the same log as the mock's calls, so that the order of both is seen.
class NotingClock : public test::FakeClock {
 public:
  explicit NotingClock(std::filesystem::path log) : log_(std::move(log)) {}
  void SleepMilliseconds(int milliseconds) override {
    test::WriteFile(log_, test::ReadFile(log_) + "wait " + std::to_string(milliseconds) + "\n");
  }

 private:
  std::filesystem::path log_;
};

TEST(ServiceControlTest, StopsWaitsStartsAndSaysWhatFailed) {
  const test::PrivateBus bus;
  NotingClock clock("/dev/null");
  const auto restart = [&clock](std::string_view name) {
    return RestartService(*MakeServiceControl(5000, name == "Silent" ? 400 : 10000), clock, name);
  };
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
  EXPECT_EQ(restart("KVReceiver"), 1) << "no bus";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
  EXPECT_EQ(restart("KVReceiver"), 1) << "a bus without a manager";

  const auto unitOf = [](const Row& row) {
    return row.Name.ends_with(".service") ? row.Name : row.Name + ".service";
  };
  std::string units;
  for (const Row& row : kRows) {
    if (!row.Behaviour.empty()) {
      units += (units.empty() ? "{\"" : ", \"") + unitOf(row) + "\": " + row.Behaviour;
    }
  }
  const test::ServiceManagerMock manager(units + "}");
  clock = NotingClock(manager.Log());
  for (const Row& row : kRows) {
    test::WriteFile(manager.Log(), "");
    EXPECT_EQ(restart(row.Name), row.Code) << row.Name;
    const std::string unit = unitOf(row);
    std::string calls = "LoadUnit " + unit + "\n";
    if (row.End != Reached::Unit) {
      calls += "StopUnit " + unit + " replace\nwait 2000\n";
    }
    if (row.End == Reached::Start) {
      calls += "StartUnit " + unit + " replace\n";
    }
    EXPECT_EQ(test::ReadFile(manager.Log()), calls);
  }
  manager.Pause();  // one that answers nobody is given up on
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MakeServiceControl(200, 200)->OpenManager(), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  manager.Resume();
}

}  // namespace
}  // namespace korvane::platform
