#include "wz/reports/test_report.h"

#include <rapidjson/document.h>

#include <algorithm>

#include "support/file_system.h"

namespace wz {
namespace {

using rapidjson::Value;
using Outcome = TestCase::Outcome;

constexpr int kMostLevels = 50;  // of groups within groups

struct OutcomeRow {
  const char* reported;
  Outcome outcome;
  const char* told;
};

constexpr OutcomeRow kOutcomes[] = {{"expected", Outcome::kPassed, "passed"},
                                    {"unexpected", Outcome::kFailed, "failed"},
                                    {"flaky", Outcome::kFlaky, "flaky"},
                                    {"skipped", Outcome::kSkipped, "skipped"}};

const Value& member(const Value& object, const char* key) {
  static const Value none;
  if (!object.IsObject()) return none;
  const auto found = object.FindMember(key);
  return found == object.MemberEnd() ? none : found->value;
}

std::string textOf(const Value& value) {
  return value.IsString() ? std::string(value.GetString(), value.GetStringLength()) : std::string();
}

std::uint64_t numberOf(const Value& value) { return value.IsUint64() ? value.GetUint64() : 0; }

template <typename Take>
void forEach(const Value& list, const Take& take) {
  if (!list.IsArray()) return;
  for (const Value& value : list.GetArray()) take(value);
}

// Without what colours a text: escape, "[", digits, a letter.
std::string withoutColours(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\033') {
      plain += text[i];
      continue;
    }
    const std::size_t end = text.find('m', i);
    if (end == std::string::npos) break;
    i = end;
  }
  return plain;
}

Outcome outcomeOf(const std::string& reported) {
  for (const OutcomeRow& row : kOutcomes) {
    if (reported == row.reported) return row.outcome;
  }
  return Outcome::kFailed;
}

void takeResults(const Value& test, TestCase& found) {
  forEach(member(test, "results"), [&found](const Value& result) {
    found.milliseconds = numberOf(member(result, "duration"));
    const std::string error = textOf(member(member(result, "error"), "message"));
    if (!error.empty()) found.error = withoutColours(error);
  });
}

// A test that is run in several projects is one of each.
void takeSpec(const Value& spec, const std::string& group, TestReport& report) {
  TestCase found;
  found.title = group + textOf(member(spec, "title"));
  found.file = textOf(member(spec, "file"));
  found.line = numberOf(member(spec, "line"));
  found.column = numberOf(member(spec, "column"));
  forEach(member(spec, "tests"), [&](const Value& test) {
    TestCase one = found;
    one.outcome = outcomeOf(textOf(member(test, "status")));
    takeResults(test, one);
    report.tests.push_back(one);
  });
}

// The outermost ones are files, which are named by themselves.
void takeSuite(const Value& suite, const std::string& group, int level, TestReport& report) {
  if (level > kMostLevels) return;
  const std::string own = level == 0 ? "" : group + textOf(member(suite, "title")) + " > ";
  forEach(member(suite, "specs"), [&](const Value& spec) { takeSpec(spec, own, report); });
  forEach(member(suite, "suites"),
          [&](const Value& inner) { takeSuite(inner, own, level + 1, report); });
}

const char* toldOf(Outcome outcome) {
  return std::ranges::find(kOutcomes, outcome, &OutcomeRow::outcome)->told;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

std::size_t TestReport::count(TestCase::Outcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count(tests, outcome, &TestCase::outcome));
}

bool readTestReport(const std::string& path, TestReport& report) {
  std::string text;
  if (!wzapp::readFile(path.c_str(), text)) return false;
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  if (document.HasParseError() || !member(document, "suites").IsArray()) return false;
  forEach(member(document, "suites"),
          [&report](const Value& suite) { takeSuite(suite, "", 0, report); });
  forEach(member(document, "errors"), [&report](const Value& error) {
    report.errors.push_back(withoutColours(textOf(member(error, "message"))));
  });
  return true;
}

Diagnostics diagnosticsOf(const TestReport& report) {
  Diagnostics diagnostics;
  for (const std::string& error : report.errors) {
    diagnostics.push_back({"WZ-0930", "the tests could not all be run", "", "", 0, 0, error});
  }
  for (const TestCase& test : report.tests) {
    if (test.outcome != Outcome::kFailed) continue;
    diagnostics.push_back({"WZ-0930", "a test failed: " + test.title, test.file, "", test.line,
                           test.column, firstLine(test.error)});
  }
  return diagnostics;
}

void putTestReport(JsonWriter& writer, const TestReport& report) {
  for (const OutcomeRow& row : kOutcomes) putNumber(writer, row.told, report.count(row.outcome));
  putRows(writer, "tests", report.tests, [&writer](const TestCase& test) {
    putText(writer, "title", test.title);
    putText(writer, "file", test.file);
    putNumber(writer, "line", test.line);
    putNumber(writer, "column", test.column);
    putText(writer, "outcome", toldOf(test.outcome));
    putNumber(writer, "milliseconds", test.milliseconds);
    putText(writer, "error", test.error);
  });
  putTexts(writer, "errors", report.errors);
}

}  // namespace wz
