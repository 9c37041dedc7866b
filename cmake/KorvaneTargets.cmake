# What every target of the project shares: warnings, hardening, sanitizers, ccache, and the shape of a test.

option(KORVANE_WERROR "Stop at the first warning; off for builders whose compiler knows other ones" ON)
set(KORVANE_SANITIZE "" CACHE STRING "The sanitizers to build with: \"address,undefined\", \"thread\" or none")

find_program(KORVANE_CCACHE ccache)
if(KORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KORVANE_CCACHE})
endif()

add_library(korvane_options INTERFACE)
target_compile_options(korvane_options INTERFACE
  -Wall -Wextra -Wpedantic $<$<BOOL:${KORVANE_WERROR}>:-Werror> -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wundef -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # When it optimises, g++ 12 reports std::optional, std::string and std::vector objects that are sound.
  target_compile_options(korvane_options INTERFACE -Wno-maybe-uninitialized -Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
endif()
target_compile_definitions(korvane_options INTERFACE
  $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS> FMT_ENFORCE_COMPILE_STRING=0)
# Several sources in one: what one of them keeps to itself is reported in the types of another.
target_compile_options(korvane_options INTERFACE $<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-subobject-linkage>)
if(KORVANE_SANITIZE)
  target_compile_options(korvane_options INTERFACE
    -fsanitize=${KORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(korvane_options INTERFACE -fsanitize=${KORVANE_SANITIZE})
endif()
include(KorvaneHardening)

# korvane_test(NAME SOURCES... [LIBS ...] [PROPERTIES ...]): one GoogleTest program, its cases found by CTest and
# labelled with the folder's name.  Without LIBS it links the logic library alone.  For Windows only programs with
# WINDOWS_CASES are built, and of each only these cases are run: those that need no trap store, for which there is no
# driver there.
function(korvane_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS;PROPERTIES;WINDOWS_CASES" ${ARGN})
  get_filename_component(label ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  if(WIN32 AND NOT arg_WINDOWS_CASES)
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  if(NOT arg_LIBS)
    set(arg_LIBS korvane_core GTest::gtest_main)
  endif()
  target_link_libraries(${name} PRIVATE korvane_options korvane_test_support ${arg_LIBS} GTest::gtest GTest::gmock)
  # Fixtures and helpers of one source have the names of another's.
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  if(korvane_windows_test IN_LIST arg_LIBS AND KORVANE_SANITIZE)
    # All tests of a program at once: under the sanitizers its start costs more than most of them.  What the toolkit
    # and the font library keep to the end is not ours to judge.
    add_test(NAME ${label}.${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${label}.${name} PROPERTIES TIMEOUT 600 LABELS ${label}
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ASAN_OPTIONS=detect_leaks=0" ${arg_PROPERTIES})
    return()
  endif()
  if(WIN32)
    # All at once here too: under the emulator a program takes longer to start than to run.
    list(JOIN arg_WINDOWS_CASES ":" cases)
    add_test(NAME ${label}.${name} COMMAND ${name} --gtest_brief=1 --gtest_filter=${cases})
    set_tests_properties(${label}.${name} PROPERTIES TIMEOUT 120 LABELS ${label})
    return()
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120 LABELS ${label}
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen" ${arg_PROPERTIES})
endfunction()

# The same for windows: links them, QTest and a main of their own.  Nothing where windows are not built.
function(korvane_windows_test name)
  if(KORVANE_WINDOWS)
    korvane_test(${name} ${ARGN} LIBS korvane_windows_test)
  endif()
endfunction()
