// A console without windows or database: every part that start-up and shutdown touch is a fake that writes
// into one call log.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "app/Shutdown.h"
#include "app/Startup.h"
#include "common/RegistryValues.h"
#include "store/DatabaseError.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

namespace korvane::test {

class FakeStore : public app::SharedStore {
 public:
  explicit FakeStore(CallLog& calls) : calls_(calls) {}

  void OpenDatabase() override { calls_.emplace_back("OpenDatabase"); }
  bool LoadSystems() override { return Read("LoadSystems"); }
  bool ReloadCategoryInformation() override { return Read("ReloadCategoryInformation"); }
  bool LoadFilters() override { return Read("LoadFilters"); }
  void SaveSystems() override { Write("SaveSystems"); }
  void Execute(std::string_view statement) override { Write("Execute " + std::string(statement)); }
  void CloseDatabase() override { calls_.emplace_back("CloseDatabase"); }
  void ReleaseLists() override { calls_.emplace_back("ReleaseLists"); }

  std::string FailingRead;
  bool WritesFail = false;

 private:
  bool Read(const std::string& name) {
    calls_.push_back(name);
    return name != FailingRead;
  }
  void Write(const std::string& call) {
    calls_.push_back(call);
    if (WritesFail) {
      throw store::DatabaseError("disk full: " + call.substr(0, call.find(' ')), "HY000", 13, call);
    }
  }
  CallLog& calls_;
};

class FakeSplash : public app::SplashWindow {
 public:
  explicit FakeSplash(CallLog& calls) : calls_(calls) {}
  void Show() override { calls_.emplace_back("Splash::Show"); }
  void Close() override { calls_.emplace_back("Splash::Close"); }

 private:
  CallLog& calls_;
};

class FakeMainWindow : public app::MainWindow, public app::MainWindowMaker {
 public:
  explicit FakeMainWindow(CallLog& calls) : calls_(calls) {}
  MainWindow& CreateMainWindow(std::string_view installPath) override {
    calls_.emplace_back("CreateMainWindow " + std::string(installPath));
    return *this;
  }
  void SetPlacement(const app::WindowPlacement& placement) override {
    calls_.emplace_back("SetPlacement");
    Placed = placement;
  }
  app::WindowPlacement Placement() const override { return Placed; }
  void SetCaption(std::string_view caption) override {
    calls_.emplace_back("SetCaption [" + std::string(caption) + "]");
  }
  void Show() override { calls_.emplace_back("MainWindow::Show"); }
  void DestroyChildren() override { calls_.emplace_back("DestroyChildren"); }

  app::WindowPlacement Placed;

 private:
  CallLog& calls_;
};

class FakeSystemsWindow : public app::SystemsWindow {
 public:
  explicit FakeSystemsWindow(CallLog& calls) : calls_(calls) {}
  void DisableTimers() override { calls_.emplace_back("DisableTimers"); }
  std::size_t RowCount() const override { return Rows.size(); }
  bool RowHasTraps(std::size_t row) const override { return Rows.at(row) > 0; }

  std::vector<int> Rows;  // traps of each row

 private:
  CallLog& calls_;
};

class CalledLibrary : public intake::ReceiverLibrary {
 public:
  explicit CalledLibrary(CallLog& calls) : calls_(calls) {}
  std::int32_t StartRecvEvents(std::int32_t) override { return intake::kReceiverThreadOk; }
  std::int32_t GetEventFromList(intake::ReceivedTrap&) override { return 0; }
  std::int32_t StopRecvEvents() override {
    calls_.emplace_back("StopRecvEvents");
    return StopAnswer;
  }
  bool KVResolveSystemName(const std::string&, std::string&) override { return false; }
  intake::MailSettings GetDefaultMailSettings() override { return {}; }

  std::int32_t StopAnswer = intake::kReceiverThreadOk;

 private:
  CallLog& calls_;
};

struct FakeConsole {
  FakeConsole() {
    Prompt.Calls = &Machine.Calls;
    Busy.Calls = &Machine.Calls;
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }

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
                         .Windows = Window})
        .Main(commandLine);
  }
  void Close() {
    app::Shutdown shutdown({.Settings = Machine.Settings,
                            .Sockets = Machine.Sockets,
                            .Prompt = Prompt,
                            .Busy = Busy,
                            .DebugLog = DebugLog,
                            .State = State,
                            .Store = Store,
                            .Library = Library});
    shutdown.QueryUnload(&Systems);
    Machine.Calls.emplace_back("unload");
    shutdown.Unload(Window);
  }
  CallLog& Calls() { return Machine.Calls; }

  FakePlatform Machine;
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  ProcessState State;
  Log DebugLog{State};
  FakeStore Store{Machine.Calls};
  FakeSplash Splash{Machine.Calls};
  FakeMainWindow Window{Machine.Calls};
  FakeSystemsWindow Systems{Machine.Calls};
  CalledLibrary Library{Machine.Calls};
};

}  // namespace korvane::test
