# The three engines side by side, each against its own client library.
pkg_check_modules(SQLITE3 IMPORTED_TARGET sqlite3)
pkg_check_modules(LIBPQ IMPORTED_TARGET libpq)
pkg_check_modules(LIBMARIADB IMPORTED_TARGET libmariadb)
if(SQLITE3_FOUND AND LIBPQ_FOUND AND LIBMARIADB_FOUND)
  add_executable(bench_engines ${CMAKE_CURRENT_SOURCE_DIR}/engines.cpp ${CMAKE_CURRENT_SOURCE_DIR}/NativeClient.cpp)
  target_include_directories(bench_engines PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(bench_engines PRIVATE korvane_options korvane_core korvane_test_support
    PkgConfig::ODBC PkgConfig::SQLITE3 PkgConfig::LIBPQ PkgConfig::LIBMARIADB)
endif()
