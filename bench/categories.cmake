# Categories: reading them into memory, matching traps with them.
add_executable(bench_categories ${CMAKE_CURRENT_SOURCE_DIR}/categories.cpp)
target_include_directories(bench_categories PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(bench_categories PRIVATE korvane_options korvane_core korvane_test_support PkgConfig::ODBC)
# And importing long ones.
add_executable(bench_category_import ${CMAKE_CURRENT_SOURCE_DIR}/category_import.cpp)
target_include_directories(bench_category_import PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(bench_category_import PRIVATE korvane_options korvane_core korvane_test_support PkgConfig::ODBC)
