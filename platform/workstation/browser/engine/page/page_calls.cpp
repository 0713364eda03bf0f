#include "workstation/browser/engine/page/page_calls.h"

#include <map>
#include <thread>
#include <utility>

#include "js/jsproc.h"
#include "workstation/browser/engine/files/file_server.h"
#include "workstation/browser/engine/process/quiet_thread.h"

namespace workstation {
namespace {

// Each is a thread of the host for as long as its reply takes.
constexpr int kMostWaitingCalls = 256;

std::size_t sizeOf(const ScriptCall& call) {
  std::size_t size = sizeof(ScriptCall) + call.to.size() + call.name.size() + call.json.size() +
                     call.from.size() + call.replyName.size();
  for (const std::string& text : call.texts) size += sizeof(std::string) + text.size();
  return size;
}

// Told to the host's log in the place of the lines.
ScriptCall lossNote(long long lines) {
  ScriptCall note;
  note.kind = ScriptCall::Kind::kLog;
  note.level = js::JS_LOG_WARNING;
  note.texts = {std::to_string(lines) + " log lines were too many at once and are lost"};
  return note;
}

PageEvent sentEvent(const ScriptCall& call, bool awaitsReply) {
  PageEvent event;
  event.kind = PageEvent::Kind::kSent;
  event.message = {call.from, call.to, call.name, call.json};
  event.awaitsReply = awaitsReply;
  return event;
}

}  // namespace

struct PageCalls::Outlet {
  std::weak_ptr<PageCalls> calls;
  std::shared_ptr<CdpConnection> connection;

