// The start of the console: from the splash window to the shown main window, in a fixed order.  A step that
// fails shows its one message, with the splash closed before it, and nothing after it is done; nothing is
// retried.  Message and cause go to stderr too, for whoever starts it by a script, and to the log.  Called
// once by ConsoleApp, on the user-interface thread.
#pragma once

#include <string>
#include <string_view>

#include "app/StartupParts.h"
#include "common/Log.h"
#include "common/ProcessState.h"
#include "common/Prompts.h"
#include "platform/Platform.h"

namespace korvane::app {

struct StartupServices {
  platform::RunningInstance& Instance;
  platform::AccountGroups& Groups;
  platform::RegistryStore& Registry;
  platform::Directories& Directories;
  platform::SettingsStore& Settings;
  platform::Sockets& Sockets;
  platform::Clock& Clock;
  Prompts& Prompt;
  Log& DebugLog;
  ProcessState& State;
  SharedStore& Store;
  SplashWindow& Splash;
  MainWindowMaker& Windows;
};

// Anything but Running: the process ends.
enum class StartupResult { Running, PreviousInstance, Failed };

class Startup {
 public:
  explicit Startup(const StartupServices& services) : services_(services) {}

  // commandLine: the arguments without the program's own name, joined by blanks.
  StartupResult Main(std::string_view commandLine);

 private:
  StartupResult LeaveToPreviousInstance();
  StartupResult Fail(std::string_view text, std::string_view cause = {});
  StartupResult FailForSupport(std::string_view reason, std::string_view cause = {});
  StartupResult LoadMainWindow(MainWindow& window);
  void InitialiseState();

  StartupServices services_;
};

}  // namespace korvane::app
