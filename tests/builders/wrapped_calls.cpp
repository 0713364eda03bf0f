#include "tests/builders/wrapped_calls.h"

namespace wzapp_test {
namespace {

WrappedCalls* current = nullptr;

}  // namespace

WrappedCalls::WrappedCalls() { current = this; }

WrappedCalls::~WrappedCalls() { current = nullptr; }

extern "C" {

int __real_stat(const char* path, struct stat* status);
int __real_lstat(const char* path, struct stat* status);
int __real_mkdir(const char* path, mode_t mode);
int __real_rename(const char* from, const char* to);
int __real_chown(const char* path, uid_t owner, gid_t group);
int __real_chmod(const char* path, mode_t mode);
int __real_getgrnam_r(const char* name, struct group* entry, char* buffer, std::size_t size,
                      struct group** found);
uid_t __real_getuid();
gid_t __real_getgid();
ssize_t __real_read(int file, void* buffer, std::size_t size);

int __wrap_stat(const char* path, struct stat* status) {
  if (current != nullptr && current->stat) return current->stat(path, status);
  return __real_stat(path, status);
}

int __wrap_lstat(const char* path, struct stat* status) {
  if (current != nullptr && current->lstat) return current->lstat(path, status);
  return __real_lstat(path, status);
}

int __wrap_mkdir(const char* path, mode_t mode) {
  if (current != nullptr && current->mkdir) return current->mkdir(path, mode);
  return __real_mkdir(path, mode);
}

int __wrap_rename(const char* from, const char* to) {
  if (current != nullptr && current->rename) return current->rename(from, to);
  return __real_rename(from, to);
}

int __wrap_chown(const char* path, uid_t owner, gid_t group) {
  if (current != nullptr && current->chown) return current->chown(path, owner, group);
  return __real_chown(path, owner, group);
}

int __wrap_chmod(const char* path, mode_t mode) {
  if (current != nullptr && current->chmod) return current->chmod(path, mode);
  return __real_chmod(path, mode);
}

int __wrap_getgrnam_r(const char* name, struct group* entry, char* buffer, std::size_t size,
                      struct group** found) {
  if (current != nullptr && current->getgrnam_r)
    return current->getgrnam_r(name, entry, buffer, size, found);
  return __real_getgrnam_r(name, entry, buffer, size, found);
}

uid_t __wrap_getuid() {
  if (current != nullptr && current->getuid) return current->getuid();
  return __real_getuid();
}

gid_t __wrap_getgid() {
  if (current != nullptr && current->getgid) return current->getgid();
  return __real_getgid();
}

ssize_t __wrap_read(int file, void* buffer, std::size_t size) {
  if (current != nullptr && current->read) return current->read(file, buffer, size);
  return __real_read(file, buffer, size);
}

}  // extern "C"

int realStat(const char* path, struct stat* status) { return __real_stat(path, status); }

int realLstat(const char* path, struct stat* status) { return __real_lstat(path, status); }

int realMkdir(const char* path, mode_t mode) { return __real_mkdir(path, mode); }

int realRename(const char* from, const char* to) { return __real_rename(from, to); }

int realChown(const char* path, uid_t owner, gid_t group) {
  return __real_chown(path, owner, group);
}

int realChmod(const char* path, mode_t mode) { return __real_chmod(path, mode); }

int realGetgrnam(const char* name, struct group* entry, char* buffer, std::size_t size,
                 struct group** found) {
  return __real_getgrnam_r(name, entry, buffer, size, found);
}

ssize_t realRead(int file, void* buffer, std::size_t size) {
  return __real_read(file, buffer, size);
}

}  // namespace wzapp_test
