# The lists of traps: rows, the model and the window of Traps windows.
target_sources(korvane_core PRIVATE
  ${CMAKE_CURRENT_SOURCE_DIR}/CsvExport.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/CsvLine.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/FollowedTrap.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/LoadBounds.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/PrintedReport.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/ReportLoader.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/ReportModel.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/RowBits.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/SequenceSet.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/StoredTraps.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TextArena.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapBatch.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapDetailForm.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapFinder.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapOrder.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapSort.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapRows.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/TrapsModel.cpp)
if(KORVANE_WINDOWS)
  target_sources(korvane_windows PRIVATE
    ${CMAKE_CURRENT_SOURCE_DIR}/FindBar.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/LongTextView.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/NotesEdit.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TimePickers.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapCellDelegate.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapsList.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/TrapsTableModel.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/ValueField.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmReport.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmSetReport.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmSetReport.h
    ${CMAKE_CURRENT_SOURCE_DIR}/frmSetReport.ui
    ${CMAKE_CURRENT_SOURCE_DIR}/frmTrapDetail.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/frmTraps.cpp)
endif()
