#include <QApplication>
#include <QSocketNotifier>
#include <clocale>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "app/CommandLine.h"
#include "app/ConsoleApp.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtPrompts.h"
#include "common/qt/QtText.h"
#include "common/qt/TextTranslator.h"
#include "platform/ApplicationTitle.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtNotifications.h"
#include "platform/qt/QtRunningInstance.h"
#include "platform/qt/QtSettings.h"

namespace {

constexpr int kNoDisplay = 1;

std::string CommandLine(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += (line.empty() ? "" : " ") + argument;
  }
  return line;
}

// Without a display the toolkit complains at length and aborts; whoever started the console by hand or by a
// script gets one sentence and a status instead.
void SayThatThereIsNoDisplay(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  if (type == QtFatalMsg) {
    const QByteArray x11 = qgetenv("DISPLAY");
    const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
    const std::string between = wayland.isEmpty() || x11.isEmpty() ? "" : ", ";
    const std::string names = wayland.toStdString() + between + x11.toStdString();
    std::fprintf(stderr, "korvane-console needs a desktop and could not open its display (%s).\n",
                 names.empty() ? "neither DISPLAY nor WAYLAND_DISPLAY is set" : names.c_str());
    std::fflush(nullptr);
    std::_Exit(kNoDisplay);
  }
  if (!std::string_view(context.category).starts_with("qt.qpa.")) {
    std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, text)));
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace korvane;
  const std::vector<std::string> arguments(argv + 1, argv + argc);  // the toolkit takes its own options out
  if (const auto answer = app::AnswerAtOnce(arguments)) {
    std::fputs(answer->Text.c_str(), answer->Status == 0 ? stdout : stderr);
    return answer->Status;
  }
  const QtMessageHandler usual = qInstallMessageHandler(SayThatThereIsNoDisplay);
  QApplication application(argc, argv);
  qInstallMessageHandler(usual);
  // Dates follow the user's locale; numbers, which drivers read and write too, do not.
  std::setlocale(LC_NUMERIC, "C");
  QApplication::setApplicationName(ToQString(platform::kApplicationTitle));
  QApplication::setDesktopFileName(QStringLiteral("korvane-console"));
  QApplication::setQuitOnLastWindowClosed(false);
  ApplyKorvaneStyle(application);
  InstallTranslations(application);

  const auto registry = platform::MakeRegistryFile();
  const auto groups = platform::MakeAccountGroups();
  const auto sockets = platform::MakeSockets();
  const auto services = platform::MakeServiceControl();
  const auto programs = platform::MakePrograms();
  const auto directories = platform::MakeDirectories();
  const auto clock = platform::MakeClock();
  platform::QtSettings settings;
  platform::QtRunningInstance instance(
      platform::MakeUserLock(ToUtf8(platform::QtRunningInstance::UserFolder())));
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
  switch (console.Start(CommandLine(arguments))) {
    case app::StartupResult::Running:
      break;
    case app::StartupResult::PreviousInstance:
      return 0;
    case app::StartupResult::Failed:
      return 1;
  }
  // Only now is there something to save; before, a signal ends the process at once.
  QSocketNotifier endAsked(platform::CatchEndSignals(), QSocketNotifier::Read);
  QObject::connect(&endAsked, &QSocketNotifier::activated, &application, [&endAsked, &console] {
    endAsked.setEnabled(false);
    console.EndUnasked();
  });
  return QApplication::exec();
}
