#include "wz/workbench/web_server.h"

#include <civetweb.h>

#include <atomic>
#include <cstddef>
#include <string_view>
#include <utility>

#include "wz/terminal/server_stop.h"
#include "wz/terminal/web_socket.h"
#include "wz/workbench/admission.h"
#include "wz/workbench/http_answer.h"

namespace wz {
namespace {

// Each open page holds a thread of the server; the rest are for what it loads.
constexpr int kMostPages = 32;
constexpr char kThreads[] = "44";
// A page's files are asked for at once. A connection that waits for more holds a thread, too, and
// the end.
constexpr char kIdleMilliseconds[] = "200";
constexpr std::size_t kLargestMessage = std::size_t{4} << 20;

// One WebSocket, as its connection knows it.
struct Visitor {
  std::shared_ptr<PageSocket> socket;
  IncomingTexts incoming{kLargestMessage};
};

bool writeMessage(mg_connection* connection, PageSocket::Kind kind, const std::string& message) {
  switch (kind) {
    case PageSocket::Kind::kText:
      return sendText(connection, message);
    case PageSocket::Kind::kBinary:
      return sendBinary(connection, message);
    case PageSocket::Kind::kClose:
      return sendGoodbye(connection);
  }
  return false;
}

}  // namespace

class WebServer::Server {
 public:
  explicit Server(WebServerPlan plan) : plan_(std::move(plan)), requests_(plan_.requests) {}
  ~Server() {
    if (context_ != nullptr) stopServer(context_, port_);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool begin(std::string& error);
  std::string address() const { return admission_.address(); }

 private:
  // Whether a request may be answered; otherwise it has been refused.
  bool admit(mg_connection* connection, const mg_request_info& request, int& status);
  int exchangeToken(mg_connection* connection, const mg_request_info& request);

  static int onRequest(mg_connection* connection, void* server);
  static int onConnect(const mg_connection* connection, void* server);
  static void onReady(mg_connection* connection, void* server);
  static int onData(mg_connection* connection, int bits, char* data, std::size_t size,
                    void* server);
  static void onClose(const mg_connection* connection, void* server);

  const WebServerPlan plan_;
  const Requests requests_;
  Admission admission_;
  std::atomic<int> pages_{0};
  mg_context* context_ = nullptr;
  int port_ = 0;
};

bool WebServer::Server::begin(std::string& error) {
  const std::string place = "127.0.0.1:" + std::to_string(plan_.port);
  const char* const options[] = {"listening_ports",
                                 place.c_str(),
                                 "num_threads",
                                 kThreads,
                                 "enable_keep_alive",
                                 "yes",
                                 "keep_alive_timeout_ms",
                                 kIdleMilliseconds,
                                 "request_timeout_ms",
                                 "10000",
                                 "websocket_timeout_ms",
                                 "86400000",
                                 "tcp_nodelay",
                                 "1",
                                 "enable_websocket_ping_pong",
                                 "no",
                                 nullptr};
  const mg_callbacks callbacks = {};
  context_ = mg_start(&callbacks, nullptr, const_cast<const char**>(options));
  mg_server_port port = {};
  const bool isServing = context_ != nullptr && mg_get_server_ports(context_, 1, &port) == 1;
  port_ = port.port;
  if (!isServing || !admission_.begin(port_)) {
    error = plan_.port == 0 ? "there is no port or no thread for the workbench"
                            : "the port " + std::to_string(plan_.port) +
                                  " is not to be had; without --port the workbench takes any";
    return false;
  }
  mg_set_websocket_handler(context_, "/socket", onConnect, onReady, onData, onClose, this);
  mg_set_request_handler(context_, "/", onRequest, this);
  return true;
}

// ---- Who may come ------------------------------------------------------------------------------

bool WebServer::Server::admit(mg_connection* connection, const mg_request_info& request,
                              int& status) {
  if (!admission_.isHost(mg_get_header(connection, "Host"))) {
    status = sendWords(connection, 403, "Refused", "The workbench is found at 127.0.0.1 alone.");
    return false;
  }
  if (pathOf(request) == "/" && hasQuery(request, "token")) {
    status = exchangeToken(connection, request);
    return false;
  }
  if (!admission_.hasCookie(mg_get_header(connection, "Cookie"))) {
    status = sendWords(connection, 403, "Refused",
                       "This browser is not known here. Open the address that <code>wz "
                       "workbench</code> has printed; it can be used once. For another, start "
                       "<code>wz workbench --no-open</code> anew.");
    return false;
  }
  const bool isPost = std::string_view(request.request_method) == "POST";
  if (!Admission::isOwnSite(mg_get_header(connection, "Sec-Fetch-Site")) ||
      (isPost && !admission_.isOrigin(mg_get_header(connection, "Origin")))) {
    status = sendWords(connection, 403, "Refused", "Another site's page has asked for this.");
    return false;
  }
  return true;
}

int WebServer::Server::exchangeToken(mg_connection* connection, const mg_request_info& request) {
  const bool isTaken = admission_.takeToken(queryText(request, "token"));
  // Whoever reloads the address is in already.
  if (!isTaken && !admission_.hasCookie(mg_get_header(connection, "Cookie"))) {
    return sendWords(connection, 403, "Refused",
                     "This address has been used, or is of a workbench that has ended. The tab in "
                     "which it was opened has the workbench; for another browser, start <code>wz "
                     "workbench --no-open</code> anew.");
  }
  HttpAnswer answer;
  if (isTaken) answer.further = "Set-Cookie: " + admission_.cookie() + "\r\n";
  if (Admission::isOwnSite(mg_get_header(connection, "Sec-Fetch-Site"))) {
    answer.status = 303;
    answer.further += "Location: /\r\n";
    return sendAnswer(connection, answer, "");
  }
  // Where a file or another program's page has led here, the browser would keep the cookie back on
  // the way that a redirection goes on: the next step is this page's own.
  answer.type = "text/html; charset=utf-8";
  return sendAnswer(
      connection, answer,
      "<!doctype html><html lang=en><meta charset=utf-8><title>Workbench</title>"
      "<meta http-equiv=refresh content=\"0;url=/\"><a href=/>Workbench</a></html>\n");
}

int WebServer::Server::onRequest(mg_connection* connection, void* server) {
  auto& self = *static_cast<Server*>(server);
  const mg_request_info& request = *mg_get_request_info(connection);
  int status = 0;
  return self.admit(connection, request, status) ? self.requests_.answer(connection, request)
                                                 : status;
}

// ---- WebSockets --------------------------------------------------------------------------------

// 0: the connection becomes a WebSocket.
int WebServer::Server::onConnect(const mg_connection* connection, void* server) {
  auto& self = *static_cast<Server*>(server);
  auto* const answered = const_cast<mg_connection*>(connection);
  const bool mayEnter = self.admission_.isHost(mg_get_header(connection, "Host")) &&
                        self.admission_.isOrigin(mg_get_header(connection, "Origin")) &&
                        self.admission_.hasCookie(mg_get_header(connection, "Cookie"));
  if (!mayEnter) {
    sendWords(answered, 403, "Refused", "The workbench talks to its own page alone.");
    return 1;
  }
  if (self.pages_ >= kMostPages) {
    sendWords(answered, 503, "Too many pages", "Close some tabs of the workbench.");
    return 1;
  }
  return 0;
}

void WebServer::Server::onReady(mg_connection* connection, void* server) {
  auto& self = *static_cast<Server*>(server);
  ++self.pages_;
  auto visitor = std::make_unique<Visitor>();
  visitor->socket = std::make_shared<PageSocket>(
      *self.plan_.log, [connection](PageSocket::Kind kind, const std::string& message) {
        return writeMessage(connection, kind, message);
      });
  self.plan_.onOpen(visitor->socket);
  mg_set_user_connection_data(connection, visitor.release());
}

// 0: the connection is to be closed.
int WebServer::Server::onData(mg_connection* connection, int bits, char* data, std::size_t size,
                              void* server) {
  const auto& self = *static_cast<Server*>(server);
  auto* const visitor = static_cast<Visitor*>(mg_get_user_connection_data(connection));
  if (visitor == nullptr) return 0;
  const IncomingTexts::Step step = visitor->incoming.add(bits, data, size);
  if (step == IncomingTexts::Step::kMessage) {
    self.plan_.onMessage(visitor->socket, visitor->incoming.take());
  }
  return step == IncomingTexts::Step::kClose ? 0 : 1;
}

void WebServer::Server::onClose(const mg_connection* connection, void* server) {
  auto& self = *static_cast<Server*>(server);
  const std::unique_ptr<Visitor> visitor(
      static_cast<Visitor*>(mg_get_user_connection_data(connection)));
  if (!visitor) return;
  visitor->socket->stop();
  self.plan_.onClose(visitor->socket);
  --self.pages_;
}

// ---- For others --------------------------------------------------------------------------------

WebServer::WebServer() = default;

WebServer::~WebServer() = default;

bool WebServer::begin(WebServerPlan plan, std::string& error) {
  server_ = std::make_unique<Server>(std::move(plan));
  return server_->begin(error);
}

std::string WebServer::address() const { return server_->address(); }

}  // namespace wz
