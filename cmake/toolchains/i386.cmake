# 32-bit x86, which a PC runs by itself.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(WZAPP_MACHINE i686-linux-gnu)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu) # Debian's name of its folder
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
