// Two receivers that get the same traps, on every engine: each trap is stored once, whoever heard it.

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include <fmt/format.h>

#include "KeptLog.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/StoreWriter.h"
#include "store/EngineTest.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;

constexpr std::int32_t kNow = 1'700'000'000;

std::vector<TrapRow> Rows(const std::string& text, int first, int count, std::int32_t time = kNow) {
  std::vector<TrapRow> rows;
  for (int i = first; i < first + count; ++i) {
    rows.push_back({.EventTime = time,
                    .Source = "10.0.0.1",
                    .EnterpriseOid = "1.3.6.1.4.1.9",
                    .EventDescription = fmt::format("{} {}", text, i),
                    .Event_ExtDescr = "",
                    .InformKey = 0});
  }
  return rows;
}

// One of them: spool, writer and thread, with a gate in which it can be made to stand still.
class Member {
 public:
  Member(const std::string& dataSource, const std::filesystem::path& folder, std::atomic<std::int64_t>& clock)
      : Waits(folder), store_(dataSource), folder_(folder), clock_(clock) {}
  ~Member() { Stop(); }

  void Start() {
    const WriterOptions options{
        .BatchTime = milliseconds(5),
        .FirstPause = milliseconds(5),
        .LongestPause = milliseconds(50),
        .Stored =
            [this](std::span<const SpooledTrap> traps) {
              StoredByIt += traps.size();
              while (Frozen) std::this_thread::sleep_for(milliseconds(5));
            },
        .PassedOver = [this](std::span<const SpooledTrap> traps) { PassedOver += traps.size(); },
        .Duty = {.Group = "pair",
                 .LookEvery = milliseconds(100),
                 .Silence = milliseconds(600),
                 .Clock = [this] { return clock_.load(); }}};
    writer_.emplace(Waits, store_, Quarantine(folder_ / "quarantine.txt"), counters_, Log, options);
    thread_ = std::thread([this] { writer_->Run(); });
  }
  void Stop() {
    Frozen = false;
    if (thread_.joinable()) {
      writer_->Stop(std::chrono::seconds(5));
      thread_.join();
    }
  }
  bool Settles() {
    return test::WaitUntil([this] { return Waits.Waiting() == 0; }, std::chrono::seconds(30));
  }

  Spool Waits;
  KeptLog Log;
  std::atomic<std::uint64_t> StoredByIt = 0;
  std::atomic<std::uint64_t> PassedOver = 0;
  std::atomic<bool> Frozen = false;

 private:
  DatabaseTrapStore store_;
  std::filesystem::path folder_;
  std::atomic<std::int64_t>& clock_;
  Counters counters_;
  std::optional<StoreWriter> writer_;
  std::thread thread_;
};

class DutyTest : public store::EngineTest {
 protected:
  // Text and number of a trap are its own, but for those that are the same throughout.
  void ExpectEachOnce(int distinct, int same, const char* when) {
    EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap WHERE EventDescription <> 'same 0'"), distinct)
        << when;
    EXPECT_EQ(
        Made->Number(
            "SELECT COUNT(DISTINCT EventDescription) FROM EventTrap WHERE EventDescription <> 'same 0'"),
        distinct)
        << when;
    EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap WHERE EventDescription = 'same 0'"), same) << when;
  }
  const test::TempFolder Folder;
  std::atomic<std::int64_t> Clock = kNow;
};
using store::EngineOf;
KORVANE_ON_EVERY_ENGINE(DutyTest);

