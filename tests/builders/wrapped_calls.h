// System calls that a test can replace, so that a fault can be had as any user: a test program that
// lists wzapp_wrapped_calls among its LIBS makes a WrappedCalls object and sets the hooks that it
// needs. A hook is called instead of the function of its name.
#ifndef WZAPP_TESTS_BUILDERS_WRAPPED_CALLS_H
#define WZAPP_TESTS_BUILDERS_WRAPPED_CALLS_H

#include <grp.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>

namespace wzapp_test {

// One at a time; its end takes the hooks away. Hooks are called on the threads that call the
// functions, so they are set before a thread starts.
class WrappedCalls {
 public:
  WrappedCalls();
  WrappedCalls(const WrappedCalls&) = delete;
  WrappedCalls& operator=(const WrappedCalls&) = delete;
  ~WrappedCalls();

  std::function<int(const char* path, struct stat* status)> stat;
  std::function<int(const char* path, struct stat* status)> lstat;
  std::function<int(const char* path, mode_t mode)> mkdir;
  std::function<int(const char* from, const char* to)> rename;
  std::function<int(const char* path, uid_t owner, gid_t group)> chown;
  std::function<int(const char* path, mode_t mode)> chmod;
  std::function<int(const char* name, struct group* entry, char* buffer, std::size_t size,
                    struct group** found)>
      getgrnam_r;
  std::function<uid_t()> getuid;
  std::function<gid_t()> getgid;
  std::function<ssize_t(int file, void* buffer, std::size_t size)> read;
};

// The functions themselves, for hooks that change a part of what they do.
int realStat(const char* path, struct stat* status);
int realLstat(const char* path, struct stat* status);
int realMkdir(const char* path, mode_t mode);
int realRename(const char* from, const char* to);
int realChown(const char* path, uid_t owner, gid_t group);
int realChmod(const char* path, mode_t mode);
int realGetgrnam(const char* name, struct group* entry, char* buffer, std::size_t size,
                 struct group** found);
ssize_t realRead(int file, void* buffer, std::size_t size);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_WRAPPED_CALLS_H
