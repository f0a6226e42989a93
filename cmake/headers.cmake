# The headers of the standard library take a third of the time that a source takes to compile, so they
# are compiled ahead, once for all libraries. (The preset debug does without, and shows which includes
# are missing.)
target_precompile_headers(tabulon_base PRIVATE <algorithm> <array> <cstdint> <functional> <list>
  <memory> <optional> <span> <string> <string_view> <vector>)

function(reuse_headers folder)
  get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(each IN LISTS folders)
    reuse_headers(${each})
  endforeach()
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY" AND NOT target STREQUAL "tabulon_base")
      target_precompile_headers(${target} REUSE_FROM tabulon_base)
    endif()
  endforeach()
endfunction()
reuse_headers(${CMAKE_SOURCE_DIR}/src)
reuse_headers(${CMAKE_SOURCE_DIR}/tools)
