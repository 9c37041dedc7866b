// The console without its windows: real connection, feeder, intake, categories, Systems model, Traps models
// and reports, put together as at start-up.  A test drives the ticks.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "alerts/AlertServices.h"
#include "categories/CategoryServices.h"
#include "config/ConfigServices.h"
#include "intake/Intake.h"
#include "intake/StoreFeeder.h"
#include "intake/StoredTraps.h"
#include "intake/Systems.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "reports/ReportModel.h"
#include "store/TrapNames.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"
#include "systems/SystemsModel.h"
#include "traps/TrapsModel.h"
#include "traps/TrapsServices.h"

namespace korvane::test {

class HeadlessConsole : private intake::ViewWindows,
                        private intake::TrapsWindows,
                        private categories::CategorisedWindows,
                        private systems::ViewOptionQuestion {
 public:
  explicit HeadlessConsole(const TestStore& source) : source_(source) {
    state_.gMaxViewTraps = 10'000;
    source.Connect(connection_);
    systems_.LoadSystems(connection_);
    categories_.ReloadCategoryInformation(connection_);
    filters_.LoadFilters(connection_);
    names_.UseVerdicts(verdicts_);
    model_.AttachIntake(intake_);
    model_.Load();
    OpenWindow({.WindowName = "All Traps "});
  }
  ~HeadlessConsole() override { feeder_.StopRecvEvents(); }
  HeadlessConsole(const HeadlessConsole&) = delete;
  HeadlessConsole& operator=(const HeadlessConsole&) = delete;

  traps::TrapsModel& OpenWindow(params::WindowParameters parameters) {
    intake::ViewWindows& windows = *this;
    windows_.push_back(std::make_unique<traps::TrapsModel>(forTraps_, windows, traps::WindowKind::Selected,
                                                           std::move(parameters)));
    windows_.back()->Reset();
    return *windows_.back();
  }

  // Loads a report of all times to its end.
  std::unique_ptr<reports::ReportModel> LoadReport(params::WindowParameters parameters) {
    constexpr auto kForever = std::numeric_limits<std::int32_t>::max();
    auto report = std::make_unique<reports::ReportModel>(
        forReports_,
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

  // What the frame gives the windows of categories, the dialogs of new windows, and the commands on files.
  categories::CategoryServices ForCategories() {
    return {.Shared = connection_,
            .OpenConnection = [this](store::ConnectionOptions) { return Connect(); },
            .Names = names_,
            .Categories = categories_,
            .Prompt = prompts_,
            .Busy = busy_,
            .Clock = machine_.Clock,
            .Settings = machine_.Settings,
            .Windows = *this};
  }
  params::StoredParametersLists Lists() { return {connection_, names_}; }
  ScriptedPrompts& Prompt() { return prompts_; }

  void Tick() { model_.CheckTraps(); }
  const traps::TrapsModel& AllTraps() const { return *windows_.front(); }
  traps::TrapsModel& AllTraps() { return *windows_.front(); }
  systems::SystemsModel& SystemsWindow() { return model_; }

  // For the dialogs of the frame, over this console's connection and the given registry and services.
  alerts::AlertServices ForAlerts(platform::RegistryStore& registry) {
    return {.Connection = connection_,
            .Names = names_,
            .Prompt = prompts_,
            .Registry = registry,
            .Settings = machine_.Settings,
            .Library = feeder_};
  }
  config::ConfigServices ForConfiguration(platform::RegistryStore& registry,
                                          platform::ServiceControl& services) {
    return {.Registry = registry,
            .Services = services,
            .Clock = machine_.Clock,
            .Prompt = prompts_,
            .Busy = busy_};
  }

  // The SequenceNumbers of a window's rows, sorted; one that stands there twice is there twice.
  static std::vector<std::int32_t> NumbersOf(const traps::TrapsModel& window) {
    std::vector<std::int32_t> numbers;
    for (std::uint32_t row = 0; row < window.Rows().Count(); ++row) {
      numbers.push_back(window.Rows().SequenceNumberAt(row));
    }
    std::ranges::sort(numbers);
    return numbers;
  }

  std::int64_t CountedTraps() const {
    std::int64_t total = 0;
    for (std::size_t row = 0; row < model_.RowCount(); ++row) {
      total += model_.Row(row).Total();
    }
    return total;
  }

 private:
  void OpenSystemTraps(const intake::System&) override {}
  void TrapsAcknowledged(const std::vector<std::int32_t>& numbers) override {
    for (auto& window : windows_) {
      window->RemoveAcknowledged(numbers);
    }
    model_.TrapsAcknowledged(numbers);
  }
  void SystemAcknowledged(const intake::System& system, std::int32_t beforeTime) override {
    for (auto& window : windows_) {
      window->RemoveAcknowledged(system, beforeTime);
    }
    model_.SystemAcknowledged(system, beforeTime);
  }
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override {
    for (const auto& window : windows_) {
      window->NotesSaved(sequenceNumber, notes);
    }
  }
  std::vector<intake::TrapsWindow*> InCreationOrder() override {
    std::vector<intake::TrapsWindow*> open;
    for (auto& window : windows_) {
      open.push_back(window.get());
    }
    return open;
  }
  void CategoriesChanged() override {
    std::vector<intake::StoredTrapsTaker*> takers = {&model_};
    for (auto& window : windows_) {
      takers.push_back(window.get());
    }
    stored_.Load(takers);
  }
  intake::ViewOption AskViewOption(std::int64_t, std::int32_t) override {
    return intake::ViewOption::LoadRecentTraps;
  }
  intake::StoreFeederOptions QuickFeeder() {
    intake::StoreFeederOptions options;
    options.KnownNumber = [this] { return bounds_.StartNumber; };
    options.PollInterval = std::chrono::milliseconds(50);
    options.FirstRetry = std::chrono::milliseconds(50);
    options.LongestRetry = std::chrono::milliseconds(200);
    return options;
  }
  std::unique_ptr<store::Connection> Connect() const {
    auto connection = std::make_unique<store::Connection>();
    source_.Connect(*connection);
    return connection;
  }

  const TestStore& source_;
  FakePlatform machine_;
  ScriptedPrompts prompts_;
  RecordingBusy busy_;
  ProcessState state_;
  Log log_{state_};
  store::Connection connection_;
  store::TrapNames names_{connection_};
  params::TrapFilters filters_;
  params::CategoryInformation categories_;
  params::DefinitionVerdicts verdicts_{filters_, categories_};
  intake::Systems systems_;
  intake::LoadBounds bounds_;
  intake::StoreFeeder feeder_{
      [this] { return Connect(); },
      std::make_shared<FakeHostNames>(),
      {.SmtpServer = "mail.example.net", .Recipient = "root@example.net", .Domain = "example.net"},
      QuickFeeder()};
  Desk desk_{state_, prompts_, busy_, log_, machine_.Clock, machine_.Settings};
  intake::StoredTraps stored_{desk_, connection_, names_, systems_, bounds_};
  systems::SystemAcknowledge acknowledge_{desk_, connection_, bounds_};
  traplist::ReportPrinter printer_{desk_, machine_.Programs, {}};
  traps::TrapsServices forTraps_{desk_,   connection_, names_,       categories_,
                                 bounds_, stored_,     acknowledge_, printer_};
  reports::ReportServices forReports_{
      desk_,    connection_, [this](store::ConnectionOptions) { return Connect(); }, names_, categories_,
      systems_, printer_};
  systems::SystemsModel model_{desk_, connection_, systems_, bounds_, stored_, feeder_, *this};
  intake::Intake intake_{feeder_, names_, systems_, model_, *this, state_, prompts_, log_};
  std::vector<std::unique_ptr<traps::TrapsModel>> windows_;
};

}  // namespace korvane::test
