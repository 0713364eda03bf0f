// The file operations of the installer, seen and failed by a test: those that CMakeLists.txt lists
// are wrapped in the whole test program.
#ifndef WZAPP_TESTS_INSTALLER_FILE_CALLS_H
#define WZAPP_TESTS_INSTALLER_FILE_CALLS_H

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <functional>
#include <string>

namespace wzapp_test {

// One operation that is about to happen.
struct FileCall {
  std::string function;
  std::string name;  // as it is given; nothing where the function takes an open file
};

// One at a time; its end takes the hook away. While a hook runs, what it calls is not seen. While
// there is one, syncfs() and sync() have nothing written.
class FileCalls {
 public:
  FileCalls();
  FileCalls(const FileCalls&) = delete;
  FileCalls& operator=(const FileCalls&) = delete;
  ~FileCalls();

  // Called before each operation. 0 lets it happen; any other number is the errno it fails with.
  std::function<int(const FileCall& call)> hook;

  // Changes what fstatat() has found out: another owner, which no test can give a file.
  std::function<void(struct stat& status)> atStatus;

  // The same of fstatvfs().
  std::function<void(struct statvfs& status)> atSpace;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_INSTALLER_FILE_CALLS_H
