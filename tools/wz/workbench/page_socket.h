/// What goes to one open page, over its WebSocket, by a thread of its own: the loop never waits for
/// a page.
///
/// A page that reads slowly gets its events later, but all of them: they lie in the log, where it
/// has a place of its own. Of a run's pictures it gets the newest, one at a time, each after it has
/// said that it has seen the one before.
#ifndef WZ_WORKBENCH_PAGE_SOCKET_H
#define WZ_WORKBENCH_PAGE_SOCKET_H

#include <pthread.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/mutex.h"
#include "wz/workbench/event_log.h"

namespace wz {

/// A picture of a run, with the head that the page reads before the JPEG; many pages share it.
struct Frame {
  std::uint32_t run = 0, number = 0;
  std::string message;
};
using SharedFrame = std::shared_ptr<const Frame>;

/// Any thread may call.
class PageSocket {
 public:
  enum class Kind { kText, kBinary, kClose };
  /// Writes a message; false when the page is gone. Called on the socket's own thread.
  using Writer = std::function<bool(Kind kind, const std::string& message)>;

  PageSocket(const EventLog& log, Writer writer);
  ~PageSocket();
  PageSocket(const PageSocket&) = delete;
  PageSocket& operator=(const PageSocket&) = delete;

  /// In the order of the calls. A page that never reads its answers is let go.
  void put(std::string message);

  /// The same for a message that makes an older one of its `kind` pointless, if that waits still.
  void putState(const std::string& kind, std::string message);

  /// Sends the events from `sequence` on, and those that come.
  void follow(std::uint64_t sequence);

  /// There are more of them.
  void wake();

  // Of a run's pictures; without look() none is sent.
  void look(std::uint32_t run, bool on);
  void show(const SharedFrame& frame);
  void seen(std::uint32_t run, std::uint32_t frame);

  /// Ends it; what waits is not sent any more. To be called before the destructor.
  void stop();

 private:
  struct Looking {
    SharedFrame newest;      // that has not been sent
    std::uint32_t sent = 0;  // the one under way; 0: none
  };
  struct Batch {
    std::vector<std::string> texts, pictures;
  };

  void run();
  [[nodiscard]] bool take(Batch& batch);
  [[nodiscard]] bool writeEvents();

  const EventLog& log_;
  const Writer writer_;
  wzapp::Mutex mutex_;
  pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
  bool isOver_ WZAPP_GUARDED_BY(mutex_) = false;
  bool isAwake_ WZAPP_GUARDED_BY(mutex_) = false;  // there may be more events
  std::deque<std::string> messages_ WZAPP_GUARDED_BY(mutex_);
  std::size_t size_ WZAPP_GUARDED_BY(mutex_) = 0;
  std::map<std::string, std::string> states_ WZAPP_GUARDED_BY(mutex_);
  std::optional<std::uint64_t> from_ WZAPP_GUARDED_BY(mutex_);
  std::map<std::uint32_t, Looking> looking_ WZAPP_GUARDED_BY(mutex_);
  std::optional<EventLog::Cursor> cursor_;  // the thread's own
  std::thread thread_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_PAGE_SOCKET_H
