#include <QApplication>
#include <clocale>
#include <string>

#include "app/ConsoleApp.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtPrompts.h"
#include "common/qt/QtText.h"
#include "platform/ApplicationTitle.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtNotifications.h"
#include "platform/qt/QtRunningInstance.h"
#include "platform/qt/QtSettings.h"

namespace {

std::string CommandLine(int argc, char** argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    line += (line.empty() ? "" : " ") + std::string(argv[i]);
  }
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace korvane;
  const std::string commandLine = CommandLine(argc, argv);  // the toolkit takes its own options out
  QApplication application(argc, argv);
  // Dates follow the user's locale; numbers, which drivers read and write too, do not.
  std::setlocale(LC_NUMERIC, "C");
  QApplication::setApplicationName(ToQString(platform::kApplicationTitle));
  QApplication::setDesktopFileName(QStringLiteral("korvane-console"));
  QApplication::setQuitOnLastWindowClosed(false);
  ApplyKorvaneStyle(application);

  const auto registry = platform::MakeRegistryFile();
  const auto groups = platform::MakeAccountGroups();
  const auto sockets = platform::MakeSockets();
  const auto services = platform::MakeServiceControl();
  const auto programs = platform::MakePrograms();
  const auto directories = platform::MakeDirectories();
  const auto clock = platform::MakeClock();
  platform::QtSettings settings;
  platform::QtRunningInstance instance;
  platform::QtNotifications notifications;
  QtPrompts prompts;
  app::ConsoleApp console({.Registry = *registry,
                           .Settings = settings,
                           .Groups = *groups,
                           .Instance = instance,
                           .Sockets = *sockets,
                           .Services = *services,
                           .Programs = *programs,
                           .Directories = *directories,
                           .Clock = *clock,
                           .Names = platform::MakeHostNames(),
                           .Notifications = notifications,
                           .Prompt = prompts,
                           .End = [] { QCoreApplication::exit(0); }});
  switch (console.Start(commandLine)) {
    case app::StartupResult::Running:
      return QApplication::exec();
    case app::StartupResult::PreviousInstance:
      return 0;
    case app::StartupResult::Failed:
      return 1;
  }
  return 1;
}
