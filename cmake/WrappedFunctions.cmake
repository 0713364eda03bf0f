# Functions that tests replace at link time, by the linker's --wrap.

# Their symbols on 32 bits, where times and sizes have 64 (WzappOptions): the functions of the C
# library, and operator new, whose size has another type.
set(_wzapp_symbols_of_32_bits
  _Znam=_Znaj _ZnamRKSt9nothrow_t=_ZnajRKSt9nothrow_t
  _Znwm=_Znwj _ZnwmRKSt9nothrow_t=_ZnwjRKSt9nothrow_t
  fallocate=fallocate64
  fcntl=__fcntl_time64
  fstat=__fstat64_time64
  fstatat=__fstatat64_time64
  fstatvfs=fstatvfs64
  ftruncate=ftruncate64
  lstat=__lstat64_time64
  open=open64
  openat=openat64
  pread=pread64
  pthread_cond_timedwait=__pthread_cond_timedwait64
  readdir=readdir64
  stat=__stat64_time64
  time=__time64)

# Has `target` (SCOPE: PRIVATE or INTERFACE) link __wrap_<function> for each of the functions, in the
# sources' own spelling whatever the symbol is.
function(wzapp_wrap target scope)
  foreach(function IN LISTS ARGN)
    set(symbol ${function})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      foreach(pair IN LISTS _wzapp_symbols_of_32_bits)
        if(pair MATCHES "^${function}=(.*)$")
          set(symbol ${CMAKE_MATCH_1})
          target_compile_definitions(${target} ${scope}
            __wrap_${function}=__wrap_${symbol} __real_${function}=__real_${symbol})
        endif()
      endforeach()
    endif()
    target_link_options(${target} ${scope} -Wl,--wrap=${symbol})
  endforeach()
endfunction()
