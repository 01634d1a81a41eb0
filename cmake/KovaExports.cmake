# The compiler, which may be one for another machine, with what a source file of the public headers needs.
set(KOVA_PROBE_COMPILER ${CMAKE_CXX_COMPILER})
if(CMAKE_SYSROOT)
  list(APPEND KOVA_PROBE_COMPILER --sysroot=${CMAKE_SYSROOT})
endif()
if(CMAKE_CXX_COMPILER_TARGET)
  list(APPEND KOVA_PROBE_COMPILER --target=${CMAKE_CXX_COMPILER_TARGET})
endif()
foreach(directory ${PROJECT_SOURCE_DIR}/include ${JSONCPP_INCLUDE_DIRS})
  list(APPEND KOVA_PROBE_COMPILER -I${directory})
endforeach()

# Gives a shared library its soname and its one export list, and fails the build where the exported symbols, the prototypes
# of the public headers named and that list disagree.
function(kova_exports target map)
  if(NOT BUILD_SHARED_LIBS)
    return()
  endif()
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map})
  target_link_options(${target} PRIVATE LINKER:--version-script=${map})
  # With clang the program brings the sanitizers' functions: they are undefined in the library.
  if(NOT (KOVA_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL Clang))
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/include/kova/ OUTPUT_VARIABLE headers)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    COMMAND ${CMAKE_COMMAND} -E env NM=${CMAKE_NM} ${PROJECT_SOURCE_DIR}/scripts/check-exports
            $<TARGET_FILE:${target}> ${map} ${headers} -- ${KOVA_PROBE_COMPILER})
endfunction()
