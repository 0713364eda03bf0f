// wz test, as far as it goes without packages of Node.js: what it looks for, and what it leaves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/builders/temporary_directory.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;

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

TEST_F(TestCommandTest, WhatIsMissingIsToldWithTheCure) {
  EXPECT_EQ(test({folder_ / "bin"}).code, kUsage);
  EXPECT_EQ(test({folder_ / "none"}).code, kUsage);

  const ProgramResult both = test({folder_ / "shop"});
  install("@playwright/test");
  const ProgramResult one = test({folder_ / "shop"});
  program("node", "echo v16.3.0");
  const ProgramResult old = test({folder_ / "shop"});

  EXPECT_EQ(both.code, kEnvironment);
  EXPECT_THAT(both.errors, HasSubstr("cd " + (folder_ / "shop/tests") +
                                     " && npm install --save-dev --install-links "
                                     "@playwright/test /"));
  EXPECT_THAT(one.errors, HasSubstr("--install-links /"));
  EXPECT_THAT(one.errors, HasSubstr("share/wzapp/playwright\n"));
  EXPECT_EQ(old.code, kEnvironment);
  EXPECT_THAT(old.errors, HasSubstr("node is too old; the tests need Node.js 18 or later"));
}

}  // namespace
}  // namespace wzapp_test
