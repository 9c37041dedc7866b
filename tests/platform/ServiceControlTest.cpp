// The restart of a service against a mock of the service manager on a bus of the test's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Processes.h"
#include "common/Services.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/FakePlatform.h"
#include "support/TempFolder.h"

extern char** environ;

namespace korvane::platform {
namespace {

constexpr char kUnits[] = R"({"KVReceiver.service": {},)"
                          R"( "Stopped.service": {"active": "inactive"},)"
                          R"( "Crashed.service": {"active": "failed", "stop": "failed"},)"
                          R"( "Lingers.service": {"stop": "deactivating"},)"
                          R"( "Stays.service": {"stop": "active"},)"
                          R"( "Fails.service": {"start": "failed"},)"
                          R"( "Lacks.service": {"start": "dependency"},)"
                          R"( "Exits.service": {"start": "exits"},)"
                          R"( "Refused.service": {"start": "refused"},)"
                          R"( "Silent.service": {"start": "silent"},)"
                          R"( "Masked.service": {"load": "masked"}})";

// A program that ends with the object.
class Companion {
 public:
  explicit Companion(std::vector<std::string> arguments) {
    std::vector<char*> vector;
    for (std::string& argument : arguments) {
      vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    if (posix_spawn(&process_, vector[0], nullptr, nullptr, vector.data(), environ) != 0) {
      process_ = -1;
    }
  }
  ~Companion() {
    if (process_ > 0) {
      kill(process_, SIGTERM);
      waitpid(process_, nullptr, 0);
    }
  }
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;
  void Pause() const { kill(process_, SIGSTOP); }
  void Resume() const { kill(process_, SIGCONT); }

 private:
  pid_t process_ = -1;
};

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

class ServiceControlTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<test::TempFolder>();
    const std::string socket = (*folder_ / "bus").string();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket).c_str(), 1);
    // A configuration of its own: the stock one would try to start services of this machine.
    const std::filesystem::path configuration = *folder_ / "bus.conf";
    test::WriteFile(configuration,
                    "<busconfig><type>session</type><auth>EXTERNAL</auth><listen>unix:path=" + socket +
                        R"(</listen><policy context="default"><allow own="*"/>)"
                        R"(<allow send_destination="*"/><allow receive_sender="*"/></policy></busconfig>)");
    bus_ = std::make_unique<Companion>(std::vector<std::string>{
        "/usr/bin/dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + configuration.string()});
    ASSERT_TRUE(test::WaitUntil([&socket] { return std::filesystem::exists(socket); }));
  }
  static void TearDownTestSuite() {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    mock_.reset();
    bus_.reset();
    folder_.reset();
  }

  static void StartMock() {
    const std::string parameters = R"({"log": ")" + Log().string() + R"(", "units": )" + kUnits + "}";
    mock_ = std::make_unique<Companion>(std::vector<std::string>{
        "/usr/bin/python3", "-m", "dbusmock", "--logfile", (*folder_ / "mock.log").string(), "--template",
        KORVANE_SOURCE_DIR "/tests/platform/systemd_template.py", "--parameters", parameters});
    ASSERT_TRUE(test::WaitUntil([] { return MakeServiceControl(200, 200)->OpenManager() != nullptr; }));
  }
  void NeedMock() {
    if (mock_ == nullptr) {
      StartMock();
    }
    test::WriteFile(Log(), "");
  }

  static std::filesystem::path Log() { return *folder_ / "calls"; }
  static std::int32_t Restart(std::string_view name, int startMilliseconds = 10000) {
    const auto control = MakeServiceControl(5000, startMilliseconds);
    NotingClock clock(Log());
    return RestartService(*control, clock, name);
  }

  static std::unique_ptr<test::TempFolder> folder_;
  static std::unique_ptr<Companion> bus_;
  static std::unique_ptr<Companion> mock_;
};

std::unique_ptr<test::TempFolder> ServiceControlTest::folder_;
std::unique_ptr<Companion> ServiceControlTest::bus_;
std::unique_ptr<Companion> ServiceControlTest::mock_;

TEST_F(ServiceControlTest, NoManagerToReach) {
  test::WriteFile(Log(), "");
  mock_.reset();
  EXPECT_EQ(Restart("KVReceiver"), 1) << "a bus without a manager";
  const std::string address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
  EXPECT_EQ(Restart("KVReceiver"), 1) << "no bus";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  EXPECT_EQ(test::ReadFile(Log()), "");
}

TEST_F(ServiceControlTest, StopsWaitsAndStarts) {
  for (const char* name : {"KVReceiver", "Stopped", "Crashed", "KVReceiver.service"}) {
    NeedMock();
    std::string unit = name;
    unit = unit.substr(0, unit.find('.')) + ".service";
    EXPECT_EQ(Restart(name), 0) << name;
    EXPECT_EQ(test::ReadFile(Log()), "LoadUnit " + unit + "\nStopUnit " + unit +
                                         " replace\nwait 2000\nStartUnit " + unit + " replace\n");
  }
}

TEST_F(ServiceControlTest, UnknownServiceIsNotWaitedFor) {
  for (const char* name : {"NoSuchService", "Masked", "kvreceiver", "a/b", ""}) {
    NeedMock();
    EXPECT_EQ(Restart(name), 2) << name;
    EXPECT_EQ(test::ReadFile(Log()).find("StopUnit"), std::string::npos);
    EXPECT_EQ(test::ReadFile(Log()).find("wait"), std::string::npos);
  }
}

TEST_F(ServiceControlTest, StartThatDidNotWorkIsSaid) {
  for (const char* name : {"Fails", "Lacks", "Exits", "Refused", "Silent"}) {
    NeedMock();
    EXPECT_EQ(Restart(name, 400), 3) << name;
    EXPECT_NE(test::ReadFile(Log()).find("StartUnit"), std::string::npos) << name;
  }
}

TEST_F(ServiceControlTest, ServiceThatHasNotEndedFailsButIsNotLeftStopped) {
  NeedMock();
  EXPECT_EQ(Restart("Lingers"), 3);
  EXPECT_NE(test::ReadFile(Log()).find("StartUnit Lingers.service replace"), std::string::npos);
  NeedMock();
  EXPECT_EQ(Restart("Stays"), 3);
}

TEST_F(ServiceControlTest, ManagerThatAnswersNobodyIsGivenUpOn) {
  NeedMock();
  mock_->Pause();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MakeServiceControl(200, 200)->OpenManager(), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  mock_->Resume();
}

}  // namespace
}  // namespace korvane::platform
