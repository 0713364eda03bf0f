// This process's connection to the terminal's bus.
//
// Not thread-safe: its owner holds one lock around every call. Only poll(2) on pollable() is done
// without it. What comes in is handed to a BusSink from within process() and the calls that wait.
//
// A notification is sent to the bus name of its address. The bus takes it to the name's owner, or
// sends it back when there is none: one decision at one moment, so that nobody who is just coming
// or going both gets a notification and is reported as not there. Registrants that queue for the
// name get theirs by their matches.
#ifndef WORKSTATION_ZELIPC_BUS_CONNECTION_H
#define WORKSTATION_ZELIPC_BUS_CONNECTION_H

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "workstation/zelipc/notification.h"

struct sd_bus;
struct sd_bus_message;

namespace workstation {

/// What a connection tells its owner. Called with the connection's lock held.
class BusSink {
 public:
  virtual void received(SharedNotification notification) = 0;
  /// Nobody anywhere on the bus has the address that `notification` was sent to.
  virtual void unreached(SharedNotification notification) = 0;

 protected:
  ~BusSink() = default;
};

class BusConnection {
 public:
  enum class Result {
    kDone,
    kLost,    // the connection is gone or no longer answers
    kFailed,  // the bus refused, or there is no memory
  };

  /// The size of a notification on the bus in octets, with its payload in its text, and the largest
  /// that is carried.
  static std::size_t sizeOf(const Notification& notification);
  static const std::size_t kLargest;

  /// Connects to the socket; null when nobody serves it. Waits for the bus to answer, some seconds
  /// at most. `sink` outlives the connection.
  static std::unique_ptr<BusConnection> open(const std::string& socketPath, BusSink& sink);
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  /// Reports what is still unanswered as unreached.
  ~BusConnection();

  /// Begins to receive the notifications named `name` to `address`, and to be found at it when it
  /// is new. Waits until the bus has done so: whoever is told by other means that this process is
  /// ready reaches it.
  Result join(std::string_view address, std::string_view name, bool isNewAddress);

  /// The reverse. The bus does it in its own time.
  void leave(std::string_view address, std::string_view name, bool isLastOfAddress);

  /// Sends a notification whose payload is in its text; never blocks. With `ask` the sink is told
  /// when nobody has the address.
  Result send(const SharedNotification& notification, bool ask);

  /// Reads and writes what can be without blocking, up to a few dozen messages. False when the
  /// connection is lost.
  bool process();

  /// Writes what is queued, as long as it takes up to `limit`.
  void flush(std::chrono::milliseconds limit);

  /// What to wait for before the next process(): the events of a descriptor, and a time on the
  /// monotonic clock in microseconds, UINT64_MAX for none.
  pollfd pollable() const;
  std::uint64_t wakeTime() const;

  /// Whether the last call left something that a waiting thread does not know of: more events to
  /// wait for, messages already read.
  bool needsProcessing() const;

 private:
  struct Question;
  struct MatchAnswer;
  struct Callbacks;
  struct BusCloser {
    void operator()(sd_bus* bus) const;
  };
  using Bus = std::unique_ptr<sd_bus, BusCloser>;

  BusConnection(Bus bus, BusSink& sink);
  Result ask(const SharedNotification& notification, std::uint64_t cookie);
  Result callAndWait(const char* method, const std::string& text, const std::uint32_t* flags);
  void callAndForget(const char* method, const std::string& text);
  Result failure(int code);

  BusSink& sink_;
  std::list<Question> questions_;  // about notifications whose addressee may not be there
  Bus bus_;                        // first to go: its callbacks use the rest
  bool lost_ = false;
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_BUS_CONNECTION_H
