#include "app/Startup.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "app/StartupChecks.h"
#include "common/RegistryValues.h"
#include "common/Services.h"
#include "common/Text.h"
#include "common/Translation.h"
#include "mainwnd/FrameCaption.h"
#include "platform/ApplicationTitle.h"

namespace korvane::app {

StartupResult Startup::Main(std::string_view commandLine) {
  services_.Splash.Show();
  if (services_.Instance.PreviousInstanceExists()) {
    return LeaveToPreviousInstance();
  }
  if (!IsUserAdministrator(services_.Groups)) {
    return Fail(Translated("You must have 'Administrator' privileges to run this program."));
  }
  std::string installPath;
  if (!GetRegistryValue(services_.Registry, platform::RegistryHive::LocalMachine, kManagerKey,
                        kInstallPathValue, installPath)) {
    return FailForSupport(Translated(
        "Could not retrieve the install path. This could be due to a failed / incomplete install or a "
        "corrupt "
        "registry. "));
  }
  // Every relative file name from here on (log, help, printed window) resolves against this directory.
  if (!services_.Directories.SetCurrentDirectory(installPath)) {
    return FailForSupport(Translated(
        "Could not set the 'Working Directory'. This could be due to a failed / incomplete install or a "
        "corrupt "
        "registry. "));
  }
  services_.State.gDebugMode = AsksForDebugMode(commandLine);

  MainWindow& window = services_.Windows.CreateMainWindow(installPath);
  if (const StartupResult loaded = LoadMainWindow(window); loaded != StartupResult::Running) {
    return loaded;
  }
  services_.Splash.Close();
  window.Show();
  return StartupResult::Running;
}

StartupResult Startup::LeaveToPreviousInstance() {
  services_.Splash.Close();
  if (!ActivatePreviousInstance(services_.Instance)) {
    services_.Prompt.Show(Phrase("You are already running an instance of '"
                                 "{}"
                                 "'. Please switch to it manually as there was an error while trying to "
                                 "switch to the previous instance.",
                                 platform::kApplicationTitle),
                          PromptIcon::Exclamation);
  }
  return StartupResult::PreviousInstance;
}

StartupResult Startup::Fail(std::string_view text, std::string_view cause) {
  services_.Splash.Close();
  const std::string line = VisibleText(fmt::format("{}{}{}", text, cause.empty() ? "" : " ", cause));
  std::fprintf(stderr, "%s\n", line.c_str());
  services_.DebugLog.TryWriteLog(line);
  services_.Prompt.ShowFailure(text, cause);
  return StartupResult::Failed;
}

StartupResult Startup::FailForSupport(std::string_view reason, std::string_view cause) {
  return Fail(fmt::format("{}{}", reason, SupportSentence()), cause);
}

StartupResult Startup::LoadMainWindow(MainWindow& window) {
  window.SetPlacement(RestorePlacement(services_.Settings));
  window.SetCaption(mainwnd::kFrameCaption);
  InitialiseState();

  if (const std::string refusal = StartWinsock(services_.Sockets); !refusal.empty()) {
    return Fail(refusal);
  }
  SharedStore& store = services_.Store;
  store.OpenDatabase();
  struct Reading {
    store::ReadOutcome (SharedStore::*Read)();
    std::string_view Failure;
  };
  for (const Reading& reading :
       {Reading{&SharedStore::LoadSystems,
                Translated("Could not read system information from the Database. ")},
        {&SharedStore::ReloadCategoryInformation,
         Translated("Could not read category information from the Database. ")},
        {&SharedStore::LoadFilters, Translated("Could not read filter information from the Database. ")}}) {
    if (const store::ReadOutcome read = (store.*reading.Read)(); !read) {
      return FailForSupport(reading.Failure, read.Cause());
    }
  }
  return StartupResult::Running;
}

void Startup::InitialiseState() {
  const std::int32_t limit = ManagerNumber(services_.Registry, kMaxViewTrapsValue, kDefaultMaxViewTraps);
  services_.State.gMaxViewTraps = limit < 1 ? kDefaultMaxViewTraps : std::min(limit, kMostViewTraps);
  services_.State.gTimeZoneBias = services_.Clock.TimeZoneBiasMinutes() * 60;
}

}  // namespace korvane::app
