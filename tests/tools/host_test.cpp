// wz host: the programs around an application, from a file.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/builders/temporary_directory.h"
#include "tests/builders/test_terminal.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

class HostTest : public testing::Test {
 protected:
  Arguments on(Arguments arguments) const {
    arguments.insert(arguments.end(), {"--terminal", terminal_.directory()});
    return arguments;
  }

  // `wz host` with these rules at the address "desk".
  Arguments host(const std::string& rules, const Arguments& more = {}) const {
    folder_.write("host.json", R"({"address": "desk", "rules": [)" + rules + "]}");
    Arguments arguments = on({"host", folder_ / "host.json"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  ProgramResult ask(const std::string& payload, const Arguments& more = {}) const {
    Arguments arguments = on({"notify", "desk", "ASK", payload, "--wait"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runWz(arguments);
  }

  TemporaryTerminal terminal_;
  TemporaryDirectory folder_;
};

TEST_F(HostTest, RulesAnswerByTheirConditions) {
  Program desk(host(R"({"name": "ASK", "when": {"card": {"matches": "^99"}}, "error": "lost"},
                       {"name": "ASK", "when": {"card": {"exists": true}},
                        "reply": {"known": true, "card": "{{card}}", "who": "for {{$from}}"}},
                       {"name": "ASK", "reply": {"known": false}})",
                    {"--count", "3"}));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));

  EXPECT_EQ(ask(R"({"card": "991"})").out, "{\"error\":\"lost\"}\n");
  EXPECT_EQ(ask(R"({"card": 7})").out, "{\"known\":true,\"card\":7,\"who\":\"for wz\"}\n");
  EXPECT_EQ(ask("{}").out, "{\"known\":false}\n");

  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_THAT(
      linesOf(desk.out()),
      ElementsAre("wz -> desk ASK {\"card\":\"991\"}",
                  "  desk -> wz ASK_reply {\"error\":\"lost\"}", "wz -> desk ASK {\"card\":7}",
                  "  desk -> wz ASK_reply "
                  "{\"known\":true,\"card\":7,\"who\":\"for wz\"}",
                  "wz -> desk ASK {}", "  desk -> wz ASK_reply {\"known\":false}"));
}

TEST_F(HostTest, ASequenceIsGoneThroughAndItsLastStays) {
  Program desk(host(R"({"name": "ASK", "sequence": [{"reply": 1}, {"malformed": "{\"points\": "},
                        {"reply": "{{$count}}", "replyName": "TOLD"}]})"));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));

  EXPECT_EQ(ask("{}").out, "1\n");
  EXPECT_EQ(ask("{}").out, "{}\n");  // what receivers make of a text that is none
  EXPECT_EQ(ask("{}", {"--reply-name", "TOLD"}).out, "3\n");
  EXPECT_EQ(ask("{}", {"--reply-name", "TOLD"}).out, "4\n");

  desk.signal(SIGTERM);
  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_THAT(desk.out(), HasSubstr("  desk -> wz ASK_reply {\"points\": \n"));
}

TEST_F(HostTest, SilenceIsNoAnswerAndADelayHoldsUpNobodyElse) {
  Program desk(host(R"({"name": "ASK", "when": {"n": 1}, "silence": true},
                       {"name": "ASK", "when": {"n": 2}, "delay": 1500, "reply": "late"},
                       {"name": "ASK", "reply": "at once"})",
                    {"--count", "3"}));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));
  EXPECT_EQ(ask(R"({"n": 1})", {"--timeout", "0.1"}).errors, "wz: no ASK_reply came\n");

  Program late(on({"notify", "desk", "ASK", R"({"n": 2})", "--wait", "--from", "patient"}));
  ASSERT_TRUE(desk.awaitOutput("patient -> desk"));
  const ProgramResult prompt = ask("{}");
  const int lateCode = late.wait();

  EXPECT_EQ(prompt.out, "\"at once\"\n");
  EXPECT_EQ(lateCode, kDone);
  EXPECT_EQ(late.out(), "\"late\"\n");
  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_LT(desk.out().find("\"at once\""), desk.out().find("\"late\""));
}

TEST_F(HostTest, WhatNoRuleAnswersIsShown) {
  Program desk(host(R"({"name": "ASK", "times": 1, "reply": 1})", {"--count", "2"}));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));

  EXPECT_EQ(ask("{}").out, "1\n");
  EXPECT_EQ(ask("{}", {"--timeout", "0.1"}).code, kNothingCame);

  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_THAT(linesOf(desk.out()), Contains("wz -> desk ASK {}  no rule answers it"));
}

