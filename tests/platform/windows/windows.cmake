# The service library that a machine may have, one that lacks a call, and a program that writes down its arguments.
foreach(library KvsIns Incomplete)
  add_library(${library} MODULE ${CMAKE_CURRENT_LIST_DIR}/StandInLibrary.cpp)
  target_link_libraries(${library} PRIVATE korvane_options oleaut32)
  set_target_properties(${library} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin UNITY_BUILD OFF)
endforeach()
target_compile_definitions(Incomplete PRIVATE WITHOUT_MAIL_SETTINGS)
add_executable(recorder ${CMAKE_CURRENT_LIST_DIR}/Recorder.cpp)
target_link_libraries(recorder PRIVATE korvane_options)

korvane_test(platform_windows_tests
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/MachineTest.cpp ${CMAKE_CURRENT_LIST_DIR}/ServiceLibraryTest.cpp
  WINDOWS_CASES *)
add_dependencies(platform_windows_tests KvsIns Incomplete recorder)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_custom_command(TARGET platform_windows_tests POST_BUILD VERBATIM
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/cmake/small-addresses.py $<TARGET_FILE:platform_windows_tests>)
