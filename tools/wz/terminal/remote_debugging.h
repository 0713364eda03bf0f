/// Offers the running page to tools of the Chrome DevTools Protocol: on a port of the loopback
/// interface, behind a path that nobody can guess.
///
///     PATH/json/version, PATH/json/list   what there is, as browsers tell it
///     PATH/devtools/browser               WebSocket: a browser that has this page alone
///     PATH/devtools/page                  WebSocket: the page
///
/// Whatever else is asked for is not found, so that another user of the machine, or a page in
/// somebody's browser, finds nothing.
#ifndef WZ_TERMINAL_REMOTE_DEBUGGING_H
#define WZ_TERMINAL_REMOTE_DEBUGGING_H

#include <memory>
#include <string>

namespace wz {

/// There is one in a process, whose threads it begins. Any thread may call.
class RemoteDebugging {
 public:
  RemoteDebugging();
  ~RemoteDebugging();
  RemoteDebugging(const RemoteDebugging&) = delete;
  RemoteDebugging& operator=(const RemoteDebugging&) = delete;

  /// False, with the reason in `error`, when there is no port or no thread for it.
  [[nodiscard]] bool begin(std::string& error);

  /// "http://127.0.0.1:PORT/PATH", what tools are given.
  const std::string& url() const;

  /// The page that is offered from now on, by its invocation. Tools that look at one before have
  /// been told of its end.
  void offer(int invocation);

 private:
  class Server;
  const std::unique_ptr<Server> server_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_REMOTE_DEBUGGING_H
