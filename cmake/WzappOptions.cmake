# What every target of the project is compiled and linked with.

add_library(wzapp_options INTERFACE)
target_compile_options(wzapp_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${WZAPP_WERROR}>:-Werror>)
# What is marked as guarded by a mutex (support/mutex.h, workstation/mutex.h) is touched with it held, or
# nothing is built.
target_compile_options(wzapp_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Werror=thread-safety>)
# g++ 12 takes the joining of two std::string for overlapping copies when it optimises (GCC bug
# 105651, mended in 13).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(wzapp_options INTERFACE -Wno-restrict)
endif()
# RapidJSON 1.1 compares its iterators by operators that C++20 also reads the other way round.
target_compile_options(wzapp_options INTERFACE
  $<$<CXX_COMPILER_ID:Clang>:-Wno-ambiguous-reversed-operator>)
# g++ tells on 32 bits how its version 4.6 passed some types.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_options(wzapp_options INTERFACE -Wno-psabi)
endif()

# On 32 bits, files above 2 GiB, inodes above 2^32 and times after January 2038 have no status without
# these. 64 bits have nothing to choose.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(wzapp_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

set(_sanitizers "")
if(WZAPP_SANITIZE STREQUAL "address")
  set(_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(WZAPP_SANITIZE STREQUAL "thread")
  set(_sanitizers -fsanitize=thread)
elseif(WZAPP_SANITIZE)
  message(FATAL_ERROR "WZAPP_SANITIZE is '${WZAPP_SANITIZE}'; it takes address, thread or nothing")
endif()
if(NOT _sanitizers AND NOT WZAPP_FUZZ)
  # A symbol that the platform lacks is named by this link and not by a terminal's loader.
  target_link_options(wzapp_options INTERFACE -Wl,-z,defs)
endif()
if(_sanitizers)
  if(WZAPP_SANITIZE STREQUAL "address")
    # Both for what terminals run and for the platform beneath it. What sets WZAPP_MEMORY_ONLY, the tests'
    # own code and the kit, is watched for memory alone and not optimised: it compiles in half the time.
    set(_memory_only "$<BOOL:$<TARGET_PROPERTY:WZAPP_MEMORY_ONLY>>")
    target_compile_options(wzapp_options INTERFACE
      $<${_memory_only}:-O0> -fsanitize=address $<$<NOT:${_memory_only}>:-fsanitize=undefined>
      -fno-sanitize-recover=all -fno-omit-frame-pointer)
    # RapidJSON's stack counts on from a null pointer before its first allocation. For g++, which knows no
    # such list, the files that use it say so.
    target_compile_options(wzapp_options INTERFACE
      $<$<AND:$<CXX_COMPILER_ID:Clang>,$<NOT:${_memory_only}>>:-fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizer_ignorelist.txt>)
  else()
    target_compile_options(wzapp_options INTERFACE ${_sanitizers} -fno-omit-frame-pointer)
  endif()
  target_link_options(wzapp_options INTERFACE ${_sanitizers})
endif()

if(WZAPP_COVERAGE)
  target_compile_options(wzapp_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(wzapp_options INTERFACE --coverage)
endif()

# For targets below fuzz/, and so that the code under test is instrumented, for everything.
if(WZAPP_FUZZ)
  target_compile_options(wzapp_options INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
  target_link_options(wzapp_options INTERFACE -fsanitize=address,undefined)
endif()

# Half of what a sanitizer build takes is reading the standard library, so its larger headers are compiled
# beforehand, once a target. Products read them file by file: a header that a file forgot shows there.
# CMAKE_DISABLE_PRECOMPILE_HEADERS turns this off.
function(wzapp_precompile)
  if(NOT WZAPP_SANITIZE)
    return()
  endif()
  foreach(_target IN LISTS ARGN)
    target_precompile_headers(${_target} PRIVATE
      <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <filesystem> <functional> <map> <memory>
      <mutex> <optional> <set> <string> <string_view> <thread> <unordered_map> <variant> <vector>)
  endforeach()
endfunction()
