/// Lets what a page does out in its order, although some of it still waits for its text.
#ifndef WORKSTATION_BROWSER_ENGINE_EVENT_GATE_H
#define WORKSTATION_BROWSER_ENGINE_EVENT_GATE_H

#include <cstdint>
#include <deque>
#include <functional>
#include <utility>

#include "workstation/browser/browser_control.h"

namespace workstation {

/// For one thread.
class EventGate {
 public:
  using Exit = std::function<void(PageEvent event)>;

  explicit EventGate(Exit exit) : exit_(std::move(exit)) {}

  /// Lets `event` out as soon as nothing before it waits.
  void pass(PageEvent event) {
    events_.push_back({nextTicket_++, std::move(event), true});
    letOut();
  }

  /// Holds `event` back, and what comes behind it, until complete() is called with the result.
  std::uint64_t hold(PageEvent event) {
    events_.push_back({nextTicket_, std::move(event), false});
    ++held_;
    return nextTicket_++;
  }

  /// Lets the event go after `change` has been made to it. Nothing when it has gone already.
  template <class Change>
  void complete(std::uint64_t ticket, Change change) {
    for (Entry& entry : events_) {
      if (entry.ticket != ticket || entry.isReady) continue;
      change(entry.event);
      entry.isReady = true;
      --held_;
      break;
    }
    letOut();
  }

  /// Lets everything out as it is.
  void open() {
    for (Entry& entry : events_) entry.isReady = true;
    held_ = 0;
    letOut();
  }

  std::size_t held() const { return held_; }
  std::size_t size() const { return events_.size(); }

 private:
  struct Entry {
    std::uint64_t ticket;
    PageEvent event;
    bool isReady;
  };

  void letOut() {
    while (!events_.empty() && events_.front().isReady) {
      Entry first = std::move(events_.front());
      events_.pop_front();
      exit_(std::move(first.event));
    }
  }

  Exit exit_;
  std::deque<Entry> events_;
  std::size_t held_ = 0;
  std::uint64_t nextTicket_ = 1;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_EVENT_GATE_H
