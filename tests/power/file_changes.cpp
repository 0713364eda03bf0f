#include "tests/power/file_changes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdarg>
#include <utility>

namespace wzapp_test {

void (*beforeChange)() = nullptr;

namespace {

// What is called meanwhile changes nothing that counts.
void change() {
  void (*const told)() = std::exchange(beforeChange, nullptr);
  if (told != nullptr) told();
  beforeChange = told;
}

constexpr bool changes(int flags) { return (flags & (O_CREAT | O_TRUNC)) != 0; }

}  // namespace

extern "C" {

int __real_open(const char* name, int flags, mode_t mode);
int __real_openat(int directory, const char* name, int flags, mode_t mode);
int __real_mkdirat(int directory, const char* name, mode_t mode);
int __real_unlinkat(int directory, const char* name, int flags);
ssize_t __real_write(int file, const void* octets, std::size_t size);
int __real_ftruncate(int file, off_t size);
int __real_rename(const char* from, const char* to);
int __real_remove(const char* name);
int __real_syncfs(int file);

int __wrap_open(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (changes(flags)) change();
  return __real_open(name, flags, mode);
}

int __wrap_openat(int directory, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (changes(flags)) change();
  return __real_openat(directory, name, flags, mode);
}

int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
  change();
  return __real_mkdirat(directory, name, mode);
}

int __wrap_unlinkat(int directory, const char* name, int flags) {
  change();
  return __real_unlinkat(directory, name, flags);
}

ssize_t __wrap_write(int file, const void* octets, std::size_t size) {
  change();
  return __real_write(file, octets, size);
}

int __wrap_ftruncate(int file, off_t size) {
  change();
  return __real_ftruncate(file, size);
}

int __wrap_rename(const char* from, const char* to) {
  change();
  return __real_rename(from, to);
}

int __wrap_remove(const char* name) {
  change();
  return __real_remove(name);
}

int __wrap_syncfs(int file) {
  change();
  return __real_syncfs(file);
}

}  // extern "C"

}  // namespace wzapp_test
