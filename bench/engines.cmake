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
# Stores that grow.
if(SQLITE3_FOUND AND TARGET kvreceiver)
  add_executable(bench_history ${CMAKE_CURRENT_SOURCE_DIR}/history.cpp ${CMAKE_CURRENT_SOURCE_DIR}/BenchHistory.cpp)
  target_include_directories(bench_history PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_definitions(bench_history PRIVATE SERVERS_STATE="${CMAKE_BINARY_DIR}/database-servers.ini")
  target_link_libraries(bench_history PRIVATE korvane_options korvane_receiver korvane_test_support PkgConfig::SQLITE3)
endif()
# The console of bench/soak.
if(KORVANE_WINDOWS)
  add_executable(bench_soak_console ${CMAKE_CURRENT_SOURCE_DIR}/soak_console.cpp)
  target_link_libraries(bench_soak_console PRIVATE korvane_options korvane_windows korvane_test_support)
endif()
