#include "tests/installer/file_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace wzapp_test {
namespace {

FileCalls* current = nullptr;

// Whether the call fails; errno is then set, and otherwise what it was before.
bool fails(const char* function, const char* name) {
  if (current == nullptr || !current->hook) return false;
  const int before = errno;
  FileCalls* const calls = std::exchange(current, nullptr);
  const int error = calls->hook({function, name});
  current = calls;
  errno = error != 0 ? error : before;
  return error != 0;
}

}  // namespace

FileCalls::FileCalls() { current = this; }

FileCalls::~FileCalls() { current = nullptr; }

extern "C" {

int __real_openat(int directory, const char* name, int flags, mode_t mode);
int __real_unlinkat(int directory, const char* name, int flags);
int __real_fstatat(int directory, const char* name, struct stat* status, int flags);
DIR* __real_fdopendir(int directory);
DIR* __real_opendir(const char* name);
struct dirent* __real_readdir(DIR* stream);
int __real_open(const char* name, int flags, mode_t mode);
int __real_mkdirat(int directory, const char* name, mode_t mode);
ssize_t __real_read(int file, void* octets, std::size_t size);
int __real_stat(const char* name, struct stat* status);
int __real_lstat(const char* name, struct stat* status);
int __real_fstat(int file, struct stat* status);
ssize_t __real_write(int file, const void* octets, std::size_t size);
int __real_fallocate(int file, int mode, off_t offset, off_t size);
int __real_ftruncate(int file, off_t size);
int __real_fstatvfs(int file, struct statvfs* status);
int __real_syncfs(int file);
void __real_sync();
int __real_remove(const char* name);
void* __real_unzOpen2_64(const void* path, void* functions);
int __real_unzReadCurrentFile(void* archive, void* buffer, unsigned size);

int __wrap_openat(int directory, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return fails("openat", name) ? -1 : __real_openat(directory, name, flags, mode);
}

int __wrap_unlinkat(int directory, const char* name, int flags) {
  return fails("unlinkat", name) ? -1 : __real_unlinkat(directory, name, flags);
}

int __wrap_fstatat(int directory, const char* name, struct stat* status, int flags) {
  if (fails("fstatat", name)) return -1;
  const int result = __real_fstatat(directory, name, status, flags);
  if (result == 0 && current != nullptr && current->atStatus) current->atStatus(*status);
  return result;
}

DIR* __wrap_fdopendir(int directory) {
  return fails("fdopendir", "") ? nullptr : __real_fdopendir(directory);
}

DIR* __wrap_opendir(const char* name) {
  return fails("opendir", name) ? nullptr : __real_opendir(name);
}

struct dirent* __wrap_readdir(DIR* stream) {
  return fails("readdir", "") ? nullptr : __real_readdir(stream);
}

int __wrap_open(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return fails("open", name) ? -1 : __real_open(name, flags, mode);
}

int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
  return fails("mkdirat", name) ? -1 : __real_mkdirat(directory, name, mode);
}

ssize_t __wrap_read(int file, void* octets, std::size_t size) {
  return fails("read", "") ? -1 : __real_read(file, octets, size);
}

int __wrap_stat(const char* name, struct stat* status) {
  return fails("stat", name) ? -1 : __real_stat(name, status);
}

int __wrap_lstat(const char* name, struct stat* status) {
  return fails("lstat", name) ? -1 : __real_lstat(name, status);
}

int __wrap_fstat(int file, struct stat* status) {
  return fails("fstat", "") ? -1 : __real_fstat(file, status);
}

ssize_t __wrap_write(int file, const void* octets, std::size_t size) {
  return fails("write", "") ? -1 : __real_write(file, octets, size);
}

int __wrap_fallocate(int file, int mode, off_t offset, off_t size) {
  return fails("fallocate", "") ? -1 : __real_fallocate(file, mode, offset, size);
}

int __wrap_ftruncate(int file, off_t size) {
  return fails("ftruncate", "") ? -1 : __real_ftruncate(file, size);
}

int __wrap_fstatvfs(int file, struct statvfs* status) {
  if (fails("fstatvfs", "")) return -1;
  const int result = __real_fstatvfs(file, status);
  if (result == 0 && current != nullptr && current->atSpace) current->atSpace(*status);
  return result;
}

// Not done where calls are watched: it would wait for what the whole machine has written.
int __wrap_syncfs(int file) {
  if (fails("syncfs", "")) return -1;
  return current == nullptr ? __real_syncfs(file) : 0;
}

void __wrap_sync() {
  static_cast<void>(fails("sync", ""));
  if (current == nullptr) __real_sync();
}

int __wrap_remove(const char* name) { return fails("remove", name) ? -1 : __real_remove(name); }

void* __wrap_unzOpen2_64(const void* path, void* functions) {
  return fails("unzOpen2_64", "") ? nullptr : __real_unzOpen2_64(path, functions);
}

int __wrap_unzReadCurrentFile(void* archive, void* buffer, unsigned size) {
  constexpr int kReadError = -1;
  return fails("unzReadCurrentFile", "") ? kReadError
                                         : __real_unzReadCurrentFile(archive, buffer, size);
}

}  // extern "C"

}  // namespace wzapp_test
