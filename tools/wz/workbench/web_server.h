/// The workbench's HTTP and WebSocket server, on a port of the loopback interface.
///
///     GET  /?token=T          once: a cookie, and on to the page
///     GET  /, /NAME           the page's files
///     POST /upload?name=N     a file for the workbench (uploads.h)
///     GET  /file?path=P       a file of the terminal's folder
///     GET  /icon?...          the icon of an application
///     GET  /saved?name=N      a picture or a recording that was made here
///     GET  /socket            WebSocket: everything else (docs/workbench.md)
///
/// Whoever asks without the cookie, by another host's name or from another site's page is refused
/// (admission.h).
#ifndef WZ_WORKBENCH_WEB_SERVER_H
#define WZ_WORKBENCH_WEB_SERVER_H

#include <functional>
#include <memory>
#include <string>

#include "wz/workbench/page_socket.h"
#include "wz/workbench/requests.h"

namespace wz {

struct WebServerPlan {
  int port = 0;  ///< 0: any
  RequestPlan requests;
  const EventLog* log = nullptr;

  // Called on the server's threads, whose stack is of some 100 KB. A socket's calls come one after
  // the other; onClose is the last.
  std::function<void(std::shared_ptr<PageSocket> socket)> onOpen;
  std::function<void(const std::shared_ptr<PageSocket>& socket, std::string message)> onMessage;
  std::function<void(const std::shared_ptr<PageSocket>& socket)> onClose;
};

class WebServer {
 public:
  WebServer();
  ~WebServer();  ///< Ends it; onClose has been called of all.
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  /// False, with the reason in `error`, when there is no port or no thread.
  [[nodiscard]] bool begin(WebServerPlan plan, std::string& error);

  /// With the token, for the user's browser.
  [[nodiscard]] std::string address() const;

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_WEB_SERVER_H
