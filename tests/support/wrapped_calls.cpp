#include "tests/support/wrapped_calls.h"

namespace wzapp_test {
namespace {

WrappedCalls* current = nullptr;

}  // namespace

WrappedCalls::WrappedCalls() { current = this; }

WrappedCalls::~WrappedCalls() { current = nullptr; }

extern "C" {

int __real_stat(const char* path, struct stat* status);
uid_t __real_getuid();
gid_t __real_getgid();
std::FILE* __real_fopen(const char* path, const char* mode);
std::size_t __real_fread(void* buffer, std::size_t size, std::size_t count, std::FILE* file);
int __real_mkdir(const char* path, mode_t mode);
DIR* __real_opendir(const char* path);

int __wrap_stat(const char* path, struct stat* status) {
  if (current != nullptr && current->stat) return current->stat(path, status);
  return __real_stat(path, status);
}

uid_t __wrap_getuid() {
  if (current != nullptr && current->getuid) return current->getuid();
  return __real_getuid();
}

gid_t __wrap_getgid() {
  if (current != nullptr && current->getgid) return current->getgid();
  return __real_getgid();
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (current != nullptr && current->fopen) return current->fopen(path, mode);
  return __real_fopen(path, mode);
}

std::size_t __wrap_fread(void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
  if (current != nullptr && current->fread) return current->fread(buffer, size, count, file);
  return __real_fread(buffer, size, count, file);
}

int __wrap_mkdir(const char* path, mode_t mode) {
  if (current != nullptr && current->mkdir) return current->mkdir(path, mode);
  return __real_mkdir(path, mode);
}

DIR* __wrap_opendir(const char* path) {
  if (current != nullptr && current->opendir) return current->opendir(path);
  return __real_opendir(path);
}

}  // extern "C"

int realStat(const char* path, struct stat* status) { return __real_stat(path, status); }

std::FILE* realFopen(const char* path, const char* mode) { return __real_fopen(path, mode); }

std::size_t realFread(void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
  return __real_fread(buffer, size, count, file);
}

int realMkdir(const char* path, mode_t mode) { return __real_mkdir(path, mode); }

}  // namespace wzapp_test
