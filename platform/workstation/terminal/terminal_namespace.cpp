#include "workstation/terminal/terminal_namespace.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "workstation/terminal/accounts.h"
#include "workstation/terminal/covered_folder.h"
#include "workstation/terminal/owner_check.h"
#include "workstation/terminal/private_namespaces.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"

namespace workstation {
namespace {

constexpr char kPlatformDevices[] = "/sys/devices/platform";
constexpr char kTouchNode[] = "captouch.0";

// Root plays this user; any id that is not 0 would do.
constexpr unsigned kOrdinaryId = 1000;

// What the steps of an entry share.
struct Entry {
  std::string terminal;  // absolute, without links
  TerminalProfile profile;
  NamespaceIds ids;
  std::string& error;
};

// Every way in which a machine can forbid private namespaces has the same cure.
bool isRefusal(int code) {
  return code == EPERM || code == EACCES || code == ENOSPC || code == EUSERS;
}

bool fail(Entry& entry, const std::string& step) {
  const int code = errno;
  if (isRefusal(code)) {
    entry.error =
        "this machine does not let an ordinary user make a private namespace (" + step + ": " +
        std::strerror(code) +
        "); let the administrator set user.max_user_namespaces to 10000, and where they exist "
        "kernel.unprivileged_userns_clone to 1 and kernel.apparmor_restrict_unprivileged_userns "
        "to 0, with sysctl; in a container, start it with a security profile that allows user "
        "namespaces";
    return false;
  }
  entry.error =
      "cannot enter the terminal " + entry.terminal + ": " + step + ": " + std::strerror(code);
  return false;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool findTerminal(const std::string& terminalDir, Entry& entry) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(terminalDir.c_str(), nullptr),
                                                         &std::free);
  if (path == nullptr) {
    entry.error = "cannot find the terminal directory " + terminalDir + ": " + std::strerror(errno);
    return false;
  }
  entry.terminal = path.get();
  for (const char* const part : {kFlashFolder, kHomeFolder}) {
    if (isFolder(entry.terminal + "/" + part)) continue;
    entry.error = entry.terminal + " is no terminal directory: it has no folder " + part +
                  "; make one with: wz terminal create DIR";
    return false;
  }
  return true;
}

// A terminal below a path that it covers itself could not be reached from inside.
bool checkPlace(Entry& entry) {
  const std::string inside = entry.terminal + "/";
  for (const char* const folder : {"/mnt", "/home"}) {
    const std::string root = std::string(folder) + "/";
    if (root.compare(0, inside.size(), inside) == 0) {
      entry.error = entry.terminal + " cannot be a terminal directory: it holds " + folder;
      return false;
    }
    if (inside.compare(0, root.size(), root) != 0) continue;
    const std::string name =
        inside.substr(root.size(), inside.find('/', root.size()) - root.size());
    if (!isTerminalPath(folder, name)) continue;
    const std::string hiding = root + name;
    entry.error = entry.terminal + " cannot be a terminal directory: the terminal's own " + hiding +
                  " hides it; move it elsewhere";
    return false;
  }
  return true;
}

bool readProfile(Entry& entry) {
  ProfileError profileError;
  if (loadTerminalProfile(entry.terminal, entry.profile, profileError)) return true;
  entry.error = profileError.text();
  return false;
}

bool makeNamespaces(Entry& entry) {
  const char* const step = makePrivateNamespaces(entry.ids);
  return step == nullptr || fail(entry, step);
}

// Keeps the entry of `folder` below which `path` lies, if it does.
void keepPath(CoveredFolder& folder, const char* path) {
  const std::string root = folder.path() + "/";
  const std::string text = path == nullptr ? "" : path;
  if (text.compare(0, root.size(), root) != 0) return;
  const std::string name = text.substr(root.size(), text.find('/', root.size()) - root.size());
  if (!isTerminalPath(folder.path(), name)) folder.keep(name);
}

// Hides what the machine has at the terminal's paths; everything else in the same folders stays.
bool coverFolders(Entry& entry, const char* workingDir) {
  CoveredFolder mnt("/mnt"), home("/home");
  CoveredFolder* const folders[] = {&mnt, &home};
  for (CoveredFolder* const folder : folders) {
    folder->keepAll(
        [folder](const std::string& name) { return !isTerminalPath(folder->path(), name); });
    // A /home that may be entered but not listed still holds these.
    keepPath(*folder, entry.terminal.c_str());
    keepPath(*folder, workingDir);
    keepPath(*folder, std::getenv("HOME"));
  }
  for (CoveredFolder* const folder : folders) {
    if (!folder->cover()) return fail(entry, folder->path());
  }
  for (const TerminalLink& link : terminalLinks()) {
    const std::string target = entry.terminal + "/" + link.inTerminal;
    if (symlink(target.c_str(), link.path.c_str()) != 0) return fail(entry, link.path);
  }
  return true;
}

// Where this cannot be shown, the model alone decides about the touch screen.
bool showTouchScreen(Entry& entry) {
  const std::string node = std::string(kPlatformDevices) + "/" + kTouchNode;
  if (!entry.profile.touch || isFolder(node) || !isFolder(kPlatformDevices)) return true;
  CoveredFolder devices(kPlatformDevices);
  devices.keepAll([](const std::string&) { return true; });
  if (!devices.cover() || mkdir(node.c_str(), 0755) != 0 || !devices.seal()) {
    return fail(entry, kPlatformDevices);
  }
  return true;
}

bool writeFile(const std::string& path, const std::string& content) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) return false;
  const ssize_t written = write(file, content.data(), content.size());
  close(file);
  return written == static_cast<ssize_t>(content.size());
}

