/// The story of a run as lines of JSON: what happened, one after the other, on one clock.
///
///     {"schema":1,"time":183442,"event":"console","level":"info","text":"ready",...}
///
/// Every line has these three members first: the schema's number; microseconds since the launch, on
/// a clock that never goes back; what happened. Texts are exact, everything beyond ASCII is \uNNNN.
#ifndef WZ_REPORTS_STORY_H
#define WZ_REPORTS_STORY_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/mutex.h"

namespace wz {

inline constexpr int kStorySchema = 1;

/// One line while it is being made.
class StoryLine {
 public:
  explicit StoryLine(std::string_view event);

  StoryLine& text(std::string_view key, std::string_view value);
  StoryLine& texts(std::string_view key, const std::vector<std::string>& values);
  StoryLine& texts(std::string_view key, const std::map<std::string, std::string>& values);
  StoryLine& number(std::string_view key, std::int64_t value);
  StoryLine& flag(std::string_view key, bool value);
  /// A value that is JSON text already; null when it is empty.
  StoryLine& json(std::string_view key, std::string_view value);

  /// The whole line, without its end.
  std::string at(std::int64_t microseconds) const;

 private:
  StoryLine& raw(std::string_view key, std::string_view json);

  std::string members_;
};

/// Hands the lines on in one order, each with its time. Any thread.
class Story {
 public:
  using Listener = std::function<void(const std::string& line)>;

  /// Adds one who gets every line; before the first is told.
  void addListener(Listener listener) { listeners_.push_back(std::move(listener)); }

  bool hasListeners() const { return !listeners_.empty(); }

  /// The listeners are called here, one call at a time.
  void tell(const StoryLine& line);

 private:
  std::vector<Listener> listeners_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  wzapp::Mutex mutex_;  // one line after the other
};

}  // namespace wz

#endif  // WZ_REPORTS_STORY_H
