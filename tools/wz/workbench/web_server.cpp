#include "wz/workbench/web_server.h"

#include <civetweb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

#include "wz/reports/json_output.h"
#include "wz/terminal/server_stop.h"
#include "wz/workbench/admission.h"
#include "wz/workbench/http_answer.h"
#include "wz/workbench/page_files.h"
#include "wz/workbench/safe_folder.h"

namespace wz {
namespace {

// Each open page holds a thread of the server; the rest are for what it loads.
constexpr int kMostPages = 32;
constexpr char kThreads[] = "44";
constexpr std::size_t kLargestMessage = std::size_t{4} << 20;
constexpr std::size_t kLargestPageFile = std::size_t{8} << 20;
constexpr std::size_t kLargestIcon = std::size_t{1} << 20;

// A variable of the query; empty when it is not there.
std::string queryText(const mg_request_info& request, const char* name) {
  const std::string_view query = request.query_string == nullptr ? "" : request.query_string;
  std::array<char, 8192> value{};
  const int size = mg_get_var(query.data(), query.size(), name, value.data(), value.size());
  return size < 0 ? std::string() : std::string(value.data(), static_cast<std::size_t>(size));
}

bool hasQuery(const mg_request_info& request, const char* name) {
  const std::string_view query = request.query_string == nullptr ? "" : request.query_string;
  std::array<char, 8192> value{};
  return mg_get_var(query.data(), query.size(), name, value.data(), value.size()) != -1;
}

int sendNotFound(mg_connection* connection) {
  return sendWords(connection, 404, "Not found", "The workbench has nothing of that name.");
}

// One WebSocket, as its connection knows it.
struct Visitor {
  std::shared_ptr<PageSocket> socket;
  std::string message;  // as much of one as has come
};

bool writeMessage(mg_connection* connection, PageSocket::Kind kind, const std::string& message) {
  if (kind == PageSocket::Kind::kClose) {
    constexpr char kGoingAway[] = {'\x03', '\xE9'};  // 1001 (RFC 6455, 7.4.1)
    return mg_websocket_write(connection, MG_WEBSOCKET_OPCODE_CONNECTION_CLOSE, kGoingAway,
                              sizeof kGoingAway) > 0;
  }
  const int opcode =
      kind == PageSocket::Kind::kText ? MG_WEBSOCKET_OPCODE_TEXT : MG_WEBSOCKET_OPCODE_BINARY;
  return mg_websocket_write(connection, opcode, message.data(), message.size()) > 0;
}

}  // namespace

class WebServer::Server {
 public:
  explicit Server(WebServerPlan plan)
      : plan_(std::move(plan)), terminal_(plan_.terminal), saved_(plan_.saved), page_(plan_.page) {}
  ~Server() {
    if (context_ != nullptr) stopServer(context_, port_);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool begin(std::string& error);
  std::string address() const { return admission_.address(); }

 private:
  struct Route {
    const char* method;
    std::string_view path;
    int (Server::*handle)(mg_connection* connection, const mg_request_info& request);
  };
  static const Route kRoutes[];

  // Whether a request may be answered; otherwise it has been refused.
  bool admit(mg_connection* connection, const mg_request_info& request, int& status);
  int exchangeToken(mg_connection* connection, const mg_request_info& request);

  static int onRequest(mg_connection* connection, void* server);
  int answer(mg_connection* connection, const mg_request_info& request);
  int sendPage(mg_connection* connection, const mg_request_info& request);
  int takeUpload(mg_connection* connection, const mg_request_info& request);
  int sendTerminalFile(mg_connection* connection, const mg_request_info& request);
  int sendIcon(mg_connection* connection, const mg_request_info& request);
  int sendSaved(mg_connection* connection, const mg_request_info& request);
  bool findPageFile(const std::string& name, std::string& content) const;

  static int onConnect(const mg_connection* connection, void* server);
  static void onReady(mg_connection* connection, void* server);
  static int onData(mg_connection* connection, int bits, char* data, std::size_t size,
                    void* server);
  static void onClose(const mg_connection* connection, void* server);

  const WebServerPlan plan_;
  const SafeFolder terminal_, saved_, page_;
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
  if (std::string_view(request.local_uri) == "/" && hasQuery(request, "token")) {
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

// ---- Requests ----------------------------------------------------------------------------------

const WebServer::Server::Route WebServer::Server::kRoutes[] = {
    {"POST", "/upload", &Server::takeUpload},
    {"GET", "/file", &Server::sendTerminalFile},
    {"GET", "/icon", &Server::sendIcon},
    {"GET", "/saved", &Server::sendSaved},
};

int WebServer::Server::onRequest(mg_connection* connection, void* server) {
  auto& self = *static_cast<Server*>(server);
  const mg_request_info& request = *mg_get_request_info(connection);
  int status = 0;
  if (request.local_uri == nullptr) return sendNotFound(connection);
  return self.admit(connection, request, status) ? self.answer(connection, request) : status;
}

int WebServer::Server::answer(mg_connection* connection, const mg_request_info& request) {
  std::string_view method = request.request_method;
  if (method == "HEAD") method = "GET";
  const std::string_view path = request.local_uri;
  for (const Route& route : kRoutes) {
    if (path != route.path) continue;
    if (method == route.method) return (this->*route.handle)(connection, request);
    return sendWords(connection, 405, "Refused", "This is not asked for in that way.");
  }
  if (method == "GET") return sendPage(connection, request);
  return sendWords(connection, 405, "Refused", "This is not asked for in that way.");
}

bool WebServer::Server::findPageFile(const std::string& name, std::string& content) const {
  if (!plan_.page.empty()) return page_.readFile(name, kLargestPageFile, content);
  for (const PageFile& file : pageFiles()) {
    if (file.name != name) continue;
    content = file.content;
    return true;
  }
  return false;
}

int WebServer::Server::sendPage(mg_connection* connection, const mg_request_info& request) {
  std::string name = request.local_uri + 1;
  if (name.empty()) name = "index.html";
  const char* const type = pageFileType(name);
  std::string content;
  if (type == nullptr || !findPageFile(name, content)) return sendNotFound(connection);
  const std::string tag = "\"" + std::to_string(std::hash<std::string>()(content)) + "\"";
  HttpAnswer answer;
  answer.type = type;
  answer.further = "ETag: " + tag + "\r\n";
  const char* const known = mg_get_header(connection, "If-None-Match");
  if (known != nullptr && tag == known) {
    answer.status = 304;
    content.clear();
  }
  return sendAnswer(connection, answer, content);
}

int WebServer::Server::takeUpload(mg_connection* connection, const mg_request_info& request) {
  Upload upload;
  const auto read = [connection](char* octets, std::size_t size) {
    return mg_read(connection, octets, size);
  };
  HttpAnswer answer;
  answer.type = "application/json";
  const auto refuse = [&](int status, const std::string& error) {
    answer.status = status;
    return sendAnswer(connection, answer,
                      jsonLine([&](JsonWriter& writer) { putText(writer, "error", error); }));
  };
  switch (plan_.uploads->take(queryText(request, "name"), request.content_length, read, upload)) {
    case UploadResult::kDone:
      return sendAnswer(connection, answer, jsonLine([&](JsonWriter& writer) {
                          putText(writer, "upload", upload.id);
                          putText(writer, "name", upload.name);
                          putNumber(writer, "size", upload.size);
                          putText(writer, "sha256", upload.sha256);
                        }));
    case UploadResult::kTooLarge:
      return refuse(413, "the workbench takes files of up to 256 MiB, and 2 GiB in all");
    case UploadResult::kCutShort:
      return refuse(400, "the file did not come whole");
    case UploadResult::kNoSpace:
      break;
  }
  return refuse(507, "the file could not be written");
}

int WebServer::Server::sendTerminalFile(mg_connection* connection, const mg_request_info& request) {
  const std::string path = queryText(request, "path");
  std::uint64_t size = 0;
  const workstation::UniqueFd file = terminal_.openFile(path, size);
  if (!file) return sendNotFound(connection);
  HttpAnswer answer;
  answer.policy = "sandbox; default-src 'none'";
  std::array<char, 4096> begin{};
  const ssize_t shown = pread(file.get(), begin.data(), begin.size(), 0);
  const std::string_view head(begin.data(), static_cast<std::size_t>(std::max<ssize_t>(shown, 0)));
  if (head.find('\0') != std::string_view::npos) answer.type = "application/octet-stream";
  if (hasQuery(request, "download")) {
    answer.further =
        "Content-Disposition: attachment; filename=\"" + plainFileName(path) + "\"\r\n";
  }
  return sendFile(connection, answer, file.get(), size);
}

int WebServer::Server::sendIcon(mg_connection* connection, const mg_request_info& request) {
  IconPlace icon;
  std::string content;
  if (!plan_.findIcon(queryText(request, "application"), queryText(request, "folder"), icon))
    return sendNotFound(connection);
  const char* const type = pictureType(icon.file);
  if (type == nullptr || !SafeFolder(icon.folder).readFile(icon.file, kLargestIcon, content))
    return sendNotFound(connection);
  HttpAnswer answer;
  answer.type = type;
  answer.policy = "sandbox; default-src 'none'; style-src 'unsafe-inline'";
  return sendAnswer(connection, answer, content);
}

int WebServer::Server::sendSaved(mg_connection* connection, const mg_request_info& request) {
  const std::string name = queryText(request, "name");
  std::uint64_t size = 0;
  if (name != plainFileName(name)) return sendNotFound(connection);
  const workstation::UniqueFd file = saved_.openFile(name, size);
  if (!file) return sendNotFound(connection);
  HttpAnswer answer;
  const char* const type = pictureType(name);
  answer.type = type == nullptr ? "application/octet-stream" : type;
  answer.policy = "sandbox; default-src 'none'";
  answer.further =
      "Content-Disposition: " + std::string(type == nullptr ? "attachment" : "inline") +
      "; filename=\"" + name + "\"\r\n";
  return sendFile(connection, answer, file.get(), size);
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
  constexpr int kLast = 0x80, kOpcode = 0x0F;  // RFC 6455, 5.2
  const auto& self = *static_cast<Server*>(server);
  auto* const visitor = static_cast<Visitor*>(mg_get_user_connection_data(connection));
  const int opcode = bits & kOpcode;
  if (opcode == MG_WEBSOCKET_OPCODE_CONNECTION_CLOSE || visitor == nullptr) return 0;
  if (opcode != MG_WEBSOCKET_OPCODE_TEXT && opcode != MG_WEBSOCKET_OPCODE_CONTINUATION) return 1;
  if (size > kLargestMessage - visitor->message.size()) return 0;
  visitor->message.append(data, size);
  if ((bits & kLast) != 0) {
    self.plan_.onMessage(visitor->socket, std::exchange(visitor->message, {}));
  }
  return 1;
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