TEST_P(DutyTest, EachTrapIsStoredOnceWhoeverHeardIt) {
  Member a(Made->DataSource(), Folder / "a", Clock);
  Member b(Made->DataSource(), Folder / "b", Clock);
  const auto both = [&](const std::vector<TrapRow>& rows) {
    b.Waits.Append(rows);
    a.Waits.Append(rows);
  };
  a.Start();
  ASSERT_TRUE(test::WaitUntil([&] { return a.Log.Holds("as the first one"); }));
  b.Start();
  ASSERT_TRUE(test::WaitUntil([&] { return b.Log.Holds("this one stands by"); }));
  both(Rows("both", 0, 300));
  for (int i = 0; i < 5; ++i) both(Rows("same", 0, 1));
  ASSERT_TRUE(a.Settles() && b.Settles());
  ExpectEachOnce(300, 5, "heard by both");
  EXPECT_EQ(b.PassedOver, 305u);

  // What one alone hears: identical ones too, and the stand-by stores them when the holder is surely past.
  a.Waits.Append(Rows("a", 0, 7));
  b.Waits.Append(Rows("b", 0, 7));
  for (int i = 0; i < 2; ++i) b.Waits.Append(Rows("same", 0, 1));
  EXPECT_FALSE(test::WaitUntil([&] { return b.Waits.Waiting() < 9; }, milliseconds(200)));
  Clock = kNow + 15;
  ASSERT_TRUE(a.Settles() && b.Settles());
  ExpectEachOnce(314, 7, "heard by one");
  EXPECT_EQ(b.StoredByIt, 9u);

  // The holder stands still, right behind a transaction: the other one goes on.
  a.Frozen = true;
  both(Rows("then", 0, 1, kNow + 15));
  ASSERT_TRUE(b.Settles());
  both(Rows("meanwhile", 0, 300, kNow + 16));
  a.Waits.Append(Rows("a", 100, 3, kNow + 16));
  Clock = kNow + 16;
  ASSERT_TRUE(b.Settles());
  EXPECT_TRUE(b.Log.Holds("has shown nothing for"));
  ExpectEachOnce(615, 7, "taken over");
  a.Frozen = false;
  ASSERT_TRUE(test::WaitUntil([&] { return a.Log.Holds("was lost to the receiver"); }));
  Clock = kNow + 30;
  ASSERT_TRUE(a.Settles());
  ExpectEachOnce(618, 7, "it was fenced off");

  // An ordered end hands over at once; and whoever comes back stores nothing again.
  b.Stop();
  ASSERT_TRUE(test::WaitUntil([&] { return a.Log.Holds("handed it over"); }, milliseconds(400)));
  both(Rows("late", 0, 300, kNow + 30));
  b.Waits.Append(Rows("b", 100, 3, kNow + 30));
  ASSERT_TRUE(a.Settles());
  b.Start();
  Clock = kNow + 45;
  ASSERT_TRUE(b.Settles());
  ExpectEachOnce(921, 7, "handed over and back");
  EXPECT_EQ(a.StoredByIt + b.StoredByIt, 928u) << "alerts look at each once";

  // With the store away, and both back at the same time.
  Made->TakeAway();
  both(Rows("away", 0, 300, kNow + 45));
  b.Waits.Append(Rows("b", 200, 3, kNow + 45));
  Made->BringBack();
  Clock = kNow + 60;
  ASSERT_TRUE(a.Settles() && b.Settles());
  Db.Close();
  Made->Connect(Db);
  ExpectEachOnce(1224, 7, "the store was away");
}

TEST(TwinFilter, UsesUpTheNearestOfEqualTraps) {
  TwinFilter filter(7);
  const auto at = [](std::int32_t time, bool inform = false) {
    return TwinFilter::Trap{.Content = 1, .Time = time, .Inform = inform};
  };
  const auto take = [&](const TwinFilter::Trap& trap) {
    const std::optional<std::int32_t> difference = filter.TwinOf(trap);
    if (difference) filter.TakeTwin(trap);
    return difference;
  };
  for (const std::int32_t time : {100, 103, 103, 140}) filter.AddRow(at(time));
  EXPECT_EQ(take(at(104)), -1);
  EXPECT_EQ(take(at(104)), -1);
  EXPECT_EQ(take({.Content = 1, .Time = 104, .Earliest = 101}), std::nullopt) << "it was not there then";
  EXPECT_EQ(take(at(104)), -4);
  EXPECT_EQ(take(at(104)), std::nullopt);
  EXPECT_EQ(take({.Content = 1, .Time = 135, .Latest = 138}), std::nullopt);
  EXPECT_EQ(take(at(151)), std::nullopt);
  EXPECT_EQ(take(at(129, true)), std::nullopt);
  EXPECT_EQ(take(at(151, true)), -11) << "its sender repeated it for long";
  filter.AddOwn(at(200));
  filter.AddRow(at(201));
  EXPECT_EQ(take(at(200)), std::nullopt) << "that row is another trap's of one's own";
  TwinFilter small(7, 3);
  for (std::int32_t time = 0; time < 100; ++time) small.AddOwn(at(20 * time));
  EXPECT_TRUE(small.Full());
  small.ForgetBefore(30);
  EXPECT_FALSE(small.Full());
  small.AddRow(at(40));
  EXPECT_EQ(small.TwinOf(at(40)), std::nullopt);
}

}  // namespace
}  // namespace korvane::receiver
