korvane_test(views_traps_test
  SOURCES CsvExportTest.cpp PrintedReportTest.cpp TrapDetailTest.cpp TrapFinderTest.cpp TrapRowsTest.cpp
          TrapsModelTest.cpp TrapsReloadTest.cpp ReportModelTest.cpp
  LABELS core)
korvane_windows_test(views_frmtraps_test
  SOURCES FindBarTest.cpp ReportWindowTest.cpp TrapDetailWindowTest.cpp TrapsWindowTest.cpp
  LABELS windows)
korvane_windows_test(views_setreport_test
  SOURCES SetReportTest.cpp
  LABELS windows)
