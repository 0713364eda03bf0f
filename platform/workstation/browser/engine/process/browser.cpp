#include "workstation/browser/engine/process/browser.h"

#include <chrono>
#include <fstream>
#include <future>
#include <utility>
#include <vector>

#include "workstation/browser/engine/files/application_url.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "workstation/browser/engine/process/chromium_command.h"

namespace workstation {
namespace {

// Longer than the browser is given for it.
constexpr std::chrono::seconds kPagePatience{8};

// Every request of every page, worker and window goes through our hands.
constexpr char kAllRequests[] = R"([{"urlPattern":"*"}])";

// Schemes that never leave the browser: made by a page from what it already has, or the developer
// tools' own.
constexpr std::string_view kInnerSchemes[] = {"data", "blob", "devtools", "about"};

bool isInner(std::string_view scheme) {
  for (const std::string_view inner : kInnerSchemes) {
    if (scheme == inner) return true;
  }
  return false;
}

template <class Map>
void eraseValue(Map& map, const Invocation* invocation) {
  for (auto entry = map.begin(); entry != map.end();) {
    entry = entry->second == invocation ? map.erase(entry) : std::next(entry);
  }
}

Invocation* findIn(const std::map<std::string, Invocation*>& map, const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : found->second;
}

// The last line of a file that has one.
std::string lastLine(const std::string& path) {
  std::ifstream file(path);
  std::string last;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) last = line;
  }
  return last;
}

// The host of the page that a request came from, where it says so.
std::string refererHost(const JsonValue& request) {
  std::string host;
  std::string path;
  const std::string referer = jsonString(jsonMember(request, "headers"), "Referer");
  return splitUrl(referer, host, path) ? host : "";
}

}  // namespace

std::unique_ptr<Browser> Browser::start(const BrowserOptions& options, const std::string& terminal,
                                        const WindowShape& shape, std::string& error) {
  std::unique_ptr<Browser> browser(new Browser);
  browser->headless_ = options.headless || !hasDisplayServer();
  const bool isPlain = browser->headless_ && options.program.empty() && options.locale.empty();
  if (isPlain && !options.lender.empty()) browser->loan_ = BrowserLoan::take(options.lender);
  bool isConnected = false;
  if (browser->loan_) {
    isConnected = browser->connect(std::move(browser->loan_->commands),
                                   std::move(browser->loan_->events), browser->loan_->firstId());
  } else {
    if (!browser->startProcess(options, terminal, shape, error)) return nullptr;
    isConnected = browser->connect(std::move(browser->process_->commands),
                                   std::move(browser->process_->events), 1);
  }
  if (isConnected) return browser;
  error = "there are no threads for the browser";
  return nullptr;
}

bool Browser::startProcess(const BrowserOptions& options, const std::string& terminal,
                           const WindowShape& shape, std::string& error) {
  std::string program;
  if (!findBrowser(options.program, !headless_, program, error)) return false;
  if (!headless_ && !reachDisplayServer(error)) return false;
  profile_ = ProfileDirectory::create(terminal, error);
  if (!profile_) return false;
  if (!headless_ && !writeWindowPreferences(*profile_, error)) return false;
  const std::string window =
      headless_ ? "" : std::to_string(shape.width) + ',' + std::to_string(shape.height);
  process_ =
      ChromiumProcess::start(chromiumCommand(program, *profile_, window, options.locale), error);
  return process_ != nullptr;
}

bool Browser::connect(UniqueFd commands, UniqueFd events, int firstId) {
  connection_ = std::make_shared<CdpConnection>(std::move(commands), std::move(events), firstId);
  files_ = std::make_unique<FileServer>(connection_);
  if (!files_->start() || !connection_->start([this](const CdpEvent& event) { onEvent(event); },
                                              [this] { onClosed(); })) {
    return false;
  }
  connection_->call("", "Target.setDiscoverTargets", JsonObject().add("discover", true));
  connection_->call("", "Fetch.enable", JsonObject().addRaw("patterns", kAllRequests));
  return true;
}

Browser::~Browser() {
  if (connection_) connection_->stop();
  if (files_) files_->stop();
  loan_.reset();     // what used it has stopped
  process_.reset();  // before the profile that it writes to
}

bool Browser::open(std::shared_ptr<InvocationOutcome> outcome, std::shared_ptr<CallQueue> queue,
                   const InvocationPlan& plan) {
  auto invocation = std::make_shared<Invocation>(static_cast<InvocationHost&>(*this), connection_,
                                                 std::move(outcome), std::move(queue), plan);
  return connection_->post([this, invocation] {
    if (ended_) return invocation->endWithoutBrowser(whyEnded_);
    invocations_[invocation->id()] = invocation;
    invocation->start();
    if (!windowTarget_.empty()) invocation->onWindow(windowContext_, windowTarget_);
  });
}

std::string Browser::whyEnded() {
  connection_->stop();
  return whyEnded_;
}

