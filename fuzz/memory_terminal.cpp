#include "fuzz/memory_terminal.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/builders/test_profile.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_namespace.h"
#include "workstation/terminal/terminal_profile.h"

namespace {

namespace fs = std::filesystem;

constexpr char kMemory[] = "/dev/shm";
const char* const kTerminal = "/dev/shm/terminal";

[[noreturn]] void endWith(const std::string& problem) {
  std::fprintf(stderr, "%s\n", problem.c_str());
  std::exit(1);
}

void write(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) endWith("cannot write " + path.string());
}

void mountMemory() {
  const std::string uid = std::to_string(geteuid());
  const std::string gid = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) endWith("cannot make private namespaces");
  write("/proc/self/setgroups", "deny");
  write("/proc/self/uid_map", uid + " " + uid + " 1");
  write("/proc/self/gid_map", gid + " " + gid + " 1");
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", kMemory, "tmpfs", MS_NOSUID | MS_NODEV, "size=64m") != 0) {
    endWith("cannot make a file system in memory");
  }
}

void makeTerminal() {
  workstation::TerminalProfile profile = wzapp_test::testProfile();
  profile.rootsDirectory = "roots";
  const fs::path terminal(kTerminal);
  fs::create_directory(terminal);
  write(terminal / workstation::kProfileFile, workstation::formatTerminalProfile(profile));
  fs::create_directory(terminal / workstation::kFlashFolder);
  for (const std::string& user : workstation::terminalUsers()) {
    fs::create_directories(terminal / workstation::kHomeFolder / user);
  }
  fs::create_directory(terminal / workstation::kRunFolder);
  fs::permissions(terminal / workstation::kRunFolder, fs::perms::owner_all);
  fs::create_directory(terminal / "roots");
}

}  // namespace

std::string enterMemoryTerminal() {
  mountMemory();
  makeTerminal();
  std::string error;
  if (!workstation::enterTerminal(kTerminal, error)) endWith(error);
  return kTerminal;
}
