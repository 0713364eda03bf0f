// What the browser reports about an invocation's page.

#include <utility>

#include "workstation/browser/engine/page/invocation.h"
#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace workstation {

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
  if (debugClients_.onEvent(event) || !isOpen()) return;
  for (const Row& row : kRows) {
    if (event.method == row.method) return (this->*row.handler)(event.params);
  }
}

void Invocation::observe(PageEvent event) {
  if (!hasPageObserver()) return;
  event.invocation = id();
  event.appId = script_.appId;
  gate_.pass(std::move(event));
}

void Invocation::letOut(PageEvent event) {
  std::size_t size = sizeof event + event.message.payload.size() + event.url.size();
  for (const std::string& text : event.texts) size += text.size();
  // A page can print faster than anybody reads; what is too much is not shown.
  (void)queue_->push([event = std::move(event)] { tellPageObserver(event); }, size);
}

// ---- What a page shows ----

void Invocation::onFrameNavigated(const JsonValue& params) {
  const JsonValue& frame = jsonMember(params, "frame");
  if (jsonString(frame, "id") != target_) return;
  document_ = jsonString(frame, "loaderId");
  // A new page begins with an empty console, and may print again.
  groups_ = 0;
  connection_->unmuteConsole(session_);
  // One that was asked of the page before is never answered.
  connection_->abandonCalls(session_, "Page.captureScreenshot", "the page is being loaded anew");
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
