// What an invocation's page calls: to the script processor and back.

#include <utility>

#include "js/jsproc.h"
#include "workstation/browser/engine/files/file_server.h"
#include "workstation/browser/engine/page/console_text.h"
#include "workstation/browser/engine/page/invocation.h"
#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/process/quiet_thread.h"
#include "workstation/browser/html/script_runner.h"

namespace workstation {
namespace {

using Context = std::map<std::string, std::string>;

// Each is a thread of the host for as long as its reply takes.
constexpr int kMostWaitingCalls = 256;

struct CallResult {
  int code;
  std::string text;  // the reply for code 0, else an error's text
};

// On the thread that the call may take as long as it likes.
CallResult callProcessor(const ScriptCall& call, Context context) {
  if (!runScript(kScriptType, scriptSource(call), context)) {
    const std::string& error = context["error"];
    return {kNoProcessor, error.empty() ? "no script processor takes the call" : error};
  }
  const int code = static_cast<int>(std::strtol(context["result"].c_str(), nullptr, 10));
  if (code == 0) return {0, std::move(context["reply"])};
  return {code, "the notification '" + call.name + "' failed with " + std::to_string(code)};
}

std::size_t sizeOf(const ScriptCall& call) {
  std::size_t size = sizeof(ScriptCall) + call.to.size() + call.name.size() + call.json.size() +
                     call.from.size() + call.replyName.size();
  for (const std::string& text : call.texts) size += sizeof(std::string) + text.size();
  return size;
}

PageEvent sentEvent(const ScriptCall& call, bool awaitsReply) {
  PageEvent event;
  event.kind = PageEvent::Kind::kSent;
  event.message = {call.from, call.to, call.name, call.json};
  event.awaitsReply = awaitsReply;
  return event;
}

}  // namespace

struct Invocation::Outlet {
  std::weak_ptr<Invocation> invocation;
  std::shared_ptr<CdpConnection> connection;

