# The manual pages, with the version and date of the release, and what bash offers behind the programs' names.
set(korvane-console_section 1)
set(mibc_section 1)
set(kvreceiver_section 8)
set(korvane-setup_section 8)
foreach(program korvane-console mibc kvreceiver korvane-setup)
  if(TARGET ${program} OR EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${program})
    set(section ${${program}_section})
    configure_file(man/${program}.${section}.in man/${program}.${section} @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/man/${program}.${section}
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
    install(FILES completions/${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endif()
endforeach()
