# What `cmake --install` installs, and where.
include(GNUInstallDirs)
include(cmake/manual.cmake)

set(installed_programs tabulon mkdtl dtlexport)
install(TARGETS ${installed_programs} DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(program IN LISTS installed_programs)
  install(FILES ${CMAKE_SOURCE_DIR}/completion/${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()

install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  FILES_MATCHING PATTERN "*.cfg")
