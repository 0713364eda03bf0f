/// What a page calls through its `wz`: to the script processor and back.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_CALLS_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_CALLS_H

#include <atomic>
#include <memory>
#include <string>

#include "workstation/browser/engine/page/blocking_calls.h"
#include "workstation/browser/engine/page/page_call.h"
#include "workstation/browser/engine/page/page_owner.h"
#include "workstation/browser/engine/page/processor_call.h"

namespace workstation {

/// Part of an invocation.
class PageCalls {
 public:
  PageCalls(PageOwner& owner, const PageFacts& page, PageStory& story)
      : owner_(owner),
        page_(page),
        story_(story),
        waiting_(std::make_shared<std::atomic<int>>(0)) {}

  /// Takes an event of the page's session; false when it is about something else.
  bool onEvent(const CdpEvent& event);

  /// The page stands still until the request `requestId` is answered with the reply of call `id`.
  void onReplyRequest(long long id, const std::string& requestId);

  /// Tells the host of log lines that were lost last, for the queue's thread: the last call.
  CallQueue::Task ending() const;

  /// Whether the page stands still.
  bool isHeld() const { return blocking_.isHeld(); }

 private:
  struct Caller {  // where the reply of a call goes
    long long id;
    int document;  // the browser's id of the script's world; it answers in vain once that has gone
    bool isBlocking;
  };
  struct Outlet;  // what a call's thread may use: it may outlive the invocation

  Outlet outlet();
  void onBinding(const JsonValue& params);
  void runNotification(PageCall&& call, int document);
  void runLogCall(ScriptCall&& call, int document);
  void reply(const Caller& caller, int code, const std::string& text);
  void tellReply(const ScriptCall& call, int code, const std::string& text);
  void tellInput(const PageEvent::Input& input);
  void answerWhenCaughtUp(const std::string& requestId);
  void reportLogRefusal(int document, int code, const std::string& text);

  PageOwner& owner_;
  const PageFacts& page_;
  PageStory& story_;
  BlockingCalls blocking_;
  const std::shared_ptr<std::atomic<int>> waiting_;  // threads that wait for a reply
  bool logRefusalReported_ = false;
  long long droppedLines_ = 0;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_CALLS_H
