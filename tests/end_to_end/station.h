/// What the whole test program shares: the terminal's bus, the records that applications publish
/// and the events of their pages. Ready before the first test begins.
#ifndef WZAPP_TESTS_END_TO_END_STATION_H
#define WZAPP_TESTS_END_TO_END_STATION_H

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/end_to_end/waiting.h"
#include "workstation/browser/browser_control.h"
#include "workstation/terminal/bus_daemon.h"
#include "zelipc/zelipc.h"

namespace wzapp_test {

/// A notification as this process received it.
struct Received {
  std::string from, to, name;
  zelipc::JSObject payload;
  unsigned flags;
};

/// A message of a log record without its time: texts as they are, all else as JSON text.
using LogMessage = std::map<std::string, std::string>;

class Station {
 public:
  /// Forgets what has been collected. A record that this process has published is delivered a
  /// moment later, mostly after the end of its application was told: what is still on its way goes
  /// too.
  void forget();

  /// Starts the bus anew after its daemon has gone.
  [[nodiscard]] bool beginBus(std::string& error);
  void endBus() { bus_.end(); }

  Collected<Received> records;  ///< "_WZLog" notifications to address "1".
  Collected<workstation::PageEvent> events;

 private:
  workstation::BusUse bus_;
};

Station& station();

/// The records of an application so far.
std::vector<Received> recordsOf(const std::string& appId);

/// Waits for the record that tells of the application's end and returns all of its records.
std::vector<Received> awaitRecords(const std::string& appId);

/// The messages of all records in order.
std::vector<LogMessage> messagesIn(const std::vector<Received>& records);

/// The same without those that every run has, LAUNCH at the beginning and EXIT at the end.
std::vector<LogMessage> innerMessagesIn(const std::vector<Received>& records);

/// Waits until the application's page has called wz.log with `text` as its first text.
[[nodiscard]] bool awaitLogCall(const std::string& appId, const std::string& text);

/// Begins with nothing collected.
class EndToEndTest : public testing::Test {
 protected:
  void SetUp() override;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_STATION_H
