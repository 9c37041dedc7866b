// The console without its windows, as it stands after a start, with the real receiver link.  A test drives
// the ticks.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "intake/StoreFeeder.h"
#include "reports/ReportModel.h"
#include "support/Processes.h"
#include "support/RulesWorld.h"

namespace korvane::test {

struct HeadlessConsole : RulesWorld {
  explicit HeadlessConsole(TestStore& store) : RulesWorld(store) {
    State.gMaxViewTraps = 10'000;
    SystemList.LoadSystems(Connection);
    ReadRules();
    Model.AttachIntake(Link);
    Windows.Counts = &Model;
    Model.Load();
    OpenWindow({.WindowName = "All Traps "});
  }
  ~HeadlessConsole() override { Feeder.StopRecvEvents(); }

  traps::TrapsModel& OpenWindow(params::WindowParameters parameters) {
    Opened.push_back(Open(traps::WindowKind::Selected, std::move(parameters)));
    Opened.back()->Reset();
    return *Opened.back();
  }
  traps::TrapsModel& AllTraps() { return *Opened.front(); }
  // Ticks until "All Traps " holds as many rows.
  bool Shows(std::size_t rows) {
    return WaitUntil(
        [&] {
          Model.CheckTraps();
          return AllTraps().Rows().Count() >= rows;
        },
        std::chrono::seconds(60));
  }
  std::int64_t CountedTraps() {
    std::int64_t total = 0;
    for (std::size_t row = 0; row < Model.RowCount(); ++row) {
      total += Model.Row(row).Total();
    }
    return total;
  }

  // Loads a report of all times to its end.
  std::unique_ptr<reports::ReportModel> LoadReport(params::WindowParameters parameters) {
    constexpr auto kForever = std::numeric_limits<std::int32_t>::max();
    auto report = std::make_unique<reports::ReportModel>(
        ForReports,
        params::ReportParameters{.FromTime = 0, .ToTime = kForever, .Window = std::move(parameters)},
        reports::ReportModel::Events{.BatchesReady = [] {}, .StateChanged = [] {}});
    report->Reset();
    WaitUntil(
        [&] {
          report->TakeBatches(std::chrono::milliseconds(15));
          return report->State() != reports::ReportState::Loading;
        },
        std::chrono::seconds(60));
    EXPECT_EQ(report->State(), reports::ReportState::Complete) << report->Notice();
    return report;
  }

  void CategoriesChanged() override {
    std::vector<intake::StoredTrapsTaker*> takers = {&Model};
    takers.insert(takers.end(), Windows.Models.begin(), Windows.Models.end());
    Stored.Load(takers);
  }

  static intake::StoreFeederOptions Quick(const intake::LoadBounds& bounds) {
    intake::StoreFeederOptions options;
    options.KnownNumber = [&bounds] { return bounds.StartNumber; };
    options.PollInterval = std::chrono::milliseconds(50);
    options.FirstRetry = std::chrono::milliseconds(50);
    options.LongestRetry = std::chrono::milliseconds(200);
    return options;
  }
  intake::StoreFeeder Feeder{
      [this] { return OpenConnection(); }, std::make_shared<FakeHostNames>(), {}, Quick(Bounds)};
  intake::Intake Link{Feeder, Names, SystemList, Model, Windows, State, Prompt, DebugLog};
  std::vector<std::unique_ptr<traps::TrapsModel>> Opened;
};

}  // namespace korvane::test
