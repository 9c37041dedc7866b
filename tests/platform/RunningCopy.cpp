// A copy of the console as far as later starts can tell: RunningCopy FOLDER TITLE.  Writes "first" or
// "second"; the first one shows a minimised window, writes each state of it and lives until it is killed.
#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <string_view>

#include "platform/qt/QtRunningInstance.h"

namespace {

const char* StateOf(const QWidget& window) {
  return window.isMinimized() ? "minimised" : window.isMaximized() ? "maximised" : "normal";
}

void Say(const char* line) {
  std::puts(line);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList arguments = QApplication::arguments();
  // All copies of one test try at the same moment: when their input says so.
  std::getchar();
  korvane::platform::QtRunningInstance instance(arguments.at(1));
  if (instance.PreviousInstanceExists()) {
    Say("second");
    return 0;
  }
  QWidget window;
  window.setWindowTitle(arguments.at(2));
  window.showMinimized();
  Say("first");
  QTimer states;
  QObject::connect(&states, &QTimer::timeout, &window, [&window, last = std::string_view()]() mutable {
    if (const char* const state = StateOf(window); state != last) {
      Say(state);
      last = state;
    }
  });
  states.start(5);
  return QApplication::exec();
}
