#include "wz/terminal/followed_program.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace wz {
namespace {

constexpr int kPassedOn[] = {SIGTERM, SIGHUP};
constexpr int kKeys[] = {SIGINT, SIGQUIT};

pid_t program = 0;  // read by the signal handler, which is called once it is set

void passOn(int number) { kill(program, number); }

void follow() {
  for (const int number : kKeys) std::signal(number, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = passOn;
  sigemptyset(&action.sa_mask);
  for (const int number : kPassedOn) sigaction(number, &action, nullptr);
}

}  // namespace

pid_t startFollowed(const std::function<void()>& become) {
  sigset_t held, before;
  sigemptyset(&held);
  for (const int number : kPassedOn) sigaddset(&held, number);
  for (const int number : kKeys) sigaddset(&held, number);
  pthread_sigmask(SIG_BLOCK, &held, &before);
  program = fork();
  if (program > 0) follow();
  const int error = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (program == 0) {
    become();
    _exit(1);
  }
  errno = error;
  return program;
}

int awaitFollowed() {
  siginfo_t ignored{};
  while (waitid(P_PID, static_cast<id_t>(program), &ignored, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
  // Before its number may be another's.
  for (const int number : kPassedOn) std::signal(number, SIG_IGN);
  int status = 0;
  while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace wz
