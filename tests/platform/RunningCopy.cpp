// A copy of the console as far as later starts can tell: RunningCopy FOLDER USERFOLDER TITLE.  Writes "first"
// or "second"; the first one shows a minimised window, writes its state all the time and lives until it is
// killed.
#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdio>

#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtRunningInstance.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList arguments = QApplication::arguments();
  std::setbuf(stdout, nullptr);
  std::getchar();  // all copies of one test try at the same moment: when their input says so
  using namespace korvane::platform;
  QtRunningInstance instance(MakeUserLock(arguments.at(2).toStdString()), arguments.at(1));
  if (instance.PreviousInstanceExists()) {
    std::puts("second");
    return 0;
  }
  std::puts("first");
  QWidget window;
  window.setWindowTitle(arguments.at(3));
  window.showMinimized();
  QTimer states;
  QObject::connect(&states, &QTimer::timeout, &window, [&window] {
    std::puts(window.isMinimized() ? "minimised" : window.isMaximized() ? "maximised" : "normal");
  });
  states.start(20);
  return QApplication::exec();
}
