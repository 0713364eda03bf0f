/// The end of an invocation: where threads wait for it, and the table in which they find it.
#ifndef WORKSTATION_BROWSER_ENGINE_INVOCATION_OUTCOME_H
#define WORKSTATION_BROWSER_ENGINE_INVOCATION_OUTCOME_H

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "workstation/mutex.h"
#include "zelgui/zelgui.h"

namespace workstation {

/// What a wait brings.
struct InvocationEnd {
  int result = 0;
  std::string error;  ///< The text that goes with a negative result.
  zelgui::UIProperties properties;
};

/// The end of one invocation. Any thread.
class InvocationOutcome {
 public:
  InvocationOutcome(int id, zelgui::UICallback callback, void* user)
      : id_(id), user_(user), callback_(callback) {}

  /// Called once: calls the callback, then lets those go who wait.
  void complete(InvocationEnd end);

  /// From now on the callback is not called: what it would use is going with the process.
  void silence();

  /// Waits at most `timeoutMs`, without limit if negative. False when the invocation is still
  /// running. Inside of the callback it returns at once.
  bool wait(int timeoutMs, InvocationEnd& end);

  int id() const { return id_; }

 private:
  bool isOver() const WORKSTATION_REQUIRES(mutex_);

  const int id_;
  void* const user_;

  Mutex mutex_;
  Condition completed_;
  zelgui::UICallback callback_ WORKSTATION_GUARDED_BY(mutex_);
  bool complete_ WORKSTATION_GUARDED_BY(mutex_) = false;
  std::thread::id completing_ WORKSTATION_GUARDED_BY(mutex_);
  InvocationEnd end_ WORKSTATION_GUARDED_BY(mutex_);
};

/// All invocations of the process whose end nobody has collected. Any thread.
class InvocationTable {
 public:
  std::shared_ptr<InvocationOutcome> add(zelgui::UICallback callback, void* user);
  std::shared_ptr<InvocationOutcome> find(int id);
  void remove(int id);

  /// Notes that an invocation has ended; the longest ended ones that nobody collects are forgotten.
  void noteEnd(int id);

  /// Silences all invocations.
  void silenceAll();

  /// Waits at most `timeoutMs` in all for the invocations that are still running.
  void waitForAll(int timeoutMs);

 private:
  Mutex mutex_;
  int nextId_ WORKSTATION_GUARDED_BY(mutex_) = 0;
  std::map<int, std::shared_ptr<InvocationOutcome>> outcomes_ WORKSTATION_GUARDED_BY(mutex_);
  std::deque<int> ended_ WORKSTATION_GUARDED_BY(mutex_);

  std::vector<std::shared_ptr<InvocationOutcome>> all();
};

/// The process's table; lives as long as the process.
InvocationTable& invocationTable();

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_INVOCATION_OUTCOME_H
