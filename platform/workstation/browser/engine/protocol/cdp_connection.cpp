#include "workstation/browser/engine/protocol/cdp_connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "workstation/browser/engine/process/quiet_thread.h"

namespace workstation {
namespace {

// A page can print half a gigabyte; nothing that matters comes near this.
constexpr std::size_t kLargestMessage = 64U << 20;

constexpr int kPipeSize = 1 << 20;

std::string sessionTail(const std::string& session) {
  return ",\"sessionId\":\"" + session + "\"}";
}

void makeNonBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK); }

bool isTemporary(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

CdpConnection::CdpConnection(UniqueFd commands, UniqueFd events, int firstId)
    : commands_(std::move(commands)),
      events_(std::move(events)),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      nextId_(firstId),
      framing_(kLargestMessage) {
  makeNonBlocking(commands_.get());
  makeNonBlocking(events_.get());
  (void)::fcntl(events_.get(), F_SETPIPE_SZ, kPipeSize);  // a wish
}

void CdpConnection::stop() {
  close();
  if (thread_.joinable()) thread_.join();
}

bool CdpConnection::start(EventHandler onEvent, Task onClosed) {
  if (!wakeUp_) return false;
  onEvent_ = std::move(onEvent);
  onClosed_ = std::move(onClosed);
  thread_ = startQuietThread([this] { run(); });
  return thread_.joinable();
}

void CdpConnection::call(const std::string& session, const char* method, const JsonObject& params,
                         const ReplyHandler& handler, std::chrono::milliseconds deadline) {
  bool ended = false;
  {
    const MutexLock lock(mutex_);
    ended = ended_;
    if (!ended) {
      const int id = nextId_++;
      JsonObject message;
      message.add("id", id).add("method", method);
      if (!session.empty()) message.add("sessionId", session);
      message.addRaw("params", params.text());
      outgoing_ += message.text();
      outgoing_ += '\0';
      if (handler) pending_[id] = {handler, Clock::now() + deadline, session, method};
    }
  }
  if (ended && handler) return handler({false, "the browser has ended", jsonNull()});
  wake();
}

bool CdpConnection::post(Task task) {
  {
    const MutexLock lock(mutex_);
    if (ended_) return false;
    tasks_.push_back(std::move(task));
  }
  wake();
  return true;
}

void CdpConnection::close() {
  {
    const MutexLock lock(mutex_);
    closing_ = true;
  }
  wake();
}

void CdpConnection::wake() {
  const std::uint64_t one = 1;
  // A full counter has woken the thread already.
  (void)!::write(wakeUp_.get(), &one, sizeof one);
}

// Milliseconds until the next call runs out of time, -1 when none can.
int CdpConnection::pollTimeout() {
  const MutexLock lock(mutex_);
  if (!tasks_.empty() || closing_) return 0;
  if (pending_.empty()) return -1;
  auto next = Clock::time_point::max();
  for (const auto& [id, call] : pending_) next = std::min(next, call.deadline);
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 60'000));
}

void CdpConnection::run() {
  for (;;) {
    {
      const MutexLock lock(mutex_);
      if (closing_) break;
      if (written_ == writing_.size()) {
        writing_ = std::exchange(outgoing_, std::string());
        written_ = 0;
      }
    }
    const bool wantsToWrite = written_ < writing_.size();
    std::array<pollfd, 3> fds = {{{events_.get(), POLLIN, 0},
                                  {wakeUp_.get(), POLLIN, 0},
                                  {wantsToWrite ? commands_.get() : -1, POLLOUT, 0}}};
    if (::poll(fds.data(), fds.size(), pollTimeout()) < 0 && errno != EINTR) break;
    if (fds[1].revents != 0) {
      std::uint64_t count = 0;
      (void)!::read(wakeUp_.get(), &count, sizeof count);
    }
    if (fds[2].revents != 0 && !writeSome()) break;
    if (fds[0].revents != 0 && !readSome()) break;
    runTasks();
    expireCalls();
  }
  end();
}

bool CdpConnection::writeSome() {
  const ssize_t count =
      ::write(commands_.get(), writing_.data() + written_, writing_.size() - written_);
  if (count < 0) return isTemporary(errno);
  written_ += static_cast<std::size_t>(count);
  return true;
}

bool CdpConnection::readSome() {
  // On the heap: what a thread keeps for itself is taken from the stack of every thread there is.
  thread_local std::vector<char> buffer(std::size_t{1} << 16);
  const ssize_t count = ::read(events_.get(), buffer.data(), buffer.size());
  if (count < 0) return isTemporary(errno);
  if (count == 0) return false;
  framing_.feed({buffer.data(), static_cast<std::size_t>(count)},
                [this](std::string&& text) { dispatch(std::move(text)); });
  return true;
}

// The browser writes the members of an event in this order: method, params, sessionId.
bool CdpConnection::isMuted(const std::string& text) const {
  constexpr std::string_view kConsole = R"({"method":"Runtime.consoleAPICalled")";
  if (muted_.empty() || text.compare(0, kConsole.size(), kConsole) != 0) return false;
  const std::size_t tail = text.rfind(",\"sessionId\":");
  return tail != std::string::npos && muted_.count(text.substr(tail)) != 0;
}

void CdpConnection::muteConsole(const std::string& session) { muted_.insert(sessionTail(session)); }

void CdpConnection::unmuteConsole(const std::string& session) {
  muted_.erase(sessionTail(session));
}

void CdpConnection::abandonCalls(const std::string& session, std::string_view method,
                                 const std::string& error) {
  abandonCalls(
      [&](const Pending& call) { return call.session == session && call.method == method; }, error);
}

void CdpConnection::forgetSession(const std::string& session, const std::string& error) {
  unmuteConsole(session);
  if (session.empty()) return;  // the browser's own, which lasts
  abandonCalls([&](const Pending& call) { return call.session == session; }, error);
}

void CdpConnection::dispatch(std::string&& text) {
  if (isMuted(text)) return;
  JsonDocument message;
  if (!parseJson(std::move(text), message) || !message.IsObject()) return;
  const int id = jsonInt(message, "id", 0);
  if (id == 0) {
    return onEvent_({jsonString(message, "method"), jsonString(message, "sessionId"),
                     jsonMember(message, "params")});
  }
  const JsonValue& error = jsonMember(message, "error");
  if (error.IsNull()) return answer(id, {true, "", jsonMember(message, "result")});
  answer(id, {false, jsonString(error, "message"), jsonNull()});
}

void CdpConnection::answer(int id, const CdpReply& reply) {
  ReplyHandler handler;
  {
    const MutexLock lock(mutex_);
    const auto found = pending_.find(id);
    if (found == pending_.end()) return;
    handler = std::move(found->second.handler);
    pending_.erase(found);
  }
  handler(reply);
}

void CdpConnection::abandonCalls(const std::function<bool(const Pending&)>& isMeant,
                                 const std::string& error) {
  std::vector<int> abandoned;
  {
    const MutexLock lock(mutex_);
    for (const auto& [id, call] : pending_) {
      if (isMeant(call)) abandoned.push_back(id);
    }
  }
  for (const int id : abandoned) answer(id, {false, error, jsonNull()});
}

void CdpConnection::expireCalls() {
  const auto now = Clock::now();
  abandonCalls([now](const Pending& call) { return call.deadline <= now; }, "no answer in time");
}

void CdpConnection::runTasks() {
  std::vector<Task> tasks;
  {
    const MutexLock lock(mutex_);
    tasks.swap(tasks_);
  }
  for (const Task& task : tasks) task();
}

void CdpConnection::end() {
  std::map<int, Pending> pending;
  {
    const MutexLock lock(mutex_);
    ended_ = true;
    pending.swap(pending_);
  }
  onClosed_();
  runTasks();
  for (const auto& [id, call] : pending) call.handler({false, "the browser has ended", jsonNull()});
  // The pipes are closed here and not in the destructor: their end is what the browser leaves by.
  commands_.reset();
  events_.reset();
}

}  // namespace workstation
