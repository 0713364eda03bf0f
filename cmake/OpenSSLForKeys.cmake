# OpenSSL, with which the kit makes and uses keys, or the way to do without.

find_package(OpenSSL 3 QUIET)
if(NOT OpenSSL_FOUND)
  if(WZAPP_AUTHORITIES)
    message(FATAL_ERROR
      "wz makes and uses keys by OpenSSL 3, and its development files are not here (Debian's package "
      "libssl-dev). -DWZAPP_KIT=OFF -DWZAPP_TESTS=OFF builds the library alone, without it.")
  endif()
  message(FATAL_ERROR
    "No authorities are named, so that development keys would be made for this build, by OpenSSL 3, "
    "whose development files are not here (Debian's package libssl-dev). Name the directory of the "
    "product's authorities with -DWZAPP_AUTHORITIES=DIR; then the library needs no OpenSSL.")
endif()
