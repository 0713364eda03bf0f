/// One invocation: a page in a browser context of its own, from its window to its end.
///
/// Everything here runs on the connection's thread, except the constructor. What the page calls is
/// handed to the invocation's own thread and comes back as a task of the connection.
#ifndef WORKSTATION_BROWSER_ENGINE_INVOCATION_H
#define WORKSTATION_BROWSER_ENGINE_INVOCATION_H

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/files/application_files.h"
#include "workstation/browser/engine/page/debug_client.h"
#include "workstation/browser/engine/page/invocation_outcome.h"
#include "workstation/browser/engine/page/page_calls.h"
#include "workstation/browser/engine/page/page_console.h"
#include "workstation/browser/engine/page/page_owner.h"
#include "workstation/browser/engine/page/page_requests.h"
#include "workstation/browser/engine/page/page_story.h"
#include "workstation/browser/engine/page/window_fit.h"
#include "workstation/browser/engine/protocol/call_queue.h"
#include "workstation/browser/engine/protocol/cdp_connection.h"

namespace workstation {

/// What an invocation begins with.
struct InvocationPlan {
  std::string host;                       ///< "shop.invalid", this application's alone
  std::shared_ptr<const void> hostLease;  ///< as long as this is held.
  std::string target;                     ///< The start page's path, query and fragment.
  std::shared_ptr<const ApplicationFiles> files;
  zelgui::UIProperties properties;
  WindowShape shape;
  bool headless = true;
  bool devtools = false;
  bool recordsInput = false;
  bool lastPicture = false;
  std::string locale;  ///< empty: the browser's
};

class Invocation;

/// What an invocation needs of its browser.
class InvocationHost {
 public:
  virtual void addContext(const std::string& context, Invocation& invocation) = 0;
  virtual void addSession(const std::string& session, Invocation& invocation) = 0;
  virtual void addFrame(const std::string& frame, Invocation& invocation) = 0;
  virtual void removeFrame(const std::string& frame) = 0;
  /// The last call: forgets the invocation.
  virtual void remove(Invocation& invocation) = 0;

 protected:
  ~InvocationHost() = default;
};

class Invocation final : public std::enable_shared_from_this<Invocation>, private PageOwner {
 public:
  Invocation(InvocationHost& host, std::shared_ptr<CdpConnection> connection,
             std::shared_ptr<InvocationOutcome> outcome, std::shared_ptr<CallQueue> queue,
             InvocationPlan plan);

  /// Opens the start page; where there is to be a window, as soon as the browser has one.
  void start();

  /// The browser's window is there, in the context that the browser itself has.
  void onWindow(const std::string& context, const std::string& target);

  /// Closes the page; the invocation ends with `result` and `error` as soon as it has gone. Only
  /// the first reason counts.
  void end(int result, const std::string& error) override;

  /// The browser has gone, and the page with it.
  void endWithoutBrowser(const std::string& error);

  /// An event of the page's session.
  void onEvent(const CdpEvent& event);

  /// A target has appeared in this invocation's context, or one of them has crashed or gone.
  void onTargetCreated(const std::string& target, const std::string& type, const std::string& url);
  void onTargetCrashed(const std::string& target);
  void onTargetGone(const std::string& target);

  /// The page stands still until the request `requestId` is answered with the reply of call `id`.
  void onReplyRequest(long long id, const std::string& requestId) {
    calls_.onReplyRequest(id, requestId);
  }

  /// A request for a new document in the page's window leads out of the application.
  void onNavigationRefused(const std::string& url);

  using PageHandler = std::function<void(bool ok, const std::string& resultOrError)>;
  void takeScreenshot(PageHandler handler);

  /// A method of the page's session. The handler gets its result as JSON text.
  void command(const std::string& method, const JsonObject& params, PageHandler handler);

  void showDeveloperTools(PageHandler handler);

  using DebugHandler =
      std::function<void(std::shared_ptr<DebugClient> client, const std::string& error)>;
  /// Offers the page to a tool, as soon as there is one; the handler gets no client where not.
  void openDebugClient(DebugScope scope, const DebugListener& listener, DebugHandler handler);
  void closeDebugClient(const std::shared_ptr<DebugClient>& client);

  const std::string& token() const { return page_.script.token; }
  const std::string& host() const { return plan_.host; }
  const std::string& mainTarget() const { return page_.target; }
  const std::shared_ptr<const ApplicationFiles>& files() const { return plan_.files; }
  int id() const { return outcome_->id(); }
  /// Whether the page is being closed or has gone; outlives the invocation. Any thread.
  std::shared_ptr<const std::atomic<bool>> over() const { return over_; }

 private:
  enum class State { kOpen, kClosing, kEnded };

  // Opening, in this order.
  void openContext();
  void onContextCreated(const std::string& context);
  void openPage();
  void attach(const std::string& target);
  void showPage();
  void setUpPage();
  void letToolsIn();
  void navigate();
  void onNavigated(const CdpReply& reply);

  // What the page shows.
  void onLifecycle(const JsonValue& params);
  void onFrameNavigated(const JsonValue& params);
  void onFrameAttached(const JsonValue& params);
  void onFrameDetached(const JsonValue& params);

  bool canDraw(const PageHandler& handler) const;
  void capture(PageHandler handler);
  void takeLastPicture();
  void closeWhenTold();
  void lingerForTools();
  void close();
  void finish();
  bool cannotDraw() const { return gone_ || calls_.isHeld(); }

  // PageOwner.
  bool isOpen() const override { return state_ == State::kOpen; }
  bool standsStill() const override { return calls_.isHeld(); }
  void exit(int result, std::map<std::string, std::string> properties) override;
  void onLineTold() override;
  std::shared_ptr<void> keep() override { return shared_from_this(); }

  InvocationHost& host_;
  const std::shared_ptr<CdpConnection> connection_;
  const std::shared_ptr<InvocationOutcome> outcome_;
  const std::shared_ptr<CallQueue> queue_;
  InvocationPlan plan_;

  PageFacts page_;
  PageStory story_;
  PageCalls calls_;
  PageConsole console_;
  PageRequests requests_;

  State state_ = State::kOpen;
  const std::shared_ptr<std::atomic<bool>> over_;  // as soon as it is no longer open
  std::string context_;
  std::set<std::string> workers_;  // targets without a window
  std::string document_;           // the browser's id of what the window shows
  bool painted_ = false;
  bool tookLast_ = false;
  bool gone_ = false;  // crashed, or its window closed
  DebugClients debugClients_;
  int lingered_ = 0;  // times
  bool isSetUp_ = false;
  std::vector<std::function<void()>> whenSetUp_;  // tools that have come before
  InvocationEnd end_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_INVOCATION_H
