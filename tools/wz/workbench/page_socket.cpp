#include "wz/workbench/page_socket.h"

#include <utility>

namespace wz {
namespace {

constexpr std::size_t kLargestBacklog = std::size_t{256} << 20;  // octets
constexpr std::size_t kEventsAtOnce = std::size_t{64} << 10;     // octets

// A message costs a page about as much as what is in it.
std::string inOneMessage(const std::vector<std::string>& events) {
  std::string message = R"({"event":"stories","events":[)";
  for (const std::string& event : events) message += event + ',';
  message.back() = ']';
  return message + '}';
}

}  // namespace

PageSocket::PageSocket(const EventLog& log, Writer writer)
    : log_(log), writer_(std::move(writer)), thread_([this] { run(); }) {}

PageSocket::~PageSocket() {
  if (thread_.joinable()) stop();
}

void PageSocket::put(std::string message) {
  const wzapp::MutexLock lock(mutex_);
  size_ += message.size();
  if (size_ > kLargestBacklog) isOver_ = true;
  messages_.push_back(std::move(message));
  pthread_cond_signal(&changed_);
}

void PageSocket::putState(const std::string& kind, std::string message) {
  const wzapp::MutexLock lock(mutex_);
  states_[kind] = std::move(message);
  pthread_cond_signal(&changed_);
}

void PageSocket::follow(std::uint64_t sequence) {
  const wzapp::MutexLock lock(mutex_);
  from_ = sequence;
  isAwake_ = true;
  pthread_cond_signal(&changed_);
}

void PageSocket::wake() {
  const wzapp::MutexLock lock(mutex_);
  isAwake_ = true;
  pthread_cond_signal(&changed_);
}

void PageSocket::look(std::uint32_t run, bool on) {
  const wzapp::MutexLock lock(mutex_);
  if (on) {
    looking_.insert_or_assign(run, Looking());
  } else {
    looking_.erase(run);
  }
}

void PageSocket::show(const SharedFrame& frame) {
  const wzapp::MutexLock lock(mutex_);
  const auto found = looking_.find(frame->run);
  if (found == looking_.end()) return;
  found->second.newest = frame;
  if (found->second.sent == 0) pthread_cond_signal(&changed_);
}

void PageSocket::seen(std::uint32_t run, std::uint32_t frame) {
  const wzapp::MutexLock lock(mutex_);
  const auto found = looking_.find(run);
  if (found == looking_.end() || found->second.sent != frame) return;
  found->second.sent = 0;
  if (found->second.newest) pthread_cond_signal(&changed_);
}

void PageSocket::stop() {
  {
    const wzapp::MutexLock lock(mutex_);
    isOver_ = true;
    pthread_cond_signal(&changed_);
  }
  thread_.join();
}

// Answers before pictures before events, of which a few at a time: with a long story to catch up
// with, a page still sees what it does.
void PageSocket::run() {
  for (Batch batch; take(batch); batch = {}) {
    for (const std::string& text : batch.texts) {
      if (!writer_(Kind::kText, text)) return;
    }
    for (const std::string& picture : batch.pictures) {
      if (!writer_(Kind::kBinary, picture)) return;
    }
    if (!writeEvents()) return;
  }
  (void)writer_(Kind::kClose, {});
}

// Waits until there is something to be sent. False at the end.
bool PageSocket::take(Batch& batch) {
  const wzapp::MutexLock lock(mutex_);
  for (;;) {
    if (isOver_) return false;
    for (auto& [run, looking] : looking_) {
      if (looking.sent != 0 || !looking.newest) continue;
      batch.pictures.push_back(looking.newest->message);
      looking.sent = looking.newest->number;
      looking.newest.reset();
    }
    batch.texts.assign(std::make_move_iterator(messages_.begin()),
                       std::make_move_iterator(messages_.end()));
    messages_.clear();
    size_ = 0;
    for (auto& [kind, state] : states_) batch.texts.push_back(std::move(state));
    states_.clear();
    if (from_) cursor_ = log_.find(*std::exchange(from_, std::nullopt));
    const bool mayRead = std::exchange(isAwake_, false) && cursor_;
    if (mayRead || !batch.texts.empty() || !batch.pictures.empty()) return true;
    pthread_cond_wait(&changed_, mutex_.native());
  }
}

bool PageSocket::writeEvents() {
  std::vector<std::string> events;
  if (!cursor_ || !log_.read(*cursor_, kEventsAtOnce, events)) return true;
  wake();  // perhaps there are more
  return writer_(Kind::kText, events.size() == 1 ? events.front() : inOneMessage(events));
}

}  // namespace wz
