/// What has happened since the workbench began, numbered from 1. Nothing of it is ever dropped: it
/// lies in a file, so that neither a long story nor a slow page costs memory.
#ifndef WZ_WORKBENCH_EVENT_LOG_H
#define WZ_WORKBENCH_EVENT_LOG_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/mutex.h"

namespace wz {

/// Any thread may call.
class EventLog {
 public:
  /// How far a reader has come.
  struct Cursor {
    std::uint64_t offset = 0;
    std::uint64_t next = 1;  ///< sequence of the event that stands there
  };

  EventLog() = default;
  ~EventLog();
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  /// Begins a file without a name in `folder`. False, with the reason in `error`, when there is
  /// none.
  [[nodiscard]] bool begin(const std::string& folder, std::string& error);

  /// Adds a line of the story of `source`; `line` is the text of a JSON object without line feeds.
  /// Gives its sequence; 0 when it could not be written, and then nothing can any more.
  std::uint64_t append(const std::string& source, const std::string& line);

  [[nodiscard]] std::uint64_t last() const;

  /// Microseconds since begin().
  [[nodiscard]] std::int64_t now() const;

  /// Where the event `sequence` stands, or will; the first for 0.
  [[nodiscard]] Cursor find(std::uint64_t sequence) const;

  /// Replaces `events` by those at the cursor, a JSON text each: at least one and up to about
  /// `most` octets. False when there are none yet.
  [[nodiscard]] bool read(Cursor& cursor, std::size_t most, std::vector<std::string>& events) const;

 private:
  mutable wzapp::Mutex mutex_;
  int file_ = -1;
  std::chrono::steady_clock::time_point begin_;
  std::uint64_t size_ WZAPP_GUARDED_BY(mutex_) = 0;
  std::uint64_t count_ WZAPP_GUARDED_BY(mutex_) = 0;
  bool hasFailed_ WZAPP_GUARDED_BY(mutex_) = false;
  std::vector<std::uint64_t> marks_ WZAPP_GUARDED_BY(mutex_);  // offset of every 256th event
};

}  // namespace wz

#endif  // WZ_WORKBENCH_EVENT_LOG_H
