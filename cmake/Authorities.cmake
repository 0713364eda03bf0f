# The authorities that are compiled in, as the library wzapp_authorities, and the roots above them
# for the terminals that `wz` makes, as wzapp_development_roots. Both are sources of their own: with
# another table, only these and what links them are made again.

set(_table ${PROJECT_SOURCE_DIR}/cmake/authority_table)

if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  if(NOT WZAPP_AUTHORITIES)
    message(FATAL_ERROR
      "Development keys cannot be made while cross-compiling. Name the directory of the product's "
      "authorities with WZAPP_AUTHORITIES.")
  endif()
  if(NOT WZAPP_AUTHORITY_GENERATOR)
    message(FATAL_ERROR
      "The table of authorities is checked and written by a program that runs while building. Name "
      "one with WZAPP_AUTHORITY_GENERATOR: bin/wzapp_authority_table of a build for this machine.")
  endif()
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

if(WZAPP_AUTHORITY_GENERATOR)
  set(_generator ${WZAPP_AUTHORITY_GENERATOR})
else()
  set(_generator wzapp_authority_table)
  add_executable(wzapp_authority_table
    ${_table}/main.cpp ${_table}/source_text.cpp ${_table}/table_file.cpp)
  target_link_libraries(wzapp_authority_table
    PRIVATE wzapp_options wzapp_core wzapp_certificate_words)
endif()

# Makes the static library `name` from what the generator writes of `directory`.
function(_wzapp_add_certificates name what directory)
  set(source ${PROJECT_BINARY_DIR}/${name}.cpp)
  # Which files it depends on is written beside the source; they are not known before.
  add_custom_command(OUTPUT ${source}
    COMMAND ${_generator} ${what} ${directory} ${source} ${source}.d
    DEPENDS ${_generator} ${_keys_made}
    DEPFILE ${source}.d
    COMMENT "Writing the ${what} as C++"
    VERBATIM)
  add_library(${name} STATIC ${source})
  target_link_libraries(${name} PRIVATE wzapp_options)
  if(TARGET wzapp_development_keys)
    add_dependencies(${name} wzapp_development_keys)
  endif()
endfunction()

_wzapp_add_certificates(wzapp_authorities authorities ${_keys})
target_include_directories(wzapp_authorities PUBLIC ${PROJECT_SOURCE_DIR}/src)

if(WZAPP_AUTHORITIES)
  add_library(wzapp_development_roots STATIC
    ${PROJECT_SOURCE_DIR}/tools/wz/terminal/no_development_roots.cpp)
  target_link_libraries(wzapp_development_roots PRIVATE wzapp_options)
else()
  _wzapp_add_certificates(wzapp_development_roots roots ${_keys}/roots)
endif()
target_include_directories(wzapp_development_roots PUBLIC
  ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tools)
set_target_properties(wzapp_development_roots PROPERTIES EXCLUDE_FROM_ALL ON)
