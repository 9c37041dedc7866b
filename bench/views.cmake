# Traps windows: loading, loading anew, a burst, acknowledging, printing, exporting, finding a text.
foreach(measurement load_million filter_reload burst acknowledge many_unacknowledged print_report csv_export quick_find)
  add_executable(bench_${measurement} ${CMAKE_CURRENT_SOURCE_DIR}/${measurement}.cpp)
  target_include_directories(bench_${measurement} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(bench_${measurement} PRIVATE korvane_options korvane_core korvane_test_support)
endforeach()
find_package(PkgConfig REQUIRED)
pkg_check_modules(ODBC REQUIRED IMPORTED_TARGET odbc)
# The bare block fetch is written on the driver manager's own calls.
foreach(measurement load_million filter_reload)
  target_link_libraries(bench_${measurement} PRIVATE PkgConfig::ODBC)
endforeach()
# Reports in their window, and copying, offscreen.
if(NOT TARGET Qt6::Widgets)
  find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets)
endif()
foreach(measurement report copy_rows)
  add_executable(bench_${measurement} ${CMAKE_CURRENT_SOURCE_DIR}/${measurement}.cpp)
  target_include_directories(bench_${measurement} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(bench_${measurement} PRIVATE korvane_options korvane_windows korvane_test_support
    PkgConfig::ODBC)
endforeach()
# The whole console, offscreen: in a storm, and over very many unacknowledged traps.
foreach(measurement console_storm console_held)
  add_executable(bench_${measurement} ${CMAKE_CURRENT_SOURCE_DIR}/${measurement}.cpp)
  target_include_directories(bench_${measurement} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(bench_${measurement} PRIVATE korvane_options korvane_windows korvane_windows_test
    korvane_test_support)
endforeach()
