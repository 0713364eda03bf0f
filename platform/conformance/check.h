// Says what a platform library does that its interface does not.
#ifndef CONFORMANCE_CHECK_H
#define CONFORMANCE_CHECK_H

#include <string>
#include <vector>

namespace conformance {

// One claim of an interface: nothing is wrong when `wrong` is empty.
struct Finding {
  std::string claim;
  std::string wrong;
};

class Report {
 public:
  void expect(bool holds, const std::string& claim, const std::string& wrong = "it is not so") {
    findings_.push_back({claim, holds ? "" : wrong});
  }
  void expectEqual(const std::string& is, const std::string& should, const std::string& claim) {
    expect(is == should, claim, "'" + is + "' instead of '" + should + "'");
  }
  void expectEqual(long long is, long long should, const std::string& claim) {
    expect(is == should, claim, std::to_string(is) + " instead of " + std::to_string(should));
  }
  [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }

 private:
  std::vector<Finding> findings_;
};

void checkJson(Report& report);       // libzelipc: JSObject
void checkMessaging(Report& report);  // libzelipc: notifications
void checkTime(Report& report);       // libzelhtml: TimeStamp
void checkServices(Report& report);   // libzelplatforminfo, libzelsec
void checkBrowser(Report& report);    // libzelguiprt, libzelhtml, libjsproc

}  // namespace conformance

#endif  // CONFORMANCE_CHECK_H
