#include "runtime/reply_waiter.h"

#include <ctime>
#include <utility>

#include "runtime/attempt.h"
#include "zelhtml/zelhtml.h"

namespace wzapp {
namespace {

timespec deadlineIn(int timeoutMs) {
  const zelhtml::TimeStamp deadline =
      zelhtml::TimeStamp::Monotonic() +
      zelhtml::TimeStamp(timeoutMs / 1000, (timeoutMs % 1000) * 1000000L);
  timespec time = {};
  time.tv_sec = deadline.seconds();
  time.tv_nsec = deadline.nanoseconds();
  return time;
}

}  // namespace

ReplyWaiter::ReplyWaiter(std::string sender, std::string receiver, std::string notification)
    : from(std::move(sender)), to(std::move(receiver)), name(std::move(notification)) {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&cond, &attributes);
  pthread_condattr_destroy(&attributes);
}

ReplyWaiter::~ReplyWaiter() { pthread_cond_destroy(&cond); }

void ReplyWaiter::wait(int timeoutMs) {
  if (timeoutMs < 0) {
    const MutexLock lock(mutex);
    while (!done) pthread_cond_wait(&cond, mutex.native());
    return;
  }

  const timespec deadline = deadlineIn(timeoutMs);
  const MutexLock lock(mutex);
  while (!done && pthread_cond_timedwait(&cond, mutex.native(), &deadline) == 0) {
  }
}

void ReplyWaiter::signal(std::string text, bool isReply) noexcept {
  const MutexLock lock(mutex);
  reply = std::move(text);
  received = isReply;
  done = true;
  pthread_cond_signal(&cond);
}

bool ReplyWaiter::takeReply(std::string& text) {
  const MutexLock lock(mutex);
  text = std::move(reply);
  return received;
}

// Which notifications come here is settled by the registration.
void ReplyWaiter::onReply(void* waiter, const std::string&, const std::string&, const std::string&,
                          const zelipc::JSObject& data, unsigned int) {
  std::string text;
  const bool isComplete = attempt([&] { text = data.dump(); });
  // A reply too large to be handed on ends the wait like one that never comes.
  static_cast<ReplyWaiter*>(waiter)->signal(std::move(text), isComplete);
}

// Every pending call hears of every notification that came back; most belong to another one.
void ReplyWaiter::onUnicastError(void* waiter, const std::string& sender,
                                 const std::string& receiver, const std::string& notification,
                                 const zelipc::JSObject&, unsigned int) {
  ReplyWaiter& self = *static_cast<ReplyWaiter*>(waiter);
  if (sender != self.from || receiver != self.to || notification != self.name) return;
  self.signal({}, false);
}

}  // namespace wzapp
