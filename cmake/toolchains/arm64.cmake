# 64-bit ARM.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(WZAPP_MACHINE aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
