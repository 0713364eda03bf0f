/// Sees every notification on the terminal's bus, as a monitor of it (D-Bus specification,
/// org.freedesktop.DBus.Monitoring.BecomeMonitor).
#ifndef WZ_WORKBENCH_BUS_MONITOR_H
#define WZ_WORKBENCH_BUS_MONITOR_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "wz/workbench/loop.h"

struct sd_bus;
struct sd_bus_message;

namespace wz {

/// A notification, or the bus's word that nobody has the address that one went to.
struct BusMessage {
  enum class Kind { kNotification, kReturned };
  Kind kind = Kind::kNotification;
  std::string from, to, name, text;  ///< as the sender has given them; none of one that is returned
  unsigned flags = 0;
  std::string sender;        ///< the bus's name of the connection that sent it, or gets it back
  std::uint64_t cookie = 0;  ///< that connection's number of it
};

/// For the loop's thread.
class BusMonitor {
 public:
  struct Listener {
    std::function<void(const BusMessage& message)> onMessage;
    std::function<void()> onLost;  ///< the last call; the monitor may be destroyed in it
  };

  /// Null, with the reason in `error`, when nobody serves the socket or it does not take monitors.
  [[nodiscard]] static std::unique_ptr<BusMonitor> open(Loop& loop, const std::string& socketPath,
                                                        Listener listener, std::string& error);
  ~BusMonitor();
  BusMonitor(const BusMonitor&) = delete;
  BusMonitor& operator=(const BusMonitor&) = delete;

 private:
  struct BusCloser {
    void operator()(sd_bus* bus) const;
  };

  BusMonitor(Loop& loop, Listener listener);
  int begin(const std::string& socketPath);
  void serve();
  void take(sd_bus_message* message);

  Loop& loop_;
  const Listener listener_;
  std::unique_ptr<sd_bus, BusCloser> bus_;
  int descriptor_ = -1;
  std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

}  // namespace wz

#endif  // WZ_WORKBENCH_BUS_MONITOR_H
