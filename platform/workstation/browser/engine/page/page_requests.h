/// What a page requests, and what is told of the requests that fail.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_REQUESTS_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_REQUESTS_H

#include <string>

#include "workstation/browser/engine/page/page_owner.h"
#include "workstation/browser/engine/page/request_log.h"

namespace workstation {

/// Part of an invocation.
class PageRequests {
 public:
  PageRequests(PageOwner& owner, const PageFacts& page, PageStory& story)
      : owner_(owner), page_(page), story_(story) {}

  /// Takes an event of the page's session; false when it is about something else.
  bool onEvent(const CdpEvent& event);

  /// Tells the script processor and the observer; ends the invocation when the request was for the
  /// window's own document.
  void reportFailure(const RequestLog::Request& request, const std::string& status);

 private:
  void onRequest(const JsonValue& params);
  void onResponse(const JsonValue& params);
  void onLoadingFailed(const JsonValue& params);
  void onLoadingFinished(const JsonValue& params);
  void onSocketCreated(const JsonValue& params);
  void onSocketFailed(const JsonValue& params);

  PageOwner& owner_;
  const PageFacts& page_;
  PageStory& story_;
  RequestLog requests_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_REQUESTS_H
