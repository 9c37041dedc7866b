korvane_test(traps_test SOURCES TrapRowsTest.cpp TrapsModelTest.cpp TrapsReloadTest.cpp)
