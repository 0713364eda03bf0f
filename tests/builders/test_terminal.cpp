#include "tests/builders/test_terminal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tests/builders/child_process.h"
#include "workstation/terminal/private_namespaces.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_namespace.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

// Removes everything below `folder`, also what a test has made unreadable.
void emptyFolder(const fs::path& folder) {
  std::error_code ignored;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.symlink_status().type() == fs::file_type::directory) emptyFolder(entry.path());
    fs::remove(entry.path());
  }
}

void writeWhole(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

void writeProfile(const std::string& directory, const workstation::TerminalProfile& profile) {
  writeWhole(fs::path(directory) / workstation::kProfileFile,
             workstation::formatTerminalProfile(profile));
}

void fillTerminal(const std::string& directory, const workstation::TerminalProfile& profile) {
  const fs::path terminal(directory);
  writeProfile(directory, profile);
  fs::create_directory(terminal / workstation::kFlashFolder);
  for (const std::string& user : workstation::terminalUsers()) {
    fs::create_directories(terminal / workstation::kHomeFolder / user);
  }
  fs::create_directory(terminal / workstation::kRunFolder);
  fs::permissions(terminal / workstation::kRunFolder, fs::perms::owner_all);
}

std::string makeTemporaryFolder() {
  std::string path = (fs::canonical(fs::temp_directory_path()) / "wzapp-test-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
  return path;
}

void removeFolder(const std::string& folder) {
  emptyFolder(folder);
  fs::remove(folder);
}

// Removes `folder` when this process has ended, however it did: a process of its own waits for the
// end of a pipe that only this one, and whom it forks, can write to. This one stays what it is,
// since under a sanitizer a forked process may have threads from the start, and could not enter.
// The pipe's end that it holds, closed when it becomes another program.
int removeAtEnd(const std::string& folder) {
  int life[2];
  if (pipe2(life, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child > 0) {
    close(life[0]);
    waitpid(child, nullptr, 0);
    return life[1];
  }
  if (fork() != 0) _exit(0);  // so that no test has a child that it did not make
  setsid();
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {0, 1, 2}) dup2(nothing, standard);
  dup2(life[0], 3);
  close_range(4, ~0U, 0);
  char octet = 0;
  while (read(3, &octet, 1) < 0 && errno == EINTR) {
  }
  std::error_code ignored;
  if (fs::exists(folder, ignored)) removeFolder(folder);
  _exit(0);
}

// Mounts a file system of memory on the folder, for this process and its children only, in a
// namespace around that of the terminal: what is installed is brought to stable storage again and
// again, which on a slow disk takes a hundred times as long. Where it cannot be, the disk is used.
void moveIntoMemory(const std::string& folder) {
  const unsigned uid = geteuid(), gid = getegid();
  if (workstation::makePrivateNamespaces({uid, gid, uid, gid}) != nullptr) return;
  (void)mount("terminal", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0700");
}

// Set for a program that is inside from its start.
constexpr char kInside[] = "WZAPP_INSIDE_TEST_TERMINAL";

// Enters a new terminal. The descriptor with which its folder goes; below 0, with a message, where
// it cannot be entered.
int enterNewTerminal() {
  const std::string directory = makeTemporaryFolder();
  const int life = removeAtEnd(directory);
  moveIntoMemory(directory);
  fillTerminal(directory, testProfile());
  std::string error;
  if (workstation::enterTerminal(directory, error)) return life;
  std::fprintf(stderr, "%s\n", error.c_str());
  return -1;
}

}  // namespace

TemporaryTerminal::TemporaryTerminal(const workstation::TerminalProfile& profile)
    : directory_(makeTemporaryFolder()) {
  fillTerminal(directory_, profile);
}

TemporaryTerminal::~TemporaryTerminal() {
  try {
    removeFolder(directory_);
  } catch (const std::exception& problem) {
    ADD_FAILURE() << problem.what();
  }
}

bool runInTerminal(const std::string& directory, const std::function<void()>& body) {
  return runInChild([&] {
    std::string error;
    if (workstation::enterTerminal(directory, error)) {
      body();
    } else {
      ADD_FAILURE() << error;
    }
  });
}

TestTerminal::TestTerminal(const workstation::TerminalProfile& profile)
    : directory_(workstation::terminalDirectory()) {
  if (directory_.empty()) {
    throw std::logic_error("this test program does not list wzapp_test_terminal_main");
  }
  emptyFolder(directory_);
  fillTerminal(directory_, profile);
}

void TestTerminal::setProfile(const workstation::TerminalProfile& profile) {
  writeProfile(directory_, profile);
}

std::string TestTerminal::inside(const std::string& path) const {
  return (fs::path(directory_) / path).string();
}

void TestTerminal::writeFile(const std::string& path, const std::string& content) {
  const fs::path place = inside(path);
  fs::create_directories(place.parent_path());
  writeWhole(place, content);
}

void TestTerminal::makeFolder(const std::string& path) { fs::create_directories(inside(path)); }

std::string TestTerminal::readFile(const std::string& path) const {
  std::ifstream file(inside(path), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool TestTerminal::exists(const std::string& path) const {
  return fs::symlink_status(inside(path)).type() != fs::file_type::not_found;
}

int testTerminalMain(int argc, char** argv) {
  if (std::getenv(kInside) == nullptr && enterNewTerminal() < 0) return 1;
  testing::InitGoogleMock(&argc, argv);
  const int result = RUN_ALL_TESTS();
  // The folder itself may be a mount; it goes with the process.
  emptyFolder(workstation::terminalDirectory());
  return result;
}

int becomeInsideTerminal(char** program) {
  const int life = enterNewTerminal();
  if (life < 0) return 1;
  fcntl(life, F_SETFD, 0);  // the program is this process, and the terminal stays as long as it
  setenv(kInside, "1", 1);
  execvp(program[0], program);
  std::fprintf(stderr, "cannot start %s: %s\n", program[0], std::strerror(errno));
  return 127;
}

}  // namespace wzapp_test