  void reply(const Caller& caller, const ScriptCall& call, CallResult result) const {
    (void)connection->post([invocation = invocation, caller, call, result = std::move(result)] {
      // Nobody is there to be told when the invocation has ended.
      const auto self = invocation.lock();
      if (!self) return;
      self->tellReply(call, result.code, result.text);
      self->reply(caller, result.code, result.text);
    });
  }
};

Invocation::Outlet Invocation::outlet() { return {weak_from_this(), connection_}; }

std::map<std::string, std::string> Invocation::callContext() const {
  return {{"appId", script_.appId}, {"invocation", std::to_string(id())}};
}

void Invocation::onBinding(const JsonValue& params) {
  if (jsonString(params, "name") != bindingName(script_)) return;
  PageCall call;
  if (!readPageCall(jsonString(params, "payload"), call)) return;
  const int document = jsonInt(params, "executionContextId", 0);
  switch (call.kind) {
    case PageCall::Kind::kScript:
      if (call.script.kind == ScriptCall::Kind::kLog)
        return runLogCall(std::move(call.script), document);
      return runNotification(std::move(call), document);
    case PageCall::Kind::kBlocking:
      gate_.open();  // the page answers nothing from here on
      blocking_.begin(call.id);
      return runNotification(std::move(call), document);
    case PageCall::Kind::kDrop:
      return blocking_.drop(call.id);
    case PageCall::Kind::kExit:
      end_.properties = std::move(call.properties);
      return end(call.result, "");
    case PageCall::Kind::kClose:
      return end(0, "");
    case PageCall::Kind::kInput:
      return tellInput(call.input);
  }
}

void Invocation::runNotification(PageCall&& call, int document) {
  const Caller caller = {call.id, document, call.kind == PageCall::Kind::kBlocking};
  const bool waits = call.script.kind == ScriptCall::Kind::kNotifyAndWait;
  if (waits && waiting_->load() >= kMostWaitingCalls)
    return reply(caller, kTooManyCalls, "too many calls are waiting for replies");
  if (waits) ++*waiting_;
  observe(sentEvent(call.script, waits));
  const std::size_t size = sizeOf(call.script);
  // What a reply is told with; the payload is not.
  ScriptCall head = call.script;
  head.json.clear();
  auto run = [out = outlet(), caller, head, script = std::move(call.script),
              context = callContext()] { out.reply(caller, head, callProcessor(script, context)); };
  const auto waiting = waiting_;
  const auto out = outlet();
  // A call that waits gets a thread of its own, but in the order of the calls.
  auto runBeside = [run, waiting, out, caller, head] {
    std::thread thread = startQuietThread([run, waiting] {
      run();
      --*waiting;
    });
    if (thread.joinable()) return thread.detach();
    --*waiting;
    out.reply(caller, head, {kTooManyCalls, "there is no thread for the call"});
  };
  const bool taken =
      waits ? queue_->push(std::move(runBeside), size) : queue_->push(std::move(run), size);
  if (taken) return;
  if (waits) --*waiting_;
  reply(caller, kTooManyCalls, "too many calls at once");
}

void Invocation::runLogCall(ScriptCall&& call, int document) {
  const long long dropped = droppedLines_;
  const std::size_t size = sizeOf(call);
  PageEvent event;
  event.kind = PageEvent::Kind::kLog;
  event.level = call.level;
  event.texts = call.texts;
  auto run = [out = outlet(), call = std::move(call), context = callContext(), dropped, document] {
    if (dropped > 0) {
      ScriptCall note = call;
      note.level = js::JS_LOG_WARNING;
      note.texts = {std::to_string(dropped) + " log lines were too many at once and are lost"};
      (void)callProcessor(note, context);  // if it fails, so does the next one
    }
    const CallResult result = callProcessor(call, context);
    if (result.code == 0) return;
    (void)out.connection->post([invocation = out.invocation, document, result] {
      if (const auto self = invocation.lock())
        self->reportLogRefusal(document, result.code, result.text);
    });
  };
  if (queue_->push(std::move(run), size)) {
    droppedLines_ = 0;
    observe(std::move(event));
  } else {
    ++droppedLines_;
  }
}

void Invocation::reply(const Caller& caller, int code, const std::string& text) {
  if (!isOpen()) return;
  if (!caller.isBlocking) {
    return send("Runtime.evaluate",
                JsonObject()
                    .add("expression", deliveryExpression(script_, caller.id, code, text))
                    .add("contextId", caller.document)
                    .add("silent", true));
  }
  const std::string body = JsonObject().add("code", code).add("text", text).text();
  if (const auto answer = blocking_.addReply(caller.id, body))
    answerRequest(*connection_, answer->requestId, 200, "application/json", answer->body);
}

void Invocation::tellReply(const ScriptCall& call, int code, const std::string& text) {
  const bool awaitsReply = call.kind == ScriptCall::Kind::kNotifyAndWait;
  if (!isOpen() || (code == 0 && !awaitsReply)) return;
  PageEvent event;
  event.kind = PageEvent::Kind::kReply;
  event.level = code;
  event.message = {call.to, call.from, awaitsReply ? call.replyName : call.name, ""};
  event.awaitsReply = awaitsReply;
  if (code == 0) event.message.payload = text;
  if (code != 0) event.texts.push_back(text);
  observe(std::move(event));
}

void Invocation::tellInput(const PageEvent::Input& input) {
  if (!plan_.recordsInput) return;
  PageEvent event;
  event.kind = PageEvent::Kind::kInput;
  event.input = input;
  observe(std::move(event));
}

void Invocation::onReplyRequest(long long id, const std::string& requestId) {
  if (id == 0) return answerWhenCaughtUp(requestId);
  bool accepted = false;
  const auto answer = blocking_.addRequest(id, requestId, accepted);
  if (!accepted) answerRequest(*connection_, requestId, 404, "text/plain", "");
  if (answer) answerRequest(*connection_, answer->requestId, 200, "application/json", answer->body);
}

void Invocation::answerWhenCaughtUp(const std::string& requestId) {
  const auto answer = [connection = connection_, requestId] {
    answerRequest(*connection, requestId, 200, "text/plain", "");
  };
  if (!queue_->push(answer, requestId.size())) answer();
}

// Once: a page that logs a thousand lines need not be told a thousand times.
void Invocation::reportLogRefusal(int document, int code, const std::string& text) {
  if (logRefusalReported_ || !isOpen()) return;
  logRefusalReported_ = true;
  reply({0, document, false}, code, text);
}

void Invocation::reportFailedRequest(const RequestLog::Request& request,
                                     const std::string& status) {
  ScriptCall trace;
  trace.kind = ScriptCall::Kind::kTrace;
  trace.level = js::JS_TRACE_PAGE;
  trace.info = {{"url", request.url}, {"status", status}};
  // Where nobody takes traces there is nobody to tell.
  (void)queue_->push([trace, context = callContext()] { (void)callProcessor(trace, context); },
                     request.url.size() + sizeof trace);
  PageEvent event;
  event.kind = PageEvent::Kind::kFailedRequest;
  event.url = request.url;
  event.status = status;
  event.isOwn = withoutOrigin(request.url, origin()) != request.url;
  observe(std::move(event));
  // The window is left with nothing in it that could go on.
  if (request.isPage) end(-1, status + ": " + request.url);
}

}  // namespace workstation