TEST_F(HostTest, SeveralAddressesArePlayed) {
  Program desk(host(R"({"name": "ASK", "reply": "desk"},
                       {"address": "till", "name": "ASK", "reply": "till"})"));
  ASSERT_TRUE(desk.awaitOutput("playing desk, till"));

  EXPECT_EQ(ask("{}").out, "\"desk\"\n");
  EXPECT_EQ(runWz(on({"notify", "till", "ASK", "--wait"})).out, "\"till\"\n");
}

// ---- Programs ----------------------------------------------------------------------------------

TEST_F(HostTest, AProgramIsAskedInJson) {
  folder_.write("answer.sh", "read line; echo \"{\\\"asked\\\": $line}\"");
  Program desk(host(R"({"name": "ASK", "exec": ["sh", "./answer.sh"]})", {"--count", "1"}));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));

  EXPECT_EQ(ask(R"({"card": 7})", {"--flags", "3"}).out,
            "{\"asked\":{\"from\":\"wz\",\"to\":\"desk\",\"name\":\"ASK\",\"flags\":3,"
            "\"payload\":{\"card\":7}}}\n");
  EXPECT_EQ(desk.wait(), kDone);
}

TEST_F(HostTest, AProgramThatFailsIsNoAnswerAndSaysWhy) {
  const struct {
    const char* program;
    const char* message;
  } rows[] = {
      {R"(["sh", "-c", "exit 3"])", "wz: sh ended with 3\n"},
      {R"(["sh", "-c", "kill -9 $$"])", "wz: sh was ended by signal 9\n"},
      {R"(["/nowhere/program"])", "wz: /nowhere/program could not be started: No such file"},
      {R"(["true"])", "wz: true wrote nothing\n"},
      {R"(["echo", "{\"a\" 1}"])",
       "wz: echo did not write JSON: Missing a colon after a name of object member. (line "
       "1, column 6)\n"},
      {R"(["sh", "-c", "sleep 60 & sleep 60"], "timeout": 100)", "wz: sh did not end in time\n"},
      {R"(["sh", "-c", "yes"])", "wz: sh wrote more than 1 MiB\n"}};
  for (const auto& row : rows) {
    Program desk(
        host(std::string(R"({"name": "ASK", "exec": )") + row.program + "}", {"--count", "1"}));
    ASSERT_TRUE(desk.awaitOutput("playing desk"));

    EXPECT_EQ(ask("{}", {"--timeout", "0.2"}).code, kNothingCame) << row.program;
    EXPECT_EQ(desk.wait(), kDone);
    EXPECT_THAT(desk.errors(), HasSubstr(row.message));
    EXPECT_THAT(linesOf(desk.out()), Contains("  desk does not answer wz"));
  }
}

TEST_F(HostTest, ProgramsThatRunEndWithTheHost) {
  const std::string sign = folder_ / "pid";
  Program desk(host(R"({"name": "ASK", "exec": ["sh", "-c", "echo $$ > pid; exec sleep 600"]})"));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));
  runWz(on({"notify", "desk", "ASK"}));
  std::string pid;
  while (pid.empty()) {
    std::ifstream(sign) >> pid;
  }

  desk.signal(SIGTERM);

  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_NE(kill(std::stoi(pid), 0), 0);
}

// ---- Standard input ----------------------------------------------------------------------------

// `wz host -`, and the end of a pipe that it reads.
class SpokenHost {
 public:
  explicit SpokenHost(const Arguments& arguments)
      : opened_(pipe2(ends_, O_CLOEXEC) == 0),
        program(arguments, [this] { dup2(ends_[0], STDIN_FILENO); }) {}
  ~SpokenHost() {
    close(ends_[0]);
    hangUp();
  }
  SpokenHost(const SpokenHost&) = delete;
  SpokenHost& operator=(const SpokenHost&) = delete;

  void say(const std::string& line) const {
    EXPECT_EQ(write(ends_[1], (line + "\n").data(), line.size() + 1),
              static_cast<ssize_t>(line.size() + 1));
  }
  void hangUp() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  int ends_[2] = {-1, -1};
  const bool opened_;

 public:
  Program program;
};

TEST_F(HostTest, RulesAndAnswersComeByStandardInput) {
  SpokenHost desk(on({"host", "--json", "-"}));
  desk.say(R"({"address": "desk", "rules": [{"name": "ASK", "hold": true}]})");
  ASSERT_TRUE(desk.program.awaitOutput("\"event\":\"playing\"")) << desk.program.errors();

  Program asking(on({"notify", "desk", "ASK", "{}", "--wait"}));
  ASSERT_TRUE(desk.program.awaitOutput("\"held\":1"));
  desk.say(R"({"answer": 1, "reply": {"late": true}})");
  EXPECT_EQ(asking.wait(), kDone);
  EXPECT_EQ(asking.out(), "{\"late\":true}\n");

  desk.say(R"({"rules": [{"address": "desk", "name": "ASK", "reply": "now"},)"
           R"( {"address": "till", "name": "PAY", "silence": true}]})");
  ASSERT_TRUE(desk.program.awaitOutput("playing desk, till"));
  EXPECT_EQ(ask("{}").out, "\"now\"\n");

  desk.hangUp();
  EXPECT_EQ(desk.program.wait(), kDone);
}

