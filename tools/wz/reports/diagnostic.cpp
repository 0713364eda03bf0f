#include "wz/reports/diagnostic.h"

#include <algorithm>

#include "wz/reports/output.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

constexpr std::size_t kWidth = 100;

void printPart(const char* label, const std::string& text) {
  std::string begin = std::string("  ") + label + ": ";
  for (const std::string& line : wrapped(text, kWidth - begin.size())) {
    printLine(begin + line);
    begin.assign(begin.size(), ' ');
  }
}

std::string placeOf(const Diagnostic& diagnostic) {
  std::string place = diagnostic.file;
  if (!diagnostic.entry.empty()) place += (place.empty() ? "" : "!") + diagnostic.entry;
  if (diagnostic.line != 0) {
    place += ":" + std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column);
  }
  return place.empty() ? place : place + ": ";
}

std::string counted(std::ptrdiff_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

bool isError(const Diagnostic& diagnostic) {
  return codeOf(diagnostic.code).severity == Severity::kError;
}

bool hasErrors(const Diagnostics& diagnostics) { return std::ranges::any_of(diagnostics, isError); }

std::string textOf(const Diagnostic& diagnostic) {
  return placeOf(diagnostic) + severityText(codeOf(diagnostic.code).severity) + ": " +
         diagnostic.message + " [" + diagnostic.code + "]";
}

std::string repairOf(const Diagnostic& diagnostic) {
  const Code& code = codeOf(diagnostic.code);
  return *code.command == '\0' ? code.repair : std::string(code.repair) + " " + code.command;
}

std::string countText(const Diagnostics& diagnostics) {
  const auto errors = std::ranges::count_if(diagnostics, isError);
  const auto warnings = static_cast<std::ptrdiff_t>(diagnostics.size()) - errors;
  if (diagnostics.empty()) return "nothing to complain of";
  if (errors == 0) return counted(warnings, "warning");
  return counted(errors, "error") + (warnings == 0 ? "" : ", " + counted(warnings, "warning"));
}

void printDiagnostics(const Diagnostics& diagnostics, bool verbose) {
  for (const Diagnostic& diagnostic : diagnostics) {
    printLine(textOf(diagnostic));
    if (!diagnostic.evidence.empty()) printPart("found", diagnostic.evidence);
    if (verbose) printPart("rule", codeOf(diagnostic.code).rule);
    printPart("repair", repairOf(diagnostic));
  }
}

void putDiagnostic(JsonWriter& writer, const Diagnostic& diagnostic) {
  writer.StartObject();
  putText(writer, "code", diagnostic.code);
  putText(writer, "severity", severityText(codeOf(diagnostic.code).severity));
  putText(writer, "message", diagnostic.message);
  putText(writer, "file", diagnostic.file);
  putText(writer, "entry", diagnostic.entry);
  putNumber(writer, "line", diagnostic.line);
  putNumber(writer, "column", diagnostic.column);
  putText(writer, "evidence", diagnostic.evidence);
  putText(writer, "repair", repairOf(diagnostic));
  writer.EndObject();
}

}  // namespace wz
