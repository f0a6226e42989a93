# The flags that Debian builds its packages with, as dpkg-buildflags(1) gives them: hardening, and
# whatever the variables DEB_BUILD_OPTIONS, DEB_CXXFLAGS_APPEND and their like ask for. They are all
# the flags of the build then: its type is "None".
option(TABULON_DPKG_FLAGS "Build with the flags of dpkg-buildflags" OFF)
if(NOT TABULON_DPKG_FLAGS)
  return()
endif()

find_program(DPKG_BUILDFLAGS dpkg-buildflags REQUIRED)
set(maintainer_flags DEB_BUILD_MAINT_OPTIONS=hardening=+all)
# More than dpkg's -O2, unless optimisation is not wanted: the program spends its time in few loops.
if(NOT "$ENV{DEB_BUILD_OPTIONS}" MATCHES "(^|[ ,])noopt($|[ ,])")
  list(APPEND maintainer_flags "DEB_CXXFLAGS_MAINT_APPEND=-O3 -DNDEBUG")
endif()

function(dpkg_flags name result)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env ${maintainer_flags} ${DPKG_BUILDFLAGS} --get ${name}
    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "dpkg-buildflags gives no ${name}")
  endif()
  set(${result} "${${result}} ${flags}" PARENT_SCOPE)
endfunction()
dpkg_flags(CPPFLAGS CMAKE_CXX_FLAGS)
dpkg_flags(CXXFLAGS CMAKE_CXX_FLAGS)
dpkg_flags(LDFLAGS CMAKE_EXE_LINKER_FLAGS)
message(STATUS "dpkg's flags:${CMAKE_CXX_FLAGS}${CMAKE_EXE_LINKER_FLAGS}")
