#include "workstation/browser/engine/page/debug_client.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

namespace workstation {
namespace {

// A tool may wait as long as it likes, for what a page's script does for example.
constexpr std::chrono::hours kToolPatience{24};

constexpr char kOnlyThePage[] = "only the running page is offered here";

// ---- What a session of a page may not do -------------------------------------------------------

// Domains that reach beyond the page, and what of them does not.
constexpr std::string_view kOuterDomains[] = {"Browser.", "Target.", "SystemInfo.", "Tethering."};
constexpr std::string_view kHarmless[] = {"Browser.getVersion",      "Browser.getWindowForTarget",
                                          "Browser.getWindowBounds", "Target.setAutoAttach",
                                          "Target.getTargetInfo",    "Target.detachFromTarget"};

// Downloads stay denied, but a tool that wishes for them is not to fail.
constexpr std::string_view kIgnored[] = {"Browser.setDownloadBehavior", "Page.setDownloadBehavior"};

template <std::size_t count>
bool contains(const std::string_view (&list)[count], std::string_view method) {
  return std::find(std::begin(list), std::end(list), method) != std::end(list);
}

bool reachesBeyondThePage(std::string_view method) {
  const bool isOuter = std::any_of(
      std::begin(kOuterDomains), std::end(kOuterDomains),
      [&](std::string_view domain) { return method.substr(0, domain.size()) == domain; });
  return isOuter && !contains(kHarmless, method);
}

JsonObject objectOf(const JsonValue& value) {
  return value.IsObject() ? JsonObject(value) : JsonObject();
}

}  // namespace

// ---- Commands of the browser as a whole ----

struct DebugClient::BrowserRow {
  std::string_view method;
  Answer answer;
};

constexpr DebugClient::BrowserRow DebugClient::kBrowserRows[] = {
    {"Browser.getVersion", &DebugClient::forward},
    {"Browser.grantPermissions", &DebugClient::forwardForContext},
    {"Browser.resetPermissions", &DebugClient::forwardForContext},
    {"Browser.setDownloadBehavior", &DebugClient::answerNothing},
    {"Browser.setPermission", &DebugClient::forwardForContext},
    {"Storage.clearCookies", &DebugClient::forwardForContext},
    {"Storage.getCookies", &DebugClient::forwardForContext},
    {"Storage.setCookies", &DebugClient::forwardForContext},
    {"Target.activateTarget", &DebugClient::forwardForPage},
    {"Target.attachToTarget", &DebugClient::attach},
    {"Target.closeTarget", &DebugClient::forwardForPage},
    {"Target.detachFromTarget", &DebugClient::detach},
    {"Target.getTargetInfo", &DebugClient::forwardForPage},
    {"Target.getTargets", &DebugClient::getTargets},
    {"Target.setAutoAttach", &DebugClient::setAutoAttach},
    {"Target.setDiscoverTargets", &DebugClient::setDiscover},
};

DebugClient::DebugClient(std::shared_ptr<CdpConnection> connection, Page page, DebugScope scope,
                         DebugListener listener)
    : connection_(std::move(connection)),
      page_(std::move(page)),
      scope_(scope),
      listener_(std::move(listener)) {}

void DebugClient::open(const Opened& opened) {
  if (scope_ == DebugScope::kBrowser) return opened(true, "");
  attachToPage([self = shared_from_this(), opened](const CdpReply& reply) {
    if (reply.ok) self->root_ = jsonString(reply.result, "sessionId");
    opened(reply.ok, reply.error);
  });
}

void DebugClient::onMessage(const std::string& text) {
  JsonDocument message;
  if (ended_ || !parseJson(text, message) || !message.IsObject()) return;
  const Call call{jsonInt(message, "id", 0), jsonString(message, "sessionId"),
                  jsonString(message, "method"), jsonMember(message, "params")};
  if (call.session.empty() && scope_ == DebugScope::kBrowser) return onBrowserCall(call);
  onPageCall(call);
}

void DebugClient::onBrowserCall(const Call& call) {
  for (const BrowserRow& row : kBrowserRows) {
    if (row.method == call.method) return (this->*row.answer)(call);
  }
  refuse(call, kOnlyThePage);
}

void DebugClient::answerNothing(const Call& call) { replyResult(call, "{}"); }

void DebugClient::forward(const Call& call) { pass(call, "", objectOf(call.params)); }

// Also where the tool names no target: the browser itself is none here.
void DebugClient::forwardForPage(const Call& call) {
  const std::string target = jsonString(call.params, "targetId");
  if (!target.empty() && target != page_.target) return refuse(call, "there is no such target");
  pass(call, "", JsonObject().add("targetId", page_.target));
}

void DebugClient::forwardForContext(const Call& call) {
  JsonObject params;
  if (call.params.IsObject()) {
    for (const auto& member : call.params.GetObject()) {
      const std::string_view name(member.name.GetString(), member.name.GetStringLength());
      if (name != "browserContextId") params.addRaw(name, jsonText(member.value));
    }
  }
  pass(call, "", params.add("browserContextId", page_.context));
}

// The page is there already, so that it is attached to at once and never waits for the tool.
void DebugClient::setAutoAttach(const Call& call) {
  const int id = call.id;
  if (!jsonBool(call.params, "autoAttach")) return answerNothing(call);
  withPageInfo([self = shared_from_this(), id](const std::string& info) {
    self->attachToPage([self, id, info](const CdpReply& attached) {
      if (attached.ok) {
        self->tellEvent("Target.attachedToTarget",
                        JsonObject()
                            .add("sessionId", jsonString(attached.result, "sessionId"))
                            .addRaw("targetInfo", info)
                            .add("waitingForDebugger", false));
      }
      self->reply(id, "", R"("result":{})");
    });
  });
}

void DebugClient::setDiscover(const Call& call) {
  answerNothing(call);
  if (!jsonBool(call.params, "discover")) return;
  withPageInfo([self = shared_from_this()](const std::string& info) {
    self->tellEvent("Target.targetCreated", JsonObject().addRaw("targetInfo", info));
  });
}

void DebugClient::getTargets(const Call& call) {
  withPageInfo([self = shared_from_this(), id = call.id](const std::string& info) {
    self->reply(id, "", R"("result":{"targetInfos":[)" + info + "]}");
  });
}

void DebugClient::attach(const Call& call) {
  if (jsonString(call.params, "targetId") != page_.target)
    return refuse(call, "there is no such target");
  attachToPage([self = shared_from_this(), id = call.id](const CdpReply& attached) {
    if (!attached.ok) {
      return self->reply(id, "",
                         R"("error":{"code":-32000,"message":)" + jsonQuote(attached.error) + '}');
    }
    self->reply(id, "", "\"result\":" + jsonText(attached.result));
  });
}

void DebugClient::detach(const Call& call) {
  const std::string session = jsonString(call.params, "sessionId");
  if (sessions_.erase(session) == 0) return refuse(call, "there is no such session");
  pass(call, "", JsonObject().add("sessionId", session));
}

void DebugClient::attachToPage(std::function<void(const CdpReply& reply)> then) {
  connection_->call("", "Target.attachToTarget",
                    JsonObject().add("targetId", page_.target).add("flatten", true),
                    [self = shared_from_this(), then = std::move(then)](const CdpReply& reply) {
                      if (reply.ok) self->addSession(jsonString(reply.result, "sessionId"));
                      then(reply);
                    });
}

void DebugClient::withPageInfo(std::function<void(const std::string& info)> then) {
  connection_->call("", "Target.getTargetInfo", JsonObject().add("targetId", page_.target),
                    [then = std::move(then)](const CdpReply& reply) {
                      then(reply.ok ? jsonText(jsonMember(reply.result, "targetInfo")) : "{}");
                    });
}

// ---- Commands of a session ----

void DebugClient::onPageCall(const Call& call) {
  const std::string session = call.session.empty() ? root_ : call.session;
  if (!hasSession(session)) return refuse(call, "there is no such session");
  if (contains(kIgnored, call.method)) return answerNothing(call);
  if (reachesBeyondThePage(call.method)) return refuse(call, kOnlyThePage);
  pass(call, session, objectOf(call.params));
}

void DebugClient::pass(const Call& call, const std::string& session, const JsonObject& params) {
  ++waiting_;
  connection_->call(
      session, call.method.c_str(), params,
      [self = shared_from_this(), id = call.id, session = call.session](const CdpReply& reply) {
        --self->waiting_;
        self->reply(id, session,
                    reply.ok
                        ? "\"result\":" + jsonText(reply.result)
                        : R"("error":{"code":-32000,"message":)" + jsonQuote(reply.error) + '}');
      },
      kToolPatience);
}

// ---- Events ----

void DebugClient::onEvent(const CdpEvent& event) {
  // What is inside of the page, a worker or a frame of another process, has a session of its own.
  if (event.method == "Target.attachedToTarget") addSession(jsonString(event.params, "sessionId"));
  if (event.method == "Target.detachedFromTarget")
    sessions_.erase(jsonString(event.params, "sessionId"));
  if (ended_) return;
  JsonObject message;
  message.add("method", event.method).addRaw("params", jsonText(event.params));
  if (event.session != root_) message.add("sessionId", event.session);
  listener_.onMessage(message.text());
}

void DebugClient::addSession(const std::string& session) {
  if (ended_) {  // has gone while it was being attached
    return connection_->call("", "Target.detachFromTarget", JsonObject().add("sessionId", session));
  }
  sessions_.insert(session);
  page_.onSession(session);
}

void DebugClient::end() {
  if (ended_) return;
  ended_ = true;
  for (const std::string& session : std::exchange(sessions_, {})) {
    connection_->call("", "Target.detachFromTarget", JsonObject().add("sessionId", session));
    connection_->forgetSession(session, "the page has ended");
  }
  listener_.onEnd();
}

// ---- Answers ----

void DebugClient::reply(int id, const std::string& session, const std::string& resultMember) {
  if (ended_) return;
  std::string message = "{\"id\":" + std::to_string(id) + ',' + resultMember;
  if (!session.empty()) message += ",\"sessionId\":" + jsonQuote(session);
  listener_.onMessage(message + '}');
}

void DebugClient::replyResult(const Call& call, const std::string& result) {
  reply(call.id, call.session, "\"result\":" + result);
}

void DebugClient::refuse(const Call& call, const std::string& why) {
  reply(call.id, call.session,
        R"("error":{"code":-32000,"message":)" + jsonQuote(call.method + ": " + why) + '}');
}

void DebugClient::tellEvent(const std::string& method, const JsonObject& params) {
  if (ended_) return;
  listener_.onMessage(JsonObject().add("method", method).addRaw("params", params.text()).text());
}

// ---- All of a page ----

void DebugClients::remove(const std::shared_ptr<DebugClient>& client) {
  clients_.erase(std::remove(clients_.begin(), clients_.end(), client), clients_.end());
}

bool DebugClients::onEvent(const CdpEvent& event) {
  for (const auto& client : clients_) {
    if (!client->hasSession(event.session)) continue;
    const auto alive = client;  // the event may be its last
    alive->onEvent(event);
    return true;
  }
  return false;
}

bool DebugClients::isWaiting() const {
  return std::any_of(clients_.begin(), clients_.end(),
                     [](const auto& client) { return client->isWaiting(); });
}

void DebugClients::endAll() {
  for (const auto& client : std::exchange(clients_, {})) client->end();
}

}  // namespace workstation
