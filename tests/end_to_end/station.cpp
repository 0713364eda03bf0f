#include "tests/end_to_end/station.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <future>

#include "tests/end_to_end/processes.h"
#include "workstation/terminal/terminal_profile.h"

namespace wzapp_test {
namespace {

using workstation::PageEvent;

constexpr char kRecordName[] = "_WZLog";
constexpr char kRecordAddress[] = "1";

void onRecord(void*, const std::string& from, const std::string& to, const std::string& name,
              const zelipc::JSObject& payload, unsigned flags) {
  station().records.add({from, to, name, payload, flags});
}

// Where the station writes to itself.
constexpr char kOwnAddress[] = "station";
constexpr char kMark[] = "MARK";

void onMark(void* reached, const std::string&, const std::string&, const std::string&,
            const zelipc::JSObject&, unsigned) {
  static_cast<std::promise<void>*>(reached)->set_value();
}

void onPageEvent(void*, const PageEvent& event) { station().events.add(event); }

const zelipc::JSObject& messagesOf(const Received& record) {
  return record.payload["data"]["msgs"];
}

bool tellsOfEnd(const Received& record) {
  const zelipc::JSObject& messages = messagesOf(record);
  return messages.size() > 0 && messages.at(messages.size() - 1)["aE"].asString() == "EXIT";
}

class StationEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(station().beginBus(error)) << error;
    ASSERT_EQ(zelipc::ipcRegisterNotificationCB(kRecordName, onRecord, nullptr, 0, kRecordAddress),
              0);
    workstation::setPageObserver(onPageEvent, nullptr);
  }

  void TearDown() override {
    workstation::setPageObserver(nullptr, nullptr);
    EXPECT_EQ(zelipc::ipcUnregisterNotificationCB(kRecordName, onRecord, nullptr, kRecordAddress),
              0);
    // Whoever removes the terminal's folder now must find nobody who still writes there.
    station().endBus();
    const std::string socket = workstation::busPath(workstation::terminalDirectory());
    struct stat status {};
    EXPECT_TRUE(eventually([&] { return stat(socket.c_str(), &status) != 0; }));
    const pid_t browser = browserOf(getpid());
    if (browser < 0) return;
    WatchedProcesses processes(descendantsOf(browser));
    kill(browser, SIGKILL);
    EXPECT_TRUE(processes.awaitEnd());
  }
};

// GoogleTest owns it.
[[maybe_unused]] const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new StationEnvironment);

}  // namespace

// Messages inside of a process are delivered one after another, so a mark comes behind them all.
void Station::forget() {
  std::promise<void> reached;
  ASSERT_EQ(zelipc::ipcRegisterNotificationCB(kMark, onMark, &reached, 0, kOwnAddress), 0);
  EXPECT_EQ(zelipc::ipcNotify(kOwnAddress, kMark, {}, 0, kOwnAddress), 0);
  EXPECT_EQ(reached.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(zelipc::ipcUnregisterNotificationCB(kMark, onMark, &reached, kOwnAddress), 0);
  records.clear();
  events.clear();
}

bool Station::beginBus(std::string& error) {
  return bus_.begin(workstation::terminalDirectory(), error);
}

Station& station() {
  static Station* const kStation = new Station;  // callbacks may come to the last
  return *kStation;
}

std::vector<Received> recordsOf(const std::string& appId) {
  std::vector<Received> records = station().records.all();
  const auto isOther = [&](const Received& record) { return record.from != appId; };
  records.erase(std::remove_if(records.begin(), records.end(), isOther), records.end());
  return records;
}

std::vector<Received> awaitRecords(const std::string& appId) {
  const auto isLast = [&](const Received& record) {
    return record.from == appId && tellsOfEnd(record);
  };
  EXPECT_TRUE(station().records.await([&](const std::vector<Received>& records) {
    return std::any_of(records.begin(), records.end(), isLast);
  })) << "no record of the end of "
      << appId;
  return recordsOf(appId);
}

std::vector<LogMessage> messagesIn(const std::vector<Received>& records) {
  std::vector<LogMessage> result;
  for (const Received& record : records) {
    const zelipc::JSObject& messages = messagesOf(record);
    for (std::size_t index = 0; index < messages.size(); ++index) {
      const zelipc::JSObject& message = messages.at(index);
      LogMessage members;
      for (const std::string& key : message.keys()) {
        const zelipc::JSObject& value = message[key];
        if (key != "t") members[key] = value.isString() ? value.asString() : value.dump();
      }
      result.push_back(members);
    }
  }
  return result;
}

std::vector<LogMessage> innerMessagesIn(const std::vector<Received>& records) {
  std::vector<LogMessage> messages = messagesIn(records);
  if (messages.size() < 2 || messages.front()["aE"] != "LAUNCH" ||
      messages.back()["aE"] != "EXIT") {
    ADD_FAILURE() << "the log does not begin with the launch and end with the exit";
    return {};
  }
  return {messages.begin() + 1, messages.end() - 1};
}

bool awaitLogCall(const std::string& appId, const std::string& text) {
  return station().events.await([&](const std::vector<PageEvent>& events) {
    return std::any_of(events.begin(), events.end(), [&](const PageEvent& event) {
      return event.kind == PageEvent::Kind::kLog && event.appId == appId && !event.texts.empty() &&
             event.texts.front() == text;
    });
  });
}

void EndToEndTest::SetUp() { station().forget(); }

}  // namespace wzapp_test
