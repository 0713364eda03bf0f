// One script call that waits for the reply to its notification.
//
// Lives on the stack of the waiting thread. The messaging library's thread signals it, so it must
// be unregistered there before it is destroyed.
#ifndef WZAPP_RUNTIME_REPLY_WAITER_H
#define WZAPP_RUNTIME_REPLY_WAITER_H

#include <string>

#include <pthread.h>

#include "support/mutex.h"
#include "zelipc/zelipc.h"

namespace wzapp {

class ReplyWaiter {
 public:
  // The sender, destination and name of the notification that was sent.
  ReplyWaiter(std::string from, std::string to, std::string name);
  ~ReplyWaiter();
  ReplyWaiter(const ReplyWaiter&) = delete;
  ReplyWaiter& operator=(const ReplyWaiter&) = delete;

  // Waits until it is signalled, but no longer than `timeoutMs` milliseconds of the monotonic
  // clock; without limit when that is negative.
  void wait(int timeoutMs);

  // Ends the wait, or lets the next one end at once.
  void signal(std::string text, bool isReply) noexcept;

  // Whether a reply has arrived, and if so its JSON text, which is moved out.
  bool takeReply(std::string& text);

  // For ipcRegisterNotificationCB and ipcRegisterUnicastError, with the waiter as their data.
  static void onReply(void* waiter, const std::string&, const std::string&, const std::string&,
                      const zelipc::JSObject& data, unsigned int);
  static void onUnicastError(void* waiter, const std::string& from, const std::string& to,
                             const std::string& name, const zelipc::JSObject&, unsigned int);

 private:
  Mutex mutex;
  pthread_cond_t cond;  // on the monotonic clock
  bool done WZAPP_GUARDED_BY(mutex) = false;
  std::string reply WZAPP_GUARDED_BY(mutex);
  bool received WZAPP_GUARDED_BY(mutex) = false;
  const std::string from;
  const std::string to;
  const std::string name;
};

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_REPLY_WAITER_H
