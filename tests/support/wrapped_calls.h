// System calls that a test can replace: each hook that is set is called instead of the function of
// its name. A WrappedCalls object resets them all at its end.
#ifndef WZAPP_TESTS_SUPPORT_WRAPPED_CALLS_H
#define WZAPP_TESTS_SUPPORT_WRAPPED_CALLS_H

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <functional>

namespace wzapp_test {

class WrappedCalls {
 public:
  WrappedCalls();
  WrappedCalls(const WrappedCalls&) = delete;
  WrappedCalls& operator=(const WrappedCalls&) = delete;
  ~WrappedCalls();

  std::function<int(const char* path, struct stat* status)> stat;
  std::function<uid_t()> getuid;
  std::function<gid_t()> getgid;
  std::function<std::FILE*(const char* path, const char* mode)> fopen;
  std::function<std::size_t(void* buffer, std::size_t size, std::size_t count, std::FILE* file)>
      fread;
  std::function<int(const char* path, mode_t mode)> mkdir;
  std::function<DIR*(const char* path)> opendir;
};

// The functions themselves.
int realStat(const char* path, struct stat* status);
std::FILE* realFopen(const char* path, const char* mode);
std::size_t realFread(void* buffer, std::size_t size, std::size_t count, std::FILE* file);
int realMkdir(const char* path, mode_t mode);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SUPPORT_WRAPPED_CALLS_H
