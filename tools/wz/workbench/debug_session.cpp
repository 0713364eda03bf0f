#include "wz/workbench/debug_session.h"

#include <civetweb.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "workstation/browser/engine/protocol/base64.h"

namespace wz {
namespace {

using zelipc::JSObject;

constexpr std::chrono::milliseconds kPause{20};
constexpr std::chrono::seconds kPatience{20};  // until a page is offered
constexpr char kPicture[] = "Page.screencastFrame";

// What has come.
struct Incoming {
  long long id = 0;  // of the command that is answered; 0: a picture
  JSObject result;
  std::string error;
  std::string jpeg;
  unsigned width = 0, height = 0;
  long long number = 0;
};

bool readMessage(const std::string& text, Incoming& incoming) {
  JSObject message;
  if (message.parse(text.c_str()) < 0) return false;
  if (message.has("id")) {
    incoming.id = message["id"].asInt();
    incoming.result = message["result"];
    if (message.has("error")) incoming.error = message["error"]["message"].asString();
    return true;
  }
  if (message["method"].asString() != kPicture) return false;
  const JSObject& params = message["params"];
  const JSObject& about = params["metadata"];
  incoming.number = params["sessionId"].asInt();
  incoming.width = static_cast<unsigned>(about["deviceWidth"].asInt());
  incoming.height = static_cast<unsigned>(about["deviceHeight"].asInt());
  return workstation::base64Decode(params["data"].asString(), incoming.jpeg);
}

}  // namespace

// Lives until the last task that was posted for it has run.
class DebugSession::Client : public std::enable_shared_from_this<Client> {
 public:
  Client(Loop& loop, Listener listener) : loop_(loop), listener_(std::move(listener)) {}

  void begin(const std::string& url) {
    constexpr std::string_view kScheme = "http://";
    const std::size_t colon = url.find(':', kScheme.size());
    const std::size_t slash = url.find('/', kScheme.size());
    if (colon == std::string::npos || slash == std::string::npos || slash < colon) return;
    const int port = std::atoi(url.c_str() + colon + 1);
    thread_ = std::thread(
        [this, port, path = url.substr(slash) + "/devtools/page"] { connect(port, path); });
  }

  void stop() {
    isOver_ = true;
    if (thread_.joinable()) thread_.join();
    if (opened_ != nullptr) mg_close_connection(opened_);
    opened_ = connection_ = nullptr;
    listener_ = {};
    results_.clear();
  }

  void send(const std::string& method, const JSObject& params, Result onResult) {
    JSObject message;
    message["id"] = JSObject(++lastId_);
    message["method"] = JSObject(method);
    message["params"] = params;
    if (onResult) results_[lastId_] = std::move(onResult);
    if (connection_ == nullptr) {
      waiting_.push_back(message.dump());
    } else {
      write(message.dump());
    }
  }

 private:
  // On a thread of its own: a run that has stopped holds up nobody else.
  void connect(int port, const std::string& path) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!isOver_ && std::chrono::steady_clock::now() < deadline) {
      std::array<char, 256> problem{};
      mg_connection* const connection =
          mg_connect_websocket_client("127.0.0.1", port, 0, problem.data(), problem.size(),
                                      path.c_str(), nullptr, onData, onClose, this);
      if (connection == nullptr) {
        std::this_thread::sleep_for(kPause);
        continue;
      }
      loop_.post([self = shared_from_this(), connection] { self->onConnected(connection); });
      opened_ = connection;
      return;
    }
    loop_.post([self = shared_from_this()] { self->fail("the page cannot be reached"); });
  }

  void onConnected(mg_connection* connection) {
    if (isOver_) return;
    connection_ = connection;
    for (const std::string& message : std::exchange(waiting_, {})) write(message);
  }

  void write(const std::string& message) {
    (void)mg_websocket_client_write(connection_, MG_WEBSOCKET_OPCODE_TEXT, message.data(),
                                    message.size());  // what has gone tells by its end
  }

  static int onData(mg_connection*, int bits, char* data, std::size_t size, void* client) {
    constexpr int kLast = 0x80, kOpcode = 0x0F;  // RFC 6455, 5.2
    auto& self = *static_cast<Client*>(client);
    const int opcode = bits & kOpcode;
    if (opcode == MG_WEBSOCKET_OPCODE_CONNECTION_CLOSE) return 0;
    if (opcode != MG_WEBSOCKET_OPCODE_TEXT && opcode != MG_WEBSOCKET_OPCODE_CONTINUATION) return 1;
    self.message_.append(data, size);
    if ((bits & kLast) == 0) return 1;
    // This thread has hardly any stack to read it with.
    self.loop_.post([alive = self.weak_from_this(), text = std::exchange(self.message_, {})] {
      Incoming incoming;
      const auto there = alive.lock();
      if (there && readMessage(text, incoming)) there->take(incoming);
    });
    return 1;
  }

  static void onClose(const mg_connection*, void* client) {
    auto& self = *static_cast<Client*>(client);
    self.loop_.post([alive = self.weak_from_this()] {
      if (const auto there = alive.lock()) there->fail("the page has ended");
    });
  }

  void take(const Incoming& incoming) {
    if (incoming.id == 0) {
      if (listener_.onPicture) {
        listener_.onPicture(incoming.jpeg, incoming.width, incoming.height, incoming.number);
      }
      return;
    }
    const auto answered = results_.extract(incoming.id);
    if (!answered.empty()) answered.mapped()(incoming.result, incoming.error);
  }

  void fail(const std::string& error) {
    for (const auto& [id, onResult] : std::exchange(results_, {})) onResult(JSObject(), error);
  }

  Loop& loop_;
  Listener listener_;
  std::atomic<bool> isOver_{false};
  std::thread thread_;               // connects
  mg_connection* opened_ = nullptr;  // by that thread
  mg_connection* connection_ = nullptr;
  std::string message_;  // as much of one as has come; the connection's thread has it
  std::vector<std::string> waiting_;
  std::map<long long, Result> results_;
  long long lastId_ = 0;
};

DebugSession::DebugSession(Loop& loop, const std::string& url, Listener listener)
    : client_(std::make_shared<Client>(loop, std::move(listener))) {
  client_->begin(url);
}

DebugSession::~DebugSession() { client_->stop(); }

void DebugSession::send(const std::string& method, const JSObject& params, Result onResult) {
  client_->send(method, params, std::move(onResult));
}

}  // namespace wz
