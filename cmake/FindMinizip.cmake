# minizip, the reader of ZIP archives over zlib: the imported target Minizip::Minizip.
#
# Where the search goes wrong, as it may in a cross-build, Minizip_INCLUDE_DIR (the folder that
# holds minizip/unzip.h) and Minizip_LIBRARY say where it is; zlib likewise by ZLIB_ROOT.

find_path(Minizip_INCLUDE_DIR minizip/unzip.h)
find_library(Minizip_LIBRARY minizip)
mark_as_advanced(Minizip_INCLUDE_DIR Minizip_LIBRARY)

include(CMakeFindDependencyMacro)
find_dependency(ZLIB)  # minizip's headers include zlib's

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Minizip REQUIRED_VARS Minizip_LIBRARY Minizip_INCLUDE_DIR)

if(Minizip_FOUND AND NOT TARGET Minizip::Minizip)
  add_library(Minizip::Minizip UNKNOWN IMPORTED)
  set_target_properties(Minizip::Minizip PROPERTIES
    IMPORTED_LOCATION "${Minizip_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Minizip_INCLUDE_DIR};${ZLIB_INCLUDE_DIRS}")
  # The shared library brings its zlib along.
  if(Minizip_LIBRARY MATCHES "\\.a$")
    set_target_properties(Minizip::Minizip PROPERTIES INTERFACE_LINK_LIBRARIES ZLIB::ZLIB)
  endif()
endif()
