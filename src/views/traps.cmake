# The lists of traps: rows, the model and the window of Traps windows.
target_sources(korvane_core PRIVATE
  ${CMAKE_CURRENT_SOURCE_DIR}/LoadBounds.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/SequenceSet.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TextArena.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapOrder.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapRows.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapsModel.cpp)
if(KORVANE_WINDOWS)
  target_sources(korvane_windows PRIVATE
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapCellDelegate.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapsList.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapsTableModel.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmTraps.cpp)
endif()
