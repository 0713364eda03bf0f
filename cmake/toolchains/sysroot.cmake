# What the tool chain files share: where the other processor's headers and libraries are. WZAPP_SYSROOT, an
# option or a variable of the environment, names a folder like its root; make_sysroot makes one of Debian's
# packages. Without it, the compiler's own is used.

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES WZAPP_SYSROOT)
if(NOT WZAPP_SYSROOT AND DEFINED ENV{WZAPP_SYSROOT})
  set(WZAPP_SYSROOT $ENV{WZAPP_SYSROOT})
endif()
if(NOT CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_LIBRARY_ARCHITECTURE ${WZAPP_MACHINE})
endif()
if(WZAPP_SYSROOT)
  set(CMAKE_SYSROOT ${WZAPP_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH ${WZAPP_SYSROOT})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${WZAPP_SYSROOT})
  set(ENV{PKG_CONFIG_LIBDIR}
    ${WZAPP_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${WZAPP_SYSROOT}/usr/share/pkgconfig)
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT CMAKE_CXX_COMPILER)
  find_program(CMAKE_CXX_COMPILER ${WZAPP_MACHINE}-g++)
  if(NOT CMAKE_CXX_COMPILER)
    message(FATAL_ERROR "There is no ${WZAPP_MACHINE}-g++ (Debian's package g++-${WZAPP_MACHINE}). "
      "CMAKE_CXX_COMPILER names another compiler for this processor.")
  endif()
endif()
