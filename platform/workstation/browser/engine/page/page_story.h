/// What is told of one page to the observer: its events in their order, although some wait for
/// their text, and what got lost because it was too much.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_STORY_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_STORY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/page/event_gate.h"
#include "workstation/browser/engine/protocol/call_queue.h"

namespace workstation {

/// For one thread. The observer is called on the queue's.
class PageStory {
 public:
  PageStory(std::shared_ptr<CallQueue> queue, int invocation, std::string appId);
  PageStory(const PageStory&) = delete;
  PageStory& operator=(const PageStory&) = delete;

  /// Tells `event`, behind those that are held.
  void tell(PageEvent event);

  /// Counts an event that was too much already before it came here.
  void lose() { ++lost_; }

  /// Holds `event` back, and what comes behind it, until complete() is called with the ticket.
  std::uint64_t hold(PageEvent event);
  template <class Change>
  void complete(std::uint64_t ticket, Change change) {
    gate_.complete(ticket, std::move(change));
  }

  /// Tells everything as it is.
  void letAllOut() { gate_.open(); }

  /// How many are held, and how many there are with what is behind them.
  std::size_t held() const { return gate_.held(); }
  std::size_t waiting() const { return gate_.size(); }

  /// What tells the end of the page, for the queue's thread: its last task.
  CallQueue::Task ending(int result, const std::string& error) const;

 private:
  void letOut(PageEvent event);
  bool push(PageEvent event);
  PageEvent lossEvent() const;

  const std::shared_ptr<CallQueue> queue_;
  const int invocation_;
  const std::string appId_;
  EventGate gate_;
  long long lost_ = 0;         // since the last that was taken
  bool lostUncaught_ = false;  // an error among them
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_STORY_H
