/// The open pages, and what all of them are told.
#ifndef WZ_WORKBENCH_PAGES_H
#define WZ_WORKBENCH_PAGES_H

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "wz/workbench/event_log.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/page_socket.h"
#include "zelipc/zelipc.h"

namespace wz {

using SharedPage = std::shared_ptr<PageSocket>;

/// For the loop's thread.
class Pages {
 public:
  Pages(Loop& loop, EventLog& log) : loop_(loop), log_(log) {}

  /// `makeState` gives the text of the message with the state, for pageState(). `onLost` is called
  /// once when events can no more be kept.
  void begin(std::function<std::string()> makeState, std::function<void()> onLost);

  void add(const SharedPage& page);
  void remove(const SharedPage& page);
  [[nodiscard]] const std::set<SharedPage>& all() const { return pages_; }

  /// Adds an event to the story: a line of `source`, an object of JSON.
  void tell(const std::string& source, const std::string& line);
  void tell(const std::string& source, const zelipc::JSObject& line);

  /// The state has changed; it is sent soon, once for many changes.
  void stateChanged();

  /// Something that pages ask for is another: "applications", "history", "files".
  void changed(const std::vector<std::string>& what);

  void show(const SharedFrame& frame);

  [[nodiscard]] const EventLog& log() const { return log_; }

 private:
  Loop& loop_;
  EventLog& log_;
  std::function<std::string()> makeState_;
  std::function<void()> onLost_;
  std::set<SharedPage> pages_;
  bool willSend_ = false;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_PAGES_H
