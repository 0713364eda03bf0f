#include "workstation/browser/engine/page/invocation_outcome.h"

#include <chrono>
#include <utility>

namespace workstation {
namespace {

// For hosts that rely on the callback and never wait.
constexpr std::size_t kMostUncollected = 1000;

}  // namespace

void InvocationOutcome::complete(InvocationEnd end) {
  const int result = end.result;
  zelgui::UICallback callback = nullptr;
  {
    const MutexLock lock(mutex_);
    callback = callback_;
    end_ = std::move(end);
    completing_ = std::this_thread::get_id();
  }
  if (callback != nullptr) callback(user_, id_, result);
  {
    const MutexLock lock(mutex_);
    complete_ = true;
  }
  completed_.notifyAll();
}

bool InvocationOutcome::wait(int timeoutMs, InvocationEnd& end) {
  const auto deadline = Condition::Clock::now() + std::chrono::milliseconds(timeoutMs);
  const MutexLock lock(mutex_);
  while (timeoutMs < 0 && !isOver()) completed_.wait(mutex_);
  while (!isOver() && completed_.waitUntil(mutex_, deadline)) {
  }
  if (!isOver()) return false;
  end = end_;
  return true;
}

// For the thread that calls the callback it is over when that begins.
bool InvocationOutcome::isOver() const {
  return complete_ || completing_ == std::this_thread::get_id();
}

void InvocationOutcome::silence() {
  const MutexLock lock(mutex_);
  callback_ = nullptr;
}

std::shared_ptr<InvocationOutcome> InvocationTable::add(zelgui::UICallback callback, void* user) {
  const MutexLock lock(mutex_);
  auto outcome = std::make_shared<InvocationOutcome>(nextId_, callback, user);
  outcomes_[nextId_++] = outcome;
  return outcome;
}

std::shared_ptr<InvocationOutcome> InvocationTable::find(int id) {
  const MutexLock lock(mutex_);
  const auto found = outcomes_.find(id);
  return found == outcomes_.end() ? nullptr : found->second;
}

void InvocationTable::remove(int id) {
  const MutexLock lock(mutex_);
  outcomes_.erase(id);
}

void InvocationTable::noteEnd(int id) {
  const MutexLock lock(mutex_);
  ended_.push_back(id);
  if (ended_.size() <= kMostUncollected) return;
  outcomes_.erase(ended_.front());
  ended_.pop_front();
}

std::vector<std::shared_ptr<InvocationOutcome>> InvocationTable::all() {
  const MutexLock lock(mutex_);
  std::vector<std::shared_ptr<InvocationOutcome>> outcomes;
  for (const auto& [id, outcome] : outcomes_) outcomes.push_back(outcome);
  return outcomes;
}

void InvocationTable::silenceAll() {
  for (const auto& outcome : all()) outcome->silence();
}

void InvocationTable::waitForAll(int timeoutMs) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (const auto& outcome : all()) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    InvocationEnd end;
    (void)outcome->wait(left > 0 ? static_cast<int>(left) : 0, end);  // time is what limits it
  }
}

InvocationTable& invocationTable() {
  static InvocationTable* const kTable = new InvocationTable;
  return *kTable;
}

}  // namespace workstation
