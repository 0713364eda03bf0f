// wz test, as far as it goes without packages of Node.js: what it looks for, and what it leaves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/builders/temporary_directory.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;
using testing::Not;

class TestCommandTest : public testing::Test {
 protected:
  TestCommandTest() {
    program("node", R"(case "$1" in --version) echo v20.1.0; exit;; esac
echo "runs in $(pwd): $*"; ls -d "$TMPDIR"; touch "$TMPDIR/left"; sleep 600 & exit $(cat code))");
    write("shop/tests/playwright.config.js", "");
    write("shop/tests/code", "0");
  }

  void write(const std::string& name, const std::string& content) const {
    const std::filesystem::path path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    folder_.write(name, content);
  }

  void program(const std::string& name, const std::string& script) {
    write("bin/" + name, "#!/bin/sh\n" + script + "\n");
    chmod((folder_ / ("bin/" + name)).c_str(), 0755);
  }

  void install(const std::string& package) {
    write("shop/node_modules/" + package + "/package.json", "{}");
  }

  ProgramResult test(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "test");
    return runWz(arguments, [this] {
      setenv("PATH", (folder_ / "bin").append(":/usr/bin:/bin").c_str(), 1);
      setenv("TMPDIR", folder_.path().c_str(), 1);
    });
  }

  TemporaryDirectory folder_;
};

TEST_F(TestCommandTest, TheRunnerGetsTheArgumentsAndNothingIsLeft) {
  install("@playwright/test");
  install("wzapp-playwright");
  write("wz-test-killed/terminal/terminal.json", "{}");

  const ProgramResult result = test({folder_ / "shop", "--", "--grep", "charge"});

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("runs in " + (folder_ / "shop/tests: ") +
                                    (folder_ / "shop/node_modules/@playwright/test/cli.js") +
                                    " test --grep charge\n"));
  EXPECT_THAT(result.out, HasSubstr(folder_ / "wz-test-"));
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
    EXPECT_THAT(entry.path().filename().string(), testing::Not(testing::StartsWith("wz-test-")));
}

TEST_F(TestCommandTest, FailedTestsAreAFailure) {
  install("@playwright/test");
  install("wzapp-playwright");
  folder_.write("shop/tests/code", "1");

  EXPECT_EQ(test({folder_ / "shop/tests"}).code, kFailed);
}

constexpr char kReport[] = R"({"suites": [{"title": "till.spec.js", "file": "till.spec.js",
  "specs": [{"title": "adds", "file": "till.spec.js", "line": 3, "column": 1,
             "tests": [{"status": "expected", "results": [{"status": "passed", "duration": 7}]}]}],
  "suites": [{"title": "a card", "specs": [
    {"title": "is refused", "file": "till.spec.js", "line": 9, "column": 3, "tests": [
      {"status": "unexpected", "results": [{"status": "failed", "duration": 12,
       "error": {"message": "\u001b[31mwrong\u001b[39m amount\nsecond line"}}]}]},
    {"title": "is late", "file": "till.spec.js", "line": 12, "column": 3, "tests": [
      {"status": "skipped", "results": []}]}]}]}],
  "errors": []})";

TEST_F(TestCommandTest, JsonTellsOfEveryTest) {
  install("@playwright/test");
  install("wzapp-playwright");
  folder_.write("report", kReport);
  program("node", R"(case "$1" in --version) echo v20.1.0; exit;; esac
echo "chatter: $*"; cat ../../report >"$PLAYWRIGHT_JSON_OUTPUT_NAME"; exit 1)");

  const ProgramResult result = test({"--json", folder_ / "shop", "--", "--grep", "card"});
  const ProgramResult quiet = test({"--quiet", folder_ / "shop"});

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.errors, HasSubstr("chatter: " + (folder_ / "shop/node_modules/") +
                                       "@playwright/test/cli.js test --grep card "
                                       "--reporter=json\n"));
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_TRUE(document.IsObject()) << result.out;
  EXPECT_FALSE(document["ok"].GetBool());
  const rapidjson::Value& told = document["result"];
  EXPECT_EQ(told["passed"].GetInt(), 1);
  EXPECT_EQ(told["failed"].GetInt(), 1);
  EXPECT_EQ(told["skipped"].GetInt(), 1);
  EXPECT_STREQ(told["tests"][1]["title"].GetString(), "a card > is refused");
  EXPECT_STREQ(told["tests"][1]["error"].GetString(), "wrong amount\\nsecond line");
  EXPECT_STREQ(document["diagnostics"][0]["code"].GetString(), "WZ-0930");
  EXPECT_EQ(document["diagnostics"][0]["line"].GetInt(), 9);
  EXPECT_EQ(quiet.code, kFailed);
  EXPECT_THAT(quiet.out, testing::StartsWith("till.spec.js:9:3: error: a test failed: a card > is "
                                             "refused [WZ-0930]\n  found: wrong amount\n"));
}

// As when its configuration cannot be read.
TEST_F(TestCommandTest, ARunnerWithoutAReportIsNamed) {
  install("@playwright/test");
  install("wzapp-playwright");

  const ProgramResult result = test({"--json", folder_ / "shop"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.out, HasSubstr("the test runner has written no report"));
}

TEST_F(TestCommandTest, WhatIsMissingIsToldWithTheCure) {
  EXPECT_EQ(test({folder_ / "bin"}).code, kEnvironment);
  EXPECT_EQ(test({folder_ / "none"}).code, kEnvironment);

  const ProgramResult both = test({folder_ / "shop"});
  install("@playwright/test");
  const ProgramResult one = test({folder_ / "shop"});
  program("node", "echo v16.3.0");
  const ProgramResult old = test({folder_ / "shop"});

  EXPECT_EQ(both.code, kEnvironment);
  EXPECT_THAT(both.errors, HasSubstr("cd " + (folder_ / "shop/tests") +
                                     " && npm install --save-dev --install-links "
                                     "@playwright/test /"));
  EXPECT_THAT(both.errors, Not(HasSubstr("\\n"))) << "a command that nobody can copy";
  EXPECT_THAT(one.errors, HasSubstr("--install-links /"));
  EXPECT_THAT(one.errors, HasSubstr("share/wzapp/playwright\n"));
  EXPECT_EQ(old.code, kEnvironment);
  EXPECT_THAT(old.errors, HasSubstr("node is too old; the tests need Node.js 18 or later"));
}

}  // namespace
}  // namespace wzapp_test
