#include "wz/workbench/browser_opener.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "support/file_system.h"
#include "workstation/terminal/program_search.h"
#include "workstation/terminal/terminal_layout.h"

namespace wz {
namespace {

bool hasDisplay() {
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

// Becomes the program that opens the file whose path comes through the pipe. It is nobody's child,
// so that a browser that it starts stays when the workbench ends.
[[noreturn]] void wait(int pipe, const std::string& program) {
  setsid();
  if (fork() != 0) _exit(0);
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {0, 1, 2}) dup2(nothing, standard);
  std::string path;
  char octet = 0;
  for (;;) {
    const ssize_t count = read(pipe, &octet, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    path += octet;
  }
  if (!path.empty()) execl(program.c_str(), program.c_str(), path.c_str(), nullptr);
  _exit(1);
}

}  // namespace

void BrowserOpener::begin() {
  const std::string program = workstation::findProgram("xdg-open");
  int ends[2];
  if (!hasDisplay() || program.empty() || pipe2(ends, O_CLOEXEC) != 0) return;
  const pid_t child = fork();
  if (child == 0) {
    close(ends[1]);
    wait(ends[0], program);
  }
  close(ends[0]);
  if (child < 0) {
    close(ends[1]);
    return;
  }
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  pipe_ = ends[1];
}

BrowserOpener::~BrowserOpener() {
  if (pipe_ >= 0) close(pipe_);
  if (!file_.empty()) unlink(file_.c_str());
}

void BrowserOpener::open(const std::string& address, const std::string& terminal) {
  if (pipe_ < 0) return;
  const std::string path =
      terminal + "/" + workstation::kRunFolder + "/workbench-" + std::to_string(getpid()) + ".html";
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) return;
  file_ = path;
  const std::string text =
      "<!doctype html><meta charset=utf-8><title>Workbench</title>"
      "<meta http-equiv=refresh content=\"0;url=" +
      address + "\"><a href=\"" + address + "\">Workbench</a>\n";
  const bool isWritten = wzapp::writeWhole(file, wzapp::viewOf(text));
  close(file);
  if (isWritten) (void)wzapp::writeWhole(pipe_, wzapp::viewOf(path));
  close(pipe_);
  pipe_ = -1;
}

}  // namespace wz
