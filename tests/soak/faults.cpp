#include "tests/soak/faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <iterator>
#include <new>
#include <utility>

namespace wzapp_test {
namespace {

std::array<std::atomic<std::uint64_t>, kFaultKinds> counts;
std::atomic<std::uint64_t> randomSeed;
std::atomic<std::uint64_t> threadNumber;

thread_local unsigned failsOneIn = 0;
thread_local std::uint64_t randomState = 0;

// What may be the matter with a descriptor that is to be opened, and with a file.
constexpr int kOpenErrors[] = {EMFILE, ENFILE, ENOMEM, EIO, EINTR};
constexpr int kFileErrors[] = {EIO, ENOSPC, EINTR, ENOMEM};

// Of the few calls for a thread more are to fail than of the many for memory.
constexpr unsigned kThreadFactor = 20;

// splitmix64: needs no memory, so that it can be asked inside of operator new.
std::uint64_t nextRandom() {
  if (randomState == 0) randomState = randomSeed + (++threadNumber << 32);
  std::uint64_t z = (randomState += 0x9E3779B97F4A7C15U);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31);
}

template <std::size_t count>
bool fails(Fault fault, const int (&errors)[count]) {
  if (!mustFail(fault)) return false;
  errno = errors[nextRandom() % count];
  return true;
}

bool failsToOpen() { return fails(kDescriptorFault, kOpenErrors); }
bool failsOnFile() { return fails(kFileFault, kFileErrors); }

}  // namespace

std::array<std::uint64_t, kFaultKinds> faultCounts() {
  std::array<std::uint64_t, kFaultKinds> result;
  for (std::size_t kind = 0; kind < kFaultKinds; ++kind) result[kind] = counts[kind];
  return result;
}

void setFaults(unsigned oneIn) { failsOneIn = oneIn; }

NoFaults::NoFaults() : before_(std::exchange(failsOneIn, 0)) {}

NoFaults::~NoFaults() { failsOneIn = before_; }

bool mustFail(Fault fault, unsigned factor) {
  if (failsOneIn == 0 || nextRandom() % failsOneIn >= factor) return false;
  ++counts[fault];
  return true;
}

void seedRandom(std::uint64_t seed) { randomSeed = seed; }

std::uint64_t randomNumber(std::uint64_t below) { return nextRandom() % below; }

extern "C" {

int __real_open(const char* name, int flags, mode_t mode);
int __real_openat(int directory, const char* name, int flags, mode_t mode);
DIR* __real_opendir(const char* name);
DIR* __real_fdopendir(int directory);
struct dirent* __real_readdir(DIR* stream);
int __real_mkdirat(int directory, const char* name, mode_t mode);
int __real_unlinkat(int directory, const char* name, int flags);
int __real_fstatat(int directory, const char* name, struct stat* status, int flags);
int __real_fstatvfs(int file, struct statvfs* status);
int __real_ftruncate(int file, off_t size);
ssize_t __real_read(int file, void* octets, std::size_t size);
ssize_t __real_pread(int file, void* octets, std::size_t size, off_t offset);
ssize_t __real_write(int file, const void* octets, std::size_t size);
int __real_remove(const char* name);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument);

int __wrap_open(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return failsToOpen() ? -1 : __real_open(name, flags, mode);
}

int __wrap_openat(int directory, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return failsToOpen() ? -1 : __real_openat(directory, name, flags, mode);
}

DIR* __wrap_opendir(const char* name) { return failsToOpen() ? nullptr : __real_opendir(name); }

DIR* __wrap_fdopendir(int directory) {
  return failsToOpen() ? nullptr : __real_fdopendir(directory);
}

struct dirent* __wrap_readdir(DIR* stream) {
  return failsOnFile() ? nullptr : __real_readdir(stream);
}

int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
  return failsOnFile() ? -1 : __real_mkdirat(directory, name, mode);
}

int __wrap_unlinkat(int directory, const char* name, int flags) {
  return failsOnFile() ? -1 : __real_unlinkat(directory, name, flags);
}

int __wrap_fstatat(int directory, const char* name, struct stat* status, int flags) {
  return failsOnFile() ? -1 : __real_fstatat(directory, name, status, flags);
}

int __wrap_fstatvfs(int file, struct statvfs* status) {
  return failsOnFile() ? -1 : __real_fstatvfs(file, status);
}

int __wrap_ftruncate(int file, off_t size) {
  return failsOnFile() ? -1 : __real_ftruncate(file, size);
}

ssize_t __wrap_read(int file, void* octets, std::size_t size) {
  return failsOnFile() ? -1 : __real_read(file, octets, size);
}

ssize_t __wrap_pread(int file, void* octets, std::size_t size, off_t offset) {
  return failsOnFile() ? -1 : __real_pread(file, octets, size, offset);
}

ssize_t __wrap_write(int file, const void* octets, std::size_t size) {
  return failsOnFile() ? -1 : __real_write(file, octets, size);
}

// Not done: it would wait for what the whole machine has written.
int __wrap_syncfs(int) { return failsOnFile() ? -1 : 0; }

int __wrap_remove(const char* name) { return failsOnFile() ? -1 : __real_remove(name); }

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument) {
  return mustFail(kThreadFault, kThreadFactor)
             ? EAGAIN
             : __real_pthread_create(thread, attributes, entry, argument);
}

}  // extern "C"

}  // namespace wzapp_test

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return wzapp_test::mustFail(wzapp_test::kMemoryFault) ? nullptr
                                                        : std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