void Browser::cancel(int invocation) {
  (void)connection_->post([this, invocation] {
    if (Invocation* const running = find(invocation))
      running->end(kCancelled, "the invocation was cancelled");
  });
}

// Waits for what a page answers.
bool Browser::ask(int invocation, const PageRequest& request, std::string& result,
                  std::string& error) {
  struct Answer {
    bool ok;
    std::string resultOrError;
  };
  const auto promise = std::make_shared<std::promise<Answer>>();
  std::future<Answer> future = promise->get_future();
  const auto handler = [promise](bool ok, const std::string& resultOrError) {
    promise->set_value({ok, resultOrError});
  };
  const bool asked = connection_->post([this, invocation, request, handler] {
    Invocation* const running = find(invocation);
    if (running == nullptr) return handler(false, kNoInvocation);
    request(*running, handler);
  });
  if (!asked || future.wait_for(kPagePatience) != std::future_status::ready) {
    error = "the browser does not answer";
    return false;
  }
  const Answer answer = future.get();
  (answer.ok ? result : error) = answer.resultOrError;
  return answer.ok;
}

bool Browser::takeScreenshot(int invocation, std::string& png, std::string& error) {
  const auto request = [](Invocation& page, Invocation::PageHandler handler) {
    page.takeScreenshot(std::move(handler));
  };
  return ask(invocation, request, png, error);
}

bool Browser::command(int invocation, const std::string& method, const std::string& params,
                      std::string& result, std::string& error) {
  const auto document = std::make_shared<JsonDocument>();
  if (!parseJson(params, *document) || !document->IsObject()) {
    error = "the parameters are no JSON object";
    return false;
  }
  const auto request = [method, document](Invocation& page, Invocation::PageHandler handler) {
    page.command(method, JsonObject(*document), std::move(handler));
  };
  return ask(invocation, request, result, error);
}

bool Browser::showDeveloperTools(int invocation, std::string& error) {
  const auto request = [](Invocation& page, Invocation::PageHandler handler) {
    page.showDeveloperTools(std::move(handler));
  };
  std::string nothing;
  return ask(invocation, request, nothing, error);
}

namespace {

class OpenDebugTool final : public DebugTool {
 public:
  using Close = std::function<void(const std::shared_ptr<DebugClient>& client)>;

  OpenDebugTool(std::shared_ptr<CdpConnection> connection, std::shared_ptr<DebugClient> client,
                Close close)
      : connection_(std::move(connection)), client_(std::move(client)), close_(std::move(close)) {}

  ~OpenDebugTool() override {
    // Nothing is left to close once the connection has ended.
    (void)connection_->post([client = client_, close = close_] { close(client); });
  }

  void send(const std::string& message) override {
    (void)connection_->post([client = client_, message] { client->onMessage(message); });
  }

 private:
  const std::shared_ptr<CdpConnection> connection_;
  const std::shared_ptr<DebugClient> client_;
  const Close close_;
};

}  // namespace

std::unique_ptr<DebugTool> Browser::openDebugTool(int invocation, DebugScope scope,
                                                  const DebugListener& listener,
                                                  std::string& error) {
  const auto client = std::make_shared<std::shared_ptr<DebugClient>>();
  const auto request = [client, scope, listener](Invocation& page,
                                                 Invocation::PageHandler handler) {
    page.openDebugClient(scope, listener,
                         [client, handler = std::move(handler)](auto opened, const auto& why) {
                           *client = std::move(opened);
                           handler(*client != nullptr, why);
                         });
  };
  std::string nothing;
  if (!ask(invocation, request, nothing, error)) return nullptr;
  // Runs on the connection's thread, which ends before the browser's object does.
  const auto close = [this, invocation](const std::shared_ptr<DebugClient>& gone) {
    if (Invocation* const running = find(invocation)) return running->closeDebugClient(gone);
    gone->end();
  };
  return std::make_unique<OpenDebugTool>(connection_, *client, close);
}

Invocation* Browser::find(int invocation) {
  const auto found = invocations_.find(invocation);
  return found == invocations_.end() ? nullptr : found->second.get();
}

// ---- What invocations own ----

void Browser::addContext(const std::string& context, Invocation& invocation) {
  contexts_[context] = &invocation;
}

void Browser::addSession(const std::string& session, Invocation& invocation) {
  sessions_[session] = &invocation;
}

void Browser::addFrame(const std::string& frame, Invocation& invocation) {
  frames_[frame] = &invocation;
}

void Browser::removeFrame(const std::string& frame) { frames_.erase(frame); }

void Browser::remove(Invocation& invocation) {
  for (const auto& [frame, owner] : frames_) {
    if (owner == &invocation) goneFrames_.add(frame);
  }
  eraseValue(contexts_, &invocation);
  eraseValue(sessions_, &invocation);
  eraseValue(frames_, &invocation);
  invocations_.erase(invocation.id());
}

