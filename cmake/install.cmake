# What `cmake --install` installs, and where.
include(GNUInstallDirs)
include(cmake/manual.cmake)

set(installed_programs tabulon mkdtl)
if(TARGET dtlexport)
  list(APPEND installed_programs dtlexport)
endif()
install(TARGETS ${installed_programs} DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  FILES_MATCHING PATTERN "*.cfg")
install(FILES ${CMAKE_SOURCE_DIR}/completion/tabulon ${CMAKE_SOURCE_DIR}/completion/mkdtl
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
