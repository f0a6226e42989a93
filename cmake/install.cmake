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
# Beside the configuration whose reports it draws. It needs python3, the programs do not.
install(PROGRAMS ${CMAKE_SOURCE_DIR}/scripts/report-page
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/scripts/reportpage
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples PATTERN __pycache__ EXCLUDE)
