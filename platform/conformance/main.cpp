// Tries six platform libraries after the interfaces in platform/include. On a terminal it needs
// nothing but them; on a PC it runs inside one: wz exec --terminal DIR --
// wzapp_platform_conformance

#include <cstdio>
#include <exception>

#include "conformance/check.h"

namespace {

struct Part {
  const char* library;
  void (*check)(conformance::Report&);
};

constexpr Part kParts[] = {
    {"zelipc values", conformance::checkJson},
    {"zelipc messages", conformance::checkMessaging},
    {"zelhtml time", conformance::checkTime},
    {"zelplatforminfo, zelsec", conformance::checkServices},
    {"zelguiprt, zelhtml, jsproc", conformance::checkBrowser},
};

}  // namespace

// 0: everything is as the interfaces say; 1: something is not, and is named.
int main() {
  int count = 0;
  int wrong = 0;
  for (const Part& part : kParts) {
    conformance::Report report;
    try {
      part.check(report);
    } catch (const std::exception& problem) {
      report.expect(false, "no exception but for memory leaves the platform", problem.what());
    }
    for (const conformance::Finding& finding : report.findings()) {
      ++count;
      if (finding.wrong.empty()) continue;
      ++wrong;
      std::printf("%s: %s: %s\n", part.library, finding.claim.c_str(), finding.wrong.c_str());
    }
  }
  std::printf("%d of %d claims hold\n", count - wrong, count);
  return wrong == 0 ? 0 : 1;
}
