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
    const std::lock_guard<std::mutex> lock(mutex_);
    callback = callback_;
    end_ = std::move(end);
    completing_ = std::this_thread::get_id();
  }
  if (callback != nullptr) callback(user_, id_, result);
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

void InvocationOutcome::silence() {
  const std::lock_guard<std::mutex> lock(mutex_);
  callback_ = nullptr;
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

std::vector<std::shared_ptr<InvocationOutcome>> InvocationTable::all() {
  const std::lock_guard<std::mutex> lock(mutex_);
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
