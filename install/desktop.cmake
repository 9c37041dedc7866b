# How the desktop and software centres know the console: entry, icons, metadata.
if(NOT TARGET korvane-console)
  return()
endif()
install(FILES korvane-console.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
configure_file(example.korvane.console.metainfo.xml.in example.korvane.console.metainfo.xml @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/example.korvane.console.metainfo.xml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

# Panels that draw no SVG take the nearest of these sizes.  They are drawn from the one picture while building.
set(icon ${CMAKE_SOURCE_DIR}/src/common/qt/icons/korvane-console.svg)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES ${icon} DESTINATION ${icons}/scalable/apps)
find_program(KORVANE_RSVG_CONVERT rsvg-convert)
if(KORVANE_RSVG_CONVERT)
  set(drawn "")
  foreach(size 16 22 24 32 48 64 128 256)
    set(png ${CMAKE_CURRENT_BINARY_DIR}/icons/${size}x${size}/apps/korvane-console.png)
    add_custom_command(OUTPUT ${png}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/icons/${size}x${size}/apps
      COMMAND ${KORVANE_RSVG_CONVERT} --width ${size} --height ${size} --output ${png} ${icon}
      DEPENDS ${icon} COMMENT "Drawing the icon of ${size} pixels" VERBATIM)
    list(APPEND drawn ${png})
  endforeach()
  add_custom_target(korvane_icons ALL DEPENDS ${drawn})
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/icons/ DESTINATION ${icons} FILES_MATCHING PATTERN "*.png")
else()
  message(STATUS "No rsvg-convert (install/packages package): only the scalable icon is installed")
endif()
