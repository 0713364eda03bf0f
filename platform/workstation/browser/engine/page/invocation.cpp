#include "workstation/browser/engine/page/invocation.h"

#include <chrono>
#include <utility>

#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "workstation/browser/engine/process/random_token.h"
#include "workstation/browser/engine/protocol/base64.h"

namespace workstation {
namespace {

using std::chrono::seconds;

constexpr seconds kCloseDeadline{3};
constexpr seconds kScreenshotDeadline{5};
constexpr seconds kLingerDeadline{2};
constexpr int kMostLingered = 10;

// The browser keeps the bodies of responses for its developer tools, which here nobody asks for.
constexpr int kKeptBodies = 1;

std::string appIdOf(const zelgui::UIProperties& properties) {
  const auto found = properties.find("wz_appId");
  return found == properties.end() ? "" : found->second;
}

PageScriptConfig scriptOf(const InvocationPlan& plan) {
  PageScriptConfig script;
  script.token = randomToken();
  script.origin = "https://" + plan.host;
  script.callUrl = script.origin + kCallPath + script.token + '/';
  script.appId = appIdOf(plan.properties);
  script.properties = plan.properties;
  script.isMonochrome = !plan.shape.colour;
  script.recordsInput = plan.recordsInput;
  return script;
}

}  // namespace

Invocation::Invocation(InvocationHost& host, std::shared_ptr<CdpConnection> connection,
                       std::shared_ptr<InvocationOutcome> outcome, std::shared_ptr<CallQueue> queue,
                       InvocationPlan plan)
    : host_(host),
      connection_(std::move(connection)),
      outcome_(std::move(outcome)),
      queue_(std::move(queue)),
      plan_(std::move(plan)),
      page_{connection_, queue_, id(), plan_.headless, scriptOf(plan_), "", ""},
      story_(queue_, id(), page_.script.appId),
      calls_(*this, page_, story_),
      console_(*this, page_, story_),
      requests_(*this, page_, story_),
      over_(std::make_shared<std::atomic<bool>>(false)) {}

// ---- Opening ----

void Invocation::start() {
  PageEvent event;
  event.kind = PageEvent::Kind::kOpened;
  event.properties = plan_.properties;
  story_.tell(std::move(event));
  if (plan_.headless) openContext();
}

void Invocation::openContext() {
  connection_->call("", "Target.createBrowserContext", JsonObject().add("disposeOnDetach", true),
                    [self = shared_from_this()](const CdpReply& reply) {
                      if (!reply.ok) {
                        self->endWithoutBrowser(reply.error);
                        // One that cannot even do this serves nobody; the next one may.
                        return self->connection_->close();
                      }
                      self->onContextCreated(jsonString(reply.result, "browserContextId"));
                    });
}

void Invocation::onContextCreated(const std::string& context) {
  context_ = context;
  if (!isOpen()) return close();
  host_.addContext(context, *this);
  connection_->call("", "Browser.setDownloadBehavior",
                    JsonObject().add("behavior", "deny").add("browserContextId", context));
  if (plan_.headless) openPage();
}

// Windows that the browser opens later, in a context made for the purpose, have an address bar;
// the one that it begins with has none. So a browser with a window serves one invocation, and its
// own context, in a profile of its own, is that invocation's.
void Invocation::onWindow(const std::string& context, const std::string& target) {
  if (!page_.target.empty() || !isOpen()) return;
  onContextCreated(context);
  attach(target);
}

void Invocation::openPage() {
  connection_->call("", "Target.createTarget",
                    JsonObject()
                        .add("url", "about:blank")
                        .add("browserContextId", context_)
                        .add("width", plan_.shape.width)
                        .add("height", plan_.shape.height),
                    [self = shared_from_this()](const CdpReply& reply) {
                      if (!reply.ok) return self->end(kPageFailed, reply.error);
                      self->attach(jsonString(reply.result, "targetId"));
                    });
}

void Invocation::onTargetCreated(const std::string& target, const std::string& type,
                                 const std::string& url) {
  // The developer tools live in windows of their own.
  if (url.compare(0, 11, "devtools://") == 0) return;
  const bool isWindow = type == "page";
  if (isWindow && page_.target.empty()) return;  // named by the reply that follows
  // The terminal has one display: windows that a page opens are closed again.
  if (isWindow)
    return connection_->call("", "Target.closeTarget", JsonObject().add("targetId", target));
  host_.addFrame(target, *this);
  if (type != "iframe") workers_.insert(target);
}

void Invocation::attach(const std::string& target) {
  if (!isOpen()) return;
  page_.target = target;
  host_.addFrame(target, *this);
  connection_->call("", "Target.attachToTarget",
                    JsonObject().add("targetId", target).add("flatten", true),
                    [self = shared_from_this()](const CdpReply& reply) {
                      if (!reply.ok) return self->end(kPageFailed, reply.error);
                      self->page_.session = jsonString(reply.result, "sessionId");
                      self->showPage();
                    });
}

void Invocation::showPage() {
  if (!isOpen()) return;
  host_.addSession(page_.session, *this);
  if (plan_.headless) return setUpPage();
  // The window's content is to have exactly the display's size.
  fitWindow(connection_, page_.session, page_.target, plan_.shape,
            [self = shared_from_this()] { self->setUpPage(); });
}

// All at once: the browser works through the commands of a session in their order.
void Invocation::setUpPage() {
  if (!isOpen()) return;
  if (plan_.devtools && !plan_.headless)
    connection_->call("", "Target.openDevTools", JsonObject().add("targetId", page_.target));
  page_.send("Page.enable");
  page_.send("Page.setLifecycleEventsEnabled", JsonObject().add("enabled", true));
  page_.send("Network.enable", JsonObject()
                                   .add("maxTotalBufferSize", kKeptBodies)
                                   .add("maxResourceBufferSize", kKeptBodies));
  page_.send("Log.enable");
  page_.send("Emulation.setDeviceMetricsOverride", JsonObject()
                                                       .add("width", plan_.shape.width)
                                                       .add("height", plan_.shape.height)
                                                       .add("screenWidth", plan_.shape.width)
                                                       .add("screenHeight", plan_.shape.height)
                                                       .add("deviceScaleFactor", 1)
                                                       .add("mobile", false));
  if (plan_.shape.touch)
    page_.send("Emulation.setTouchEmulationEnabled", JsonObject().add("enabled", true));
  if (!plan_.locale.empty())
    page_.send("Emulation.setLocaleOverride", JsonObject().add("locale", plan_.locale));
  page_.send("Runtime.enable");
  page_.send("Runtime.addBinding", JsonObject().add("name", bindingName(page_.script)));
  // The script must have arrived in the page's process: the browser does not wait for it by itself,
  // and where the navigation brings another process it would be lost.
  connection_->call(page_.session, "Page.addScriptToEvaluateOnNewDocument",
                    JsonObject().add("source", pageScript(page_.script)),
                    [self = shared_from_this()](const CdpReply& reply) {
                      if (!reply.ok) return self->end(kPageFailed, reply.error);
                      self->letToolsIn();
                      self->navigate();
                    });
}

void Invocation::navigate() {
  if (!isOpen()) return;
  connection_->call(
      page_.session, "Page.navigate", JsonObject().add("url", page_.script.origin + plan_.target),
      [self = shared_from_this()](const CdpReply& reply) { self->onNavigated(reply); });
}

void Invocation::onNavigated(const CdpReply& reply) {
  if (!reply.ok) return end(kPageFailed, reply.error);
  const std::string error = jsonString(reply.result, "errorText");
  if (!error.empty()) end(kPageFailed, error + ": " + page_.script.origin + plan_.target);
}

// ---- Ending ----

void Invocation::end(int result, const std::string& error) {
  if (!isOpen()) return;
  state_ = State::kClosing;
  *over_ = true;
  end_.result = result;
  end_.error = error;
  closeWhenTold();
}

void Invocation::exit(int result, std::map<std::string, std::string> properties) {
  end_.properties = std::move(properties);
  end(result, "");
}

void Invocation::onLineTold() {
  if (state_ == State::kClosing) closeWhenTold();
}

// What the page has printed last may still be asked for its text, which goes with the page.
void Invocation::closeWhenTold() {
  if (story_.held() > 0) return;
  const bool canLinger = !cannotDraw() && !debugClients_.isEmpty();
  if (canLinger && (lingered_ == 0 || debugClients_.isWaiting()) && lingered_ < kMostLingered)
    return lingerForTools();
  const bool canDrawLast = painted_ && !cannotDraw() && !tookLast_;
  if (plan_.lastPicture && canDrawLast) return takeLastPicture();
  close();
}

// A tool that has clicked on what ends the application still wants to hear that it has clicked. The
// page itself tells the time; one whose script runs on is not waited for.
void Invocation::lingerForTools() {
  ++lingered_;
  connection_->call(
      page_.session, "Runtime.evaluate",
      JsonObject()
          .add("expression", "new Promise((done) => setTimeout(done, 100))")
          .add("awaitPromise", true),
      [self = shared_from_this()](const CdpReply& reply) {
        if (!reply.ok) self->lingered_ = kMostLingered;
        if (self->state_ == State::kClosing) self->closeWhenTold();
      },
      kLingerDeadline);
}

void Invocation::endWithoutBrowser(const std::string& error) {
  if (isOpen()) {
    end_.result = kBrowserLost;
    end_.error = error;
  }
  finish();
}

// Disposing of the context also ends a page that loops or stands still.
void Invocation::close() {
  if (!plan_.headless) return connection_->close();  // the browser has nobody else to serve
  const auto self = shared_from_this();
  if (context_.empty()) {
    // onContextCreated comes back to it, unless the browser does not answer at all.
    return connection_->call(
        "", "Browser.getVersion", JsonObject(),
        [self](const CdpReply& reply) {
          if (!reply.ok) self->finish();
        },
        kCloseDeadline);
  }
  connection_->call(
      "", "Target.disposeBrowserContext", JsonObject().add("browserContextId", context_),
      [self](const CdpReply&) { self->finish(); }, kCloseDeadline);
}

void Invocation::finish() {
  if (state_ == State::kEnded) return;
  state_ = State::kEnded;
  *over_ = true;
  const auto self = shared_from_this();
  host_.remove(*this);
  letToolsIn();
  debugClients_.endAll();
  connection_->forgetSession(page_.session, "the page has ended");
  plan_.hostLease.reset();
  story_.letAllOut();
  // Where the page has set one of the host's properties anew, the page's stays.
  end_.properties.insert(plan_.properties.begin(), plan_.properties.end());
  queue_->finish([outcome = outcome_, lines = calls_.ending(),
                  story = story_.ending(end_.result, end_.error), end = std::move(end_)]() mutable {
    lines();
    story();
    invocationTable().noteEnd(outcome->id());
    outcome->complete(std::move(end));
  });
}

void Invocation::onTargetCrashed(const std::string& target) {
  if (target != page_.target) return;
  gone_ = true;
  end(kPageCrashed, "the page's process has crashed");
}

void Invocation::onTargetGone(const std::string& target) {
  if (workers_.erase(target) != 0) host_.removeFrame(target);
  if (target != page_.target) return;
  gone_ = true;  // there is nothing left to be drawn
  end(kWindowClosed, "");
}

void Invocation::onNavigationRefused(const std::string& url) {
  requests_.reportFailure({url, false}, "net::ERR_ACCESS_DENIED");
}

// ---- What a page does ----

void Invocation::onEvent(const CdpEvent& event) {
  struct Row {
    const char* method;
    void (Invocation::*handler)(const JsonValue& params);
  };
  static constexpr Row kRows[] = {
      {"Page.lifecycleEvent", &Invocation::onLifecycle},
      {"Page.frameNavigated", &Invocation::onFrameNavigated},
      {"Page.frameAttached", &Invocation::onFrameAttached},
      {"Page.frameDetached", &Invocation::onFrameDetached},
  };
  if (debugClients_.onEvent(event) || !isOpen()) return;
  if (calls_.onEvent(event) || console_.onEvent(event) || requests_.onEvent(event)) return;
  for (const Row& row : kRows) {
    if (event.method == row.method) return (this->*row.handler)(event.params);
  }
}

void Invocation::onFrameNavigated(const JsonValue& params) {
  const JsonValue& frame = jsonMember(params, "frame");
  if (jsonString(frame, "id") != page_.target) return;
  document_ = jsonString(frame, "loaderId");
  console_.beginAnew();
  // One that was asked of the page before is never answered.
  connection_->abandonCalls(page_.session, "Page.captureScreenshot",
                            "the page is being loaded anew");
}

void Invocation::onLifecycle(const JsonValue& params) {
  const std::string name = jsonString(params, "name");
  if (painted_ || (name != "firstPaint" && name != "firstContentfulPaint")) return;
  // The empty page before the first one is painted too.
  if (document_.empty() || jsonString(params, "loaderId") != document_) return;
  painted_ = true;
  PageEvent event;
  event.kind = PageEvent::Kind::kFirstPaint;
  story_.tell(std::move(event));
}

void Invocation::onFrameAttached(const JsonValue& params) {
  host_.addFrame(jsonString(params, "frameId"), *this);
}

void Invocation::onFrameDetached(const JsonValue& params) {
  // A frame that moves to another process goes on under its id.
  if (jsonString(params, "reason") != "swap") host_.removeFrame(jsonString(params, "frameId"));
}

// ---- Pictures ----

bool Invocation::canDraw(const PageHandler& handler) const {
  const bool isShown = isOpen() && !page_.session.empty();
  if (isShown && !calls_.isHeld()) return true;
  handler(false,
          isShown ? "the page waits for a reply and cannot be drawn" : "the page is not open");
  return false;
}

void Invocation::takeScreenshot(PageHandler handler) {
  if (canDraw(handler)) capture(std::move(handler));
}

void Invocation::capture(PageHandler handler) {
  connection_->call(
      page_.session, "Page.captureScreenshot", JsonObject().add("format", "png"),
      [handler = std::move(handler)](const CdpReply& reply) {
        if (!reply.ok) return handler(false, reply.error);
        std::string octets;
        if (!base64Decode(jsonString(reply.result, "data"), octets))
          return handler(false, "the browser's answer is no picture");
        handler(true, octets);
      },
      kScreenshotDeadline);
}

void Invocation::takeLastPicture() {
  tookLast_ = true;
  capture([self = shared_from_this()](bool ok, const std::string& octetsOrError) {
    PageEvent event;
    event.kind = PageEvent::Kind::kLastPicture;
    (ok ? event.texts.emplace_back() : event.status) = octetsOrError;
    self->story_.tell(std::move(event));
    self->close();
  });
}

// ---- What the workstation asks of a page ----

void Invocation::command(const std::string& method, const JsonObject& params, PageHandler handler) {
  if (!canDraw(handler)) return;
  connection_->call(
      page_.session, method.c_str(), params,
      [handler = std::move(handler)](const CdpReply& reply) {
        handler(reply.ok, reply.ok ? jsonText(reply.result) : reply.error);
      },
      kScreenshotDeadline);
}

void Invocation::showDeveloperTools(PageHandler handler) {
  if (plan_.headless) return handler(false, "there is no window");
  if (!isOpen() || page_.target.empty()) return handler(false, "the page is not open");
  connection_->call("", "Target.openDevTools", JsonObject().add("targetId", page_.target),
                    [handler = std::move(handler)](const CdpReply& reply) {
                      handler(reply.ok, reply.ok ? "" : reply.error);
                    });
}

void Invocation::openDebugClient(DebugScope scope, const DebugListener& listener,
                                 DebugHandler handler) {
  if (!isOpen()) return handler(nullptr, "the page is not open");
  if (!isSetUp_) {
    whenSetUp_.push_back(
        [this, scope, listener, handler] { openDebugClient(scope, listener, handler); });
    return;
  }
  const std::weak_ptr<Invocation> weak = weak_from_this();
  const auto onSession = [weak](const std::string& session) {
    if (const auto self = weak.lock()) self->host_.addSession(session, *self);
  };
  const auto client = std::make_shared<DebugClient>(
      connection_, DebugClient::Page{page_.target, context_, onSession}, scope, listener);
  debugClients_.add(client);
  client->open([client, handler = std::move(handler)](bool ok, const std::string& error) {
    handler(ok ? client : nullptr, error);
  });
}

// Before the page is loaded, so that they see it from its beginning; or because there will be none.
void Invocation::letToolsIn() {
  isSetUp_ = true;
  for (const auto& tool : std::exchange(whenSetUp_, {})) tool();
}

void Invocation::closeDebugClient(const std::shared_ptr<DebugClient>& client) {
  debugClients_.remove(client);
  client->end();
}

}  // namespace workstation
