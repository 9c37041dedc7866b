// The main of every test program with windows.  The cases are listed without a QApplication, so that finding
// them needs no display; everything else runs offscreen with a private run-time directory and settings of
// its own, whatever desktop the tests are started from.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) {
    return RUN_ALL_TESTS();
  }
  const QTemporaryDir runtime;
  qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
  qputenv("XDG_CONFIG_HOME", runtime.path().toLocal8Bit());
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
