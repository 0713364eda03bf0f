// What the browser reports about an invocation's page.

#include <utility>

#include "workstation/browser/engine/page/invocation.h"
#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace workstation {
namespace {

struct LevelName {
  const char* name;
  int level;
};

// Of console calls and of log entries; all others are information.
constexpr LevelName kLevels[] = {
    {"error", 3}, {"assert", 3}, {"warning", 4}, {"debug", 7}, {"verbose", 7},
};

int levelOf(const std::string& name) {
  for (const LevelName& row : kLevels) {
    if (name == row.name) return row.level;
  }
  return 6;
}

std::string numberText(const JsonValue& value) {
  if (value.IsInt64()) return std::to_string(value.GetInt64());
  std::string text = std::to_string(value.GetDouble());
  text.erase(text.find_last_not_of('0') + 1);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

// A value of the page as the console would show it, roughly.
std::string valueText(const JsonValue& remote) {
  const JsonValue& value = jsonMember(remote, "value");
  if (value.IsString()) return jsonString(value);
  if (value.IsBool()) return value.GetBool() ? "true" : "false";
  if (value.IsNumber()) return numberText(value);
  for (const char* name : {"unserializableValue", "description", "subtype", "type"}) {
    std::string text = jsonString(remote, name);
    if (!text.empty()) return text;
  }
  return "";
}

PageEvent consoleEvent(int level, std::vector<std::string> texts) {
  PageEvent event;
  event.kind = PageEvent::Kind::kConsole;
  event.level = level;
  event.texts = std::move(texts);
  return event;
}

}  // namespace

void Invocation::onEvent(const CdpEvent& event) {
  struct Row {
    const char* method;
    void (Invocation::*handler)(const JsonValue& params);
  };
  static constexpr Row kRows[] = {
      {"Runtime.bindingCalled", &Invocation::onBinding},
      {"Runtime.consoleAPICalled", &Invocation::onConsole},
      {"Runtime.exceptionThrown", &Invocation::onException},
      {"Log.entryAdded", &Invocation::onLogEntry},
      {"Page.lifecycleEvent", &Invocation::onLifecycle},
      {"Page.frameNavigated", &Invocation::onFrameNavigated},
      {"Page.frameAttached", &Invocation::onFrameAttached},
      {"Page.frameDetached", &Invocation::onFrameDetached},
      {"Page.javascriptDialogOpening", &Invocation::onDialog},
      {"Network.requestWillBeSent", &Invocation::onRequest},
      {"Network.responseReceived", &Invocation::onResponse},
      {"Network.loadingFailed", &Invocation::onLoadingFailed},
      {"Network.loadingFinished", &Invocation::onLoadingFinished},
      {"Network.webSocketCreated", &Invocation::onSocketCreated},
      {"Network.webSocketFrameError", &Invocation::onSocketFailed},
  };
  if (!isOpen()) return;
  for (const Row& row : kRows) {
    if (event.method == row.method) return (this->*row.handler)(event.params);
  }
}

void Invocation::observe(PageEvent event) {
  if (!hasPageObserver()) return;
  event.invocation = id();
  event.appId = script_.appId;
  std::size_t size = sizeof event;
  for (const std::string& text : event.texts) size += text.size();
  // A page can print faster than anybody reads; what is too much is not shown.
  (void)queue_->push([event = std::move(event)] { tellPageObserver(event); }, size);
}

// ---- What a page prints ----

void Invocation::onConsole(const JsonValue& params) {
  const JsonValue& arguments = jsonMember(params, "args");
  std::vector<std::string> texts;
  std::size_t size = 0;
  if (arguments.IsArray()) {
    for (const JsonValue& argument : arguments.GetArray()) {
      texts.push_back(valueText(argument));
      size += texts.back().size();
    }
  }
  if (!console_.count(size, ConsoleMeter::Clock::now())) {
    connection_->muteConsole(session_);
    return observe(consoleEvent(4, {"the page prints too much; its console is shown no longer"}));
  }
  observe(consoleEvent(levelOf(jsonString(params, "type")), std::move(texts)));
}

void Invocation::onException(const JsonValue& params) {
  const JsonValue& details = jsonMember(params, "exceptionDetails");
  std::string text = valueText(jsonMember(details, "exception"));
  if (text.empty()) text = jsonString(details, "text");
  PageEvent event = consoleEvent(3, {"Uncaught " + text});
  event.url = jsonString(details, "url");
  observe(std::move(event));
}

void Invocation::onLogEntry(const JsonValue& params) {
  const JsonValue& entry = jsonMember(params, "entry");
  if (jsonString(entry, "source") == "network") return;  // told as failed requests
  PageEvent event = consoleEvent(levelOf(jsonString(entry, "level")), {jsonString(entry, "text")});
  event.url = jsonString(entry, "url");
  observe(std::move(event));
}

void Invocation::onDialog(const JsonValue& params) {
  observe(consoleEvent(6, {jsonString(params, "type") + ": " + jsonString(params, "message")}));
  if (!plan_.headless) return;  // the user's to answer
  send("Page.handleJavaScriptDialog",
       JsonObject().add("accept", true).add("promptText", jsonString(params, "defaultPrompt")));
}

// ---- What a page shows ----

void Invocation::onFrameNavigated(const JsonValue& params) {
  const JsonValue& frame = jsonMember(params, "frame");
  if (jsonString(frame, "id") == target_) document_ = jsonString(frame, "loaderId");
}

void Invocation::onLifecycle(const JsonValue& params) {
  const std::string name = jsonString(params, "name");
  if (painted_ || (name != "firstPaint" && name != "firstContentfulPaint")) return;
  // The empty page before the first one is painted too.
  if (document_.empty() || jsonString(params, "loaderId") != document_) return;
  painted_ = true;
  PageEvent event;
  event.kind = PageEvent::Kind::kFirstPaint;
  observe(std::move(event));
}

void Invocation::onFrameAttached(const JsonValue& params) {
  host_.addFrame(jsonString(params, "frameId"), *this);
}

void Invocation::onFrameDetached(const JsonValue& params) {
  // A frame that moves to another process goes on under its id.
  if (jsonString(params, "reason") != "swap") host_.removeFrame(jsonString(params, "frameId"));
}

// ---- What a page requests ----

void Invocation::onRequest(const JsonValue& params) {
  const bool isPage =
      jsonString(params, "type") == "Document" && jsonString(params, "frameId") == target_;
  requests_.begin(jsonString(params, "requestId"),
                  {jsonString(jsonMember(params, "request"), "url"), isPage});
}

void Invocation::onResponse(const JsonValue& params) {
  const JsonValue& response = jsonMember(params, "response");
  const int status = jsonInt(response, "status", 0);
  // 0: from a data: or blob: URL.
  if (status == 0 || (status >= 200 && status < 300)) return;
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request))
    request.url = jsonString(response, "url");
  reportFailedRequest(request, std::to_string(status));
}

void Invocation::onLoadingFailed(const JsonValue& params) {
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request)) return;
  if (jsonBool(params, "canceled")) return;  // by the page itself, or by its going elsewhere
  std::string status = jsonString(params, "errorText");
  if (status.empty()) status = jsonString(params, "blockedReason");
  reportFailedRequest(request, status);
}

void Invocation::onLoadingFinished(const JsonValue& params) {
  requests_.end(jsonString(params, "requestId"));
}

void Invocation::onSocketCreated(const JsonValue& params) {
  requests_.begin(jsonString(params, "requestId"), {jsonString(params, "url"), false});
}

void Invocation::onSocketFailed(const JsonValue& params) {
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request)) return;
  reportFailedRequest(request, jsonString(params, "errorMessage"));
}

}  // namespace workstation
