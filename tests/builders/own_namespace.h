/// Namespaces of a child process's own, in which it may mount what it likes: for what a test needs
/// besides its terminal.
#ifndef TESTS_BUILDERS_OWN_NAMESPACE_H
#define TESTS_BUILDERS_OWN_NAMESPACE_H

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/builders/child_process.h"

namespace wzapp_test {

/// Enters them, as the same user with every capability there. Called in a child process
/// (child_process.h) that has one thread. Throws what cannot be done.
inline void enterOwnNamespace() {
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    throw std::runtime_error("unshare: errno " + std::to_string(errno));
  }
  const auto write = [](const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) throw std::runtime_error(std::string("cannot write ") + path);
  };
  write("/proc/self/setgroups", "deny");
  write("/proc/self/uid_map", user + " " + user + " 1");
  write("/proc/self/gid_map", group + " " + group + " 1");
}

/// Whether a child process is given a second thread, as an emulator of another processor does: it
/// can then enter no namespace.
inline bool hasForeignThread() {
  const pid_t child = forkSingleThread();
  if (child == 0) _exit(unshare(CLONE_NEWUSER) != 0 && errno == EINVAL ? 1 : 0);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

/// Mounts an empty memory file system on a folder; the options are those of mount(8), such as
/// "size=64k,nr_inodes=10".
inline void mountMemory(const std::string& folder, const std::string& options = {}) {
  if (mount("test", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    throw std::runtime_error("mount on " + folder + ": errno " + std::to_string(errno));
  }
}

}  // namespace wzapp_test

#endif  // TESTS_BUILDERS_OWN_NAMESPACE_H
