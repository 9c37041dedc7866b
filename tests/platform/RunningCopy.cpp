// A copy of the console as far as later starts can tell: RunningCopy FOLDER TITLE.  Writes "first" or
// "second"; the first one shows a minimised window and lives until it is killed or its input ends.
#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdio>

#include "platform/qt/QtRunningInstance.h"

namespace {

void Say(const char* line) {
  std::puts(line);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList arguments = QApplication::arguments();
  if (arguments.size() != 3) {
    return 2;
  }
  // All copies of one test try at the same moment: when their input says so.
  std::getchar();
  korvane::platform::QtRunningInstance instance(arguments[1]);
  if (instance.PreviousInstanceExists()) {
    Say("second");
    return 0;
  }
  QWidget splash;
  splash.setWindowTitle(QStringLiteral("Splash"));
  splash.show();
  QWidget window;
  window.setWindowTitle(arguments[2]);
  window.showMinimized();
  QTimer states;
  QObject::connect(&states, &QTimer::timeout, &window, [&window, last = QString()]() mutable {
    const QString state = window.isMinimized()   ? QStringLiteral("minimised")
                          : window.isMaximized() ? QStringLiteral("maximised")
                                                 : QStringLiteral("normal");
    if (state != last) {
      Say(state.toLatin1().constData());
      last = state;
    }
  });
  states.start(5);
  Say("first");
  return QApplication::exec();
}
