#include "wz/terminal/remote_debugging.h"

#include <civetweb.h>
#include <pthread.h>

#include <atomic>
#include <deque>
#include <functional>
#include <thread>
#include <utility>

#include "support/mutex.h"
#include "workstation/browser/browser_control.h"
#include "wz/terminal/server_stop.h"
#include "wz/terminal/web_socket.h"
#include "wz/words/random_text.h"
#include "zelipc/zelipc.h"

namespace wz {
namespace {

using workstation::DebugScope;
using zelipc::JSObject;

// A tool that does not read what it has asked for is let go.
constexpr std::size_t kLargestBacklog = std::size_t{256} << 20;

// What goes to one tool: in order, by a thread of its own, since the browser's must not wait.
class Outbox {
 public:
  explicit Outbox(mg_connection* connection)
      : connection_(connection), writer_([this] { run(); }) {}

  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  void put(const std::string& message) {
    const wzapp::MutexLock lock(mutex_);
    if (isOver_) return;
    size_ += message.size();
    if (size_ > kLargestBacklog) isOver_ = true;
    messages_.push_back(message);
    pthread_cond_signal(&changed_);
  }

  // The connection is about to go; to be called before the destructor.
  void stop() {
    finish();
    writer_.join();
  }

  // Lets what is waiting go, and closes the connection.
  void finish() {
    const wzapp::MutexLock lock(mutex_);
    isOver_ = true;
    pthread_cond_signal(&changed_);
  }

 private:
  void run() {
    std::string message;
    while (take(message)) {
      if (!sendText(connection_, message)) return finish();
    }
    (void)sendGoodbye(connection_);  // a tool that has gone needs none
  }

  bool take(std::string& message) {
    const wzapp::MutexLock lock(mutex_);
    while (!isOver_ && messages_.empty()) pthread_cond_wait(&changed_, mutex_.native());
    if (messages_.empty() || size_ > kLargestBacklog) return false;
    message = std::move(messages_.front());
    messages_.pop_front();
    size_ -= message.size();
    return true;
  }

  mg_connection* const connection_;
  wzapp::Mutex mutex_;
  pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
  std::deque<std::string> messages_ WZAPP_GUARDED_BY(mutex_);
  std::size_t size_ WZAPP_GUARDED_BY(mutex_) = 0;
  bool isOver_ WZAPP_GUARDED_BY(mutex_) = false;
  std::thread writer_;
};

// One WebSocket. Its calls come from one thread of the server.
struct Tool {
  std::shared_ptr<Outbox> outbox;
  std::unique_ptr<workstation::DebugTool> page;
  IncomingTexts incoming{kLargestBacklog};
};

}  // namespace

class RemoteDebugging::Server {
 public:
  ~Server() {
    if (context_ != nullptr) stopServer(context_, port_);
  }

  bool begin(std::string& error);
  const std::string& url() const { return url_; }
  void offer(int invocation) { invocation_ = invocation; }

 private:
  struct Endpoint {
    Server* server;
    DebugScope scope;
  };

  void addPage(const std::string& path, mg_request_handler handler) {
    mg_set_request_handler(context_, (path_ + path).c_str(), handler, this);
  }
  void addSocket(const std::string& path, Endpoint& endpoint) {
    mg_set_websocket_handler(context_, (path_ + path).c_str(), onConnect, onReady, onData, onClose,
                             &endpoint);
  }
  static int sendJson(mg_connection* connection, const JSObject& json);
  static int onVersion(mg_connection* connection, void* server);
  static int onList(mg_connection* connection, void* server);
  static int onConnect(const mg_connection* connection, void* endpoint);
  static void onReady(mg_connection* connection, void* endpoint);
  static int onData(mg_connection* connection, int bits, char* data, std::size_t size, void*);
  static void onClose(const mg_connection* connection, void*);
  JSObject ask(const char* method) const;

