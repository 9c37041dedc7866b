target_sources(korvane_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AccountGroups.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DateText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Files.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HostNames.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Identity.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Machine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OpenSockets.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Programs.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Registry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RunningInstance.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ServiceControl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ServiceLibrary.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Settings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Translations.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TrustedPath.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WideText.cpp)
# A program reads paths and arguments in the system's code page: this makes it UTF-8.  In every program that links
# the logic.
enable_language(RC)
target_sources(korvane_core INTERFACE ${CMAKE_CURRENT_LIST_DIR}/program.rc)
