#include "tools/wz/terminal/history_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/builders/temporary_directory.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wz::History;
using wz::HistoryEvent;

class HistoryFileTest : public testing::Test {
 protected:
  [[nodiscard]] std::string path() const { return folder_ / wz::kHistoryFile; }

  void append(HistoryEvent event) const {
    std::string error;
    event.time = wz::historyTime();
    EXPECT_TRUE(wz::appendHistory(folder_.path(), event, error)) << error;
  }

  [[nodiscard]] History read() const {
    History history;
    std::string error;
    EXPECT_TRUE(wz::readHistory(folder_.path(), history, error)) << error;
    return history;
  }

  TemporaryDirectory folder_;
};

HistoryEvent withLog(std::size_t lines, std::size_t length) {
  HistoryEvent event;
  for (std::size_t i = 0; i < lines; ++i) {
    std::string line = std::to_string(i);
    event.log.push_back(line + std::string(length - 1 - line.size(), '.'));
  }
  return event;
}

TEST_F(HistoryFileTest, WhatWasAppendedReadsBack) {
  HistoryEvent event;
  event.kind = wz::HistoryKind::kRemove;
  event.result = 2;
  event.packages = {{"shop \"1\".zip", std::string(64, 'a'), 123456789012, true}};
  wz::HistoryChange change;
  change.kind = wz::HistoryChangeKind::kVanished;
  change.thing = wz::HistoryThing::kMarketplaceManifest;
  change.id = "sh\xC3\xB6p";
  change.isDowngrade = true;
  change.rules = {{"WZ-0514", "Error: Missing trigger X", 2}};
  change.exportedTriggers = {"A", "B"};
  event.changes = {change};
  event.moves = {{"a", "b", true}};
  event.log = {"one", "two\nlines"};
  append(event);

  const HistoryEvent read = this->read().events.at(0);

  EXPECT_EQ(read.number, 1U);
  EXPECT_EQ(read.kind, event.kind);
  EXPECT_EQ(read.result, 2);
  EXPECT_EQ(read.packages.at(0).file, "shop \"1\".zip");
  EXPECT_EQ(read.packages.at(0).octets, 123456789012U);
  EXPECT_EQ(read.changes.at(0).id, change.id);
  EXPECT_EQ(read.changes.at(0).thing, change.thing);
  EXPECT_TRUE(read.changes.at(0).isDowngrade);
  EXPECT_EQ(read.changes.at(0).rules.at(0).pass, 2U);
  EXPECT_THAT(read.changes.at(0).exportedTriggers, ElementsAre("A", "B"));
  EXPECT_TRUE(read.moves.at(0).isDone);
  EXPECT_THAT(read.log, ElementsAre("one", "two\\nlines"));  // as for eyes
}

TEST_F(HistoryFileTest, ATornLineGivesWayToTheNextEvent) {
  append({});
  std::ofstream(path(), std::ios::app) << "{\"schema\": \"urn:wz";
  EXPECT_THAT(read().remarks, ElementsAre("the last line of " + path() +
                                          " is cut off, as by a kill, and is passed over"));

  append({});

  EXPECT_EQ(read().events.size(), 2U);
  EXPECT_THAT(read().remarks, IsEmpty());
}

// Cut anywhere, what stands before is still there.
TEST_F(HistoryFileTest, EveryCutLeavesTheEventsBeforeIt) {
  append(withLog(2, 20));
  const auto first = std::filesystem::file_size(path());
  append(withLog(2, 20));
  const auto second = std::filesystem::file_size(path());
  for (auto size = first; size < second; ++size) {
    std::filesystem::resize_file(path(), size);
    ASSERT_EQ(read().events.size(), 1U) << size;
  }
}

TEST_F(HistoryFileTest, ALogThatIsTooLongLosesItsMiddle) {
  constexpr std::size_t kLines = 1200, kLength = 1024;  // with its line feed
  append(withLog(kLines, kLength));

  const HistoryEvent event = read().events.at(0);

  EXPECT_EQ(event.log.size(), wz::kMaxLogSize / kLength);
  EXPECT_EQ(event.linesLeftOut, kLines - event.log.size());
  EXPECT_EQ(event.log.front().substr(0, 2), "0.");
  EXPECT_EQ(event.log.back().substr(0, 5), "1199.");
}

TEST_F(HistoryFileTest, TheFileStaysBoundedAndKeepsTheNewest) {
  HistoryEvent old = withLog(1, 1 << 20);
  old.number = 11;
  const std::string line = wz::historyLine(old);
  std::ofstream file(path());
  for (int i = 0; i < 7; ++i) file << line;
  old.number = 12;
  file << wz::historyLine(old) << std::flush;

  append({});

  const History history = read();
  EXPECT_LE(std::filesystem::file_size(path()), wz::kMaxHistorySize / 2 + 4096);
  ASSERT_GE(history.events.size(), 3U);
  EXPECT_EQ(history.events.back().number, 13U);
  EXPECT_EQ((history.events.end() - 2)->number, 12U);
}

TEST_F(HistoryFileTest, DeepAndForeignLinesArePassedOver) {
  append({});
  std::ofstream(path(), std::ios::app) << std::string(100000, '[') << "\n{\"number\": 7}\n\n";

  const History history = read();

  EXPECT_EQ(history.events.size(), 1U);
  EXPECT_EQ(history.remarks.size(), 3U);
}

TEST_F(HistoryFileTest, ALinkIsNotWrittenThrough) {
  const std::string other = folder_.write("other", "mine\n");
  std::filesystem::create_symlink(other, path());
  HistoryEvent event;
  std::string error;

  EXPECT_FALSE(wz::appendHistory(folder_.path(), event, error));

  EXPECT_EQ(std::filesystem::file_size(other), 5U);
}

}  // namespace
}  // namespace wzapp_test
