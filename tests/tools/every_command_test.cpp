// What holds of every command of the table that --help and the completions come from. One that has
// no row here fails: it is not forgotten.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "tests/builders/temporary_directory.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;
using testing::IsSupersetOf;
using Arguments = std::vector<std::string>;

// Whose standard output is not its own.
const Arguments kAnothers;

// It takes seconds, and has a test of its own.
const Arguments kTooSlow{"--quiet"};

struct Row {
  // So called, it writes to standard output. "#" stands for a number that is never the same.
  Arguments prints;
  // So called, it does what it is for without a word; none: it has no --quiet.
  Arguments isQuiet = {};
  bool hasVerbose = false;
};

const std::map<std::string, Row>& rows() {
  static const std::map<std::string, Row> all = {
      {"terminal create",
       {{"terminal", "create", "new#"}, {"terminal", "create", "new#", "--quiet"}}},
      {"terminal show", {{"terminal", "show", "desk"}}},
      {"run",
       {{"run", "--terminal", "desk", "--headless", "./leaves"},
        {"run", "--terminal", "desk", "--headless", "--quiet", "./leaves"}}},
      {"replay",
       {{"replay", "--terminal", "desk", "--json", "leaves.jsonl", "./leaves"},
        {"replay", "--terminal", "desk", "--quiet", "leaves.jsonl", "./leaves"}}},
      {"test", {{"test", "--json", "suite"}, {"test", "--quiet", "suite"}}},
      {"exec", {kAnothers}},
      {"listen",
       {{"listen", "--terminal", "desk", "--json", "--count", "1", "--timeout", "0.1", "a", "b"},
        {"listen", "--terminal", "desk", "--quiet", "--timeout", "0.1", "a", "b"}}},
      {"notify", {{"notify", "--terminal", "desk", "--json", "a", "b"}}},
      {"reply",
       {{"reply", "--terminal", "desk", "--json", "--count", "1", "--timeout", "0.1", "a", "b",
         "{}"},
        {"reply", "--terminal", "desk", "--quiet", "--timeout", "0.1", "a", "b", "{}"}}},
      {"host",
       {{"host", "--example"},
        {"host", "--terminal", "desk", "--quiet", "--timeout", "0.1", "host.json"}}},
      {"keys init", {{"keys", "init", "--json", "keys"}, kTooSlow}},
      {"keys issue",
       {{"keys", "issue", "--json", "keys", "--keys", "keys"},
        {"keys", "issue", "ci#", "--keys", "keys", "--quiet"}}},
      {"keys rotate",
       {{"keys", "rotate", "--json", "shop"}, {"keys", "rotate", "keys", "--quiet"}}},
      {"keys show", {{"keys", "show", "keys/roots"}, {}, true}},
      {"certs",
       {{"certs", "--terminal", "desk", "-o", "desk.tar"},
        {"certs", "--terminal", "desk", "-o", "desk.tar", "--quiet"}}},
      {"new", {{"new", "shop#"}, {"new", "shop#", "--quiet"}}},
      {"pack",
       {{"pack", "shop", "-o", "shop.zip"}, {"pack", "shop", "-o", "shop.zip", "--quiet"}, true}},
      {"inspect", {{"inspect", "shop.zip"}, {"inspect", "--quiet", "shop.zip"}, true}},
      {"check", {{"check", "shop"}, {"check", "--quiet", "shop"}, true}},
      {"explain", {{"explain", "WZ-0301"}}},
      // What it has to tell depends on the machine.
      {"doctor", {{"doctor"}, {"doctor", "--quiet"}, true}},
      {"tamper", {{"tamper", "--json", "shop.zip"}, kTooSlow, true}},
      {"install",
       {{"install", "--terminal", "desk", "shop.zip"},
        {"install", "--terminal", "desk", "--quiet", "shop.zip"},
        true}},
      {"matrix", {{"matrix", "shop.zip", "--terminals", "desk"}}},
      {"workbench", {{"workbench", "--no-open", "desk"}}},
      {"list", {{"list", "--terminal", "desk"}}},
      {"remove",
       {{"remove", "--terminal", "desk", "--json", "none"},
        {"remove", "--terminal", "desk", "--quiet", "shop"},
        true}},
      {"history", {{"history", "--terminal", "desk"}, {}, true}},
      {"diff", {{"diff", "shop.zip", "shop.zip"}}},
      {"why", {{"why", "--terminal", "desk", "--json", "shop"}}},
      {"help", {{"help", "pack"}}},
      {"completion", {{"completion", "zsh"}}},
  };
  return all;
}

