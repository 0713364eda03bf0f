# The authorities that are compiled in, as the library wzapp_authorities, and the roots above them
# for the terminals that `wz` makes, as wzapp_development_roots. Both are sources of their own: with
# another table, only these and what links them are made again.

if(NOT WZAPP_AUTHORITIES AND CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  message(FATAL_ERROR
    "Development keys cannot be made while cross-compiling. Name the directory of the product's "
    "authorities with WZAPP_AUTHORITIES.")
endif()

if(WZAPP_AUTHORITIES)
  if(NOT EXISTS ${WZAPP_AUTHORITIES}/authorities.txt)
    message(FATAL_ERROR "WZAPP_AUTHORITIES: there is no ${WZAPP_AUTHORITIES}/authorities.txt")
  endif()
  set(_keys ${WZAPP_AUTHORITIES})
  set(_keys_made "")
else()
  message(NOTICE
    "-- Authorities: development keys, made under the build folder. What is built TRUSTS DEVELOPMENT "
    "KEYS and is NOT FOR TERMINALS; -DWZAPP_AUTHORITIES=DIR names a product's own authorities.")
  set(_keys ${PROJECT_BINARY_DIR}/keys)
  set(_keys_made ${_keys}/authorities.txt)
  # Once: `devkeys` itself being newer is no reason for other keys.
  add_custom_command(OUTPUT ${_keys_made}
    COMMAND devkeys --once ${_keys}
    DEPENDS devkeys
    COMMENT "Making development keys"
    VERBATIM)
  add_custom_target(wzapp_development_keys DEPENDS ${_keys_made})
endif()

# Names the program that checks and writes certificates: one that was built before, one of this
# project, or, for another processor, one of a project of its own for the machine that builds.
if(WZAPP_AUTHORITY_GENERATOR)
  set(_generator ${WZAPP_AUTHORITY_GENERATOR})
elseif(NOT CMAKE_CROSSCOMPILING)
  set(_generator wzapp_authority_table)
  add_subdirectory(tools/authority_table)
else()
  # Yocto and Buildroot have the compiler of the machine that builds in a variable.
  find_program(WZAPP_BUILD_COMPILER NAMES $ENV{BUILD_CXX} $ENV{HOSTCXX} c++ g++ clang++
    NO_CMAKE_FIND_ROOT_PATH DOC "C++ compiler for the machine that builds")
  if(NOT WZAPP_BUILD_COMPILER)
    message(FATAL_ERROR
      "The table of authorities is checked and written by a program that runs while building, and "
      "there is no C++ compiler for this machine to build it with. Name one with "
      "WZAPP_BUILD_COMPILER, or the program with WZAPP_AUTHORITY_GENERATOR.")
  endif()
  set(_project ${PROJECT_SOURCE_DIR}/tools/authority_table)
  set(_generator ${PROJECT_BINARY_DIR}/authority_table/wzapp_authority_table)
  # What it takes of the library is compiled again whenever something there has changed.
  file(GLOB_RECURSE _generator_sources CONFIGURE_DEPENDS
    ${_project}/* ${PROJECT_SOURCE_DIR}/src/crypto/*.[ch]* ${PROJECT_SOURCE_DIR}/src/support/*.[ch]*)
  # The flags in the environment are for the other processor.
  add_custom_command(OUTPUT ${_generator}
    COMMAND ${CMAKE_COMMAND} -E env --unset=CXXFLAGS --unset=CPPFLAGS --unset=LDFLAGS
            ${CMAKE_COMMAND} -S ${_project} -B ${PROJECT_BINARY_DIR}/authority_table
            -G ${CMAKE_GENERATOR} -DCMAKE_CXX_COMPILER=${WZAPP_BUILD_COMPILER}
            -DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}
    COMMAND ${CMAKE_COMMAND} --build ${PROJECT_BINARY_DIR}/authority_table
    COMMAND ${CMAKE_COMMAND} -E touch ${_generator}
    DEPENDS ${_generator_sources}
    COMMENT "Building the generator of the table of authorities for this machine"
    VERBATIM)
  add_custom_target(wzapp_build_authority_table DEPENDS ${_generator})
endif()

# Its dependencies on single certificates are known only once it has run.
if(CMAKE_GENERATOR MATCHES "Ninja" OR CMAKE_VERSION VERSION_GREATER_EQUAL 3.20)
  set(_has_depfile ON)
endif()

# Makes the static library `name` from what the generator writes of `directory`.
function(_wzapp_add_certificates name what directory)
  set(source ${PROJECT_BINARY_DIR}/${name}.cpp)
  set(depfile "")
  if(_has_depfile)
    set(depfile DEPFILE ${source}.d)
  endif()
  add_custom_command(OUTPUT ${source}
    COMMAND ${_generator} ${what} ${directory} ${source} ${source}.d
    DEPENDS ${_generator} ${_keys_made}
    ${depfile}
    COMMENT "Writing the ${what} as C++"
    VERBATIM)
  add_library(${name} STATIC ${source})
  target_link_libraries(${name} PRIVATE wzapp_options)
  foreach(before IN ITEMS wzapp_development_keys wzapp_build_authority_table)
    if(TARGET ${before})
      add_dependencies(${name} ${before})
    endif()
  endforeach()
endfunction()

# On a workstation that trusts development keys a terminal's folder may bring a table of its own, which
# the workstation's security service hands out. Nothing of it is compiled for a product, or for another
# platform.
if(WZAPP_WORKSTATION AND WZAPP_KIT AND NOT WZAPP_AUTHORITIES)
  _wzapp_add_certificates(wzapp_authorities compiled-in-authorities ${_keys})
  target_sources(wzapp_authorities PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/workstation/zelsec/terminal_authorities.cpp)
  target_include_directories(wzapp_authorities PRIVATE ${PROJECT_SOURCE_DIR}/platform)
  target_link_libraries(wzapp_authorities PUBLIC zelsec)
else()
  _wzapp_add_certificates(wzapp_authorities authorities ${_keys})
endif()
target_include_directories(wzapp_authorities PUBLIC ${PROJECT_SOURCE_DIR}/src)

if(WZAPP_AUTHORITIES)
  add_library(wzapp_development_roots STATIC
    ${PROJECT_SOURCE_DIR}/tools/wz/terminal/no_development_roots.cpp)
  target_link_libraries(wzapp_development_roots PRIVATE wzapp_options)
else()
  _wzapp_add_certificates(wzapp_development_roots roots ${_keys}/roots)
  target_sources(wzapp_development_roots PRIVATE
    ${PROJECT_SOURCE_DIR}/tools/wz/terminal/development_table.cpp)
endif()
target_include_directories(wzapp_development_roots PUBLIC
  ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tools)
set_target_properties(wzapp_development_roots PROPERTIES EXCLUDE_FROM_ALL ON)
