# The console of the trials in tests/weather/cluster.
add_executable(weather_console ${CMAKE_SOURCE_DIR}/tests/weather/cluster/console.cpp)
target_link_libraries(weather_console PRIVATE korvane_options korvane_windows korvane_test_support)
