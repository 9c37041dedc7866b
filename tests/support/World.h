// The console without its windows, over a real store: what every room's models, forms and windows are given,
// with scripted prompts, a fake machine, and a receiver library that delivers what a test puts into its list.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/Desk.h"
#include "intake/Intake.h"
#include "intake/StoreChanges.h"
#include "intake/Systems.h"
#include "intake/ViewWindows.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/TrapFilters.h"
#include "reports/ReportServices.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"
#include "systems/SystemAcknowledge.h"
#include "systems/SystemsModel.h"
#include "traps/TrapsModel.h"
#include "traps/TrapsServices.h"

namespace korvane::test {

class FakeLibrary : public intake::ReceiverLibrary {
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
  std::int32_t StopRecvEvents() override {
    return Feeder != nullptr ? Feeder->StopRecvEvents() : intake::kReceiverThreadOk;
  }
  bool KVResolveSystemName(const std::string& address, std::string& name) override {
    Asked.push_back(address);
    name = Names[address];
    return !name.empty();
  }
  intake::LinkState State() const override { return Feeder != nullptr ? Feeder->State() : Link; }
  intake::MailSettings GetDefaultMailSettings() override {
    return {.SmtpServer = "mail.example.net", .Recipient = "root@example.net", .Domain = "example.net"};
  }

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
  intake::LinkState Link;
  intake::ReceiverLibrary* Feeder = nullptr;  // whose thread the intake uses in place of the list
};

// These numbers, as an acknowledgement elsewhere names them.
inline std::vector<store::TrapSelection> Selected(std::vector<std::int32_t> numbers) {
  return {store::SelectionOf(std::move(numbers))};
}

// Hands what was acknowledged or written to the models that are open, as the frame does.
class OpenModels : public intake::ViewWindows, public intake::TrapsWindows {
 public:
  void OpenSystemTraps(const intake::System& system) override { Opened.push_back(system.Name); }
  void TrapsAcknowledged(std::span<const store::TrapSelection> traps) override {
    for (const store::TrapSelection& some : traps) {
      Told.push_back(some.Source ? *some.Source : store::NumbersText(some.Numbers));
    }
    for (traps::TrapsModel* model : Models) {
      model->RemoveAcknowledged(traps);
    }
    if (Counts != nullptr) {
      Counts->TrapsAcknowledged(traps);
    }
  }
  void ReloadTraps() override {
    ++Reloads;
    Reload();
  }
  void NotesChanged(std::int32_t sequenceNumber, std::string_view notes, const store::ChangeStamp&) override {
    NotesSaved(sequenceNumber, notes);
  }
  void Changed(const store::Change&) override {}
  void StoreReplaced() override { ++Replaced; }
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override {
    for (traps::TrapsModel* model : Models) {
      model->NotesSaved(sequenceNumber, notes);
    }
  }
  std::vector<intake::TrapsWindow*> InCreationOrder() override { return {Models.begin(), Models.end()}; }

  std::vector<traps::TrapsModel*> Models;
  systems::SystemsModel* Counts = nullptr;  // told of acknowledged numbers as well, when set
  std::vector<std::string> Opened;
  std::vector<std::string> Told;  // numbers, or the source
  int Reloads = 0;
  int Replaced = 0;
  std::function<void()> Reload = [] {};
};

class ScriptedViewOption : public systems::ViewOptionQuestion {
 public:
  intake::ViewOption AskViewOption(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps) override {
    Asked.emplace_back(unacknowledgedTraps, maxViewTraps);
    Meanwhile();
    return Answer;
  }
  intake::ViewOption Answer = intake::ViewOption::LoadRecentTraps;
  std::function<void()> Meanwhile = [] {};
  std::vector<std::pair<std::int64_t, std::int32_t>> Asked;
};

// As it stands before the counts were loaded.
struct World {
  explicit World(store::Engine engine = store::Engine::Sqlite) : Made(MakeStore(engine)) { Begin(); }
  explicit World(TestStore& store) : Store(store) { Begin(); }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  void ReadRules() {
    Categories.ReloadCategoryInformation(Connection);
    Filters.LoadFilters(Connection);
    Names.ClearCache();
  }

  // Every trap whose specific code is the severity gets that severity.
  void UseSpecificCodesAsSeverities() {
    for (std::int32_t severity = 1; severity <= 5; ++severity) {
      const StoredCriterion criterion{.SpecificTrap = severity, .Severity = severity};
      Store.AddCategory("Severity " + std::to_string(severity), std::span(&criterion, 1));
    }
    ReadRules();
  }
  void HideSource(const std::string& source) {
    Store.AddFilter({.Source_Agent = source});
    ReadRules();
  }

  // Traps of one second each, numbered and timed from `from` on.
  void AddStored(int count, std::int32_t from = 1, const std::string& source = "router1") {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = from; number < from + count; ++number) {
      traps.push_back({.SequenceNumber = number, .EventTime = number, .Source = source});
    }
    Store.AddTraps(traps);
  }

