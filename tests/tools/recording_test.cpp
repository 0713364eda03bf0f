#include "tools/wz/reports/recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/builders/temporary_directory.h"
#include "tools/wz/reports/story.h"

namespace wz {
namespace {

using testing::HasSubstr;

class RecordingTest : public testing::Test {
 protected:
  std::string file() const { return directory_ / "run.jsonl"; }

  // The recording of these lines of a story, as it stands in the file.
  std::string recordingOf(const std::vector<StoryLine>& story) {
    Recorder recorder;
    std::string error;
    EXPECT_TRUE(recorder.begin(file(), {"shop", "desktop", {{"till", "3"}}}, error)) << error;
    std::int64_t time = 0;
    for (const StoryLine& line : story) recorder.add(line.at(time += 104'000));
    EXPECT_TRUE(recorder.finish(error)) << error;
    std::ostringstream content;
    content << std::ifstream(file()).rdbuf();
    return content.str();
  }

  static StoryLine key(const std::string& target, const std::string& name) {
    StoryLine line("input");
    line.text("app", "shop").text("action", "key").text("target", target).text("text", name);
    return line;
  }

  std::string errorOf(const std::string& content) {
    std::ofstream(file(), std::ios::binary) << content;
    Recording recording;
    std::string error;
    EXPECT_FALSE(readRecording(file(), recording, error));
    return error;
  }

  const wzapp_test::TemporaryDirectory directory_;
};

constexpr char kHead[] = R"({"recording":1,"app":"shop","entry":"desktop","parameters":{}})"
                         "\n";

TEST_F(RecordingTest, KeepsWhatIsTheSameInEveryRun) {
  EXPECT_EQ(recordingOf({StoryLine("launched").text("app", "shop"),
                         StoryLine("console")
                             .text("app", "shop")
                             .text("level", "info")
                             .text("text", "a")
                             .text("file", "index.html")
                             .number("line", 3),
                         StoryLine("painted").text("app", "shop"),
                         StoryLine("exited")
                             .number("result", 0)
                             .texts("properties",
                                    std::map<std::string, std::string>{
                                        {"total", "12"}, {"wz_terminalSerialNo", "1"}})}),
            R"({"recording":1,"app":"shop","entry":"desktop","parameters":{"till":"3"}})"
            "\n"
            R"({"at":0.21,"event":"console","level":"info","text":"a"})"
            "\n"
            R"({"at":0.42,"event":"exited","result":0,"properties":{"total":"12"}})"
            "\n");
}

TEST_F(RecordingTest, KeysThatWriteAreTypingAndOthersArePressed) {
  const std::string content =
      recordingOf({key("#amount", "1"), key("#amount", "\xC3\xA9"), key("#other", "2"),
                   key("#other", "Enter"), key("", "3")});

  EXPECT_THAT(content, HasSubstr("{\"at\":0.1,\"event\":\"type\",\"target\":\"#amount\","
                                 "\"text\":\"1\xC3\xA9\"}\n"
                                 "{\"at\":0.31,\"event\":\"type\",\"target\":\"#other\","
                                 "\"text\":\"2\"}\n"
                                 "{\"at\":0.42,\"event\":\"press\",\"target\":\"#other\","
                                 "\"text\":\"Enter\"}\n"
                                 "{\"at\":0.52,\"event\":\"type\",\"text\":\"3\"}\n"));
}

TEST_F(RecordingTest, IsReadBack) {
  (void)recordingOf({key("#a", "1"), StoryLine("log").text("level", "info").texts("texts", {"x"})});

  Recording recording;
  std::string error;
  ASSERT_TRUE(readRecording(file(), recording, error)) << error;
  EXPECT_EQ(recording.launch.id, "shop");
  EXPECT_EQ(recording.launch.parameters.at("till"), "3");
  ASSERT_EQ(recording.lines.size(), 2U);
  EXPECT_TRUE(isInput(recording.lines[0].json));
  EXPECT_EQ(recording.lines[1].number, 3);
  EXPECT_DOUBLE_EQ(recording.lines[1].at, 0.21);
}

TEST_F(RecordingTest, MistakesAreNamedWithTheirLine) {
  const std::string head = kHead;
  EXPECT_THAT(errorOf(""), HasSubstr("run.jsonl: no recording"));
  EXPECT_THAT(errorOf("{\"schema\":1}\n"), HasSubstr("run.jsonl:1: no recording"));
  EXPECT_THAT(errorOf("{\"recording\":2}\n"), HasSubstr("run.jsonl:1: a recording of version 2"));
  EXPECT_THAT(errorOf(head + "[]\n"), HasSubstr("run.jsonl:2: not a JSON object"));
  EXPECT_THAT(errorOf(head + "{\"at\":1,\"event\":\"fly\"}\n"),
              HasSubstr("run.jsonl:2: there is no event \"fly\""));
  EXPECT_THAT(errorOf(head + "{\"event\":\"click\"}\n"),
              HasSubstr("run.jsonl:2: there is no time"));
  EXPECT_THAT(errorOf(head + "\n{\"at\":0.5,\"ev"), HasSubstr("run.jsonl:3: not JSON: "));
  EXPECT_THAT(errorOf(head + "{\"at\":0.5,\"ev"), HasSubstr("the recording has been cut short"));
}

TEST_F(RecordingTest, AFileThatCannotBeWrittenIsTold) {
  Recorder recorder;
  std::string error;
  EXPECT_FALSE(recorder.begin("/nowhere/run.jsonl", {"shop", "desktop", {}}, error));
  EXPECT_THAT(error, HasSubstr("cannot write /nowhere/run.jsonl: "));
  Recorder full;
  ASSERT_TRUE(full.begin("/dev/full", {"shop", "desktop", {}}, error));
  EXPECT_FALSE(full.finish(error));
  EXPECT_EQ(error, "No space left on device");
}

}  // namespace
}  // namespace wz