  void reply(const Caller& caller, const ScriptCall& call, CallResult result) const {
    (void)connection->post([calls = calls, caller, call, result = std::move(result)] {
      // Nobody is there to be told when the invocation has ended.
      const auto self = calls.lock();
      if (!self) return;
      self->tellReply(call, result.code, result.text);
      self->reply(caller, result.code, result.text);
    });
  }
};

PageCalls::Outlet PageCalls::outlet() {
  return {std::shared_ptr<PageCalls>(owner_.keep(), this), page_.connection};
}

bool PageCalls::onEvent(const CdpEvent& event) {
  if (event.method != "Runtime.bindingCalled") return false;
  onBinding(event.params);
  return true;
}

void PageCalls::onBinding(const JsonValue& params) {
  if (jsonString(params, "name") != bindingName(page_.script)) return;
  PageCall call;
  if (!readPageCall(jsonString(params, "payload"), call)) return;
  const int document = jsonInt(params, "executionContextId", 0);
  switch (call.kind) {
    case PageCall::Kind::kScript:
      if (call.script.kind == ScriptCall::Kind::kLog)
        return runLogCall(std::move(call.script), document);
      return runNotification(std::move(call), document);
    case PageCall::Kind::kBlocking:
      story_.letAllOut();  // the page answers nothing from here on
      blocking_.begin(call.id);
      return runNotification(std::move(call), document);
    case PageCall::Kind::kDrop:
      return blocking_.drop(call.id);
    case PageCall::Kind::kExit:
      return owner_.exit(call.result, std::move(call.properties));
    case PageCall::Kind::kClose:
      return owner_.end(0, "");
    case PageCall::Kind::kInput:
      return tellInput(call.input);
  }
}

void PageCalls::runNotification(PageCall&& call, int document) {
  const Caller caller = {call.id, document, call.kind == PageCall::Kind::kBlocking};
  const bool waits = call.script.kind == ScriptCall::Kind::kNotifyAndWait;
  if (waits && waiting_->load() >= kMostWaitingCalls)
    return reply(caller, kTooManyCalls, "too many calls are waiting for replies");
  if (waits) ++*waiting_;
  story_.tell(sentEvent(call.script, waits));
  const std::size_t size = sizeOf(call.script);
  // What a reply is told with; the payload is not.
  ScriptCall head = call.script;
  head.json.clear();
  auto run = [out = outlet(), caller, head, script = std::move(call.script),
              context = page_.callContext()] {
    out.reply(caller, head, callProcessor(script, context));
  };
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
  const bool taken = waits ? page_.queue->push(std::move(runBeside), size)
                           : page_.queue->push(std::move(run), size);
  if (taken) return;
  if (waits) --*waiting_;
  reply(caller, kTooManyCalls, "too many calls at once");
}

void PageCalls::runLogCall(ScriptCall&& call, int document) {
  const long long dropped = droppedLines_;
  const std::size_t size = sizeOf(call);
  PageEvent event;
  event.kind = PageEvent::Kind::kLog;
  event.level = call.level;
  event.texts = call.texts;
  auto run = [out = outlet(), call = std::move(call), context = page_.callContext(), dropped,
              document] {
    if (dropped > 0) {
      (void)callProcessor(lossNote(dropped), context);  // if it fails, so does the next one
    }
    const CallResult result = callProcessor(call, context);
    if (result.code == 0) return;
    (void)out.connection->post([calls = out.calls, document, result] {
      if (const auto self = calls.lock())
        self->reportLogRefusal(document, result.code, result.text);
    });
  };
  if (page_.queue->push(std::move(run), size)) {
    droppedLines_ = 0;
    story_.tell(std::move(event));
  } else {
    ++droppedLines_;
    story_.lose();
  }
}

CallQueue::Task PageCalls::ending() const {
  if (droppedLines_ == 0) return [] {};
  return [note = lossNote(droppedLines_), context = page_.callContext()] {
    (void)callProcessor(note, context);  // nobody is left to be told
  };
}

void PageCalls::reply(const Caller& caller, int code, const std::string& text) {
  if (!owner_.isOpen()) return;
  if (!caller.isBlocking) {
    return page_.send(
        "Runtime.evaluate",
        JsonObject()
            .add("expression", deliveryExpression(page_.script, caller.id, code, text))
            .add("contextId", caller.document)
            .add("silent", true));
  }
  const std::string body = JsonObject().add("code", code).add("text", text).text();
  if (const auto answer = blocking_.addReply(caller.id, body))
    answerRequest(*page_.connection, answer->requestId, 200, "application/json", answer->body);
}

void PageCalls::tellReply(const ScriptCall& call, int code, const std::string& text) {
  const bool awaitsReply = call.kind == ScriptCall::Kind::kNotifyAndWait;
  if (!owner_.isOpen() || (code == 0 && !awaitsReply)) return;
  PageEvent event;
  event.kind = PageEvent::Kind::kReply;
  event.level = code;
  event.message = {call.to, call.from, awaitsReply ? call.replyName : call.name, ""};
  event.awaitsReply = awaitsReply;
  if (code == 0) event.message.payload = text;
  if (code != 0) event.texts.push_back(text);
  story_.tell(std::move(event));
}

void PageCalls::tellInput(const PageEvent::Input& input) {
  if (!page_.script.recordsInput) return;
  PageEvent event;
  event.kind = PageEvent::Kind::kInput;
  event.input = input;
  story_.tell(std::move(event));
}

void PageCalls::onReplyRequest(long long id, const std::string& requestId) {
  if (id == 0) return answerWhenCaughtUp(requestId);
  bool accepted = false;
  const auto answer = blocking_.addRequest(id, requestId, accepted);
  if (!accepted) answerRequest(*page_.connection, requestId, 404, "text/plain", "");
  if (answer)
    answerRequest(*page_.connection, answer->requestId, 200, "application/json", answer->body);
}

void PageCalls::answerWhenCaughtUp(const std::string& requestId) {
  const auto answer = [connection = page_.connection, requestId] {
    answerRequest(*connection, requestId, 200, "text/plain", "");
  };
  if (!page_.queue->push(answer, requestId.size())) answer();
}

// Once: a page that logs a thousand lines need not be told a thousand times.
void PageCalls::reportLogRefusal(int document, int code, const std::string& text) {
  if (logRefusalReported_ || !owner_.isOpen()) return;
  logRefusalReported_ = true;
  reply({0, document, false}, code, text);
}

}  // namespace workstation
