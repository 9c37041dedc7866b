korvane_test(views_systems_test
  SOURCES CountedTrapsTest.cpp SystemsTest.cpp SystemsModelTest.cpp
  LABELS core)
korvane_test(views_engines_test
  SOURCES ReportsOnEnginesTest.cpp SystemsOnEnginesTest.cpp
  LABELS core
  PROPERTIES FIXTURES_REQUIRED database_servers)
korvane_windows_test(views_devices_test
  SOURCES DevicesTest.cpp ViewOptionsTest.cpp
  LABELS windows)
