# 32-bit ARM with a floating-point unit, ARMv7 and later: most terminals.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(WZAPP_MACHINE arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
