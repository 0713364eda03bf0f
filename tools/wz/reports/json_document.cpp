#include "wz/reports/json_document.h"

#include <algorithm>
#include <string_view>

#include "wz/reports/json_document_line.h"
#include "wz/reports/output.h"
#include "wz/words/codes.h"

namespace wz {
namespace {

struct Promise {
  std::string command;
  JsonForm form = JsonForm::kDocument;
  bool isGiven = false, isKept = false;
};
Promise promise;  // of the one thread that runs commands

void beginDocument(JsonWriter& writer, const std::string& command, bool ok) {
  std::string name = command;
  std::ranges::replace(name, ' ', '-');
  putText(writer, "schema", "urn:wzapp:" + name + ":1");
  putText(writer, "command", command);
  putFlag(writer, "ok", ok);
}

// A remark goes with what was done; any other message tells why it was not.
bool isRemark(std::string_view message) {
  return message.starts_with("warning: ") || message.starts_with("note: ");
}

// As " [WZ-", four digits and "]".
constexpr std::size_t kWrittenCode = 10;

// The row whose id stands in brackets at the end; null where none does.
const Code* codeIn(std::string_view message) {
  if (message.size() < kWrittenCode || !message.ends_with(']')) return nullptr;
  return findCode(message.substr(message.size() - kWrittenCode + 2, kWrittenCode - 3));
}

// What was only said in words.
void putMessage(JsonWriter& writer, std::string_view message) {
  const Code* const code = codeIn(message);
  if (code != nullptr) message.remove_suffix(kWrittenCode);
  if (code != nullptr && !isRemark(message)) {
    putDiagnostic(writer, {code->id, std::string(message), "", "", 0, 0, ""});
    return;
  }
  writer.StartObject();
  putText(writer, "code", code == nullptr ? "" : code->id);
  putText(writer, "severity", isRemark(message) ? "warning" : "error");
  putText(writer, "message", isRemark(message) ? message.substr(message.find(": ") + 2) : message);
  for (const char* const key : {"file", "entry"}) putText(writer, key, "");
  for (const char* const key : {"line", "column"}) putNumber(writer, key, 0);
  putText(writer, "evidence", "");
  putText(writer, "repair", code == nullptr ? "" : code->repair);
  writer.EndObject();
}

// The document without a result.
void printWithout(const std::string& command, bool ok, const Diagnostics& diagnostics,
                  bool inOneLine) {
  const auto body = [&](JsonWriter& writer) {
    beginDocument(writer, command, ok);
    writer.Key("result");
    writer.Null();
    writer.Key("diagnostics");
    writer.StartArray();
    for (const Diagnostic& diagnostic : diagnostics) putDiagnostic(writer, diagnostic);
    for (const std::string& message : collectedMessages()) putMessage(writer, message);
    writer.EndArray();
  };
  promise.isKept = true;
  printJsonObject(body, inOneLine);
}

void putDocument(JsonWriter& writer, const std::string& command, bool ok,
                 const std::function<void(JsonWriter& writer)>& body,
                 const std::function<void()>& putDiagnostics) {
  beginDocument(writer, command, ok);
  writer.Key("result");
  writer.StartObject();
  body(writer);
  writer.EndObject();
  writer.Key("diagnostics");
  writer.StartArray();
  putDiagnostics();
  writer.EndArray();
}

}  // namespace

void printJsonDocument(const std::string& command, bool ok, const Diagnostics& diagnostics,
                       const std::function<void(JsonWriter& writer)>& body) {
  promise.isKept = true;
  printJsonObject([&](JsonWriter& writer) {
    putDocument(writer, command, ok, body, [&] {
      for (const Diagnostic& diagnostic : diagnostics) putDiagnostic(writer, diagnostic);
      for (const std::string& message : collectedMessages()) {
        if (isRemark(message)) putMessage(writer, message);
      }
    });
  });
}

std::string jsonDocumentLine(const std::string& command, bool ok, const Diagnostics& diagnostics,
                             const std::function<void(JsonWriter& writer)>& body) {
  return jsonLine([&](JsonWriter& writer) {
    putDocument(writer, command, ok, body, [&] {
      for (const Diagnostic& diagnostic : diagnostics) putDiagnostic(writer, diagnostic);
    });
  });
}

void printJsonFailure(const std::string& command, const Diagnostics& diagnostics) {
  printWithout(command, false, diagnostics, false);
}

void promiseJson(const std::string& command, JsonForm form) {
  promise = {command, form, true, false};
  collectMessages();
}

void finishJson(int code) {
  const bool isLines = promise.form == JsonForm::kLines;
  if (!promise.isGiven || promise.isKept || (isLines && code == 0)) return;
  printWithout(promise.command, code == 0, {}, isLines);
}

void leaveJsonToChild() { promise.isKept = true; }

}  // namespace wz