TEST_F(HostTest, AMistakeOnStandardInputIsTold) {
  SpokenHost broken(on({"host", "-"}));
  broken.say(R"({"rules": [{"name": "ASK"}]})");
  EXPECT_EQ(broken.program.wait(), kUsage);
  EXPECT_THAT(broken.program.errors(), HasSubstr("standard input: /rules/0 needs an address"));

  SpokenHost unknown(on({"host", "-"}));
  unknown.say(R"({"answer": 9})");
  EXPECT_EQ(unknown.program.wait(), kUsage);
  EXPECT_THAT(unknown.program.errors(), HasSubstr("no notification is held as 9"));
}

TEST_F(HostTest, ItEndsWithItsParentWhereThatIsWanted) {
  Program parent(
      {"-c", std::string("WZ_END_WITH_PARENT=1 ") + WZ_PROGRAM + " listen --terminal " +
                 terminal_.directory() + " desk ASK & echo $! >" + (folder_ / "pid") + "; wait"},
      nullptr, "/bin/sh");
  ASSERT_TRUE(parent.awaitOutput("listening"));
  int pid = 0;
  std::ifstream(folder_ / "pid") >> pid;
  ASSERT_GT(pid, 0);

  parent.signal(SIGKILL);
  parent.wait();

  // An end that is not ours to wait for: a zombie's process has no command line.
  const auto isRunning = [pid] {
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
    return file.get() != std::char_traits<char>::eof();
  };
  for (int i = 0; i < 1000 && isRunning(); ++i) usleep(10'000);
  EXPECT_FALSE(isRunning());
}

// ---- What it prints ----------------------------------------------------------------------------

TEST_F(HostTest, JsonIsOneObjectALine) {
  Program desk(
      host(R"({"name": "ASK", "reply": "\u009b\u007f{{x}}"})", {"--count", "2", "--json"}));
  ASSERT_TRUE(desk.awaitOutput("playing desk"));
  ask(R"({"x": 1.5})");
  ask("{}");
  ASSERT_EQ(desk.wait(), kDone);

  const std::vector<std::string> lines = linesOf(desk.out());
  ASSERT_EQ(lines.size(), 4U);
  std::vector<std::string> events;
  long long time = 0;
  for (const std::string& line : lines) {
    rapidjson::Document event;
    event.Parse(line.c_str());
    ASSERT_FALSE(event.HasParseError()) << line;
    EXPECT_EQ(event["schema"].GetInt(), 1);
    EXPECT_GE(event["time"].GetInt64(), time);
    time = event["time"].GetInt64();
    events.emplace_back(event["event"].GetString());
  }
  EXPECT_THAT(events, ElementsAre("asked", "answered", "asked", "answered"));
  EXPECT_THAT(lines[0], HasSubstr("\"payload\":{\"x\":1.5}"));
  EXPECT_THAT(lines[1], HasSubstr("\"payload\":\"\\u009B\\u007f1.5\""));
}

TEST_F(HostTest, ListenPrintsJsonToo) {
  Program listener(on({"listen", "till", "PAID", "--count", "1", "--json"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));
  runWz(on({"notify", "till", "PAID", "{\"amount\": 5}", "--flags", "2"}));
  ASSERT_EQ(listener.wait(), kDone);

  rapidjson::Document event;
  event.Parse(listener.out().c_str());
  ASSERT_FALSE(event.HasParseError()) << listener.out();
  EXPECT_STREQ(event["event"].GetString(), "received");
  EXPECT_STREQ(event["from"].GetString(), "wz");
  EXPECT_EQ(event["flags"].GetInt(), 2);
  EXPECT_EQ(event["payload"]["amount"].GetInt(), 5);
}

TEST_F(HostTest, SchemaAndExampleArePrinted) {
  const ProgramResult schema = runWz({"host", "--schema"});
  const ProgramResult example = runWz({"host", "--example"});

  rapidjson::Document document;
  document.Parse(schema.out.c_str());
  EXPECT_FALSE(document.HasParseError());
  folder_.write("example.json", example.out);
  Program desk(on({"host", folder_ / "example.json"}));
  EXPECT_TRUE(desk.awaitOutput("playing oatmere-club, printer")) << desk.errors();
}

TEST_F(HostTest, AMistakeInTheFileIsAWrongCommandLine) {
  folder_.write("host.json", "{\n\"rules\": [\n}");

  const ProgramResult wrong = runWz(on({"host", folder_ / "host.json"}));

  EXPECT_EQ(wrong.code, kUsage);
  EXPECT_EQ(wrong.errors,
            "wz: " + (folder_ / "host.json") + " is no JSON: Invalid value. (line 3, column 1)\n");
}

}  // namespace
}  // namespace wzapp_test
