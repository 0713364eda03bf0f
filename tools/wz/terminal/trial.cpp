#include "wz/terminal/trial.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>

#include "packaging/temporary_folders.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/terminal_copy.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// A process that has entered a terminal stays there, and could not take the copy away again. Only
// one with a single thread can enter: _Fork() runs nothing in the child that could bring a second
// one, as ThreadSanitizer does.
template <typename Body>
int inChild(const Body& body) {
  std::fflush(nullptr);
  const pid_t child = packaging::startKilledBeforeRemoval([] { return _Fork(); });
  if (child == 0) {
    packaging::leaveFoldersToParent();
    int code = kEnvironment;
    try {
      code = body();
    } catch (const std::exception& problem) {
      printMessage(problem.what());
    }
    finishJson(code);
    if (reportLostOutput()) code = kEnvironment;
    std::fflush(nullptr);
    _exit(code);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  packaging::forgetKilledBeforeRemoval();
  if (child <= 0 || !WIFEXITED(status)) return kEnvironment;
  leaveJsonToChild();
  return WEXITSTATUS(status);
}

// What packages take of the terminal while they are installed: themselves, the archives that come
// out of them, and what comes out of these.
std::uint64_t neededRoom(const std::vector<WaitingPackage>& packages) {
  std::uint64_t room = 0;
  for (const WaitingPackage& package : packages) {
    room += package.octets;
    for (const PackageEntry& entry : package.report.entries) room += entry.size;
    for (const InnerReport& inner : package.report.inners) {
      for (const PackageEntry& entry : inner.entries) room += entry.size;
    }
  }
  return room;
}

}  // namespace

int tryOnCopy(const std::string& terminalDir, const PackageFiles& files,
              const std::function<int(const InstallOutcome& outcome)>& tell) {
  TerminalCopy copy;
  std::string error;
  if (!copy.make(terminalDir, neededRoom(files.packages()), error)) {
    printMessage(error);
    return kEnvironment;
  }
  return inChild([&] {
    TerminalChange change;
    if (!change.begin(copy.directory()) || !files.copyIn()) return kEnvironment;
    return tell(runInstallation(files.packages(), LogFollower::Display::kNone));
  });
}

}  // namespace wz
