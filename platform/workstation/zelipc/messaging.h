// The messaging of one process: its registrations, its dispatcher thread, its place on the bus.
//
// A notification to an address of this process goes into the queue of the dispatcher, which calls
// the callbacks; with a connection to the terminal's bus it also goes to the other processes there,
// and theirs come in. Without WZ_TERMINAL, or while nobody serves the bus, messaging works inside
// the process only; the dispatcher looks for the bus again and again.
//
// A registration gets what is sent after it, and is complete when its call returns: other processes
// find it. What nobody is there for comes back when the bus says so, also when the bus dies before.
// A name that nobody wants at an address where somebody is registered is no error.
//
// All public functions may be called by any thread, from callbacks too. They throw std::bad_alloc.
#ifndef WORKSTATION_ZELIPC_MESSAGING_H
#define WORKSTATION_ZELIPC_MESSAGING_H

#include <pthread.h>

#include <chrono>
#include <string>

#include "workstation/mutex.h"
#include "workstation/zelipc/bus_place.h"
#include "workstation/zelipc/delivery_queue.h"
#include "workstation/zelipc/notification.h"
#include "workstation/zelipc/registrations.h"
#include "workstation/zelipc/wake_event.h"

namespace workstation {

/// Results of the exported functions.
enum IpcResult : int {
  kIpcDone = 0,
  kIpcInvalid = -1,        ///< no callback, or no text
  kIpcNoMemory = -2,       ///< nothing was sent or changed
  kIpcNotStarted = -3,     ///< no thread or no descriptor to be had, or the process is ending
  kIpcTooLarge = -4,       ///< longer than what the bus carries
  kIpcNotRegistered = -5,  ///< there is no such registration
  kIpcRefused = -6,        ///< the bus does not do it
};

class Messaging final {
 public:
  /// The process's only one; never destroyed, as callbacks and other threads may use it to the
  /// last. A forked process gets one of its own, without registrations, when it first asks.
  static Messaging& instance();

  /// For pthread_atfork(3), in the child.
  static void beginAnewAfterFork();

  int notify(const std::string& to, const std::string& name, const zelipc::JSObject& payload,
             unsigned flags, const std::string& from);

  /// The same with the payload's text as it stands, JSON or not; not empty.
  int notifyText(const std::string& to, const std::string& name, const std::string& text,
                 unsigned flags, const std::string& from);

  /// Registering the very same again changes nothing.
  int registerReceiver(const Registrations::Key& key, zelipc::NotificationCallback callback,
                       void* data);
  int unregisterReceiver(const Registrations::Key& key, zelipc::NotificationCallback callback,
                         void* data);
  int registerErrorReceiver(zelipc::UnicastErrorCallback callback, void* data);
  int unregisterErrorReceiver(zelipc::UnicastErrorCallback callback, void* data);

 private:
  enum class State { kIdle, kRunning, kEnded };
  enum class Stage { kServing, kLeaving, kEnded };  // in this order

  Messaging() = default;

  // Life of the dispatcher thread.
  int start();
  bool startThread() WORKSTATION_REQUIRES(startMutex_);
  static void stopAtExit();
  void stop();
  static void* runDispatcher(void* messaging);
  void dispatch();
  void setStage(Stage stage);
  bool awaitStage(Stage stage, std::chrono::seconds patience);
  void waitForWork();

  // Sending.
  template <class Prepare>
  int route(const SharedNotification& notification, Prepare prepare);
  int sendToBus(const SharedNotification& notification, bool ask, bool& sent);

  // Locks are taken in this order: startMutex_, the bus's, the queue's. No callback runs under any.
  Mutex startMutex_;
  State state_ WORKSTATION_GUARDED_BY(startMutex_) = State::kIdle;
  pthread_t thread_ WORKSTATION_GUARDED_BY(startMutex_){};

  WakeEvent wakeEvent_;
  DeliveryQueue queue_{wakeEvent_};
  BusPlace bus_{queue_, wakeEvent_};

  Mutex stageMutex_;
  Condition stageChanged_;
  Stage stage_ WORKSTATION_GUARDED_BY(stageMutex_) = Stage::kServing;  // of the dispatcher

  Messaging* abandonedBefore_ = nullptr;  // in a forked process: the next of the chain
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_MESSAGING_H
