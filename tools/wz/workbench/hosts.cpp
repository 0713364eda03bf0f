#include "wz/workbench/hosts.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "support/file_system.h"
#include "wz/host/host_file.h"
#include "wz/reports/message_output.h"

namespace wz {

using zelipc::JSObject;

namespace {

namespace fs = std::filesystem;

constexpr long long kLongestDelay = 86'400'000;  // milliseconds, of a host file
constexpr const char* kOfferedFiles[] = {"host.json", "tests/host.json"};
constexpr const char* kAnswers[] = {"reply", "silence", "error", "malformed", "exec", "hold"};

JSObject faultAnswer(const std::string& fault) {
  JSObject answer;
  if (fault == "silence") answer["silence"] = JSObject(true);
  if (fault == "error") answer["error"] = JSObject("the workbench's fault");
  if (fault == "malformed") answer["malformed"] = JSObject("{\"fault\": ");
  return answer;
}

// One answer, or a rule that has its only one in it: without its answer where there is a fault.
JSObject changed(const JSObject& answer, long long delayMs, const JSObject& fault) {
  JSObject result;
  for (const std::string& key : answer.keys()) {
    const bool isAnswer =
        std::find(std::begin(kAnswers), std::end(kAnswers), key) != std::end(kAnswers);
    if (fault.size() > 0 && (isAnswer || key == "timeout" || key == "sequence")) continue;
    result[key] = answer[key];
  }
  for (const std::string& key : fault.keys()) result[key] = fault[key];
  if (delayMs > 0 && !result.has("sequence")) {
    result["delay"] = JSObject(std::min(kLongestDelay, result["delay"].asInt() + delayMs));
  }
  return result;
}

}  // namespace

std::string hostText(const JSObject& file, long long delayMs, const std::string& fault) {
  const JSObject wrong = faultAnswer(fault);
  JSObject text = file;
  JSObject rules = JSObject::array();
  for (std::size_t i = 0; i < file["rules"].size(); ++i) {
    JSObject rule = changed(file["rules"].at(i), delayMs, wrong);
    if (rule.has("sequence")) {
      JSObject sequence = JSObject::array();
      const JSObject& answers = rule["sequence"];
      for (std::size_t j = 0; j < answers.size(); ++j) {
        sequence.append(changed(answers.at(j), delayMs, wrong));
      }
      rule["sequence"] = sequence;
    }
    rules.append(rule);
  }
  text["rules"] = rules;
  return text.dump();
}

struct Hosts::Host {
  std::string id, name;
  std::string path;    // empty: a text or an upload
  std::string folder;  // programs of the file are started there
  JSObject file;
  std::set<std::string> addresses;
  bool isOn = false;
  long long delay = 0;
  std::string fault;
  long long asked = 0, answered = 0;
  std::string error;
  std::vector<Answer> waiting;   // for it to play, or to end
  std::unique_ptr<Child> child;  // first to go