// "keys show" -> "commands=''" and "options='--json --help'", for those that have none below them.
std::map<std::string, std::string> optionsByCommand() {
  const std::string script = runWz({"completion", "bash"}).out;
  const std::regex entry(
      R"(\n    '? ?([a-z ]*)'?\)\n      commands=(.*)\n      options='?(.*?)'?\n)");
  std::map<std::string, std::string> all;
  for (auto i = std::sregex_iterator(script.begin(), script.end(), entry);
       i != std::sregex_iterator(); ++i) {
    if ((*i)[2] == "''") all[(*i)[1]] = (*i)[3];
  }
  return all;
}

bool hasWord(const std::string& text, const std::string& word) {
  return (" " + text + " ").find(" " + word + " ") != std::string::npos;
}

// One folder for all of them, with what they work on.
class EveryCommandTest : public testing::TestWithParam<std::string> {
 protected:
  struct Place {
    TemporaryDirectory folder;
    int number = 0;
  };

  static void SetUpTestSuite() {
    place_ = std::make_unique<Place>();
    const TemporaryDirectory& folder = place_->folder;
    for (const char* const name : {"suite/node_modules/@playwright/test",
                                   "suite/node_modules/wzapp-playwright", "bin", "leaves"}) {
      std::filesystem::create_directories(folder / name);
    }
    folder.write("leaves/manifest.mft",
                 R"({"application": {"id": "leaves"}, "desktop": {"file": "index.html"}})");
    folder.write("leaves/index.html", "<script>wz.exit(0)</script>");
    folder.write("suite/playwright.config.js", "");
    for (const char* const name : {"@playwright/test", "wzapp-playwright"}) {
      folder.write("suite/node_modules/" + std::string(name) + "/package.json", "{}");
    }
    folder.write("bin/node", R"(#!/bin/sh
case "$1" in --version) echo v20.1.0; exit;; esac
echo '{"suites": []}' >"$PLAYWRIGHT_JSON_OUTPUT_NAME"
)");
    chmod((folder / "bin/node").c_str(), 0755);
    folder.write("host.json", runWz({"host", "--example"}).out);
    std::filesystem::copy(madeKeys(), folder / "keys", std::filesystem::copy_options::recursive);
    for (const Arguments& arguments :
         {Arguments{"terminal", "create", "desk"}, Arguments{"new", "shop"},
          Arguments{"pack", "shop", "-o", "shop.zip"},
          Arguments{"install", "--terminal", "desk", "shop.zip"},
          Arguments{"run", "--terminal", "desk", "--headless", "--record", "leaves.jsonl",
                    "./leaves"}}) {
      const ProgramResult made = runWz(arguments, inPlace);
      ASSERT_EQ(made.code, 0) << arguments[0] << ": " << made.out << made.errors;
    }
  }
  static void TearDownTestSuite() { place_.reset(); }

  static void inPlace() {
    unsetenv("WZ_TERMINAL");
    const TemporaryDirectory& folder = place_->folder;
    setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    setenv("PATH", (folder / "bin").append(":").append(getenv("PATH")).c_str(), 1);
    if (chdir(folder.path().c_str()) != 0) _exit(126);
  }

  static Arguments numbered(Arguments arguments) {
    for (std::string& argument : arguments) {
      const std::size_t at = argument.find('#');
      if (at != std::string::npos) argument.replace(at, 1, std::to_string(++place_->number));
    }
    return arguments;
  }

  static std::unique_ptr<Place> place_;
};

