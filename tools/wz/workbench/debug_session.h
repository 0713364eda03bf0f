/// The workbench's own view of a running page: a client of the DevTools protocol on the socket that
/// `wz run --remote-debugging` offers (remote_debugging.h).
#ifndef WZ_WORKBENCH_DEBUG_SESSION_H
#define WZ_WORKBENCH_DEBUG_SESSION_H

#include <functional>
#include <memory>
#include <string>

#include "wz/workbench/loop.h"
#include "zelipc/zelipc.h"

namespace wz {

/// For the loop's thread, on which everything is called; waiting is done on others.
class DebugSession {
 public:
  /// `error` is empty, or says why there is no result.
  using Result = std::function<void(const zelipc::JSObject& result, const std::string& error)>;

  struct Listener {
    /// A picture of the page, its size in pixels, and what acknowledges it.
    std::function<void(const std::string& jpeg, unsigned width, unsigned height, long long number)>
        onPicture;
  };

  /// Connects to "http://127.0.0.1:PORT/PATH", as soon as a page is offered there.
  DebugSession(Loop& loop, const std::string& url, Listener listener);

  /// Best once the other side has closed: it waits for the end of the connection.
  ~DebugSession();
  DebugSession(const DebugSession&) = delete;
  DebugSession& operator=(const DebugSession&) = delete;

  /// Gives the page a command, once it is connected. `onResult` is called once, unless this object
  /// goes first; a page that is held by a blocking call may take long.
  void send(const std::string& method, const zelipc::JSObject& params, Result onResult = nullptr);

 private:
  class Client;
  std::shared_ptr<Client> client_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_DEBUG_SESSION_H
