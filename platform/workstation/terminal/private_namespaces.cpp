#include "workstation/terminal/private_namespaces.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace workstation {
namespace {

bool writeOnce(const char* path, const std::string& text) {
  const int file = open(path, O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t written = write(file, text.data(), text.size());
  const int code = errno;
  close(file);
  errno = code;
  return written == static_cast<ssize_t>(text.size());
}

std::string mapLine(unsigned inner, unsigned outer) {
  return std::to_string(inner) + " " + std::to_string(outer) + " 1\n";
}

}  // namespace

const char* makePrivateNamespaces(const NamespaceIds& ids) {
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return "unshare";
  if (!writeOnce("/proc/self/setgroups", "deny")) return "/proc/self/setgroups";
  if (!writeOnce("/proc/self/uid_map", mapLine(ids.innerUid, ids.outerUid))) {
    return "/proc/self/uid_map";
  }
  if (!writeOnce("/proc/self/gid_map", mapLine(ids.innerGid, ids.outerGid))) {
    return "/proc/self/gid_map";
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0) {
    return "making mounts private";
  }
  return nullptr;
}

const char* dropAllCapabilities() {
  static constexpr char kStep[] = "dropping capabilities";
  for (unsigned long capability = 0; capability <= CAP_LAST_CAP; ++capability) {
    // EINVAL: a capability that this kernel does not know yet.
    if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0 && errno != EINVAL) return kStep;
  }
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  if (prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) != 0 ||
      syscall(SYS_capset, &header, none) != 0) {
    return kStep;
  }
  return nullptr;
}

}  // namespace workstation
