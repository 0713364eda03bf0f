// What the library asks of the terminal: times, facts, certificates and sponsors, and the browser's
// set-up.

#include <cstring>
#include <vector>

#include "conformance/check.h"
#include "js/jsproc.h"
#include "platforminfo/platforminfo.h"
#include "zelgui/zelgui.h"
#include "zelhtml/zelhtml.h"
#include "zelsec/zelsec.h"

namespace conformance {
namespace {

constexpr int kEndOfList = -510;
constexpr int kMostEntries = 10000;

// Reads a list of the security service to its end; the number of its entries, or -1.
int readList(int operation, Report& report, const std::string& name) {
  std::vector<unsigned char> buffer(8192 + 16, 0xA5);
  for (int count = 0; count < kMostEntries; ++count) {
    auto length = static_cast<unsigned short>(8192);
    const int code = CMDiag(operation, buffer.data(), &length);
    if (code == kEndOfList) return count;
    if (code != 0 || length > 8192) {
      report.expect(false, name + " end with -510",
                    "code " + std::to_string(code) + ", length " + std::to_string(length));
      return -1;
    }
    for (std::size_t i = 8192; i < buffer.size(); ++i) {
      if (buffer[i] != 0xA5) {
        report.expect(false, name + " stay inside 8192 octets");
        return -1;
      }
    }
  }
  report.expect(false, name + " end with -510", "10000 entries without an end");
  return -1;
}

void checkList(int operation, Report& report, const std::string& name) {
  const int first = readList(operation, report, name);
  const int second = readList(operation, report, name);
  report.expectEqual(second, first, name + ": the list begins afresh behind its end");
}

bool processScript(void*, const std::string&, std::map<std::string, std::string>&) { return true; }

}  // namespace

void checkTime(Report& report) {
  using zelhtml::TimeStamp;
  report.expect(TimeStamp().seconds() == 0 && TimeStamp().nanoseconds() == 0,
                "a new TimeStamp is zero");
  const TimeStamp over(1, 1500000000L);
  report.expect(over.seconds() == 2 && over.nanoseconds() == 500000000L,
                "nanoseconds beyond a second are carried");
  const TimeStamp under(1, -1);
  report.expect(under.seconds() == 0 && under.nanoseconds() == 999999999L,
                "nanoseconds below 0 are borrowed");
  const TimeStamp sum = TimeStamp(1, 600000000L) + TimeStamp(2, 600000000L);
  report.expect(sum.seconds() == 4 && sum.nanoseconds() == 200000000L, "a sum is normalised");
  const TimeStamp before = TimeStamp::Monotonic();
  const TimeStamp after = TimeStamp::Monotonic();
  report.expect(after.seconds() > before.seconds() || (after.seconds() == before.seconds() &&
                                                       after.nanoseconds() >= before.nanoseconds()),
                "the monotonic clock does not go back");
}

void checkServices(Report& report) {
  constexpr int kSerialNumber = 35;
  char buffer[256];
  std::memset(buffer, 0, sizeof buffer);
  unsigned int length = 0;
  const int code = platforminfo_get(kSerialNumber, buffer, sizeof buffer, &length);
  report.expectEqual(code, 0, "platforminfo_get knows the serial number");
  report.expect(code != 0 || (length > 0 && length <= sizeof buffer),
                "platforminfo_get says how many octets it has written");
  report.expect(platforminfo_get(-1, buffer, sizeof buffer, &length) != 0,
                "platforminfo_get refuses a key that there is not");

  checkList(2, report, "certificates (CMDiag 2)");
  checkList(4, report, "sponsors (CMDiag 4)");
}

void checkBrowser(Report& report) {
  zelgui::uiSetLocalProperties(true);
  report.expect(!zelgui::uiGetTerminalResourceDir("/mnt/flash").empty(),
                "an application has a resource directory");
  zelhtml::htmlSetScriptProcessor("conformance", processScript, nullptr);
  js::jsSetNotify(nullptr, nullptr);
  js::jsSetNotifyAndWait(nullptr, nullptr);
  js::jsSetTrace(nullptr, nullptr);
  js::jsSetLog(nullptr, nullptr);
  const zelgui::UIProperties properties;
  const int invocation =
      zelgui::uiInvokeURLAsync(0, 0, properties, "file:///nowhere/index.html", nullptr, nullptr);
  report.expect(invocation < 0, "a page that is not there cannot be invoked",
                "invocation " + std::to_string(invocation));
}

}  // namespace conformance
