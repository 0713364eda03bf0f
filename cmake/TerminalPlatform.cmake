# The terminal's platform libraries in WZAPP_PLATFORM_DIR, as imported targets. Looked for at each
# configuring, so that another directory takes effect.

list(JOIN WZAPP_PLATFORM_LIBRARIES ".so, lib" _all)

# A directory on this machine, or one of the terminal's below a sysroot.
set(_directory "")
foreach(_root IN ITEMS "" ${CMAKE_SYSROOT} ${CMAKE_FIND_ROOT_PATH})
  if(NOT _directory AND IS_DIRECTORY "${_root}${WZAPP_PLATFORM_DIR}")
    set(_directory "${_root}${WZAPP_PLATFORM_DIR}")
  endif()
endforeach()
if(NOT _directory)
  message(FATAL_ERROR "WZAPP_PLATFORM_DIR: there is no directory ${WZAPP_PLATFORM_DIR}, neither here "
    "nor below a sysroot. It holds the terminal's six platform libraries: lib${_all}.so.")
endif()

# Class, octet order and machine from the head of an ELF file; empty for anything else.
function(_wzapp_processor file result)
  set(${result} "" PARENT_SCOPE)
  if(EXISTS ${file})
    file(READ ${file} head LIMIT 20 HEX)
    if(head MATCHES "^7f454c46(....)" AND head MATCHES "(....)$")
      string(SUBSTRING ${head} 8 4 class)
      string(SUBSTRING ${head} 36 4 machine)
      set(${result} ${class}-${machine} PARENT_SCOPE)
    endif()
  endif()
endfunction()

# What the compiler makes, by the program that CMake has tried it with.
_wzapp_processor(${CMAKE_PLATFORM_INFO_DIR}/CMakeDetermineCompilerABI_CXX.bin _wanted)

foreach(_name IN LISTS WZAPP_PLATFORM_LIBRARIES)
  set(_library ${_directory}/lib${_name}.so)
  if(NOT EXISTS ${_library})
    message(FATAL_ERROR "WZAPP_PLATFORM_DIR: there is no lib${_name}.so in ${_directory}. It has to hold "
      "the terminal's six platform libraries: lib${_all}.so.")
  endif()
  _wzapp_processor(${_library} _found)
  if(_wanted AND _found AND NOT _found STREQUAL _wanted)
    message(FATAL_ERROR "WZAPP_PLATFORM_DIR: ${_library} is for another processor than "
      "${CMAKE_CXX_COMPILER} compiles for. Name the platform libraries of this one, or the compiler "
      "of theirs by a tool chain file (cmake/toolchains, CMAKE_TOOLCHAIN_FILE).")
  endif()
  add_library(${_name} SHARED IMPORTED GLOBAL)
  set_target_properties(${_name} PROPERTIES IMPORTED_LOCATION ${_library} IMPORTED_NO_SONAME ON)
  target_link_libraries(${_name} INTERFACE wzapp_platform_headers)
endforeach()

# A host's link needs them too, as what the library needs. They are seen from the sysroot, which need not
# lie at the same place when a host is built; below no sysroot, the directory may be this machine's.
set(WZAPP_PLATFORM_LINK_DIRS ${_directory})
foreach(_root IN ITEMS ${CMAKE_SYSROOT} ${CMAKE_FIND_ROOT_PATH})
  string(FIND "${_directory}" "${_root}/" _start)
  if(_start EQUAL 0)
    string(LENGTH "${_root}" _length)
    string(SUBSTRING "${_directory}" ${_length} -1 WZAPP_PLATFORM_LINK_DIRS)
  endif()
endforeach()
