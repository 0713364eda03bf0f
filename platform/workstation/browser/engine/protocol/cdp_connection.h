/// The connection to one browser over the two pipes of --remote-debugging-pipe, in the Chrome
/// DevTools Protocol.
///
/// One thread does all reading and writing and runs every handler, so handlers need no locks among
/// themselves, must not block, and must not throw. All members may be called from any thread.
#ifndef WORKSTATION_BROWSER_ENGINE_CDP_CONNECTION_H
#define WORKSTATION_BROWSER_ENGINE_CDP_CONNECTION_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "workstation/browser/engine/process/unique_fd.h"
#include "workstation/browser/engine/protocol/json.h"
#include "workstation/browser/engine/protocol/message_framing.h"
#include "workstation/mutex.h"

namespace workstation {

/// What came back for a call; good during its handler only.
struct CdpReply {
  bool ok;                  ///< False: refused, out of time, or the connection has ended.
  std::string error;        ///< Why, when not ok.
  const JsonValue& result;  ///< Null when not ok.
};

/// Something that the browser reports by itself; good during its handler only.
struct CdpEvent {
  std::string method;
  std::string session;  ///< Empty: about the browser as a whole.
  const JsonValue& params;
};

class CdpConnection {
 public:
  using Clock = std::chrono::steady_clock;
  using ReplyHandler = std::function<void(const CdpReply&)>;
  using EventHandler = std::function<void(const CdpEvent&)>;
  using Task = std::function<void()>;

  /// Takes over both pipes: `commands` is written, `events` read. The commands are numbered from
  /// `firstId` on.
  CdpConnection(UniqueFd commands, UniqueFd events, int firstId = 1);

  /// Only after stop(), or when start() has failed.
  ~CdpConnection() = default;

  CdpConnection(const CdpConnection&) = delete;
  CdpConnection& operator=(const CdpConnection&) = delete;

  /// Starts the thread. `onClosed` runs once at the end; calls that are still open then are
  /// answered after it. False when there can be no thread.
  [[nodiscard]] bool start(EventHandler onEvent, Task onClosed);

  /// Sends a command; its handler, if any, runs exactly once, after `deadline` at the latest.
  void call(const std::string& session, const char* method, const JsonObject& params,
            const ReplyHandler& handler = nullptr,
            std::chrono::milliseconds deadline = std::chrono::seconds(30));

  /// Runs `task` on the connection's thread. False, and not run, once the connection has ended.
  bool post(Task task);

  /// From now on drops what a page of `session` prints to its console, without looking into it: a
  /// page can print faster than anybody reads, and everybody's events come through the same pipe.
  /// On the connection's thread.
  void muteConsole(const std::string& session);
  void unmuteConsole(const std::string& session);

  /// Answers the open calls of `method` in a session with `error`; the browser's own answer, which
  /// may never come, is then ignored. On the connection's thread.
  void abandonCalls(const std::string& session, std::string_view method, const std::string& error);

  /// The session has gone: its open calls are answered with `error`. On the connection's thread.
  void forgetSession(const std::string& session, const std::string& error);

  /// Ends the connection; does not wait for that.
  void close();

  /// Ends the connection and waits until its thread has. Not on that thread.
  void stop();

 private:
  struct Pending {
    ReplyHandler handler;
    Clock::time_point deadline;
    std::string session, method;
  };

  void run();
  void wake();
  int pollTimeout();
  bool readSome();
  bool writeSome();
  void dispatch(std::string&& text);
  bool isMuted(const std::string& text) const;
  void answer(int id, const CdpReply& reply);
  void expireCalls();
  void abandonCalls(const std::function<bool(const Pending&)>& isMeant, const std::string& error);
  void runTasks();
  void end();

  UniqueFd commands_, events_, wakeUp_;
  EventHandler onEvent_;
  Task onClosed_;
  std::thread thread_;

  Mutex mutex_;
  int nextId_ WORKSTATION_GUARDED_BY(mutex_);
  std::map<int, Pending> pending_ WORKSTATION_GUARDED_BY(mutex_);
  std::vector<Task> tasks_ WORKSTATION_GUARDED_BY(mutex_);
  std::string outgoing_ WORKSTATION_GUARDED_BY(mutex_);
  bool closing_ WORKSTATION_GUARDED_BY(mutex_) = false;
  bool ended_ WORKSTATION_GUARDED_BY(mutex_) = false;

  // The thread's own.
  std::string writing_;
  std::size_t written_ = 0;  // of that
  MessageFraming framing_;
  std::set<std::string> muted_;  // how messages of muted sessions end
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CDP_CONNECTION_H
