# Flags that harden what is built here. They stand in front of the flags that the builder gave, which so have the last word.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

# Sets `result` to whether the compiler, with the flags in force, accepts this condition of the preprocessor.
function(kova_check_condition condition result)
  set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
  set(CMAKE_REQUIRED_QUIET ON)
  unset(KOVA_CONDITION CACHE)  # the flags may have changed since
  check_cxx_source_compiles("#include <cstddef>\n#if !(${condition})\n#error\n#endif\nint main() {}" KOVA_CONDITION)
  set(${result} "${KOVA_CONDITION}" PARENT_SCOPE)
  unset(KOVA_CONDITION CACHE)
endfunction()

set(flags "'-ffile-prefix-map=${PROJECT_BINARY_DIR}=.' '-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.'")
set(CMAKE_REQUIRED_FLAGS -Werror)  # clang only warns of a flag that is for another machine
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER KOVA_HAS${flag} has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    list(APPEND flags ${flag})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)
# The C library checks sizes in optimised code only, and the sanitizers do it better.
kova_check_condition("defined __OPTIMIZE__ && !defined _FORTIFY_SOURCE" fortify)
if(fortify AND NOT KOVA_SANITIZE)
  list(APPEND flags -D_FORTIFY_SOURCE=2)
endif()
list(JOIN flags " " flags)
string(PREPEND CMAKE_CXX_FLAGS "${flags} ")
string(PREPEND CMAKE_SHARED_LINKER_FLAGS "-Wl,-z,relro -Wl,-z,now ")
string(PREPEND CMAKE_EXE_LINKER_FLAGS "-pie -Wl,-z,relro -Wl,-z,now ")

# What the flags amount to, the builder's included: scripts/check-hardening looks for it in what is installed.
set(features)
foreach(feature IN ITEMS "stack-protector=defined __SSP_STRONG__ || defined __SSP_ALL__" "cet=__CET__ + 0"
                         "fortify=_FORTIFY_SOURCE + 0 && defined __OPTIMIZE__")
  string(REGEX MATCH "^([^=]*)=(.*)$" matched "${feature}")
  kova_check_condition("${CMAKE_MATCH_2}" holds)
  if(holds)
    list(APPEND features ${CMAKE_MATCH_1})
  endif()
endforeach()
set(KOVA_HARDENING "${features}" CACHE INTERNAL "How the installed files are hardened")
