#include "wz/workbench/commands.h"

#include <algorithm>
#include <utility>

#include "workstation/terminal/terminal_profile.h"
#include "wz/words/explain.h"

namespace wz {

using zelipc::JSObject;

// What a command is made of, for those who add to it.
struct CommandMaking {
  const JSObject& given;  // by the page
  Uploads& uploads;
  ChildPlan& plan;
  std::string& folder;  // of uploads that were put together
};

namespace {

using Arguments = std::vector<std::string>;

Problem addNothing(CommandMaking&) { return ""; }

Problem addCount(CommandMaking& making) {
  const long long count = making.given["count"].asInt();
  if (count > 0) making.plan.arguments.push_back("--count=" + std::to_string(count));
  return "";
}

Problem addText(CommandMaking& making, const char* key) {
  const std::string text = making.given[key].asString();
  if (text.empty() || text.find('\0') != std::string::npos) return std::string("it lacks ") + key;
  making.plan.arguments.insert(making.plan.arguments.end(), {"--", text});
  return "";
}

Problem addId(CommandMaking& making) { return addText(making, "id"); }

Problem addWords(CommandMaking& making) { return addText(making, "text"); }

Problem addLog(CommandMaking& making) {
  making.plan.input = making.given["text"].asString();
  return making.plan.input.empty() ? "it lacks text" : "";
}

Problem addUploadsOf(CommandMaking& making, const std::vector<std::string>& ids) {
  std::vector<std::string> names;
  std::string error;
  if (ids.empty()) return "it lacks uploads";
  if (!making.uploads.gather(ids, making.folder, names, error)) return error;
  making.plan.folder = making.folder;
  making.plan.arguments.emplace_back("--");
  making.plan.arguments.insert(making.plan.arguments.end(), names.begin(), names.end());
  return "";
}

Problem addUploads(CommandMaking& making) {
  return addUploadsOf(making, textsOf(making.given["uploads"]));
}

Problem addUpload(CommandMaking& making) {
  return addUploadsOf(making, {making.given["upload"].asString()});
}

Problem addInspected(CommandMaking& making) {
  making.plan.arguments.push_back("--terminal=" + workstation::terminalDirectory());
  return addUploads(making);
}

Problem addFolderOrUpload(CommandMaking& making) {
  return making.given.has("folder") ? addText(making, "folder") : addUpload(making);
}

Problem addRepair(CommandMaking& making) {
  if (making.given["repair"].asBool()) making.plan.arguments.emplace_back("--repair");
  return "";
}

constexpr std::chrono::minutes kLimit{2}, kLongLimit{10};

// Lines of the installer's log, as they come.
constexpr char kLiveLog[] = "--log=/dev/stderr";

}  // namespace

struct Commands::Row {
  const char* name;
  Arguments words;  // of wz
  Problem (*add)(CommandMaking& making);
  bool isInstallation = false;  // its log is told, and it changes the terminal
};

// What pages may have done, and nothing else.
const std::vector<Commands::Row>& Commands::rows() {
  static const std::vector<Row> table = {
      {"list", {"list", "--json"}, addNothing},
      {"history", {"history", "--json"}, addCount},
      {"why", {"why", "--json"}, addId},
      {"why-log", {"why", "--json", "--log", "-"}, addLog},
      {"inspect", {"inspect", "--json"}, addInspected},
      {"rehearse", {"install", "--dry-run", "--json"}, addUploads},
      {"install", {"install", "--json", kLiveLog}, addUploads, true},
      {"remove", {"remove", "--json", kLiveLog}, addId, true},
      {"diff", {"diff", "--json"}, addUploads},
      {"check", {"check", "--json"}, addFolderOrUpload},
      {"explain", {"explain", "--json"}, addWords},
      {"doctor", {"doctor", "--json"}, addRepair},
      {"terminal", {"terminal", "show", "--json"}, addNothing},
      {"certificates", {"keys", "show", "--json"}, addUpload},
  };
  return table;
}

void Commands::run(const JSObject& question, const Answer& answer) {
  const std::string name = question["command"].asString();
  const auto row =
      std::find_if(rows().begin(), rows().end(), [&](const Row& one) { return name == one.name; });
  if (row == rows().end()) return answer.failed("the workbench does not run the command " + name);
  ChildPlan plan;
  plan.arguments = row->words;
  plan.limit = row->isInstallation ? kLongLimit : kLimit;
  std::string folder;
  CommandMaking making{question["arguments"], uploads_, plan, folder};
  const Problem problem = row->add(making);
  if (!problem.empty()) return answer.failed(name + ": " + problem);
  if (row->isInstallation) {
    JSObject begun = objectWith("event", "install-begun");
    begun["command"] = JSObject(name);
    begun["files"] = listOf(
        {std::find(plan.arguments.begin(), plan.arguments.end(), "--") + 1, plan.arguments.end()});
    pages_.tell("installer", begun);
  }
  start(plan, row->isInstallation, folder, answer);
}

void Commands::notify(const JSObject& question, const Answer& answer) {
  ChildPlan plan;
  plan.limit = kLimit;
  plan.arguments = {"notify", "--json"};
  const std::string from = question["from"].asString();
  if (!from.empty()) plan.arguments.push_back("--from=" + from);
  if (question["reply"].asBool()) plan.arguments.emplace_back("--wait");
  const JSObject& payload = question["payload"];
  plan.arguments.insert(plan.arguments.end(),
                        {"--", question["to"].asString(), question["name"].asString(),
                         payload.isString() ? payload.asString()
                         : payload.isNull() ? "{}"
                                            : payload.dump()});
  for (const std::string& argument : plan.arguments) {
    if (argument.empty() || argument.find('\0') != std::string::npos) {
      return answer.failed("a notification has a receiver, a name and what it carries");
    }
  }
  start(plan, false, "", answer);
}

void Commands::start(const ChildPlan& plan, bool isInstallation, const std::string& folder,
                     const Answer& answer) {
  const long long number = ++last_;
  Child::Listener listener;
  listener.onEnd = [this, number, isInstallation, folder, answer](const ChildEnd& end) {
    if (!folder.empty()) Uploads::scatter(folder);
    if (isInstallation) tellEnd(end);
    tellDocument(end, answer);
    children_.erase(number);
    if (onEnded_ && children_.empty()) std::exchange(onEnded_, nullptr)();
  };
  if (isInstallation) listener.onError = [this](const std::string& line) { tellLogLine(line); };
  std::string error;
  std::unique_ptr<Child> child = Child::start(loop_, plan, std::move(listener), error);
  if (!child) return answer.failed(error);
  children_.emplace(number, std::move(child));
}

void Commands::tellDocument(const ChildEnd& end, const Answer& answer) {
  const std::size_t first = end.output.find('{');
  if (end.isLate) return answer.failed("wz took too long and was ended");
  if (end.isTooLong) return answer.failed("wz wrote more than the workbench reads");
  JSObject document;
  if (first == std::string::npos || document.parse(end.output.c_str()) < 0) {
    return answer.failed("wz ended with " + std::to_string(end.code) + ": " + end.errors);
  }
  answer.doneWith("{\"exit\":" + std::to_string(end.code) + ",\"document\":" + end.output + "}");
}

// Messages of wz itself are in its document.
void Commands::tellLogLine(const std::string& line) {
  if (line.empty() || line.starts_with("wz: ")) return;
  JSObject event = objectWith("event", "install-line");
  event["text"] = JSObject(line);
  const LogMatch match = matchLogLine(line);
  if (match.code != nullptr) event["code"] = JSObject(match.code->id);
  pages_.tell("installer", event);
}

void Commands::tellEnd(const ChildEnd& end) {
  JSObject event = objectWith("event", "install-done");
  JSObject document;
  document.parse(end.output.c_str());
  event["done"] = document["ok"];
  event["result"] = document["result"]["result"];
  event["exit"] = JSObject(end.code);
  pages_.tell("installer", event);
  pages_.changed({"applications", "history", "files"});
}

void Commands::endAll(std::function<void()> onEnded) {
  if (children_.empty()) return onEnded();
  onEnded_ = std::move(onEnded);
  for (const auto& [number, child] : children_) child->end();
}

}  // namespace wz
