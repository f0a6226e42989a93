# The date that `tabulon -?V` shows, from the newest entry of packaging/changelog, so that two builds
# of one source give the same bytes. The form is that of the preprocessor's __DATE__ and __TIME__.
#
# Sets build_date ("Nov  1 2026") and build_time ("12:00:00").
set(changelog ${CMAKE_SOURCE_DIR}/packaging/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})

file(STRINGS ${changelog} entries REGEX "^[a-z]")
list(GET entries 0 newest)
string(FIND "${newest}" "(${PROJECT_VERSION}-" has_version)
if(has_version EQUAL -1)
  message(FATAL_ERROR "packaging/changelog begins with \"${newest}\", not with ${PROJECT_VERSION}")
endif()

file(STRINGS ${changelog} signatures REGEX "^ -- ")
list(GET signatures 0 signature)
if(NOT signature MATCHES ", *([0-9]+) ([A-Z][a-z][a-z]) ([0-9]+) ([0-9:]+) [+-][0-9]+$")
  message(FATAL_ERROR "packaging/changelog: no date in \"${signature}\"")
endif()
set(build_time ${CMAKE_MATCH_4})
set(build_date "${CMAKE_MATCH_2} ${CMAKE_MATCH_1} ${CMAKE_MATCH_3}")
# A day below 10 has a blank where the other digit would be.
string(REGEX REPLACE "^([A-Z][a-z][a-z]) 0?([0-9]) " "\\1  \\2 " build_date "${build_date}")