// ---- Events ----

void Browser::onEvent(const CdpEvent& event) {
  const bool isOurs = event.session.empty();  // and not of a tool that looks at a page
  if (isOurs && event.method == "Fetch.requestPaused") return onRequestPaused(event.params);
  if (isOurs) return onTargetEvent(event.method, event.params);
  if (Invocation* const invocation = findIn(sessions_, event.session)) {
    const auto alive = invocation->shared_from_this();  // the event may be its last
    alive->onEvent(event);
  }
}

void Browser::onTargetEvent(const std::string& method, const JsonValue& params) {
  if (method == "Target.targetCreated") {
    const JsonValue& info = jsonMember(params, "targetInfo");
    if (Invocation* const owner = findIn(contexts_, jsonString(info, "browserContextId"))) {
      owner->onTargetCreated(jsonString(info, "targetId"), jsonString(info, "type"),
                             jsonString(info, "url"));
    } else if (!headless_ && windowTarget_.empty() && jsonString(info, "type") == "page") {
      onWindow(info);
    }
    return;
  }
  const std::string target = jsonString(params, "targetId");
  Invocation* const owner = findIn(frames_, target);
  if (owner == nullptr) return;
  if (method == "Target.targetCrashed") owner->onTargetCrashed(target);
  if (method == "Target.targetDestroyed") owner->onTargetGone(target);
}

void Browser::onWindow(const JsonValue& targetInfo) {
  windowContext_ = jsonString(targetInfo, "browserContextId");
  windowTarget_ = jsonString(targetInfo, "targetId");
  const auto invocations = invocations_;
  for (const auto& [id, invocation] : invocations)
    invocation->onWindow(windowContext_, windowTarget_);
}

void Browser::onClosed() {
  const std::string complaint = profile_ ? lastLine(profile_->errorFile()) : "";
  whyEnded_ = complaint.empty() ? "the browser has ended" : "the browser has ended: " + complaint;
  ended_ = true;
  const auto invocations = invocations_;
  for (const auto& [id, invocation] : invocations) invocation->endWithoutBrowser(whyEnded_);
}

// ---- Requests ----

void Browser::onRequestPaused(const JsonValue& params) {
  const JsonValue& request = jsonMember(params, "request");
  const std::string requestId = jsonString(params, "requestId");
  const std::string url = jsonString(request, "url");
  if (isInner(urlScheme(url))) {
    return connection_->call("", "Fetch.continueRequest", JsonObject().add("requestId", requestId));
  }
  std::string host;
  std::string path;
  Invocation* owner = nullptr;
  const bool isOwn = splitUrl(url, host, path) &&
                     (owner = ownerOfRequest(params, host)) != nullptr && owner->host() == host;
  if (!isOwn) return refuseRequest(params, url, owner);
  if (answerCall(owner, path, requestId)) return;
  const bool forIcon = path == "/favicon.ico" && jsonString(params, "resourceType") == "Other";
  files_->add(
      {requestId, jsonString(request, "method"), path, forIcon, owner->files(), owner->over()});
}

// Whose page, frame or worker makes a request. One of a frame that nobody has told us about (inside
// of a sandboxed frame, say) belongs to the page that it names as its origin. What an ended
// application has still asked for is nobody's: the same application may have started anew, and
// would wait behind it.
Invocation* Browser::ownerOfRequest(const JsonValue& params, const std::string& host) {
  const std::string frame = jsonString(params, "frameId");
  if (Invocation* const owner = findIn(frames_, frame)) return owner;
  if (goneFrames_.contains(frame)) return nullptr;
  if (refererHost(jsonMember(params, "request")) != host) return nullptr;
  for (const auto& [id, invocation] : invocations_) {
    if (invocation->host() == host) return invocation.get();
  }
  return nullptr;
}

bool Browser::answerCall(Invocation* owner, const std::string& path, const std::string& requestId) {
  const std::string prefix = kCallPath + owner->token() + '/';
  if (path.compare(0, prefix.size(), prefix) != 0) return false;
  owner->onReplyRequest(std::strtoll(path.c_str() + prefix.size(), nullptr, 10), requestId);
  return true;
}

void Browser::refuseRequest(const JsonValue& params, const std::string& url, Invocation* owner) {
  if (owner == nullptr) owner = findIn(frames_, jsonString(params, "frameId"));
  const bool isPage = owner != nullptr && jsonString(params, "resourceType") == "Document" &&
                      jsonString(params, "frameId") == owner->mainTarget();
  // An aborted navigation leaves the page where it is; any other error would replace it.
  connection_->call("", "Fetch.failRequest",
                    JsonObject()
                        .add("requestId", jsonString(params, "requestId"))
                        .add("errorReason", isPage ? "Aborted" : "AccessDenied"));
  if (isPage) owner->onNavigationRefused(url);
}

}  // namespace workstation
