#include "tests/installer/file_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace wzapp_test {
namespace {

FileCalls* current = nullptr;

// Whether the call fails; errno is then set.
bool fails(const char* function, const char* name) {
  if (current == nullptr || !current->hook) return false;
  FileCalls* const calls = std::exchange(current, nullptr);
  const int error = calls->hook({function, name});
  current = calls;
  if (error != 0) errno = error;
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
std::FILE* __real_fopen(const char* name, const char* mode);

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
  return fails("fstatat", name) ? -1 : __real_fstatat(directory, name, status, flags);
}

DIR* __wrap_fdopendir(int directory) {
  return fails("fdopendir", "") ? nullptr : __real_fdopendir(directory);
}

DIR* __wrap_opendir(const char* name) {
  return fails("opendir", name) ? nullptr : __real_opendir(name);
}

std::FILE* __wrap_fopen(const char* name, const char* mode) {
  return fails("fopen", name) ? nullptr : __real_fopen(name, mode);
}

}  // extern "C"

}  // namespace wzapp_test
