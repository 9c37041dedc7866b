# Traps windows: loading, a burst, acknowledging.
foreach(measurement load_million burst acknowledge)
  add_executable(bench_${measurement} ${CMAKE_CURRENT_SOURCE_DIR}/${measurement}.cpp)
  target_include_directories(bench_${measurement} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(bench_${measurement} PRIVATE korvane_options korvane_core korvane_test_support)
endforeach()
find_package(PkgConfig REQUIRED)
pkg_check_modules(ODBC REQUIRED IMPORTED_TARGET odbc)
# The bare block fetch is written on the driver manager's own calls.
target_link_libraries(bench_load_million PRIVATE PkgConfig::ODBC)
