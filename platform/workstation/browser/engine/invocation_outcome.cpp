#include "workstation/browser/engine/invocation_outcome.h"

#include <chrono>
#include <utility>
#include <vector>

namespace workstation {
namespace {

// For hosts that rely on the callback and never wait.
constexpr std::size_t kMostUncollected = 1000;

}  // namespace

void InvocationOutcome::complete(InvocationEnd end) {
  const int result = end.result;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    end_ = std::move(end);
    completing_ = std::this_thread::get_id();
  }
  if (callback_ != nullptr) callback_(user_, id_, result);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    complete_ = true;
  }
  completed_.notify_all();
}

bool InvocationOutcome::wait(int timeoutMs, InvocationEnd& end) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto done = [this] { return complete_ || completing_ == std::this_thread::get_id(); };
  if (timeoutMs < 0) {
    completed_.wait(lock, done);
  } else if (!completed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), done)) {
    return false;
  }
  end = end_;
  return true;
}

bool InvocationOutcome::isComplete() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return complete_;
}

std::shared_ptr<InvocationOutcome> InvocationTable::add(zelgui::UICallback callback, void* user) {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto outcome = std::make_shared<InvocationOutcome>(nextId_, callback, user);
  outcomes_[nextId_++] = outcome;
  return outcome;
}

std::shared_ptr<InvocationOutcome> InvocationTable::find(int id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = outcomes_.find(id);
  return found == outcomes_.end() ? nullptr : found->second;
}

void InvocationTable::remove(int id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  outcomes_.erase(id);
}

void InvocationTable::noteEnd(int id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_.push_back(id);
  if (ended_.size() <= kMostUncollected) return;
  outcomes_.erase(ended_.front());
  ended_.pop_front();
}

void InvocationTable::waitForAll(int timeoutMs) {
  std::vector<std::shared_ptr<InvocationOutcome>> outcomes;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [id, outcome] : outcomes_) outcomes.push_back(outcome);
  }
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (const auto& outcome : outcomes) {
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
