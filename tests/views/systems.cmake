korvane_test(views_systems_test
  SOURCES CountedTrapsTest.cpp SystemsTest.cpp SystemsModelTest.cpp
  LABELS core)
# Stops and starts the servers, so nothing else may use them meanwhile.
korvane_test(views_engines_test
  SOURCES ReportsOnEnginesTest.cpp SystemsOnEnginesTest.cpp
  LABELS core
  PROPERTIES FIXTURES_REQUIRED database_servers RUN_SERIAL TRUE)
korvane_windows_test(views_devices_test
  SOURCES DevicesTest.cpp ViewOptionsTest.cpp
  LABELS windows)
