#include <algorithm>
#include <string>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/codes.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

// More than these are named by their titles alone.
constexpr std::size_t kExplainedWhole = 3;

void printList(const std::vector<const Code*>& codes) {
  for (const Code* const code : codes) {
    printLine(std::string(code->id) + "  " + (code->severity == Severity::kError ? "E" : "W") +
              "  " + code->title);
  }
}

void printWords(const std::vector<const Code*>& codes) {
  if (codes.size() > kExplainedWhole) return printList(codes);
  bool isFirst = true;
  for (const Code* const code : codes) {
    if (!isFirst) printLine("");
    isFirst = false;
    for (const std::string& line : explanation(*code)) printLine(line);
  }
}

void putCode(JsonWriter& writer, const Code& code) {
  std::string logLine = code.logLine;
  if (logLine.ends_with('\n')) logLine.pop_back();
  std::vector<std::string> causes;
  for (const Code* const cause : codesBehind(code)) causes.emplace_back(cause->id);
  writer.StartObject();
  putText(writer, "code", code.id);
  putText(writer, "severity", severityText(code.severity));
  putText(writer, "title", code.title);
  putText(writer, "logLine", logLine);
  putText(writer, "behind", code.behind);
  writer.Key("number");
  writer.Int(code.number);
  putText(writer, "rule", code.rule);
  putText(writer, "causes", code.causes);
  putTexts(writer, "causedBy", causes);
  putText(writer, "repair", code.repair);
  putText(writer, "command", code.command);
  writer.EndObject();
}

}  // namespace

int explain(const ExplainOptions& options) {
  std::string text;
  for (const std::string& word : options.text) text += (text.empty() ? "" : " ") + word;
  const std::vector<const Code*> codes = text.empty() ? allCodes() : findMeant(text);
  if (codes.empty()) {
    const std::string meant = suggestedText(text);
    printMessage("nothing is known of: " + text +
                 (meant.empty() ? "; wz explain without it lists every code"
                                : "; did you mean " + meant + "?"));
    return kApplicationFailed;
  }
  if (options.asJson) {
    printJsonDocument("explain", true, {}, [&codes](JsonWriter& writer) {
      writer.Key("codes");
      writer.StartArray();
      for (const Code* const code : codes) putCode(writer, *code);
      writer.EndArray();
    });
  } else {
    printWords(codes);
  }
  return kDone;
}

}  // namespace wz