std::unique_ptr<EveryCommandTest::Place> EveryCommandTest::place_;

std::vector<std::string> rowNames() {
  std::vector<std::string> names;
  for (const auto& [name, row] : rows()) names.push_back(name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Commands, EveryCommandTest, testing::ValuesIn(rowNames()),
                         [](const auto& row) {
                           return std::regex_replace(row.param, std::regex(" "), "");
                         });

TEST_P(EveryCommandTest, OutputThatIsLostEndsItWith3) {
  const Row& row = rows().at(GetParam());
  if (row.prints.empty()) return;
  const ProgramResult full = runWz(numbered(row.prints), [] {
    inPlace();
    dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
  });
  const ProgramResult closed = runWz(numbered(row.prints), [] {
    inPlace();
    close(STDOUT_FILENO);
  });

  EXPECT_EQ(full.code, kEnvironment) << full.errors;
  EXPECT_THAT(full.errors, HasSubstr("wz: cannot write to standard output: No space left"));
  EXPECT_EQ(closed.code, kEnvironment) << closed.errors;
  EXPECT_THAT(closed.errors, HasSubstr("wz: cannot write to standard output: Bad file desc"));
}

TEST_P(EveryCommandTest, QuietSaysNothingOfWhatGoesWell) {
  const Row& row = rows().at(GetParam());
  if (row.isQuiet.empty() || row.isQuiet == kTooSlow || GetParam() == "doctor") return;

  const ProgramResult result = runWz(numbered(row.isQuiet), inPlace);

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.errors, "");
}

// ---- On a user's terminal ----------------------------------------------------------------------

// What appears there.
std::string shownOn(const char* type, const Arguments& arguments,
                    const std::function<void()>& prepare) {
  const int screen = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (screen < 0 || grantpt(screen) != 0 || unlockpt(screen) != 0) {
    ADD_FAILURE() << "no pseudo-terminal";
    return {};
  }
  const std::string name = ptsname(screen);
  const int held = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  (void)runWz(arguments, [&] {
    for (const int file : {STDOUT_FILENO, STDERR_FILENO}) dup2(held, file);
    setenv("TERM", type, 1);
    unsetenv("NO_COLOR");
    prepare();
  });
  close(held);  // so that reading ends behind the last octet
  std::string shown;
  char block[4096];
  for (ssize_t count = 0; (count = read(screen, block, sizeof(block))) > 0;) {
    shown.append(block, static_cast<std::size_t>(count));
  }
  close(screen);
  return shown;
}

TEST(ScreenTest, AVerdictIsInColourThereAlone) {
  const TemporaryDirectory folder;
  const std::string bad = folder.write("bad.zip", "PK");
  const Arguments inspect{"inspect", bad};
  const auto asItIs = [] {};

  EXPECT_THAT(shownOn("xterm", inspect, asItIs), HasSubstr("\033[1;31mrefused:\033[0m "));
  EXPECT_THAT(shownOn("dumb", inspect, asItIs), testing::StartsWith("refused: "));
  EXPECT_THAT(shownOn("xterm", inspect, [] { setenv("NO_COLOR", "1", 1); }),
              testing::StartsWith("refused: "));
  EXPECT_THAT(runWz(inspect).out, testing::StartsWith("refused: "));
}

TEST(CommandTableTest, EveryCommandHasARowAndTheOptionsThatItSays) {
  const std::map<std::string, std::string> commands = optionsByCommand();
  ASSERT_THAT(commands.size(), testing::Ge(30U));
  for (const auto& [command, options] : commands) {
    const auto row = rows().find(command);
    if (row == rows().end()) {
      ADD_FAILURE() << "wz " << command << " has no row";
      continue;
    }
    EXPECT_EQ(hasWord(options, "--quiet"), !row->second.isQuiet.empty()) << command;
    EXPECT_EQ(hasWord(options, "--verbose"), row->second.hasVerbose) << command;
  }
  EXPECT_EQ(commands.size(), rows().size());
}

}  // namespace
}  // namespace wzapp_test
