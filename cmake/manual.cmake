# The manual pages, from docs/man/NAME.SECTION.md, when pandoc is there. Target `man` makes them in
# the build directory, compressed as they are installed.
find_program(PANDOC pandoc)
find_program(GZIP gzip)
file(GLOB manual_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.md)

if(NOT PANDOC OR NOT GZIP)
  message(STATUS "No pandoc or gzip: manual pages are neither made nor installed")
  return()
endif()

set(manual_filter ${CMAKE_SOURCE_DIR}/docs/man/manual.lua)
foreach(source IN LISTS manual_sources)
  get_filename_component(page ${source} NAME_WLE)  # tabulon.conf.5
  string(REGEX MATCH "^(.*)\\.([0-9])$" matched ${page})
  string(TOUPPER ${CMAKE_MATCH_1} title)
  set(section ${CMAKE_MATCH_2})
  set(result ${CMAKE_BINARY_DIR}/man/${page})
  add_custom_command(OUTPUT ${result}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND ${PANDOC} -s -f markdown-smart -t man --lua-filter ${manual_filter}
      -V adjusting=l -V title=${title} -V section=${section} -V "footer=Tabulon ${PROJECT_VERSION}"
      -V "header=Tabulon Manual" -o ${result} ${source}
    COMMAND ${GZIP} -9nf ${result}
    DEPENDS ${source} ${manual_filter} VERBATIM)
  list(APPEND manual_pages ${result}.gz)
  install(FILES ${result}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
add_custom_target(man ALL DEPENDS ${manual_pages})
