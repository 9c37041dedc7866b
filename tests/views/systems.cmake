korvane_test(views_systems_test
  SOURCES CountedTrapsTest.cpp SystemsTest.cpp SystemsModelTest.cpp
  LABELS core)
korvane_windows_test(views_devices_test
  SOURCES DevicesTest.cpp ViewOptionsTest.cpp
  LABELS windows)
