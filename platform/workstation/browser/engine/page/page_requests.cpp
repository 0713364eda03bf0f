#include "workstation/browser/engine/page/page_requests.h"

#include <map>
#include <utility>

#include "js/jsproc.h"
#include "workstation/browser/engine/page/console_text.h"
#include "workstation/browser/engine/page/processor_call.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace workstation {

bool PageRequests::onEvent(const CdpEvent& event) {
  struct Row {
    const char* method;
    void (PageRequests::*handler)(const JsonValue& params);
  };
  static constexpr Row kRows[] = {
      {"Network.requestWillBeSent", &PageRequests::onRequest},
      {"Network.responseReceived", &PageRequests::onResponse},
      {"Network.loadingFailed", &PageRequests::onLoadingFailed},
      {"Network.loadingFinished", &PageRequests::onLoadingFinished},
      {"Network.webSocketCreated", &PageRequests::onSocketCreated},
      {"Network.webSocketFrameError", &PageRequests::onSocketFailed},
  };
  for (const Row& row : kRows) {
    if (event.method != row.method) continue;
    (this->*row.handler)(event.params);
    return true;
  }
  return false;
}

void PageRequests::onRequest(const JsonValue& params) {
  const bool isPage =
      jsonString(params, "type") == "Document" && jsonString(params, "frameId") == page_.target;
  requests_.begin(jsonString(params, "requestId"),
                  {jsonString(jsonMember(params, "request"), "url"), isPage});
}

void PageRequests::onResponse(const JsonValue& params) {
  const JsonValue& response = jsonMember(params, "response");
  const int status = jsonInt(response, "status", 0);
  // 0: from a data: or blob: URL.
  if (status == 0 || (status >= 200 && status < 300)) return;
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request))
    request.url = jsonString(response, "url");
  reportFailure(request, std::to_string(status));
}

void PageRequests::onLoadingFailed(const JsonValue& params) {
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request)) return;
  if (jsonBool(params, "canceled")) return;  // by the page itself, or by its going elsewhere
  std::string status = jsonString(params, "errorText");
  if (status.empty()) status = jsonString(params, "blockedReason");
  reportFailure(request, status);
}

void PageRequests::onLoadingFinished(const JsonValue& params) {
  requests_.end(jsonString(params, "requestId"));
}

void PageRequests::onSocketCreated(const JsonValue& params) {
  requests_.begin(jsonString(params, "requestId"), {jsonString(params, "url"), false});
}

void PageRequests::onSocketFailed(const JsonValue& params) {
  RequestLog::Request request;
  if (!requests_.take(jsonString(params, "requestId"), request)) return;
  reportFailure(request, jsonString(params, "errorMessage"));
}

void PageRequests::reportFailure(const RequestLog::Request& request, const std::string& status) {
  ScriptCall trace;
  trace.kind = ScriptCall::Kind::kTrace;
  trace.level = js::JS_TRACE_PAGE;
  trace.info = {{"url", request.url}, {"status", status}};
  // Where nobody takes traces there is nobody to tell.
  (void)page_.queue->push(
      [trace, context = page_.callContext()] { (void)callProcessor(trace, context); },
      request.url.size() + sizeof trace);
  PageEvent event;
  event.kind = PageEvent::Kind::kFailedRequest;
  event.url = request.url;
  event.status = status;
  event.isOwn = withoutOrigin(request.url, page_.script.origin) != request.url;
  story_.tell(std::move(event));
  // The window is left with nothing in it that could go on.
  if (request.isPage) owner_.end(kPageFailed, status + ": " + request.url);
}

}  // namespace workstation
