/// Keeps the terminal's bus running, and tells pages what goes over it.
#ifndef WZ_WORKBENCH_BUS_STORY_H
#define WZ_WORKBENCH_BUS_STORY_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "workstation/terminal/bus_daemon.h"
#include "wz/workbench/bus_monitor.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/pages.h"

namespace wz {

/// For the loop's thread.
class BusStory {
 public:
  BusStory(Loop& loop, Pages& pages, std::string terminal);
  ~BusStory();
  BusStory(const BusStory&) = delete;
  BusStory& operator=(const BusStory&) = delete;

  /// Starts the bus where nobody has, and looks at it. A bus that dies is started again.
  [[nodiscard]] bool begin(std::string& error);

  /// Starts it again at once, where it is not up. False with the reason in `error`.
  [[nodiscard]] bool restart(std::string& error);

  [[nodiscard]] bool isUp() const { return monitor_ != nullptr; }

 private:
  // A notification that may still be answered, or come back.
  struct Asked {
    std::uint64_t serial;
    std::int64_t at;
    std::string from, to, name;
    std::string sender;
    std::uint64_t cookie;
  };

  bool open(std::string& error);
  void lose(const std::string& why);
  void tell(const BusMessage& message);
  void tellReturned(const BusMessage& message);
  std::deque<Asked>::iterator findAsked(const BusMessage& reply);

  Loop& loop_;
  Pages& pages_;
  const std::string terminal_;
  workstation::BusUse use_;
  std::unique_ptr<BusMonitor> monitor_;
  std::deque<Asked> asked_;  // the newest last
  std::uint64_t lastSerial_ = 0;
  Loop::Timer timer_ = 0;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_BUS_STORY_H
