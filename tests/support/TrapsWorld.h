// Everything a Traps window is given, over a real embedded store, with scripted prompts and a fake machine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/Log.h"
#include "common/ProcessState.h"
#include "intake/Intake.h"
#include "intake/Systems.h"
#include "intake/ViewServices.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/TrapFilters.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"
#include "traps/TrapsModel.h"

namespace korvane::test {

class SilentLibrary : public intake::ReceiverLibrary {
 public:
  std::int32_t StartRecvEvents(std::int32_t) override { return intake::kReceiverThreadOk; }
  std::int32_t GetEventFromList(intake::ReceivedTrap&) override { return 0; }
  std::int32_t StopRecvEvents() override { return intake::kReceiverThreadOk; }
  bool KVResolveSystemName(const std::string&, std::string&) override { return false; }
  intake::MailSettings GetDefaultMailSettings() override { return {}; }
};

// Hands what was acknowledged to the models that are open, as the frame does.
class OpenModels : public intake::ViewWindows {
 public:
  void OpenSystemTraps(const intake::System&) override {}
  void TrapsAcknowledged(const std::vector<std::int32_t>& sequenceNumbers) override {
    Told.push_back(sequenceNumbers);
    for (traps::TrapsModel* model : Models) {
      model->RemoveAcknowledged(sequenceNumbers);
    }
  }
  void SystemAcknowledged(const intake::System& system, std::int32_t beforeTime) override {
    SystemsTold.emplace_back(system.Name, beforeTime);
    for (traps::TrapsModel* model : Models) {
      model->RemoveAcknowledged(system, beforeTime);
    }
  }

  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override {
    for (traps::TrapsModel* model : Models) {
      model->NotesSaved(sequenceNumber, notes);
    }
  }

  std::vector<traps::TrapsModel*> Models;
  std::vector<std::vector<std::int32_t>> Told;
  std::vector<std::pair<std::string, std::int32_t>> SystemsTold;
};

struct TrapsWorld {
  TrapsWorld() {
    Store.Connect(Connection);
    Names.UseVerdicts(Verdicts);
    Bounds.InitialLoad = false;
    State.gLastTrapTime = 1'000'000;
  }
  TrapsWorld(const TrapsWorld&) = delete;
  TrapsWorld& operator=(const TrapsWorld&) = delete;

  void ReadRules() {
    Categories.ReloadCategoryInformation(Connection);
    Filters.LoadFilters(Connection);
    Names.ClearCache();
  }

  std::unique_ptr<traps::TrapsModel> Open(intake::WindowKind kind = intake::WindowKind::Selected,
                                          params::WindowParameters parameters = {},
                                          const intake::System* system = nullptr) {
    auto model = std::make_unique<traps::TrapsModel>(Services, Windows, kind, std::move(parameters), system);
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

  SqliteStore Store;
  FakePlatform Platform;
  ProcessState State;
  Log DebugLog{State};
  ScriptedPrompts Prompts;
  RecordingBusy Busy;
  store::Connection Connection;
  store::TrapNames Names{Connection};
  params::CategoryInformation Categories;
  params::TrapFilters Filters;
  params::DefinitionVerdicts Verdicts{Filters, Categories};
  intake::Systems SystemList;
  intake::LoadBounds Bounds;
  SilentLibrary Library;
  OpenModels Windows;
  TempFolder InstallFolder;
  intake::ViewServices Services{Connection,
                                Names,
                                Categories,
                                SystemList,
                                Bounds,
                                State,
                                Prompts,
                                Busy,
                                DebugLog,
                                Platform.Clock,
                                Platform.Settings,
                                Library,
                                Platform.Programs,
                                InstallFolder.Path().string(),
                                [this](store::ConnectionOptions) {
                                  auto connection = std::make_unique<store::Connection>();
                                  Store.Connect(*connection);
                                  return connection;
                                }};
};

inline std::vector<std::int32_t> Numbers(const traplist::TrapRows& rows) {
  std::vector<std::int32_t> numbers;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    numbers.push_back(rows.SequenceNumberAt(row));
  }
  return numbers;
}

}  // namespace korvane::test
