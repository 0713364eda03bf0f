#include "tests/races/attacker.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <system_error>

#include "tests/builders/child_process.h"

namespace wzapp_test {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

struct Attacker::Shared {
  pthread_mutex_t mutex;  // held during a strike
  std::atomic<std::uint64_t> strikes;
  std::atomic<bool> isWaitedFor;  // who holds the mutex lets somebody else have it
};

Attacker::Attacker(const std::function<void(std::uint64_t number)>& strike) {
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) fail("mmap");
  shared_ = new (memory) Shared{};
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutex_init(&shared_->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);

  std::fflush(nullptr);
  process_ = forkSingleThread();
  if (process_ < 0) fail("fork");
  if (process_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  while (true) {
    while (shared_->isWaitedFor) usleep(50);
    pthread_mutex_lock(&shared_->mutex);
    strike(shared_->strikes++);
    pthread_mutex_unlock(&shared_->mutex);
  }
}

Attacker::~Attacker() {
  hold();  // so that no strike is left half done
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  munmap(shared_, sizeof(Shared));
}

void Attacker::hold() {
  shared_->isWaitedFor = true;
  pthread_mutex_lock(&shared_->mutex);
}

void Attacker::goOn() {
  pthread_mutex_unlock(&shared_->mutex);
  shared_->isWaitedFor = false;
}

std::uint64_t Attacker::strikes() const { return shared_->strikes; }

void exchange(const char* one, const char* other) {
  if (renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE) == 0) return;
  if (std::rename(one, other) != 0) static_cast<void>(std::rename(other, one));
}

}  // namespace wzapp_test
