#include "workstation/browser/engine/process/quiet_thread.h"

#include <system_error>
#include <utility>

#include <pthread.h>
#include <signal.h>

namespace workstation {

std::thread startQuietThread(std::function<void()> body) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread;
  try {
    thread = std::thread(std::move(body));
  } catch (const std::system_error&) {
    // The caller sees that there is none.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace workstation
