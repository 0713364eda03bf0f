#include "workstation/browser/engine/page/page_console.h"

#include <algorithm>
#include <utility>

#include "workstation/browser/engine/page/console_text.h"
#include "workstation/browser/engine/page/console_values_text.h"
#include "workstation/browser/engine/page/page_observer.h"
#include "workstation/browser/engine/page/remote_value.h"

namespace workstation {
namespace {

using Expanded = std::map<std::size_t, std::string>;

// A page that is busy does not say what its objects hold; the line is then shown without, and for a
// while the page is not asked again, so that what it prints is not held up line by line. Long
// enough for a page that is not busy on a machine that is.
constexpr std::chrono::seconds kExpansionDeadline{2};
constexpr std::chrono::seconds kAskAgain{2};
constexpr std::size_t kMostExpansions = 64;
constexpr std::size_t kMostHeldEvents = 1000;

// As long as the browser keeps the objects of console lines, the page cannot give them up.
constexpr int kKeptLines = 200;

constexpr int kDeepestGroup = 20;

// More of one line nobody reads, and it must not silence those behind it.
constexpr std::size_t kLongestLine = 1U << 20;

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

std::string shortened(std::string text) {
  if (text.size() <= kLongestLine) return text;
  std::size_t end = kLongestLine;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  const std::size_t left = text.size() - end;
  text.resize(end);
  return text + "\u2026 (" + std::to_string(left) + " octets more)";
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
  SourcePlace thrown = placeOf(jsonMember(details, "stackTrace"), origin);
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

bool PageConsole::onEvent(const CdpEvent& event) {
  struct Row {
    const char* method;
    void (PageConsole::*handler)(const JsonValue& params);
  };
  static constexpr Row kRows[] = {
      {"Runtime.consoleAPICalled", &PageConsole::onConsole},
      {"Runtime.exceptionThrown", &PageConsole::onException},
      {"Log.entryAdded", &PageConsole::onLogEntry},
      {"Page.javascriptDialogOpening", &PageConsole::onDialog},
  };
  for (const Row& row : kRows) {
    if (event.method != row.method) continue;
    (this->*row.handler)(event.params);
    return true;
  }
  return false;
}

void PageConsole::beginAnew() {
  groups_ = 0;
  askAgain_ = {};
  isMuted_ = toldUncaught_ = false;
  page_.connection->unmuteConsole(page_.session);
}

void PageConsole::onConsole(const JsonValue& params) {
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
  setPlace(event, placeOf(stack, page_.script.origin));
  if (isGroup(type)) groups_ = std::min(groups_ + 1, kDeepestGroup);
  if (type == "clear") return;

  const std::string tail = type == "trace" ? stackText(stack, page_.script.origin) : "";
  const auto kept = copyOf(args);
  showLine(std::move(event), args,
           [type, kept, tail, origin = page_.script.origin](const Expanded& expanded) {
             return withoutOrigins(consoleText(type, *kept, expanded), origin) + tail;
           });
}

void PageConsole::onException(const JsonValue& params) {
  const JsonValue& details = jsonMember(params, "exceptionDetails");
  const JsonValue& exception = jsonMember(details, "exception");
  PageEvent event = consoleEvent(3, "");
  event.isUncaught = true;
  setPlace(event, placeOfError(details, page_.script.origin));

  const std::string head = jsonString(details, "text");
  const std::string shown = exception.IsObject() ? remoteValueText(exception) : "";
  JsonDocument args(rapidjson::kArrayType);
  args.PushBack(JsonValue(exception, args.GetAllocator()), args.GetAllocator());
  showLine(std::move(event), args,
           [head, shown, origin = page_.script.origin](const Expanded& expanded) {
             const auto better = expanded.find(0);
             const std::string& value = better == expanded.end() ? shown : better->second;
             return withoutOrigins(uncaughtText(head, value), origin);
           });
}

void PageConsole::onLogEntry(const JsonValue& params) {
  const JsonValue& entry = jsonMember(params, "entry");
  if (jsonString(entry, "source") == "network") return;  // told as failed requests
  PageEvent event = consoleEvent(consoleLevel(jsonString(entry, "level")),
                                 withoutOrigins(jsonString(entry, "text"), page_.script.origin));
  setPlace(event, {withoutOrigin(jsonString(entry, "url"), page_.script.origin),
                   jsonInt(entry, "lineNumber", -1) + 1, 0});
  story_.tell(std::move(event));
}

void PageConsole::onDialog(const JsonValue& params) {
  story_.tell(consoleEvent(6, jsonString(params, "type") + ": " + jsonString(params, "message")));
  if (!page_.headless) return;  // the user's to answer
  page_.send(
      "Page.handleJavaScriptDialog",
      JsonObject().add("accept", true).add("promptText", jsonString(params, "defaultPrompt")));
}

// Shows the line that `text` makes of the arguments, of which the page is asked what the objects
// among them hold.
void PageConsole::showLine(PageEvent event, const JsonValue& args, LineText text) {
  event.texts = {shortened(text({}))};
  if (isMuted_ || !meter_.count(event.texts[0].size(), now_())) {
    return showNoLonger(std::move(event));
  }
  std::vector<std::size_t> indices;
  if (args.IsArray()) {
    for (rapidjson::SizeType i = 0; i < args.Size(); ++i) {
      if (isExpandable(args[i])) indices.push_back(i);
    }
  }
  if (story_.waiting() > kMostHeldEvents) story_.letAllOut();
  const bool isBusy = now_() < askAgain_;
  const bool canAsk =
      hasPageObserver() && !isBusy && story_.held() < kMostExpansions && !owner_.standsStill();
  if (indices.empty() || !canAsk) return story_.tell(std::move(event));
  expandLine(std::move(event), indices, args, std::move(text));
}

// That an error goes uncaught is told once all the same: a run that must not have one depends on
// it.
void PageConsole::showNoLonger(PageEvent event) {
  if (!std::exchange(isMuted_, true)) {
    page_.connection->muteConsole(page_.session);
    story_.letAllOut();
    story_.tell(consoleEvent(4, "the page prints too much; its console is shown no longer"));
  }
  if (event.isUncaught && !std::exchange(toldUncaught_, true)) story_.tell(std::move(event));
}

void PageConsole::expandLine(PageEvent event, const std::vector<std::size_t>& indices,
                             const JsonValue& args, LineText text) {
  const auto ticket = story_.hold(std::move(event));
  const auto asked = now_();
  page_.connection->call(
      page_.session, "Runtime.callFunctionOn", expansionCall(args, indices),
      [self = std::shared_ptr<PageConsole>(owner_.keep(), this), ticket, indices,
       text = std::move(text), asked](const CdpReply& reply) {
        const auto now = self->now_();
        if (now - asked >= kExpansionDeadline) self->askAgain_ = now + kAskAgain;
        Expanded expanded;
        const JsonValue& values = jsonMember(jsonMember(reply.result, "result"), "value");
        if (values.IsArray() && values.Size() == indices.size()) {
          for (std::size_t i = 0; i < indices.size(); ++i)
            expanded[indices[i]] = jsonString(values[static_cast<rapidjson::SizeType>(i)]);
        }
        self->story_.complete(ticket, [&](PageEvent& line) {
          if (!expanded.empty()) line.texts = {shortened(text(expanded))};
        });
        self->releaseValues();
        self->owner_.onLineTold();
      },
      kExpansionDeadline);
}

void PageConsole::releaseValues() {
  if (++expanded_ < kKeptLines || story_.held() > 0 || !owner_.isOpen()) return;
  expanded_ = 0;
  page_.send("Runtime.releaseObjectGroup", JsonObject().add("objectGroup", "console"));
}

}  // namespace workstation
