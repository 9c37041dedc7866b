// A console without windows, and without a database unless it is given one: every part that start-up and
// shutdown touch is a fake that writes into one call log.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/Shutdown.h"
#include "app/Startup.h"
#include "common/RegistryValues.h"
#include "store/DatabaseError.h"
#include "support/World.h"

namespace korvane::test {

struct FakeSplash : app::SplashWindow {
  explicit FakeSplash(CallLog& calls) : Calls(calls) {}
  void Show() override { Calls.emplace_back("Splash::Show"); }
  void Close() override { Calls.emplace_back("Splash::Close"); }
  CallLog& Calls;
};

struct FakeConsole : app::SharedStore,
                     app::MainWindow,
                     app::MainWindowMaker,
                     app::SystemsWindow,
                     FakeLibrary {
  explicit FakeConsole(app::SharedStore* store = nullptr, ScriptedPrompts* prompt = nullptr)
      : Store(store != nullptr ? *store : *this), Prompt(prompt != nullptr ? *prompt : OwnPrompt) {
    Prompt.Calls = &Calls;
    Busy.Calls = &Calls;
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }
  ~FakeConsole() override { Prompt.Calls = nullptr; }

  app::StartupResult Main(std::string_view commandLine = {}) {
    return app::Startup({.Instance = Machine.Instance,
                         .Groups = Machine.Groups,
                         .Registry = Machine.Registry,
                         .Directories = Machine.Directories,
                         .Settings = Machine.Settings,
                         .Sockets = Machine.Sockets,
                         .Clock = Machine.Clock,
                         .Prompt = Prompt,
                         .State = State,
                         .Store = Store,
                         .Splash = Splash,
                         .Windows = *this})
        .Main(commandLine);
  }
  void Quit() {
    app::Shutdown shutdown({.Settings = Machine.Settings,
                            .Sockets = Machine.Sockets,
                            .Prompt = Prompt,
                            .Busy = Busy,
                            .DebugLog = DebugLog,
                            .State = State,
                            .Store = Store,
                            .Library = *this});
    shutdown.QueryUnload(*this);
    Calls.emplace_back("unload");
    shutdown.Unload(*this);
  }

  void OpenDatabase() override { Calls.emplace_back("OpenDatabase"); }
  bool LoadSystems() override { return Read("LoadSystems"); }
  bool ReloadCategoryInformation() override { return Read("ReloadCategoryInformation"); }
  bool LoadFilters() override { return Read("LoadFilters"); }
  void SaveSystems() override { Write("SaveSystems"); }
  void Execute(std::string_view statement) override { Write("Execute " + std::string(statement)); }
  void CloseDatabase() override { Calls.emplace_back("CloseDatabase"); }
  void ReleaseLists() override { Calls.emplace_back("ReleaseLists"); }

  MainWindow& CreateMainWindow(std::string_view installPath) override {
    Calls.emplace_back("CreateMainWindow " + std::string(installPath));
    return *this;
  }
  void SetPlacement(const app::WindowPlacement&) override { Calls.emplace_back("SetPlacement"); }
  app::WindowPlacement Placement() const override { return {}; }
  void SetCaption(std::string_view caption) override {
    Calls.emplace_back("SetCaption [" + std::string(caption) + "]");
  }
  void Show() override { Calls.emplace_back("MainWindow::Show"); }
  void DestroyChildren() override { Calls.emplace_back("DestroyChildren"); }

  void DisableTimers() override { Calls.emplace_back("DisableTimers"); }
  std::size_t RowCount() const override { return TrapsInRows.size(); }
  bool RowHasTraps(std::size_t row) const override { return TrapsInRows.at(row) > 0; }

  std::int32_t StopRecvEvents() override {
    Calls.emplace_back("StopRecvEvents");
    return intake::kReceiverThreadOk + 1;  // that it did not stop holds nothing up
  }

  bool Read(const std::string& name) {
    Calls.push_back(name);
    return name != FailingRead;
  }
  void Write(const std::string& call) {
    Calls.push_back(call);
    if (WritesFail) {
      throw store::DatabaseError("disk full: " + call.substr(0, call.find(' ')), "HY000", 13, call);
    }
  }

  FakePlatform Machine;
  CallLog& Calls = Machine.Calls;
  FakeSplash Splash{Calls};
  RecordingBusy Busy;
  ProcessState State;
  Log DebugLog{State};
  ScriptedPrompts OwnPrompt;
  app::SharedStore& Store;
  ScriptedPrompts& Prompt;
  std::string FailingRead;
  bool WritesFail = false;
  std::vector<int> TrapsInRows;  // of the Systems window
};

}  // namespace korvane::test
