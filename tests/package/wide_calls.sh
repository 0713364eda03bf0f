#!/usr/bin/env bash
# Usage: wide_calls.sh LIBRARY
# On 32 bits the library calls those functions of the C library whose times, offsets and inodes have 64
# bits, in every one of its files. On 64 bits there are no others, and nothing to test.
set -euo pipefail
library=$1

undefined=$(nm --dynamic --undefined-only "$library" | awk '{ print $NF }' | sed 's/@.*//')

# What has a counterpart that ends with 64 or _time64.
narrow='creat|fopen|freopen|open|openat|lseek|pread|pwrite|readdir|readdir_r|scandir|stat|fstat|lstat|fstatat'
narrow+='|__f?xstat|__lxstat|__fxstatat|statvfs|fstatvfs|statfs|fstatfs|truncate|ftruncate|fallocate'
narrow+='|posix_fallocate|fseeko|ftello|fcntl|ioctl|mmap|sendfile|time|gettimeofday|clock_gettime|clock_nanosleep'
narrow+='|nanosleep|ctime|ctime_r|gmtime|gmtime_r|localtime|localtime_r|mktime|timegm|difftime|utime|utimes'
narrow+='|utimensat|futimens|select|pselect|pthread_cond_timedwait|pthread_mutex_timedlock|sem_timedwait'
if grep -xE "$narrow" <<<"$undefined"; then
  echo "The library calls these, which 32 bits cannot do for late dates, large files or large inodes."
  exit 1
fi
grep -qxE '.*(stat|readdir|time)(64|64_time64)' <<<"$undefined" ||
  { echo "The library seems to call neither form; what has been tested?"; exit 1; }
