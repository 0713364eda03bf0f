#include "runtime/log_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/builders/child_process.h"
#include "tests/runtime/log_reader.h"

namespace wzapp {
namespace {

using stubs::platform;
using testing::ElementsAre;
using testing::SizeIs;
using wzapp_test::LogMessage;
using wzapp_test::LogRecord;
using wzapp_test::sentRecords;

WZLogEntry entryOf(int level, int kind) {
  WZLogEntry entry(level, kind);
  entry.message = "message";
  entry.errorCode = "code";
  entry.errorName = "name";
  entry.errorMessage = "error message";
  entry.errorData = "data";
  entry.event = "event";
  entry.detail = "detail";
  return entry;
}

class LogRecordTest : public testing::Test {
 protected:
  LogRecordTest() { platform().reset(); }

  LogMessage published(const WZLogEntry& entry) {
    publishLog({.appId = "shop", .version = "1"}, {entry});
    return sentRecords().back().messages.at(0);
  }
};

TEST_F(LogRecordTest, WithoutEntriesHasNoMessages) {
  publishLog({.appId = "shop", .version = "1"}, {});

  EXPECT_FALSE(sentRecords().at(0).hasMessages);
}

TEST_F(LogRecordTest, NamesTheApplicationTheTerminalAndItsSponsor) {
  publishLog({.appId = "shop", .version = "1.2"}, {});

  EXPECT_EQ(platform().sent("_WZLog").at(0).json,
            R"({"data":{"sys":"ZTK","sSys":"shop","v":"1.2","spId":"004242","h":"4711-0815"}})");
}

TEST_F(LogRecordTest, UnknownTerminalHasZerosForANumber) {
  platform().answers.information.clear();

  publishLog({.appId = "shop", .version = "1.2"}, {});

  EXPECT_EQ(sentRecords().at(0).serialNumber, "00000000000");
}

TEST_F(LogRecordTest, KeepsEmptyTextsOutOfThePrivatePart) {
  publishLog({.appId = "shop", .version = "1", .merchantId = "m"}, {});
  publishLog({.appId = "shop", .version = "1", .system = "s"}, {});
  publishLog({.appId = "shop", .version = "1", .systemVersion = "v"}, {});

  const std::vector<LogRecord> records = sentRecords();
  EXPECT_THAT(records[0].origin, ElementsAre(testing::Pair("wz_merchantId", "m")));
  EXPECT_EQ(records[0].system, "ZTK");
  EXPECT_THAT(records[1].origin, ElementsAre(testing::Pair("wz_system", "s")));
  EXPECT_EQ(records[1].system, "s");
  EXPECT_THAT(records[2].origin, ElementsAre(testing::Pair("wz_system_version", "v")));
}

TEST_F(LogRecordTest, ApplicationEntryHasMessageAndEvent) {
  EXPECT_EQ(published(entryOf(5, 0)),
            (LogMessage{{"s", "5"}, {"msgT", "APPLICATION"}, {"msg", "message"}, {"aE", "event"}}));
  EXPECT_EQ(published(WZLogEntry(5, 0)),
            (LogMessage{{"s", "5"}, {"msgT", "APPLICATION"}, {"msg", ""}, {"aE", ""}}));
}

TEST_F(LogRecordTest, ErrorEntryHasItsTexts) {
  EXPECT_EQ(published(entryOf(3, 1)), (LogMessage{{"s", "3"},
                                                  {"msgT", "ERROR"},
                                                  {"msg", "message"},
                                                  {"eC", "code"},
                                                  {"eN", "name"},
                                                  {"eMsg", "error message"},
                                                  {"eD", "data"}}));
  EXPECT_EQ(published(WZLogEntry(3, 1)),
            (LogMessage{{"s", "3"}, {"msgT", "ERROR"}, {"msg", ""}, {"eC", ""}, {"eN", ""}}));
}

TEST_F(LogRecordTest, EntryOfAnUnknownKindSaysNoMore) {
  EXPECT_EQ(published(entryOf(5, 3)), (LogMessage{{"s", "5"}, {"msgT", "<unknown>"}}));
  EXPECT_EQ(published(entryOf(5, -1)), (LogMessage{{"s", "5"}, {"msgT", "<unknown>"}}));
}

TEST_F(LogRecordTest, LevelIsANumber) {
  publishLog({.appId = "shop", .version = "1"}, {entryOf(5, 0)});

  zelipc::JSObject record;
  record.parse(platform().sent("_WZLog").at(0).json.c_str());
  EXPECT_TRUE(record["data"]["msgs"].at(0)["s"].isInt());
}

TEST_F(LogRecordTest, MessagesComeInTheOrderOfTheEntries) {
  std::vector<WZLogEntry> entries;
  for (int i = 0; i < 5; ++i) {
    entries.push_back(entryOf(6, 2));
    entries.back().message = std::to_string(i);
  }

  publishLog({.appId = "shop", .version = "1"}, entries);

  const std::vector<LogMessage> messages = sentRecords().at(0).messages;
  ASSERT_THAT(messages, SizeIs(5));
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(messages[i].at("msg"), std::to_string(i));
}

// std::time() would not do: its clock may be a tick behind.
std::int64_t wallClockNanoseconds() {
  struct timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

TEST_F(LogRecordTest, EntryTakesTheWallClocksTime) {
  const std::int64_t before = wallClockNanoseconds();
  const WZLogEntry entry(6, 2);
  const std::int64_t after = wallClockNanoseconds();

  const std::int64_t taken = std::int64_t{entry.time.seconds} * 1000000000 + entry.time.nanoseconds;
  EXPECT_GE(taken, before);
  EXPECT_LE(taken, after);
  EXPECT_GE(entry.time.nanoseconds, 0);
  EXPECT_LT(entry.time.nanoseconds, 1000000000);
}

TEST_F(LogRecordTest, EstimateIsTheSumOfTheTextsAnd202) {
  WZLogEntry entry(6, 2);
  EXPECT_EQ(entry.estimatedSize(), 202U);

  entry.message.assign(1, 'x');
  entry.errorCode.assign(2, 'x');
  entry.errorName.assign(4, 'x');
  entry.errorMessage.assign(8, 'x');
  entry.errorData.assign(16, 'x');
  entry.event.assign(32, 'x');
  entry.detail.assign(64, 'x');

  EXPECT_EQ(entry.estimatedSize(), 202U + 127U);
}

// ---- time stamps

struct StampRow {
  const char* zone;  // POSIX form, so that no zone files are needed: the sign is west of Greenwich
  std::int32_t seconds;
  std::int32_t nanoseconds;
  const char* text;
};

class TimeStampTest : public testing::TestWithParam<StampRow> {};

TEST_P(TimeStampTest, IsLocalTimeWithItsOffset) {
  wzapp_test::runInChild([] {
    setenv("TZ", GetParam().zone, 1);
    tzset();

    EXPECT_EQ(timeStampText({GetParam().seconds, GetParam().nanoseconds}), GetParam().text);
  });
}

// 2024-12-31T23:30:00Z and 2025-01-01T00:30:00Z: 2024 is a leap year, 2023 and 2025 are none.
constexpr std::int32_t kEndOf2024 = 1735687800;
constexpr std::int32_t kStartOf2025 = 1735691400;
constexpr std::int32_t kEndOf2023 = 1704065400;    // 2023-12-31T23:30:00Z
constexpr std::int32_t kStartOf2024 = 1704069000;  // 2024-01-01T00:30:00Z
constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

INSTANTIATE_TEST_SUITE_P(
    Zones, TimeStampTest,
    testing::Values(StampRow{kCentralEurope, 1709644029, 123456789,
                             "2024-03-05T14:07:09.123+01:00:00"},
                    StampRow{"UTC0", 1709644029, 999999999, "2024-03-05T13:07:09.999+00:00:00"},
                    StampRow{"UTC0", 0, 999999, "1970-01-01T00:00:00.000+00:00:00"},
                    StampRow{"UTC0", INT32_MAX, 0, "2038-01-19T03:14:07.000+00:00:00"},
                    StampRow{"UTC0", -1, 0, "1969-12-31T23:59:59.000+00:00:00"},
                    // Half hours, quarters and seconds, east and west.
                    StampRow{"IST-5:30", 1709644029, 0, "2024-03-05T18:37:09.000+05:30:00"},
                    StampRow{"NPT-5:45", 1709644029, 0, "2024-03-05T18:52:09.000+05:45:00"},
                    StampRow{"NST3:30", 1709644029, 0, "2024-03-05T09:37:09.000-03:30:00"},
                    StampRow{"LMT0:25:21", 1709644029, 0, "2024-03-05T12:41:48.000-00:25:21"},
                    StampRow{"LMT-0:19:32", 1709644029, 0, "2024-03-05T13:26:41.000+00:19:32"},
                    // Across midnight, both ways.
                    StampRow{"AAA-1", 1709681400, 0, "2024-03-06T00:30:00.000+01:00:00"},
                    StampRow{"BBB1", 1709685000, 0, "2024-03-05T23:30:00.000-01:00:00"},
                    StampRow{"CCC-14", 1709681400, 0, "2024-03-06T13:30:00.000+14:00:00"},
                    StampRow{"DDD12", 1709641800, 0, "2024-03-05T00:30:00.000-12:00:00"},
                    StampRow{"DDD12", 1709638200, 0, "2024-03-04T23:30:00.000-12:00:00"},
                    // Across the end of a leap year and of an ordinary one, both ways.
                    StampRow{"AAA-1", kEndOf2024, 0, "2025-01-01T00:30:00.000+01:00:00"},
                    StampRow{"BBB1", kStartOf2025, 0, "2024-12-31T23:30:00.000-01:00:00"},
                    StampRow{"AAA-1", kEndOf2023, 0, "2024-01-01T00:30:00.000+01:00:00"},
                    StampRow{"BBB1", kStartOf2024, 0, "2023-12-31T23:30:00.000-01:00:00"},
                    StampRow{"IST-5:30", kEndOf2024, 0, "2025-01-01T05:00:00.000+05:30:00"},
                    StampRow{"NST3:30", kStartOf2025, 0, "2024-12-31T21:00:00.000-03:30:00"},
                    // Around the end of February.
                    StampRow{"AAA-1", 1709162999, 0, "2024-02-29T00:29:59.000+01:00:00"},
                    StampRow{"BBB1", 1709251200, 0, "2024-02-29T23:00:00.000-01:00:00"},
                    // A second before summer time begins and ends, and at that second.
                    StampRow{kCentralEurope, 1711846799, 0, "2024-03-31T01:59:59.000+01:00:00"},
                    StampRow{kCentralEurope, 1711846800, 0, "2024-03-31T03:00:00.000+02:00:00"},
                    StampRow{kCentralEurope, 1729990799, 0, "2024-10-27T02:59:59.000+02:00:00"},
                    StampRow{kCentralEurope, 1729990800, 0, "2024-10-27T02:00:00.000+01:00:00"},
                    // Half an hour of summer time.
                    StampRow{"LHST-10:30LHDT-11,M10.1.0,M4.1.0", 1704069000, 0,
                             "2024-01-01T11:30:00.000+11:00:00"}));

}  // namespace
}  // namespace wzapp