  std::unique_ptr<traps::TrapsModel> Open(traps::WindowKind kind = traps::WindowKind::Selected,
                                          params::WindowParameters parameters = {},
                                          const intake::System* system = nullptr) {
    auto model = std::make_unique<traps::TrapsModel>(ForTraps, Windows, kind, std::move(parameters), system);
    Windows.Models.push_back(model.get());
    return model;
  }

  const intake::System& AddSystem(const std::string& source) {
    return SystemList.At(SystemList.SystemOfSource(source));
  }

  // As the intake hands a stored trap over: completed, counted in the mark, and to nobody when filtered.
  void Deliver(const StoredTrap& stored, std::initializer_list<intake::TrapsWindow*> windows) {
    store::IncomingTrap trap;
    const std::string varBinds = stored.EventDescription + stored.Event_ExtDescr;
    trap.Source = stored.Source;
    trap.EnterpriseOid = stored.EnterpriseOid;
    trap.VarBinds = varBinds;
    trap.DescriptionLength = stored.EventDescription.size();
    trap.SpecificTrap = stored.SpecificTrap;
    trap.GenericTrap = stored.GenericTrap;
    trap.EventTime = stored.EventTime;
    trap.SequenceNumber = stored.SequenceNumber;
    State.gLastTrapTime = std::max(State.gLastTrapTime, stored.EventTime);
    intake::CompleteStoredTrap(trap, SystemList, Names);
    intake::NoteDelivered(Bounds, trap.EventTime, trap.SequenceNumber);
    if (trap.Filtered) {
      return;
    }
    for (intake::TrapsWindow* window : windows) {
      window->PublicAddTraps(trap);
    }
  }

  // What the store holds of a trap's acknowledgement.
  bool IsAcknowledged(std::int32_t sequenceNumber) {
    return Store.Number("SELECT EventAck FROM EventTrap WHERE SequenceNumber = " +
                        std::to_string(sequenceNumber)) == 1;
  }

  // What the Systems window counts for a system; -1: it has no row.
  std::int64_t TotalOf(const std::string& name) {
    const std::size_t index = SystemList.FindSystem(name);
    if (index == intake::Systems::kNone) {
      return -1;
    }
    const auto row = Model.RowOfSystem(SystemList.At(index));
    return row ? Model.Row(*row).Total() : -1;
  }

  // A connection of one's own.
  std::unique_ptr<store::Connection> OpenConnection(store::ConnectionOptions = {}) {
    auto connection = std::make_unique<store::Connection>();
    Store.Connect(*connection);
    return connection;
  }

  std::unique_ptr<TestStore> Made;
  TestStore& Store{*Made};
  FakePlatform Platform;
  ProcessState State;
  Log DebugLog{State};
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  StripLines Strip{Platform.Clock, DebugLog};
  korvane::Desk Desk{State, Prompt, Busy, DebugLog, Platform.Clock, Platform.Settings, Strip};
  store::Connection Connection;
  params::TrapFilters Filters;
  params::CategoryInformation Categories;
  params::DefinitionVerdicts Verdicts{Filters, Categories};
  store::TrapNames Names{Connection};
  intake::Systems SystemList;
  intake::LoadBounds Bounds;
  intake::StoredTraps Stored{Desk, Connection, Names, SystemList, Bounds};
  FakeLibrary Library;
  OpenModels Windows;
  TempFolder InstallFolder;
  traplist::ReportPrinter Printer{Desk, Platform.Programs, InstallFolder.Path().string()};
  intake::StoreChanges ChangesOfStore{Desk, Connection, Names, SystemList, Bounds, Filters, Categories};
  systems::SystemAcknowledge Acknowledge{Desk, Connection, ChangesOfStore};
  traps::TrapsServices ForTraps{Desk,       Connection, Names,          Categories,  Filters, Bounds,
                                SystemList, Stored,     ChangesOfStore, Acknowledge, Printer};
  reports::ReportServices ForReports{
      Desk,       Connection, [this](store::ConnectionOptions options) { return OpenConnection(options); },
      Names,      Categories, Filters,
      SystemList, Printer};
  ScriptedViewOption Question;
  systems::SystemsModel Model{Desk, Connection, SystemList, Bounds, Stored, Library, Question};
  intake::Intake Intake{Library, Names, SystemList, Model, Windows, ChangesOfStore, State, Prompt, DebugLog};

 private:
  void Begin() {
    Store.Connect(Connection);
    Names.UseVerdicts(Verdicts);
    Model.AttachIntake(Intake);
    ChangesOfStore.Attach(Windows, Model, Windows);
    Bounds.Settled = true;
  }
};

// As it stands while the operator works.
struct LoadedWorld : World {
  LoadedWorld() {
    Bounds.InitialLoad = false;
    State.gLastTrapTime = 1'000'000;
  }
};

inline std::vector<std::int32_t> Numbers(const traplist::TrapRows& rows) {
  std::vector<std::int32_t> numbers;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    numbers.push_back(rows.SequenceNumberAt(row));
  }
  return numbers;
}

}  // namespace korvane::test
