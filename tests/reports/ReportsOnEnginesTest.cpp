// Reading a report on every engine: beside writers, stopped in the middle, and with the store going away.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "reports/ReportLoader.h"
#include "support/Engines.h"
#include "support/Processes.h"

namespace korvane::reports {
namespace {

constexpr std::int32_t kTraps = 30'000;

class ReportsOnEnginesTest : public testing::TestWithParam<store::Engine> {
 protected:
  ReportsOnEnginesTest() : store_(test::MakeStore(GetParam())) {
    std::vector<test::StoredTrap> traps;
    for (std::int32_t number = 1; number <= kTraps; ++number) {
      traps.push_back({.SequenceNumber = number, .EventTime = number});
    }
    traps[20].Event_ExtDescr = std::string(3000, 'x');
    store_->AddTraps(traps);
  }

  bool Start(ReportLoader& loader) {
    return loader.Start(
        [this] {
          auto connection = std::make_unique<store::Connection>();
          store_->Connect(*connection);
          return connection;
        },
        1, kTraps, [] {});
  }
  // Takes what is there; the rows must come in order and without a gap.
  void TakeAll(ReportLoader& loader) {
    store::IncomingTrap trap;
    while (auto batch = loader.Take()) {
      for (std::size_t row = 0; row < batch->Count(); ++row) {
        batch->Get(row, trap);
        ASSERT_EQ(trap.SequenceNumber, ++taken_);
        longest_ = std::max(longest_, trap.VarBinds.size());
      }
      loader.GiveBack(std::move(batch));
    }
  }
  bool TakeUntil(ReportLoader& loader, const std::function<bool()>& condition) {
    return test::WaitUntil([&] {
      TakeAll(loader);
      return condition();
    });
  }

  std::unique_ptr<test::TestStore> store_;
  std::int32_t taken_ = 0;
  std::size_t longest_ = 0;
};

TEST_P(ReportsOnEnginesTest, ReadsBesideWritersAndStopsInTheMiddle) {
  {
    ReportLoader loader({.MostQueuedRows = 2000});
    ASSERT_TRUE(Start(loader));
    ASSERT_TRUE(TakeUntil(loader, [&] { return taken_ > 0; }));
    EXPECT_EQ(store_->Execute("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber > 29000"), 1000);
    ASSERT_TRUE(TakeUntil(loader, [&] { return loader.Ended(); }));
    EXPECT_EQ(loader.Failure(), std::nullopt);
    EXPECT_EQ(taken_, kTraps);
    EXPECT_EQ(loader.Total(), kTraps);
    EXPECT_GT(longest_, 3000U);
  }
  taken_ = 0;
  ReportLoader loader({.MostQueuedRows = 2000});
  ASSERT_TRUE(Start(loader));
  ASSERT_TRUE(TakeUntil(loader, [&] { return taken_ > 0; }));
  loader.Stop();
  EXPECT_EQ(loader.Take(), nullptr);
  // Nothing is left that would hold others up: where a reader's cursor is open this waits for it, or fails.
  EXPECT_NO_THROW(store_->Execute("ALTER TABLE EventTrap ADD COLUMN Probe INTEGER"));
}

TEST_P(ReportsOnEnginesTest, SaysSoWhenTheStoreGoesAway) {
  ReportLoader loader({.MostQueuedRows = 2000});
  ASSERT_TRUE(Start(loader));
  ASSERT_TRUE(TakeUntil(loader, [&] { return taken_ > 0; }));
  store_->TakeAway();
  EXPECT_TRUE(TakeUntil(loader, [&] { return loader.Ended(); }));
  store_->BringBack();
  // How far it comes depends on what the driver holds already.  What is missing must not pass for the end.
  EXPECT_EQ(loader.Failure().has_value(), taken_ < kTraps) << taken_ << loader.Failure().value_or("");
  if (GetParam() == store::Engine::PostgreSql) {
    EXPECT_LT(taken_, kTraps);
  }
}

INSTANTIATE_TEST_SUITE_P(, ReportsOnEnginesTest, testing::ValuesIn(test::kEngines),
                         [](const auto& engine) { return test::EngineName(engine.param); });

}  // namespace
}  // namespace korvane::reports
