#include "wz/workbench/run_question.h"

#include "packaging/application_folder.h"

namespace wz {

using zelipc::JSObject;

namespace {

constexpr int kLargestSide = 16384;  // pixels

Problem readWhat(const JSObject& question, RunQuestion& run) {
  run.application = question["application"].asString();
  run.folder = question["folder"].asString();
  if (run.application.empty() == run.folder.empty()) return "name an application, or a folder";
  if (!run.folder.empty() && run.folder.front() != '/')
    return "a folder is named by its whole path";
  if (run.application.empty()) return "";
  const std::string why = packaging::whyNoApplicationId(run.application);
  return why.empty() ? "" : "no application has the id " + run.application;
}

Problem readParameters(const JSObject& parameters, RunQuestion& run) {
  for (const std::string& key : parameters.keys()) {
    const JSObject& value = parameters[key];
    if (key.empty() || key.find('=') != std::string::npos) return "a parameter's name has no =";
    run.parameters[key] = value.isString() ? value.asString() : value.dump();
    if (run.parameters[key].find('\0') != std::string::npos) return "a parameter has no NUL";
  }
  return "";
}

Problem readDisplay(const JSObject& question, RunQuestion& run) {
  const JSObject& display = question["display"];
  if (!display.isObject() || display.size() == 0) return "";
  const long long width = display["width"].asInt(), height = display["height"].asInt();
  if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide) {
    return "a display has 1 to 16384 pixels each way";
  }
  run.width = static_cast<int>(width);
  run.height = static_cast<int>(height);
  return "";
}

}  // namespace

Problem readRunQuestion(const JSObject& question, RunQuestion& run) {
  for (const auto& read : {readWhat, readDisplay}) {
    Problem problem = read(question, run);
    if (!problem.empty()) return problem;
  }
  Problem problem = readParameters(question["parameters"], run);
  if (!problem.empty()) return problem;
  run.entry = question["entry"].asString();
  if (run.entry.empty()) run.entry = "desktop";
  run.locale = question["locale"].asString();
  run.hasNoTouch = question["touch"].isBool() && !question["touch"].asBool();
  if (question["keypad"].isInt()) {
    const long long keys = question["keypad"].asInt();
    if (keys < 0 || keys > 255) return "a terminal has 0 to 255 keys";
    run.keys = static_cast<int>(keys);
  }
  if (question["timeout"].isNumber()) run.timeoutSeconds = question["timeout"].asDouble();
  run.isRecorded = question["record"].asBool();
  return "";
}

std::vector<std::string> runArguments(const RunQuestion& run, const std::string& recording) {
  std::vector<std::string> arguments = {"run", "--json", "--headless", "--remote-debugging",
                                        "--entry=" + run.entry};
  for (const auto& [key, value] : run.parameters) {
    arguments.push_back("--param=" + key + "=" + value);
  }
  if (run.width > 0) {
    arguments.push_back("--size=" + std::to_string(run.width) + "x" + std::to_string(run.height));
  }
  if (run.hasNoTouch) arguments.emplace_back("--no-touch");
  if (run.keys >= 0) arguments.push_back("--keys=" + std::to_string(run.keys));
  if (!run.locale.empty()) arguments.push_back("--locale=" + run.locale);
  if (run.timeoutSeconds > 0) {
    arguments.push_back("--timeout=" + std::to_string(run.timeoutSeconds));
  }
  if (!recording.empty()) arguments.push_back("--record=" + recording);
  if (!run.folder.empty()) {
    arguments.push_back("--folder=" + run.folder);
  } else {
    arguments.insert(arguments.end(), {"--", run.application});
  }
  return arguments;
}

}  // namespace wz
