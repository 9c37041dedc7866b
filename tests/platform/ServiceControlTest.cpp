// The restart of a service against a mock of the service manager on a bus of the test's own.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
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
    bus_ = std::make_unique<test::PrivateBus>();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_->Address().c_str(), 1);
  }
  static void TearDownTestSuite() {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    mock_.reset();
    bus_.reset();
  }

  static void NeedMock() {
    if (mock_ == nullptr) {
      mock_ = std::make_unique<test::ServiceManagerMock>(kUnits);
    }
    test::WriteFile(mock_->Log(), "");
  }

  static std::string Calls() { return test::ReadFile(mock_->Log()); }
  static std::int32_t Restart(std::string_view name, int startMilliseconds = 10000) {
    const auto control = MakeServiceControl(5000, startMilliseconds);
    NotingClock clock(mock_ == nullptr ? std::filesystem::path("/dev/null") : mock_->Log());
    return RestartService(*control, clock, name);
  }

  static std::unique_ptr<test::PrivateBus> bus_;
  static std::unique_ptr<test::ServiceManagerMock> mock_;
};

std::unique_ptr<test::PrivateBus> ServiceControlTest::bus_;
std::unique_ptr<test::ServiceManagerMock> ServiceControlTest::mock_;

TEST_F(ServiceControlTest, NoManagerToReach) {
  mock_.reset();
  EXPECT_EQ(Restart("KVReceiver"), 1) << "a bus without a manager";
  const std::string address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
  EXPECT_EQ(Restart("KVReceiver"), 1) << "no bus";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
}

TEST_F(ServiceControlTest, StopsWaitsAndStarts) {
  for (const char* name : {"KVReceiver", "Stopped", "Crashed", "KVReceiver.service"}) {
    NeedMock();
    std::string unit = name;
    unit = unit.substr(0, unit.find('.')) + ".service";
    EXPECT_EQ(Restart(name), 0) << name;
    EXPECT_EQ(Calls(), "LoadUnit " + unit + "\nStopUnit " + unit + " replace\nwait 2000\nStartUnit " + unit +
                           " replace\n");
  }
}

TEST_F(ServiceControlTest, UnknownServiceIsNotWaitedFor) {
  for (const char* name : {"NoSuchService", "Masked", "kvreceiver", "a/b", ""}) {
    NeedMock();
    EXPECT_EQ(Restart(name), 2) << name;
    EXPECT_EQ(Calls().find("StopUnit"), std::string::npos);
    EXPECT_EQ(Calls().find("wait"), std::string::npos);
  }
}

TEST_F(ServiceControlTest, StartThatDidNotWorkIsSaid) {
  for (const char* name : {"Fails", "Lacks", "Exits", "Refused", "Silent"}) {
    NeedMock();
    EXPECT_EQ(Restart(name, 400), 3) << name;
    EXPECT_NE(Calls().find("StartUnit"), std::string::npos) << name;
  }
}

TEST_F(ServiceControlTest, ServiceThatHasNotEndedFailsButIsNotLeftStopped) {
  NeedMock();
  EXPECT_EQ(Restart("Lingers"), 3);
  EXPECT_NE(Calls().find("StartUnit Lingers.service replace"), std::string::npos);
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
