// The one place that constructs: store, receiver link, intake and frame window, in the order in which they
// need each other, and the one place that takes them down.  main gives it the machine and runs the event
// loop; tests give it fakes.  User-interface thread only.
#pragma once

#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/ConsoleStore.h"
#include "app/FramePlace.h"
#include "app/Shutdown.h"
#include "app/Startup.h"
#include "app/UnaskedPrompts.h"
#include "app/frmSplash.h"
#include "common/Desk.h"
#include "common/Log.h"
#include "common/ProcessState.h"
#include "common/StripLines.h"
#include "common/qt/StatusText.h"
#include "intake/Intake.h"
#include "intake/LoadBounds.h"
#include "intake/ReceiverLibrary.h"
#include "intake/StoreChanges.h"
#include "intake/StoredTraps.h"
#include "mainwnd/frmMain.h"
#include "mainwnd/frmWait.h"
#include "platform/Notifications.h"
#include "platform/Platform.h"
#include "platform/ServiceLibrary.h"
#include "systems/CriticalNews.h"
#include "systems/SystemAcknowledge.h"
#include "systems/SystemsModel.h"
#include "systems/frmViewOptions.h"

namespace korvane::app {

// The machine, and who sits in front of it.  All of it outlives the console.
struct ConsoleHost {
  platform::RegistryStore& Registry;
  platform::SettingsStore& Settings;
  platform::AccountGroups& Groups;
  platform::RunningInstance& Instance;
  platform::Sockets& Sockets;
  platform::ServiceControl& Services;
  platform::Programs& Programs;
  platform::Directories& Directories;
  platform::Clock& Clock;
  std::shared_ptr<platform::HostNames> Names;
  // Null: the machine has none, and the store is followed instead.
  std::unique_ptr<platform::ServiceLibrary> Library = nullptr;
  platform::Notifications& Notifications;
  Prompts& Prompt;
  std::function<void()> End;  // ends the event loop
};

class ConsoleApp : private MainWindowMaker,
                   private SystemsWindow,
                   private mainwnd::CloseSteps,
                   private systems::ConsoleFront {
 public:
  explicit ConsoleApp(ConsoleHost host);
  ~ConsoleApp() override;

  // Anything but Running: there is nothing to run.
  StartupResult Start(std::string_view commandLine);

  // Closes as the operator would but asks nothing, as when the session ends: leaves open dialogs as their
  // Cancel does, saves, and ends the event loop.  Returns at once; the rest happens as soon as nothing is in
  // the way.
  void EndUnasked();

  // Null before start-up came that far.
  mainwnd::frmMain* Frame() const { return frame_.get(); }
  const ProcessState& State() const { return state_; }

 private:
  struct WindowServices;

  MainWindow& CreateMainWindow(std::string_view installPath) override;
  void DisableTimers() override;
  std::size_t RowCount() const override { return systems_->RowCount(); }
  std::int64_t RowTraps(std::size_t row) const override { return systems_->Row(row).Total(); }
  void CloseConsole(bool unasked) override;
  void TryToEnd();
  void EndProcess() override;
  bool InFront() const override;
  void AskForAttention() override;
  void BringToFront() override;
  std::unique_ptr<intake::ReceiverLibrary> MakeLibrary();
  std::string ListenAddresses() const;  // empty: the receiver's defaults

  // In the order of construction: each needs what stands above it.
  ConsoleHost host_;
  ProcessState state_;
  Log log_{state_};
  mainwnd::frmWait wait_;
  ConsoleStore store_{wait_};
  frmSplash splash_;
  StripLines strip_{host_.Clock, log_};
  Desk desk_{state_, host_.Prompt, wait_, log_, host_.Clock, host_.Settings, strip_, GroupedNumber};
  intake::LoadBounds bounds_;
  intake::StoredTraps stored_{desk_, store_.Database, store_.Names, store_.SystemList, bounds_};
  intake::StoreChanges changes_{desk_,   store_.Database, store_.Names,     store_.SystemList,
                                bounds_, store_.Filters,  store_.Categories};
  systems::SystemAcknowledge acknowledge_{desk_, store_.Database, changes_};
  std::unique_ptr<intake::ReceiverLibrary> library_;
  std::unique_ptr<WindowServices> windows_;
  std::unique_ptr<systems::ViewOptionQuestion> question_;
  std::unique_ptr<systems::CriticalNews> news_;
  std::unique_ptr<systems::SystemsModel> systems_;
  std::unique_ptr<mainwnd::frmMain> frame_;
  std::unique_ptr<intake::Intake> intake_;
  std::unique_ptr<FramePlace> place_;
  QTimer ending_;
};

}  // namespace korvane::app
