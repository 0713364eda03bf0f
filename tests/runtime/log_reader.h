// Reads what the library has published about its applications.
#ifndef WZAPP_TESTS_RUNTIME_LOG_READER_H
#define WZAPP_TESTS_RUNTIME_LOG_READER_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/runtime/stubs/recording_platform.h"
#include "zelipc/zelipc.h"

namespace wzapp_test {

// The members of a message but its time: strings as they are, the rest as JSON text.
using LogMessage = std::map<std::string, std::string>;

struct LogRecord {
  std::string system;
  std::string appId;
  std::string version;
  std::string sponsorId;
  std::string serialNumber;
  bool hasMessages = false;
  std::vector<LogMessage> messages;
  std::vector<std::string> times;
  bool hasPrivate = false;
  std::map<std::string, std::string> origin;  // "wz_private"
};

inline LogMessage membersOf(const zelipc::JSObject& object) {
  LogMessage result;
  for (const std::string& key : object.keys()) {
    const zelipc::JSObject& value = object[key];
    result[key] = value.isString() ? value.asString() : value.dump();
  }
  return result;
}

inline LogRecord readRecord(const stubs::Notification& notification) {
  EXPECT_EQ(notification.to, "1");
  EXPECT_EQ(notification.flags, 0U);
  zelipc::JSObject whole;
  EXPECT_GT(whole.parse(notification.json.c_str()), 0);
  const zelipc::JSObject& root = whole;
  const zelipc::JSObject& data = root["data"];
  LogRecord record;
  record.system = data["sys"].asString();
  record.appId = data["sSys"].asString();
  EXPECT_EQ(notification.from, record.appId);
  record.version = data["v"].asString();
  record.sponsorId = data["spId"].asString();
  record.serialNumber = data["h"].asString();
  record.hasMessages = data.has("msgs");
  const zelipc::JSObject& messages = data["msgs"];
  for (std::size_t index = 0; index < messages.size(); ++index) {
    LogMessage message = membersOf(messages.at(index));
    record.times.push_back(message["t"]);
    message.erase("t");
    record.messages.push_back(message);
  }
  record.hasPrivate = root.has("wz_private");
  record.origin = membersOf(root["wz_private"]);
  return record;
}

// All since the last reset, in order.
inline std::vector<LogRecord> sentRecords() {
  std::vector<LogRecord> records;
  for (const stubs::Notification& notification : stubs::platform().sent("_WZLog")) {
    records.push_back(readRecord(notification));
  }
  return records;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_RUNTIME_LOG_READER_H
