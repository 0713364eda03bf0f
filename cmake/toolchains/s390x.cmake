# A processor with the most significant octet first.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(WZAPP_MACHINE s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
