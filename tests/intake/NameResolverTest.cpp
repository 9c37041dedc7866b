#include "intake/NameResolver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace korvane::intake {
namespace {

using std::chrono::milliseconds;

// Answers from a table, counts what it was asked, and can be held up.
class SlowHostNames : public platform::HostNames {
 public:
  std::optional<std::string> NameOfAddress(std::string_view address) override {
    std::unique_lock lock(mutex_);
    ++Asked;
    changed_.wait(lock, [this] { return !held_; });
    const auto found = names_.find(std::string(address));
    return found == names_.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<std::string> AddressOfName(std::string_view name) override {
    return name == "printer" ? std::optional<std::string>("192.0.2.77") : std::nullopt;
  }
  std::string DomainOfThisHost() override { return {}; }

  void Put(const std::string& address, const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_[address] = name;
  }
  void Hold(bool held) {
    const std::lock_guard lock(mutex_);
    held_ = held;
    changed_.notify_all();
  }

  std::atomic<int> Asked = 0;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::string> names_;
  bool held_ = false;
};

std::string AddressNumber(int number) {
  return "10.0." + std::to_string(number / 256) + "." + std::to_string(number % 256);
}

bool Eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(milliseconds(2));
  }
  return true;
}

TEST(NameResolver, ANameIsPickedUpByALaterCallAndThenKept) {
  const auto hosts = std::make_shared<SlowHostNames>();
  hosts->Put("192.0.2.1", "router1");
  hosts->Hold(true);
  NameResolver resolver(hosts);
  std::string name = "untouched";
  EXPECT_FALSE(resolver.Resolve("192.0.2.1", name));
  EXPECT_FALSE(resolver.Resolve("192.0.2.1", name));
  EXPECT_EQ(name, "untouched");
  hosts->Hold(false);
  EXPECT_TRUE(Eventually([&] { return resolver.Resolve("192.0.2.1", name); }));
  EXPECT_EQ(name, "router1");
  EXPECT_EQ(hosts->Asked, 1);
}

TEST(NameResolver, AFailureIsKeptForAWhileAndThenTriedAgain) {
  const auto hosts = std::make_shared<SlowHostNames>();
  {
    NameResolver patient(hosts);
    std::string name;
    EXPECT_FALSE(patient.Resolve("192.0.2.9", name));
    EXPECT_TRUE(Eventually([&] { return hosts->Asked == 1; }));
    for (int i = 0; i < 50; ++i) EXPECT_FALSE(patient.Resolve("192.0.2.9", name));
    EXPECT_TRUE(patient.Stop(std::chrono::seconds(10)));
    EXPECT_EQ(hosts->Asked, 1);
  }
  NameResolver quick(hosts, {.FirstRetry = milliseconds(1), .LongestRetry = milliseconds(5)});
  std::string name;
  EXPECT_FALSE(quick.Resolve("192.0.2.9", name));
  EXPECT_TRUE(Eventually([&] {
    quick.Resolve("192.0.2.9", name);
    return hosts->Asked >= 4;
  }));
  hosts->Put("192.0.2.9", "late");
  EXPECT_TRUE(Eventually([&] { return quick.Resolve("192.0.2.9", name); }));
  EXPECT_EQ(name, "late");
}

TEST(NameResolver, ANameIsAnsweredWithItsAddress) {
  NameResolver resolver(std::make_shared<SlowHostNames>());
  std::string address;
  EXPECT_TRUE(Eventually([&] { return resolver.Resolve("printer", address); }));
  EXPECT_EQ(address, "192.0.2.77");
}

TEST(NameResolver, AStormOfAddressesStaysWithinTheCache) {
  const auto hosts = std::make_shared<SlowHostNames>();
  hosts->Put("10.0.0.7", "seven");
  NameResolver resolver(hosts, {.MostAddresses = 10});
  std::string name;
  for (int i = 0; i < 1000; ++i) resolver.Resolve(AddressNumber(i), name);
  EXPECT_TRUE(Eventually([&] { return resolver.Resolve("10.0.0.7", name); }));
  EXPECT_EQ(name, "seven");
}

TEST(NameResolver, AHangingLookUpHoldsNobodyUp) {
  const auto hosts = std::make_shared<SlowHostNames>();
  hosts->Hold(true);
  {
    NameResolver resolver(hosts);
    std::string name;
    EXPECT_FALSE(resolver.Resolve("192.0.2.1", name));
    EXPECT_TRUE(Eventually([&] { return hosts->Asked == 1; }));
    EXPECT_FALSE(resolver.Stop(milliseconds(10)));
  }
  hosts->Hold(false);
  // The thread that was left behind owns the host names until it ends.
  EXPECT_TRUE(Eventually([&] { return hosts.use_count() == 1; }));
}

}  // namespace
}  // namespace korvane::intake
