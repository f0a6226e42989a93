# What `cmake --install` installs, and where.
include(GNUInstallDirs)
include(cmake/manual.cmake)

set(installed_programs tabulon mkdtl dtlexport dtldu dtldiff)
install(TARGETS ${installed_programs} DESTINATION ${CMAKE_INSTALL_BINDIR})
# Python; the modules that it starts are no use by themselves. It runs the programs beside it.
install(PROGRAMS ${CMAKE_BINARY_DIR}/tools/report-page/report-page
  DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/tools/report-page/reportpage
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tabulon PATTERN __pycache__ EXCLUDE)

foreach(program IN ITEMS ${installed_programs} report-page)
  install(FILES ${CMAKE_SOURCE_DIR}/completion/${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()

# Not among the documentation, which minimal images leave out: report-page reads some of them. The
# documentation leads there.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tabulon/examples FILES_MATCHING PATTERN "*.cfg"
  PATTERN fleet EXCLUDE)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/fleet
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tabulon/examples USE_SOURCE_PERMISSIONS)
install(FILES docs/recipes.md docs/limits.md DESTINATION ${CMAKE_INSTALL_DATADIR}/tabulon)
file(RELATIVE_PATH examples ${CMAKE_INSTALL_FULL_DOCDIR}
  ${CMAKE_INSTALL_FULL_DATADIR}/tabulon/examples)
file(CREATE_LINK ${examples} ${CMAKE_BINARY_DIR}/installed-examples SYMBOLIC)
install(FILES ${CMAKE_BINARY_DIR}/installed-examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
  RENAME examples)
