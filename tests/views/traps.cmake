korvane_test(views_traps_test
  SOURCES TrapRowsTest.cpp TrapsModelTest.cpp TrapsReloadTest.cpp
  LABELS core)
korvane_windows_test(views_frmtraps_test
  SOURCES TrapsWindowTest.cpp
  LABELS windows)
