// A systems model on a real store, with a library that delivers what a test puts into its list.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "intake/Intake.h"
#include "intake/Systems.h"
#include "intake/ViewServices.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/TrapFilters.h"
#include "store/TrapNames.h"
#include "support/Engines.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"
#include "systems/SystemsModel.h"

namespace korvane::test {

class ListedLibrary : public intake::ReceiverLibrary {
 public:
  std::int32_t StartRecvEvents(std::int32_t highWaterMark) override {
    StartedAt = highWaterMark;
    return StartAnswer;
  }
  std::int32_t GetEventFromList(intake::ReceivedTrap& trap) override {
    if (List.empty()) {
      return 0;
    }
    trap = List.front();
    List.pop_front();
    return 1;
  }
  std::int32_t StopRecvEvents() override { return intake::kReceiverThreadOk; }
  bool KVResolveSystemName(const std::string& address, std::string& name) override {
    Asked.push_back(address);
    const auto found = Names.find(address);
    name = found == Names.end() ? std::string() : found->second;
    return found != Names.end();
  }
  intake::MailSettings GetDefaultMailSettings() override { return {}; }

  void Deliver(std::int32_t sequenceNumber, std::string source, std::int32_t time) {
    List.push_back({.Source = std::move(source),
                    .EnterpriseOid = "1.3.6.1.4.1.9",
                    .SpecificTrap = 1,
                    .VarBindsFirst = {},
                    .VarBindsSecond = {},
                    .SequenceNumber = sequenceNumber,
                    .EventDescription = "description",
                    .GenericTrap = 6,
                    .EventTime = time,
                    .TimeKey = time});
  }

  std::deque<intake::ReceivedTrap> List;
  std::map<std::string, std::string> Names;
  std::vector<std::string> Asked;
  std::optional<std::int32_t> StartedAt;
  std::int32_t StartAnswer = intake::kReceiverThreadOk;
};

class NoTrapsWindows : public intake::TrapsWindows {
 public:
  std::vector<intake::TrapsWindow*> InCreationOrder() override { return {}; }
};

class ScriptedViewOption : public systems::ViewOptionQuestion {
 public:
  intake::ViewOption AskViewOption(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps) override {
    Asked.emplace_back(unacknowledgedTraps, maxViewTraps);
    return Answer;
  }
  intake::ViewOption Answer = intake::ViewOption::LoadRecentTraps;
  std::vector<std::pair<std::int64_t, std::int32_t>> Asked;
};

struct SystemsFixture : testing::Test {
  explicit SystemsFixture(store::Engine engine = store::Engine::Sqlite) : Made(MakeStore(engine)) {
    Store.Connect(Connection);
    Names.UseVerdicts(Verdicts);
    Model.AttachIntake(Intake);
  }

  // Traps of one second each, numbered and timed from `from` on.
  void AddStored(int count, std::int32_t from = 1, const std::string& source = "router1") {
    std::vector<StoredTrap> traps(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      traps[static_cast<std::size_t>(i)].SequenceNumber = from + i;
      traps[static_cast<std::size_t>(i)].EventTime = from + i;
      traps[static_cast<std::size_t>(i)].Source = source;
    }
    Store.AddTraps(traps);
  }

  // Every trap whose specific code is the severity gets that severity.
  void UseSpecificCodesAsSeverities() {
    for (std::int32_t severity = 1; severity <= 5; ++severity) {
      const StoredCriterion criterion{.SpecificTrap = severity, .Severity = severity};
      Store.AddCategory("Severity " + std::to_string(severity), std::span(&criterion, 1));
    }
    ASSERT_TRUE(Categories.ReloadCategoryInformation(Connection));
    Names.ClearCache();
  }

  void HideSource(const std::string& source) {
    Store.AddFilter({.Source_Agent = source});
    ASSERT_TRUE(Filters.LoadFilters(Connection));
    Names.ClearCache();
  }

  std::int64_t TotalOf(const std::string& name) {
    const std::size_t index = SystemList.FindSystem(name);
    if (index == intake::Systems::kNone) {
      return -1;
    }
    const auto row = Model.RowOfSystem(SystemList.At(index));
    return row ? Model.Row(*row).Total() : -1;
  }

  std::unique_ptr<TestStore> Made;
  TestStore& Store{*Made};
  store::Connection Connection;
  FakePlatform Machine;
  ProcessState State;
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  Log DebugLog{State};
  ListedLibrary Library;
  NoTrapsWindows Windows;
  ScriptedViewOption Question;
  params::TrapFilters Filters;
  params::CategoryInformation Categories;
  params::DefinitionVerdicts Verdicts{Filters, Categories};
  store::TrapNames Names{Connection};
  intake::Systems SystemList;
  intake::LoadBounds Bounds;
  intake::ViewServices Services{Connection,       Names, Categories, SystemList,    Bounds,           State,
                                Prompt,           Busy,  DebugLog,   Machine.Clock, Machine.Settings, Library,
                                Machine.Programs, {},    {}};
  systems::SystemsModel Model{Services, Question};
  intake::Intake Intake{Library, Names, SystemList, Model, Windows, State, Prompt, DebugLog};
};

}  // namespace korvane::test
