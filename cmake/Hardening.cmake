# What products are compiled and linked with beside the rest: guards against what an attacker makes of a
# defect, and nothing of the machine or the folder that they were built in. Sanitizers, coverage and fuzzing
# have guards and names of their own, and a debug build stays as it is.

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

if(WZAPP_SANITIZE OR WZAPP_COVERAGE OR WZAPP_FUZZ)
  return()
endif()

set(_product $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>,$<CONFIG:MinSizeRel>>)
foreach(_option IN ITEMS
    -fstack-protector-strong -fstack-clash-protection
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    # The longest folder counts, which is why the build's stands behind the sources'.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build)
  target_compile_options(wzapp_options INTERFACE $<${_product}:${_option}>)
endforeach()
target_link_options(wzapp_options INTERFACE
  $<${_product}:-Wl,-z,relro> $<${_product}:-Wl,-z,now> $<${_product}:-Wl,-z,noexecstack>)
