#include "tests/archive/archive_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <new>

// Behind the system's headers: it would switch them to offsets of 64 bits.
#include <minizip/unzip.h>

namespace wzapp_test {
namespace {

ArchiveCalls* current = nullptr;

bool mustFail(Call call) { return current != nullptr && current->mustFail(call); }

}  // namespace

ArchiveCalls::ArchiveCalls() { current = this; }

ArchiveCalls::~ArchiveCalls() { current = nullptr; }

void ArchiveCalls::fail(Call call, int number) {
  failing = call;
  failingNumber = count(call) + number;
}

void ArchiveCalls::failNothing() { failing = Call::kCount; }

bool ArchiveCalls::mustFail(Call call) {
  const int number = ++counts[static_cast<std::size_t>(call)];
  return call == failing && number == failingNumber;
}

extern "C" {

unzFile __real_unzOpen2_64(const void* path, zlib_filefunc64_def* functions);
int __real_unzGetGlobalInfo64(unzFile file, unz_global_info64* info);
int __real_unzGetCurrentFileInfo64(unzFile file, unz_file_info64* info, char* name, uLong nameSize,
                                   void* extra, uLong extraSize, char* comment, uLong commentSize);
int __real_unzGetFilePos64(unzFile file, unz64_file_pos* position);
int __real_unzGoToNextFile(unzFile file);
int __real_unzGoToFilePos64(unzFile file, const unz64_file_pos* position);
int __real_unzOpenCurrentFile(unzFile file);
int __real_unzReadCurrentFile(unzFile file, voidp buffer, unsigned size);
int __real_unzCloseCurrentFile(unzFile file);
int __real_unzClose(unzFile file);
int __real_open(const char* path, int flags, ...);
int __real_fcntl(int descriptor, int command, ...);
int __real_fstat(int descriptor, struct stat* status);
ssize_t __real_pread(int descriptor, void* octets, std::size_t size, off_t offset);
ssize_t __real_write(int descriptor, const void* octets, std::size_t size);
int __real_close(int descriptor);
void* __real__Znwm(std::size_t size);

unzFile __wrap_unzOpen2_64(const void* path, zlib_filefunc64_def* functions) {
  if (mustFail(Call::kUnzOpen)) return nullptr;
  const unzFile file = __real_unzOpen2_64(path, functions);
  if (current != nullptr && file != nullptr) {
    ++current->archives;
    current->hasOpenEntry = false;
  }
  return file;
}

int __wrap_unzGetGlobalInfo64(unzFile file, unz_global_info64* info) {
  if (mustFail(Call::kUnzGetGlobalInfo)) return UNZ_ERRNO;
  return __real_unzGetGlobalInfo64(file, info);
}

int __wrap_unzGetCurrentFileInfo64(unzFile file, unz_file_info64* info, char* name, uLong nameSize,
                                   void* extra, uLong extraSize, char* comment, uLong commentSize) {
  if (mustFail(Call::kUnzGetCurrentFileInfo)) return UNZ_ERRNO;
  return __real_unzGetCurrentFileInfo64(file, info, name, nameSize, extra, extraSize, comment,
                                        commentSize);
}

int __wrap_unzGetFilePos64(unzFile file, unz64_file_pos* position) {
  if (mustFail(Call::kUnzGetFilePos)) return UNZ_PARAMERROR;
  return __real_unzGetFilePos64(file, position);
}

int __wrap_unzGoToNextFile(unzFile file) {
  if (mustFail(Call::kUnzGoToNextFile)) return UNZ_ERRNO;
  return __real_unzGoToNextFile(file);
}

int __wrap_unzGoToFilePos64(unzFile file, const unz64_file_pos* position) {
  if (mustFail(Call::kUnzGoToFilePos)) return UNZ_ERRNO;
  return __real_unzGoToFilePos64(file, position);
}

int __wrap_unzOpenCurrentFile(unzFile file) {
  if (mustFail(Call::kUnzOpenCurrentFile)) return UNZ_INTERNALERROR;
  const int code = __real_unzOpenCurrentFile(file);
  if (current != nullptr && code == UNZ_OK) current->hasOpenEntry = true;
  return code;
}

int __wrap_unzReadCurrentFile(unzFile file, voidp buffer, unsigned size) {
  if (mustFail(Call::kUnzReadCurrentFile)) {
    errno = EIO;
    return UNZ_ERRNO;
  }
  if (current != nullptr) current->readSize = size;
  return __real_unzReadCurrentFile(file, buffer, size);
}

int __wrap_unzCloseCurrentFile(unzFile file) {
  const bool isFailing = mustFail(Call::kUnzCloseCurrentFile);
  if (current != nullptr) current->hasOpenEntry = false;
  const int code = __real_unzCloseCurrentFile(file);
  return isFailing ? UNZ_CRCERROR : code;
}

int __wrap_unzClose(unzFile file) {
  const bool isFailing = mustFail(Call::kUnzClose);
  if (current != nullptr) --current->archives;
  const int code = __real_unzClose(file);
  return isFailing ? UNZ_PARAMERROR : code;
}

int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (mustFail(Call::kOpen)) {
    errno = EMFILE;
    return -1;
  }
  return __real_open(path, flags, mode);
}

int __wrap_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int argument = va_arg(arguments, int);
  va_end(arguments);
  if (mustFail(Call::kFcntl)) {
    errno = EMFILE;
    return -1;
  }
  return __real_fcntl(descriptor, command, argument);
}

int __wrap_fstat(int descriptor, struct stat* status) {
  if (mustFail(Call::kFstat)) {
    errno = EIO;
    return -1;
  }
  return __real_fstat(descriptor, status);
}

// A failing one was interrupted by a signal.
ssize_t __wrap_pread(int descriptor, void* octets, std::size_t size, off_t offset) {
  if (mustFail(Call::kPread)) {
    errno = EINTR;
    return -1;
  }
  if (current != nullptr && current->readLimit != 0) size = std::min(size, current->readLimit);
  return __real_pread(descriptor, octets, size, offset);
}

ssize_t __wrap_write(int descriptor, const void* octets, std::size_t size) {
  if (mustFail(Call::kWrite)) {
    errno = ENOSPC;
    return -1;
  }
  if (current != nullptr && current->isWriteInterrupted) {
    current->isWriteInterrupted = false;
    errno = EINTR;
    return -1;
  }
  if (current != nullptr && current->writeLimit != 0) size = std::min(size, current->writeLimit);
  return __real_write(descriptor, octets, size);
}

int __wrap_close(int descriptor) {
  const bool isFailing = mustFail(Call::kClose);
  const int code = __real_close(descriptor);
  if (!isFailing) return code;
  errno = EIO;
  return -1;
}

void* __wrap__Znwm(std::size_t size) {
  if (mustFail(Call::kNew)) throw std::bad_alloc();
  return __real__Znwm(size);
}

}  // extern "C"

}  // namespace wzapp_test
