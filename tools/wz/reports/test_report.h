/// What the runner of an application's tests reports, in the form of Playwright's reporter "json".
#ifndef WZ_REPORTS_TEST_REPORT_H
#define WZ_REPORTS_TEST_REPORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wz/reports/diagnostic.h"
#include "wz/reports/json_output.h"

namespace wz {

struct TestCase {
  enum class Outcome { kPassed, kFailed, kFlaky, kSkipped };

  std::string title;  ///< behind those of the groups that it is in, parted by " > "
  std::string file;   ///< relative to the folder of the tests
  std::size_t line = 0, column = 0;
  Outcome outcome = Outcome::kSkipped;
  std::uint64_t milliseconds = 0;  ///< of the last try
  std::string error;               ///< of the last try that failed, without colours
};

struct TestReport {
  std::vector<TestCase> tests;
  std::vector<std::string> errors;  ///< of no test: a file that cannot be loaded

  [[nodiscard]] std::size_t count(TestCase::Outcome outcome) const;
};

/// False when the file cannot be read or is no such report.
[[nodiscard]] bool readTestReport(const std::string& path, TestReport& report);

/// One for each test that failed and each error.
[[nodiscard]] Diagnostics diagnosticsOf(const TestReport& report);

/// The members of the result.
void putTestReport(JsonWriter& writer, const TestReport& report);

}  // namespace wz

#endif  // WZ_REPORTS_TEST_REPORT_H