  const std::string secret_ = randomText(16);
  const std::string path_ = "/" + secret_;
  std::string url_, socketUrl_;
  std::atomic<int> invocation_{-1};
  Endpoint browser_{this, DebugScope::kBrowser}, page_{this, DebugScope::kPage};
  mg_context* context_ = nullptr;
  int port_ = 0;
};

bool RemoteDebugging::Server::begin(std::string& error) {
  // A tool may be silent for as long as it likes. What it asks comes in small messages, each of
  // which would wait for the acknowledgement of the one before.
  constexpr const char* kOptions[] = {"listening_ports",
                                      "127.0.0.1:0",
                                      "num_threads",
                                      "8",
                                      "websocket_timeout_ms",
                                      "86400000",
                                      "tcp_nodelay",
                                      "1",
                                      "enable_websocket_ping_pong",
                                      "no",
                                      nullptr};
  const mg_callbacks callbacks = {};
  if (!secret_.empty())
    context_ = mg_start(&callbacks, nullptr, const_cast<const char**>(kOptions));
  mg_server_port port = {};
  if (context_ == nullptr || mg_get_server_ports(context_, 1, &port) != 1) {
    error = "there is no port or no thread for remote debugging";
    return false;
  }
  port_ = port.port;
  const std::string place = "127.0.0.1:" + std::to_string(port.port) + path_;
  url_ = "http://" + place;
  socketUrl_ = "ws://" + place;
  addPage("/json/version", onVersion);
  addPage("/json", onList);
  addPage("/json/list", onList);
  addSocket("/devtools/browser", browser_);
  addSocket("/devtools/page", page_);
  return true;
}

// ---- What there is -----------------------------------------------------------------------------

// What the page's session answers; nothing where it cannot, because it waits for a reply or is
// gone.
JSObject RemoteDebugging::Server::ask(const char* method) const {
  std::string result, error;
  JSObject answer;
  if (workstation::commandPage(invocation_, method, "{}", result, error))
    answer.parse(result.c_str());
  return answer;
}

int RemoteDebugging::Server::sendJson(mg_connection* connection, const JSObject& json) {
  const std::string text = json.dump() + "\n";
  mg_send_http_ok(connection, "application/json; charset=UTF-8",
                  static_cast<long long>(text.size()));
  mg_write(connection, text.data(), text.size());
  return 200;
}

int RemoteDebugging::Server::onVersion(mg_connection* connection, void* server) {
  const auto& self = *static_cast<Server*>(server);
  const JSObject version = self.ask("Browser.getVersion");
  JSObject answer;
  answer["Browser"] = JSObject(version["product"].asString());
  answer["Protocol-Version"] = JSObject("1.3");
  answer["User-Agent"] = JSObject(version["userAgent"].asString());
  answer["webSocketDebuggerUrl"] = JSObject(self.socketUrl_ + "/devtools/browser");
  return sendJson(connection, answer);
}

int RemoteDebugging::Server::onList(mg_connection* connection, void* server) {
  const auto& self = *static_cast<Server*>(server);
  JSObject list = JSObject::array();
  const JSObject answer = self.ask("Target.getTargetInfo");
  const JSObject& info = answer["targetInfo"];
  if (info.isObject()) {
    JSObject page;
    page["id"] = JSObject(info["targetId"].asString());
    page["type"] = JSObject("page");
    page["title"] = JSObject(info["title"].asString());
    page["url"] = JSObject(info["url"].asString());
    page["webSocketDebuggerUrl"] = JSObject(self.socketUrl_ + "/devtools/page");
    list.append(page);
  }
  return sendJson(connection, list);
}

// ---- Tools -------------------------------------------------------------------------------------

int RemoteDebugging::Server::onConnect(const mg_connection*, void* endpoint) {
  return static_cast<Endpoint*>(endpoint)->server->invocation_ < 0 ? 1 : 0;
}

void RemoteDebugging::Server::onReady(mg_connection* connection, void* endpoint) {
  const auto& [server, scope] = *static_cast<Endpoint*>(endpoint);
  auto tool = std::make_unique<Tool>();
  tool->outbox = std::make_shared<Outbox>(connection);
  const std::weak_ptr<Outbox> outbox = tool->outbox;
  workstation::DebugListener listener;
  listener.onMessage = [outbox](const std::string& message) {
    if (const auto open = outbox.lock()) open->put(message);
  };
  listener.onEnd = [outbox] {
    if (const auto open = outbox.lock()) open->finish();
  };
  std::string error;
  tool->page = workstation::openDebugTool(server->invocation_, scope, listener, error);
  if (!tool->page) tool->outbox->finish();
  mg_set_user_connection_data(connection, tool.release());
}

// 0: the connection is to be closed.
int RemoteDebugging::Server::onData(mg_connection* connection, int bits, char* data,
                                    std::size_t size, void*) {
  auto* const tool = static_cast<Tool*>(mg_get_user_connection_data(connection));
  if (tool == nullptr) return 0;
  const IncomingTexts::Step step = tool->incoming.add(bits, data, size);
  if (step == IncomingTexts::Step::kMessage) {
    const std::string message = tool->incoming.take();
    if (tool->page) tool->page->send(message);
  }
  return step == IncomingTexts::Step::kClose ? 0 : 1;
}

void RemoteDebugging::Server::onClose(const mg_connection* connection, void*) {
  const std::unique_ptr<Tool> tool(static_cast<Tool*>(mg_get_user_connection_data(connection)));
  if (tool) tool->outbox->stop();
}

// ---- For others --------------------------------------------------------------------------------

RemoteDebugging::RemoteDebugging() : server_(std::make_unique<Server>()) {}

RemoteDebugging::~RemoteDebugging() = default;

bool RemoteDebugging::begin(std::string& error) { return server_->begin(error); }

const std::string& RemoteDebugging::url() const { return server_->url(); }

void RemoteDebugging::offer(int invocation) { server_->offer(invocation); }

}  // namespace wz
