#include "packaging/temporary_folders.h"

#include <pthread.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>

#include "support/mutex.h"

namespace packaging {
namespace {

constexpr int kWatched[] = {SIGINT, SIGTERM, SIGHUP};

struct Shared {
  wzapp::Mutex mutex;  // kept to the end by the thread that ends it all
  // Absolute: the working directory may change.
  std::set<std::string> folders WZAPP_GUARDED_BY(mutex);
  pid_t child WZAPP_GUARDED_BY(mutex) = 0;
};

// Never destroyed: the thread may want it while the process ends.
Shared& shared() {
  static Shared* const kShared = new Shared;
  return *kShared;
}

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : kWatched) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals, number);  // as nohup(1) wants it
  }
  return signals;
}

// Other threads go on for the moment and may put something into a folder that is just being
// emptied, but none can make a new one.
void removeAllOf(const std::set<std::string>& folders) {
  for (const std::string& folder : folders) {
    constexpr int kTries = 1000;
    std::error_code failure;
    for (int i = 0; i < kTries; ++i) {
      std::filesystem::remove_all(folder, failure);
      if (!failure) break;
    }
  }
}

// Left for whoever else waits for it to be known.
void endChild(pid_t child) {
  if (child <= 0) return;
  kill(getpgid(child) == child ? -child : child, SIGKILL);
  siginfo_t ignored{};
  while (waitid(P_PID, static_cast<id_t>(child), &ignored, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
}

void endBy(int number) {
  std::signal(number, SIG_DFL);
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, number);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  kill(getpid(), number);
}

void* awaitSignal(void*) {
  const sigset_t signals = watchedSignals();
  int number = 0;
  while (sigwait(&signals, &number) != 0) {
  }
  // Held until the process has ended: who wants to make, remove or move something waits.
  const wzapp::MutexLock lock(shared().mutex);
  endChild(shared().child);
  removeAllOf(shared().folders);
  endBy(number);
  return nullptr;
}

std::string absolutePath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  return failure ? path : absolute.string();
}

}  // namespace

bool removeFoldersOnSignals() {
  (void)shared();
  const sigset_t signals = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, awaitSignal, nullptr) == 0) {
    pthread_detach(thread);
    return true;
  }
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  return false;
}

void leaveFoldersToParent() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : kWatched) sigaddset(&signals, number);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

pid_t startKilledBeforeRemoval(const std::function<pid_t()>& start) {
  const wzapp::MutexLock lock(shared().mutex);
  const pid_t child = start();
  shared().child = child > 0 ? child : 0;
  return child;
}

void forgetKilledBeforeRemoval() {
  const wzapp::MutexLock lock(shared().mutex);
  shared().child = 0;
}

bool makeTemporaryFolder(std::string& pattern) {
  const wzapp::MutexLock lock(shared().mutex);
  if (mkdtemp(pattern.data()) == nullptr) return false;
  shared().folders.insert(absolutePath(pattern));
  return true;
}

std::string temporaryFolderProblem(const std::string& parent) {
  const char* const named = std::getenv("TMPDIR");
  if (!parent.empty() || named == nullptr) {
    return "cannot make a folder in " + (parent.empty() ? "/tmp" : parent) + ": " +
           std::strerror(errno) + "; TMPDIR can name another folder for temporary files";
  }
  return std::string("TMPDIR is to name the folder for temporary files, and there is no folder ") +
         named;
}

void removeTemporaryFolder(const std::string& path) {
  const wzapp::MutexLock lock(shared().mutex);
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
  shared().folders.erase(absolutePath(path));
}

void whileFoldersStay(const std::function<void()>& body) {
  const wzapp::MutexLock lock(shared().mutex);
  body();
}

bool moveOut(const std::string& from, const std::string& to) {
  const wzapp::MutexLock lock(shared().mutex);
  return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace packaging