  JSObject state() const;
};

JSObject Hosts::Host::state() const {
  JSObject object = objectWith("host", id);
  object["name"] = JSObject(name);
  if (!path.empty()) object["path"] = JSObject(path);
  object["on"] = JSObject(isOn);
  object["delay"] = JSObject(delay);
  object["fault"] = JSObject(fault);
  object["addresses"] = listOf({addresses.begin(), addresses.end()});
  object["rules"] = JSObject(static_cast<long long>(file["rules"].size()));
  object["asked"] = JSObject(asked);
  object["answered"] = JSObject(answered);
  if (!error.empty()) object["error"] = JSObject(error);
  return object;
}

Hosts::Hosts(Loop& loop, Pages& pages, const Uploads& uploads, const Applications& applications)
    : loop_(loop), pages_(pages), uploads_(uploads), applications_(applications) {}

Hosts::~Hosts() = default;

JSObject Hosts::state() const {
  JSObject list = JSObject::array();
  for (const auto& host : hosts_) list.append(host->state());
  return list;
}

void Hosts::list(const JSObject&, const Answer& answer) const {
  JSObject result;
  result["hosts"] = state();
  result["offers"] = JSObject::array();
  for (const std::string& folder : applications_.folders()) {
    for (const char* const name : kOfferedFiles) {
      std::error_code failure;
      const std::string path = folder + "/" + name;
      if (!fs::is_regular_file(path, failure)) continue;
      JSObject offer = objectWith("path", path);
      offer["name"] = JSObject(fs::path(folder).filename().string() + "/" + name);
      result["offers"].append(offer);
    }
  }
  answer.done(result);
}

// ---- Changes -----------------------------------------------------------------------------------

// A file is read when it is first named; the same path is the same host.
Problem Hosts::findOrMake(const JSObject& question, Host*& host) {
  const std::string id = question["host"].asString();
  std::string path = question["path"].asString();
  for (const auto& one : hosts_) {
    if ((!id.empty() && one->id == id) || (!path.empty() && one->path == path)) {
      host = one.get();
      return "";
    }
  }
  if (!id.empty()) return "there is no host " + id;
  auto made = std::make_unique<Host>();
  made->path = path;
  made->name = fs::path(path).filename().string();
  std::string text = question["text"].asString();
  if (question.has("upload")) {
    Upload upload;
    if (!uploads_.find(question["upload"].asString(), upload)) return "there is no such upload";
    path = upload.path;
    made->name = upload.name;
  }
  if (path.empty() && text.empty()) return "name a host file";
  if (!path.empty() && !wzapp::readFile(path.c_str(), text)) return "cannot read " + path;
  if (made->name.empty()) made->name = "text";
  made->folder = path.empty() ? "" : fs::path(path).parent_path().string();
  std::vector<HostRule> rules;
  std::string error;
  if (!parseHostFile(text, made->name, rules, error)) return error;
  made->file.parse(text.c_str());
  for (const HostRule& rule : rules) made->addresses.insert(rule.address);
  made->id = "h" + std::to_string(++lastHost_);
  host = hosts_.emplace_back(std::move(made)).get();
  return "";
}

void Hosts::change(const JSObject& question, const Answer& answer) {
  const std::string fault = question["fault"].asString();
  const long long delay = question["delay"].asInt();
  if (!fault.empty() && faultAnswer(fault).size() == 0) {
    return answer.failed("a fault is silence, error or malformed");
  }
  if (delay < 0 || delay > kLongestDelay) return answer.failed("a delay has up to a day");
  Host* host = nullptr;
  const Problem problem = findOrMake(question, host);
  if (host == nullptr) return answer.failed(problem);
  if (question.has("delay")) host->delay = delay;
  if (question.has("fault")) host->fault = fault;
  const bool on = question.has("on") ? question["on"].asBool() : host->isOn;
  host->waiting.push_back(answer);
  if (on) {
    apply(*host);
  } else if (host->child) {
    host->child->end();
  } else {
    answerAll(*host);
  }
  pages_.stateChanged();
}

void Hosts::apply(Host& host) {
  if (!host.child) start(host);
  if (host.child) host.child->write(hostText(host.file, host.delay, host.fault));
}

void Hosts::start(Host& host) {
  ChildPlan plan;
  plan.arguments = {"host", "--json", "-"};
  plan.folder = host.folder;
  plan.takesInput = true;
  Child::Listener listener;
  listener.onLine = [this, &host](const std::string& line) { onLine(host, line); };
  listener.onEnd = [this, &host](const ChildEnd& end) { onEnd(host, end); };
  host.error.clear();
  host.child = Child::start(loop_, plan, std::move(listener), host.error);
  host.isOn = host.child != nullptr;
  if (!host.isOn) return answerAll(host);
  JSObject event = objectWith("event", "host-started");
  event["host"] = JSObject(host.id);
  event["name"] = JSObject(host.name);
  pages_.tell("workbench", event);
}

void Hosts::answerAll(Host& host) {
  for (const Answer& answer : std::exchange(host.waiting, {})) {
    if (!host.error.empty()) {
      answer.failed(host.error);
      continue;
    }
    JSObject result;
    result["host"] = JSObject(host.id);
    result["hosts"] = state();
    answer.done(result);
  }
}

// ---- What they tell ----------------------------------------------------------------------------

void Hosts::onLine(Host& host, const std::string& line) {
  JSObject parsed;
  if (parsed.parse(line.c_str()) < 0) return;
  const std::string event = parsed["event"].asString();
  if (event.empty()) {  // the document of a command that could not go on
    const JSObject& diagnostics = parsed["diagnostics"];
    if (diagnostics.size() > 0) host.error = diagnostics.at(0)["message"].asString();
    return;
  }
  if (event == "asked") ++host.asked;
  if (event == "answered" || event == "not answered") ++host.answered;
  pages_.tell("host " + host.id, line);
  if (event == "playing") answerAll(host);
  pages_.stateChanged();
}

void Hosts::onEnd(Host& host, const ChildEnd& end) {
  host.child.reset();
  host.isOn = false;
  JSObject event = objectWith("event", "host-ended");
  event["host"] = JSObject(host.id);
  event["name"] = JSObject(host.name);
  if (end.code != 0 && host.error.empty()) {
    host.error = "wz host ended with " + std::to_string(end.code);
  }
  if (!host.error.empty()) event["error"] = JSObject(host.error);
  pages_.tell("workbench", event);
  pages_.stateChanged();
  answerAll(host);
  const auto isLive = [](const auto& one) { return one->child != nullptr; };
  if (onEnded_ && std::none_of(hosts_.begin(), hosts_.end(), isLive)) {
    std::exchange(onEnded_, nullptr)();
  }
}

void Hosts::endAll(std::function<void()> onEnded) {
  const auto isLive = [](const auto& one) { return one->child != nullptr; };
  if (std::none_of(hosts_.begin(), hosts_.end(), isLive)) return onEnded();
  onEnded_ = std::move(onEnded);
  for (const auto& host : hosts_) {
    if (host->child) host->child->end();
  }
}

}  // namespace wz
