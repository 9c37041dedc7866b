target_sources(korvane_core PRIVATE
  ${CMAKE_CURRENT_SOURCE_DIR}/CountedTraps.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/SystemAcknowledge.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/Systems.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/SystemsModel.cpp)
if(KORVANE_WINDOWS)
  target_sources(korvane_windows PRIVATE
    ${CMAKE_CURRENT_SOURCE_DIR}/SystemsTableModel.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmDevices.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmViewOptions.cpp)
endif()
