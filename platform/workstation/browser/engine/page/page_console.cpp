// What an invocation's page prints: its console, its uncaught errors, its dialogs.

#include <algorithm>
#include <utility>

#include "workstation/browser/engine/page/console_text.h"
#include "workstation/browser/engine/page/console_values_text.h"
#include "workstation/browser/engine/page/invocation.h"
#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/page/remote_value.h"

namespace workstation {
namespace {

using Expanded = std::map<std::size_t, std::string>;

// A page that is busy does not say what its objects hold; the line is then shown without.
constexpr std::chrono::milliseconds kExpansionDeadline{250};
constexpr std::size_t kMostExpansions = 64;
constexpr std::size_t kMostHeldEvents = 1000;

// As long as the browser keeps the objects of console lines, the page cannot give them up.
constexpr int kKeptLines = 200;

constexpr int kDeepestGroup = 20;

PageEvent consoleEvent(int level, std::string text) {
  PageEvent event;
  event.kind = PageEvent::Kind::kConsole;
  event.level = level;
  event.texts.push_back(std::move(text));
  return event;
}

void setPlace(PageEvent& event, const SourcePlace& place) {
  event.place = {place.file, place.line, place.column};
}

bool isGroup(const std::string& type) {
  return type == "startGroup" || type == "startGroupCollapsed";
}

std::shared_ptr<const JsonDocument> copyOf(const JsonValue& value) {
  auto copy = std::make_shared<JsonDocument>();
  copy->CopyFrom(value, copy->GetAllocator());
  return copy;
}

// Where an error was thrown: the details name the script's place themselves, the stack its frames.
SourcePlace placeOfError(const JsonValue& details, const std::string& origin) {
  const SourcePlace thrown = placeOf(jsonMember(details, "stackTrace"), origin);
  if (!thrown.file.empty()) return thrown;
  const std::string url = jsonString(details, "url");
  if (url.empty()) return {};
  return {withoutOrigin(url, origin), jsonInt(details, "lineNumber", -1) + 1,
          jsonInt(details, "columnNumber", -1) + 1};
}

// "Uncaught" or "Uncaught (in promise)"; where there is no value, the browser's whole text.
std::string uncaughtText(const std::string& head, const std::string& value) {
  return value.empty() ? head : head + ' ' + value;
}

JsonObject expansionCall(const JsonValue& args, const std::vector<std::size_t>& indices) {
  std::string objects = "[";
  std::string first;
  bool hasError = false;
  for (const std::size_t index : indices) {
    const JsonValue& arg = args[static_cast<rapidjson::SizeType>(index)];
    const std::string id = jsonString(arg, "objectId");
    if (first.empty()) first = id;
    if (objects.size() > 1) objects += ',';
    objects += JsonObject().add("objectId", id).text();
    hasError = hasError || jsonString(arg, "subtype") == "error";
  }
  JsonObject call;
  call.add("functionDeclaration", kConsoleValuesText)
      .add("objectId", first)
      .addRaw("arguments", objects + ']')
      .add("returnByValue", true)
      .add("silent", true)
      .add("throwOnSideEffect", !hasError);
  return call;
}

}  // namespace

void Invocation::onConsole(const JsonValue& params) {
  const std::string type = jsonString(params, "type");
  const JsonValue& args = jsonMember(params, "args");
  if (type == "endGroup") {
    groups_ = std::max(groups_ - 1, 0);
    return;
  }
  if (type == "clear") groups_ = 0;
  const JsonValue& stack = jsonMember(params, "stackTrace");
  PageEvent event = consoleEvent(consoleLevel(type), "");
  event.depth = groups_;
  setPlace(event, placeOf(stack, origin()));
  if (isGroup(type)) groups_ = std::min(groups_ + 1, kDeepestGroup);
  if (type == "clear") return;

  const std::string tail = type == "trace" ? stackText(stack, origin()) : "";
  const auto kept = copyOf(args);
  showLine(std::move(event), args, [type, kept, tail, origin = origin()](const Expanded& expanded) {
    return withoutOrigins(consoleText(type, *kept, expanded), origin) + tail;
  });
}

void Invocation::onException(const JsonValue& params) {
  const JsonValue& details = jsonMember(params, "exceptionDetails");
  const JsonValue& exception = jsonMember(details, "exception");
  PageEvent event = consoleEvent(3, "");
  event.isUncaught = true;
  setPlace(event, placeOfError(details, origin()));

  const std::string head = jsonString(details, "text");
  const std::string shown = exception.IsObject() ? remoteValueText(exception) : "";
  JsonDocument args(rapidjson::kArrayType);
  args.PushBack(JsonValue(exception, args.GetAllocator()), args.GetAllocator());
  showLine(std::move(event), args, [head, shown, origin = origin()](const Expanded& expanded) {
    const auto better = expanded.find(0);
    const std::string& value = better == expanded.end() ? shown : better->second;
    return withoutOrigins(uncaughtText(head, value), origin);
  });
}

void Invocation::onLogEntry(const JsonValue& params) {
  const JsonValue& entry = jsonMember(params, "entry");
  if (jsonString(entry, "source") == "network") return;  // told as failed requests
  PageEvent event = consoleEvent(consoleLevel(jsonString(entry, "level")),
                                 withoutOrigins(jsonString(entry, "text"), origin()));
  setPlace(event, {withoutOrigin(jsonString(entry, "url"), origin()),
                   jsonInt(entry, "lineNumber", -1) + 1, 0});
  observe(std::move(event));
}

void Invocation::onDialog(const JsonValue& params) {
  observe(consoleEvent(6, jsonString(params, "type") + ": " + jsonString(params, "message")));
  if (!plan_.headless) return;  // the user's to answer
  send("Page.handleJavaScriptDialog",
       JsonObject().add("accept", true).add("promptText", jsonString(params, "defaultPrompt")));
}

// Shows the line that `text` makes of the arguments, of which the page is asked what the objects
// among them hold.
void Invocation::showLine(PageEvent event, const JsonValue& args, LineText text) {
  event.texts = {text({})};
  if (!console_.count(event.texts[0].size(), ConsoleMeter::Clock::now())) {
    connection_->muteConsole(session_);
    gate_.open();
    return observe(consoleEvent(4, "the page prints too much; its console is shown no longer"));
  }
  std::vector<std::size_t> indices;
  if (args.IsArray()) {
    for (rapidjson::SizeType i = 0; i < args.Size(); ++i) {
      if (isExpandable(args[i])) indices.push_back(i);
    }
  }
  if (gate_.size() > kMostHeldEvents) gate_.open();
  const bool canAsk = hasPageObserver() && gate_.held() < kMostExpansions && !blocking_.isHeld();
  if (indices.empty() || !canAsk) return observe(std::move(event));
  expandLine(std::move(event), indices, args, std::move(text));
}

void Invocation::expandLine(PageEvent event, const std::vector<std::size_t>& indices,
                            const JsonValue& args, LineText text) {
  event.invocation = id();
  event.appId = script_.appId;
  const auto ticket = gate_.hold(std::move(event));
  connection_->call(
      session_, "Runtime.callFunctionOn", expansionCall(args, indices),
      [self = shared_from_this(), ticket, indices, text = std::move(text)](const CdpReply& reply) {
        Expanded expanded;
        const JsonValue& values = jsonMember(jsonMember(reply.result, "result"), "value");
        if (values.IsArray() && values.Size() == indices.size()) {
          for (std::size_t i = 0; i < indices.size(); ++i)
            expanded[indices[i]] = jsonString(values[static_cast<rapidjson::SizeType>(i)]);
        }
        self->gate_.complete(ticket, [&](PageEvent& line) {
          if (!expanded.empty()) line.texts = {text(expanded)};
        });
        self->releaseValues();
        if (self->state_ == State::kClosing) self->closeWhenTold();
      },
      kExpansionDeadline);
}

void Invocation::releaseValues() {
  if (++expanded_ < kKeptLines || gate_.held() > 0 || !isOpen()) return;
  expanded_ = 0;
  send("Runtime.releaseObjectGroup", JsonObject().add("objectGroup", "console"));
}

}  // namespace workstation