// The folder is covered, and not each file: what is mounted on a file goes when the machine puts
// another in its place, as it does when a group is added.
bool replaceAccounts(Entry& entry) {
  const bool assumed = entry.ids.innerUid != entry.ids.outerUid;
  std::map<std::string, std::string> files{{"group", groupFile(entry.ids.innerGid)}};
  if (std::string passwd = passwdFile(entry.ids.innerUid, entry.ids.innerGid, assumed);
      !passwd.empty()) {
    files["passwd"] = std::move(passwd);
  }
  CoveredFolder etc("/etc");
  etc.keepAll([&files](const std::string& name) { return files.count(name) == 0; });
  if (!etc.cover()) return fail(entry, etc.path());
  for (const auto& [name, content] : files) {
    const std::string path = etc.path() + "/" + name;
    if (!writeFile(path, content)) return fail(entry, path);
  }
  return etc.seal() || fail(entry, etc.path());
}

bool sealFolders(Entry& entry) {
  for (const char* const folder : {"/mnt", "/home"}) {
    if (!sealMount(folder)) return fail(entry, folder);
  }
  return true;
}

bool dropCapabilities(Entry& entry) {
  const char* const step = dropAllCapabilities();
  return step == nullptr || fail(entry, step);
}

// The working directory was opened in a folder that is covered now; its name leads to the same
// folder by way of the mounts that a rename can work in. Best effort: it also works as it is.
void reopenWorkingDir(const char* path, const struct stat& before) {
  struct stat now {};
  if (path == nullptr || stat(path, &now) != 0) return;
  if (now.st_dev != before.st_dev || now.st_ino != before.st_ino) return;
  (void)!chdir(path);
}

}  // namespace

bool enterTerminal(const std::string& terminalDir, std::string& error) {
  const unsigned uid = geteuid(), gid = getegid();
  Entry entry{"", TerminalProfile(), {uid, gid, uid, gid}, error};
  if (uid == 0) entry.ids.innerUid = kOrdinaryId;
  if (gid == 0) entry.ids.innerGid = kOrdinaryId;
  char buffer[PATH_MAX];
  const char* const workingDir = getcwd(buffer, sizeof(buffer));
  struct stat workingDirStatus {};
  (void)stat(".", &workingDirStatus);

  if (!findTerminal(terminalDir, entry) || !checkOwner(entry.terminal, error) ||
      !checkPlace(entry) || !readProfile(entry)) {
    return false;
  }
  if (!makeNamespaces(entry) || !replaceAccounts(entry) || !coverFolders(entry, workingDir) ||
      !showTouchScreen(entry) || !sealFolders(entry) || !dropCapabilities(entry)) {
    return false;
  }
  reopenWorkingDir(workingDir, workingDirStatus);
  if (setenv("WZ_TERMINAL", entry.terminal.c_str(), 1) != 0) return fail(entry, "WZ_TERMINAL");
  return true;
}

}  // namespace workstation
