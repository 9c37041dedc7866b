#include "intake/NameResolver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "support/Processes.h"

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
  EXPECT_TRUE(test::WaitUntil([&] { return resolver.Resolve("192.0.2.1", name); }));
  EXPECT_EQ(name, "router1");
  EXPECT_EQ(hosts->Asked, 1);
  EXPECT_TRUE(test::WaitUntil([&] { return resolver.Resolve("printer", name); }));  // and names by address
  EXPECT_EQ(name, "192.0.2.77");
}

TEST(NameResolver, AFailureIsKeptForAWhileAndThenTriedAgain) {
  const auto hosts = std::make_shared<SlowHostNames>();
  {
    NameResolver patient(hosts);
    std::string name;
    EXPECT_FALSE(patient.Resolve("192.0.2.9", name));
    EXPECT_TRUE(test::WaitUntil([&] { return hosts->Asked == 1; }));
    for (int i = 0; i < 50; ++i) EXPECT_FALSE(patient.Resolve("192.0.2.9", name));
    EXPECT_TRUE(patient.Stop(std::chrono::seconds(10)));
    EXPECT_EQ(hosts->Asked, 1);
  }
  NameResolver quick(hosts, {.FirstRetry = milliseconds(1), .LongestRetry = milliseconds(5)});
  std::string name;
  EXPECT_FALSE(quick.Resolve("192.0.2.9", name));
  EXPECT_TRUE(test::WaitUntil([&] {
    quick.Resolve("192.0.2.9", name);
    return hosts->Asked >= 4;
  }));
  hosts->Put("192.0.2.9", "late");
  EXPECT_TRUE(test::WaitUntil([&] { return quick.Resolve("192.0.2.9", name); }));
  EXPECT_EQ(name, "late");
}

TEST(NameResolver, AHangingLookUpHoldsNobodyUp) {
  const auto hosts = std::make_shared<SlowHostNames>();
  hosts->Hold(true);
  {
    NameResolver resolver(hosts);
    std::string name;
    EXPECT_FALSE(resolver.Resolve("192.0.2.1", name));
    EXPECT_TRUE(test::WaitUntil([&] { return hosts->Asked == 1; }));
    EXPECT_FALSE(resolver.Stop(milliseconds(10)));
  }
  hosts->Hold(false);
  // The thread that was left behind owns the host names until it ends.
  EXPECT_TRUE(test::WaitUntil([&] { return hosts.use_count() == 1; }));
}

}  // namespace
}  // namespace korvane::intake
