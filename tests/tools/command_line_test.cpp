// What a user meets before anything happens: help, wrong command lines, machines that do not allow.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/builders/temporary_directory.h"
#include "tests/builders/test_terminal.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

void withoutTerminal() { unsetenv("WZ_TERMINAL"); }

class HelpTest : public testing::TestWithParam<Arguments> {};

TEST_P(HelpTest, ShowsTwoExamplesAndTheExitCodes) {
  Arguments arguments = GetParam();
  arguments.push_back("--help");

  const ProgramResult result = runWz(arguments);

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.out, AllOf(HasSubstr("Examples:\n  wz "), HasSubstr("Exit codes:\n  0  "),
                                HasSubstr("\n  1  "), HasSubstr("\n  2  "), HasSubstr("\n  3  ")));
  int examples = 0;
  for (const std::string& line : linesOf(result.out)) examples += line.rfind("  wz ", 0) == 0;
  EXPECT_EQ(examples, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, HelpTest,
    testing::Values(Arguments{}, Arguments{"terminal"}, Arguments{"terminal", "create"},
                    Arguments{"terminal", "show"}, Arguments{"run"}, Arguments{"replay"},
                    Arguments{"listen"}, Arguments{"notify"}, Arguments{"reply"}, Arguments{"exec"},
                    Arguments{"keys"}, Arguments{"keys", "init"}, Arguments{"keys", "issue"},
                    Arguments{"keys", "rotate"}, Arguments{"keys", "show"}, Arguments{"certs"},
                    Arguments{"new"}, Arguments{"pack"}, Arguments{"inspect"}, Arguments{"check"},
                    Arguments{"explain"}, Arguments{"doctor"}, Arguments{"tamper"},
                    Arguments{"install"}, Arguments{"list"}, Arguments{"remove"},
                    Arguments{"history"}, Arguments{"diff"}, Arguments{"why"},
                    Arguments{"completion"}, Arguments{"help"}));

TEST(CommandLineTest, TheVersionIsThatOfTheProject) {
  const ProgramResult result = runWz({"--version"});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, StartsWith("wz " WZ_VERSION "\n"));
}

struct WrongCommandLine {
  const char* name;
  Arguments arguments;
  const char* message;
};

void PrintTo(const WrongCommandLine& row, std::ostream* out) { *out << row.name; }

class WrongCommandLineTest : public testing::TestWithParam<WrongCommandLine> {};

TEST_P(WrongCommandLineTest, IsExplained) {
  const ProgramResult result = runWz(GetParam().arguments, withoutTerminal);

  EXPECT_EQ(result.code, kUsage);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.errors, HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongCommandLineTest,
    testing::Values(
        WrongCommandLine{"Nothing", {}, "Subcommands:"},
        WrongCommandLine{"Unknown", {"fly"}, "there is no command fly"},
        WrongCommandLine{"MatrixOnStandardOutput",
                         {"matrix", "shop.zip", "--terminals", "fleet", "-o", "-"},
                         "- is no file; without -o, --json writes the lines to standard output"},
        WrongCommandLine{"TamperOnStandardOutput",
                         {"tamper", "shop.zip", "-o", "-"},
                         "- is no folder; the variants are files, for which -o names one"},
        WrongCommandLine{"EarlyQuiet",
                         {"--quiet", "list"},
                         "--quiet stands behind the command: wz list --quiet"},
        WrongCommandLine{"EarlyOption",
                         {"--terminal", "desk", "keys", "show"},
                         "--terminal stands behind the command: wz keys show --terminal"},
        WrongCommandLine{"UnknownOption", {"run", "shop", "--fast"}, "--fast"},
        WrongCommandLine{"TerminalAlone", {"terminal"}, "name one of its commands: show, create"},
        WrongCommandLine{"NoDirectory", {"terminal", "create"}, "DIR"},
        WrongCommandLine{"NoApplication", {"run"}, "name an application, or its folder"},
        WrongCommandLine{
            "KeysAlone", {"keys"}, "name one of its commands: init, issue, rotate, show"},
        WrongCommandLine{"NoKeyDirectory", {"keys", "init"}, "DIR"},
        WrongCommandLine{"NoSignersDirectory", {"keys", "issue"}, "DIR"},
        WrongCommandLine{"NoSuchRole", {"keys", "rotate", "keys", "--role", "chef"}, "--role"},
        WrongCommandLine{"NoSuchDay",
                         {"keys", "issue", "d", "--keys", "/", "--until", "2030-02-30"},
                         "2030-02-30"},
        WrongCommandLine{"NoCertificate", {"keys", "show"}, "FILE"},
        WrongCommandLine{"NoArchive", {"certs", "--terminal", "desk"}, "--output"},
        WrongCommandLine{"NoName", {"listen", "till"}, "NAME"},
        WrongCommandLine{"NoJson", {"reply", "till", "PAY"}, "JSON"},
        WrongCommandLine{"NoHostFile", {"host"}, "name a host file; wz host --example prints one"},
        WrongCommandLine{"TimeoutZero", {"run", "shop", "--timeout", "0"}, "--timeout"},
        WrongCommandLine{"TimeoutText", {"listen", "a", "b", "--timeout", "soon"}, "--timeout"},
        WrongCommandLine{"CountNegative", {"listen", "a", "b", "--count", "-1"}, "--count"},
        WrongCommandLine{
            "Parameter", {"run", "shop", "--param", "colour"}, "--param is KEY=VALUE, not colour"},
        WrongCommandLine{
            "EmptyKey", {"run", "shop", "--param", "=red"}, "--param is KEY=VALUE, not =red"},
        WrongCommandLine{"NotifyJson",
                         {"notify", "till", "PAY", "{\"amount\":"},
                         "not a JSON value: {\"amount\":"},
        WrongCommandLine{
            "ReplyJson", {"reply", "till", "PAY", "true false"}, "not a JSON value: true false"},
        WrongCommandLine{"ControlCharacters",
                         {"reply", "till", "PAY", "\x1b[2J"},
                         "not a JSON value: \\x1b[2J: Invalid value. (line 1, column 1)\n"},
        WrongCommandLine{"Display",
                         {"terminal", "create", "/nowhere/t", "--display", "480"},
                         "--display is WIDTHxHEIGHT in pixels, such as 480x800, not 480"},
        WrongCommandLine{
            "DisplayRest", {"terminal", "create", "/nowhere/t", "--display", "4x8x2"}, "not 4x8x2"},
        WrongCommandLine{"Sponsor",
                         {"terminal", "create", "/nowhere/t", "--sponsor", "12"},
                         "\"sponsor.id\" must be six digits"},
        WrongCommandLine{"EmptyOption",
                         {"new", "--id=", "shop"},
                         "--id: a value is wanted, not an empty one; see wz new --help"},
        WrongCommandLine{"EmptyNumber",
                         {"notify", "till", "PAY", "--flags", ""},
                         "--flags: a value is wanted, not an empty one"},
        WrongCommandLine{"AllowedIsNoCode",
                         {"check", "shop", "--allow", "foo"},
                         "--allow: a code such as WZ-0824 is wanted, not 'foo'"},
        WrongCommandLine{"AllowedIsEmpty", {"pack", "shop", "--allow="}, "is wanted, not ''"},
        WrongCommandLine{"DeveloperToolsWithoutWindow",
                         {"run", "shop", "--devtools", "--headless"},
                         "--devtools needs the window that --headless leaves out"},
        WrongCommandLine{"TamperOnlyWithoutRun",
                         {"tamper", "shop.zip", "-o", "lab", "--only", "swap"},
                         "--only is of playing variants, with --run"},
        WrongCommandLine{"TamperTerminalWithoutRun",
                         {"tamper", "shop.zip", "-o", "lab", "--terminal", "desk"},
                         "--terminal is of playing variants, with --run"},
        WrongCommandLine{"TamperKeysWithRun",
                         {"tamper", "lab", "--run", "./till", "--keys", "keys"},
                         "--keys is of making variants, with -o"},
        WrongCommandLine{
            "Memory", {"terminal", "create", "/nowhere/t", "--memory", "lots"}, "--memory"}),
    [](const testing::TestParamInfo<WrongCommandLine>& row) { return row.param.name; });

// ---- The user's own terminal -------------------------------------------------------------------

class OwnTerminalTest : public testing::Test {
 protected:
  // In the surroundings of a user whose home is a folder of this test.
  ProgramResult runAtHome(const Arguments& arguments, const std::string& data = "") const {
    return runWz(arguments, [&] {
      withoutTerminal();
      setenv("HOME", home_.path().c_str(), 1);
      if (data.empty()) {
        unsetenv("XDG_DATA_HOME");
      } else {
        setenv("XDG_DATA_HOME", data.c_str(), 1);
      }
    });
  }

  TemporaryDirectory home_;
  std::string own_ = home_ / ".local/share/wzapp/terminal";
};

TEST_F(OwnTerminalTest, IsMadeAtItsFirstUseAndSaidOnce) {
  const ProgramResult first = runAtHome({"list"});
  const ProgramResult second = runAtHome({"list"});

  EXPECT_EQ(first.code, 0);
  EXPECT_EQ(first.errors, "wz: made the terminal " + own_ +
                              " for commands that name none (with --terminal or WZ_TERMINAL)\n");
  EXPECT_EQ(second.code, 0);
  EXPECT_EQ(second.errors, "");
  EXPECT_TRUE(std::filesystem::exists(own_ + "/terminal.json"));
}

TEST_F(OwnTerminalTest, LiesInTheDataFolderThatTheUserChose) {
  EXPECT_EQ(runAtHome({"list"}, home_ / "data").code, 0);

  EXPECT_TRUE(std::filesystem::exists(home_ / "data/wzapp/terminal/terminal.json"));
  EXPECT_FALSE(std::filesystem::exists(own_));
}

// XDG Base Directory Specification: such paths are to be ignored.
TEST_F(OwnTerminalTest, ARelativeDataFolderDoesNotCount) {
  EXPECT_EQ(runAtHome({"list"}, "data").code, 0);

  EXPECT_TRUE(std::filesystem::exists(own_ + "/terminal.json"));
}

TEST_F(OwnTerminalTest, SeveralFirstUsesAtOnceAllSucceed) {
  const auto atHome = [&] {
    withoutTerminal();
    setenv("HOME", home_.path().c_str(), 1);
    unsetenv("XDG_DATA_HOME");
  };
  std::vector<std::unique_ptr<Program>> users;
  for (int i = 0; i < 6; ++i) {
    users.push_back(std::make_unique<Program>(std::vector<std::string>{"list"}, atHome));
  }

  for (const auto& user : users) EXPECT_EQ(user->wait(), 0) << user->errors();
  EXPECT_THAT(namesIn(home_ / ".local/share/wzapp"), testing::ElementsAre("terminal"));
}

TEST_F(OwnTerminalTest, EveryCommandUsesIt) {
  EXPECT_EQ(runAtHome({"exec", "--", "test", "-d", "/mnt/flash/etc"}).code, 1);
  EXPECT_EQ(runAtHome({"certs", "-o", home_ / "certs.tar"}).code, 0);
  EXPECT_EQ(runAtHome({"notify", "till", "PAID"}).errors, "wz: nobody listens for PAID at till\n");
  EXPECT_EQ(runAtHome({"listen", "till", "PAID", "--timeout", "0.01"}).code, 0);
}

TEST_F(OwnTerminalTest, WithoutAnyPlaceForOneATerminalMustBeNamed) {
  for (const Arguments& arguments :
       {Arguments{"run", "shop"}, Arguments{"listen", "till", "PAID"},
        Arguments{"notify", "till", "PAID"}, Arguments{"reply", "till", "PAY", "1"},
        Arguments{"certs", "-o", "-"}}) {
    const ProgramResult result = runWz(arguments, [] {
      withoutTerminal();
      unsetenv("HOME");
      unsetenv("XDG_DATA_HOME");
    });

    EXPECT_EQ(result.code, kEnvironment) << arguments.front();
    EXPECT_THAT(result.errors, HasSubstr("which terminal? Name its folder with --terminal DIR"));
  }
}

TEST(EnvironmentTest, AFolderThatIsNoTerminalIsNamed) {
  const ProgramResult result = runWz({"listen", "till", "PAID", "--terminal", "/usr"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors,
            "wz: /usr is no terminal directory: it has no folder flash; make one with: wz terminal "
            "create DIR\n");
}

TEST(EnvironmentTest, AWrongProfileIsNamedWithItsLine) {
  const TemporaryTerminal terminal;
  std::ofstream(terminal.directory() + "/terminal.json") << "{\n  \"keys\": \"many\"\n}";

  const ProgramResult result =
      runWz({"listen", "till", "PAID", "--terminal", terminal.directory()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: " + terminal.directory() +
                               "/terminal.json:2:11: \"keys\" must be a whole number, not a "
                               "text\n");
}

// As on a machine whose administrator allows no user namespaces: inside one that allows no further.
TEST(EnvironmentTest, AMachineWithoutPrivateNamespacesIsExplained) {
  const TemporaryTerminal terminal;
  const auto forbidNamespaces = [&] {
    execlp("unshare", "unshare", "--user", "--map-root-user", "sh", "-c",
           "echo 0 >/proc/sys/user/max_user_namespaces && exec \"$0\" \"$@\"", WZ_PROGRAM, "listen",
           "till", "PAID", "--terminal", terminal.directory().c_str(), nullptr);
  };

  const ProgramResult result = runWz({}, forbidNamespaces);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, StartsWith("wz: this machine does not let an ordinary user make a "
                                        "private namespace (unshare: No space left on device); "));
  EXPECT_EQ(linesOf(result.errors).size(), 1U);
}

TEST(CreateTest, MakesATerminalThatCanBeUsed) {
  const TemporaryTerminal place;  // only to have a folder that goes again
  const std::string desk = place.directory() + "/desk";

  const ProgramResult made =
      runWz({"terminal", "create", desk, "--model", "N255k", "--display", "320x240", "--monochrome",
             "--sponsor", "654321", "--sponsor-text", "Café", "--trigger", "PAY", "--trigger",
             "VOID", "--interface", "print"});

  EXPECT_EQ(made.code, 0) << made.errors;
  EXPECT_EQ(made.out, "made the terminal " + desk + "\n");
  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  ASSERT_TRUE(workstation::loadTerminalProfile(desk, profile, error)) << error.text();
  EXPECT_EQ(profile.model, "N255k");
  EXPECT_EQ(profile.displayWidth, 320);
  EXPECT_EQ(profile.displayHeight, 240);
  EXPECT_FALSE(profile.displayColour);
  EXPECT_EQ(profile.sponsorId, "654321");
  EXPECT_EQ(profile.sponsorText, "Café");
  std::ifstream file(desk + "/home/sys1/www/terminal-software.mft");
  const std::string manifest((std::istreambuf_iterator<char>(file)),
                             std::istreambuf_iterator<char>());
  EXPECT_THAT(manifest, AllOf(HasSubstr("\"PAY\""), HasSubstr("\"VOID\""), HasSubstr("\"print\""),
                              Not(HasSubstr("RECEIPT"))));
  EXPECT_EQ(runWz({"listen", "a", "b", "--terminal", desk, "--timeout", "0.01"}).code, 0);
}

TEST(CreateTest, WithoutASponsor) {
  const TemporaryTerminal place;
  const std::string desk = place.directory() + "/desk";

  ASSERT_EQ(runWz({"terminal", "create", desk, "--sponsor", ""}).code, 0);

  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  ASSERT_TRUE(workstation::loadTerminalProfile(desk, profile, error)) << error.text();
  EXPECT_EQ(profile.sponsorId, "");
  EXPECT_EQ(profile.sponsorText, "");
}

TEST(CreateTest, AFolderInUseIsLeftAlone) {
  const TemporaryTerminal terminal;

  const ProgramResult result = runWz({"terminal", "create", terminal.directory()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: " + terminal.directory() +
                               ": is not empty; a terminal needs a folder of its own\n");
}

TEST(TerminalTest, ShowsWhatApplicationsFind) {
  const TemporaryTerminal terminal;
  std::ofstream(terminal.directory() + "/terminal.json")
      << R"({"serial": "7", "model": "T30", "display": {"width": 320, "height": 480,)"
         R"( "colour": false}, "memory": 1024, "keys": 15, "touch": false})";

  const ProgramResult result = runWz({"terminal", "show", terminal.directory()});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(result.out, HasSubstr("\nplatform    320x480M0T\n"));
  EXPECT_THAT(result.out, HasSubstr("\nkeys        0\n"));
  EXPECT_THAT(result.out,
              HasSubstr("the model T30 has no keys whatever \"keys\" says, which is 15"));
  EXPECT_THAT(result.out, HasSubstr("the model T30 has a touch screen whatever \"touch\" says"));
}

// A new terminal is what its model is, unless it is asked for otherwise; then it is said.
TEST(TerminalTest, ANewOneAgreesWithItsModelOrSaysSo) {
  const TemporaryDirectory directory;

  const ProgramResult plain = runWz({"terminal", "create", directory / "plain"});
  const ProgramResult odd =
      runWz({"terminal", "create", directory / "odd", "--keys", "15", "--no-touch"});
  const ProgramResult keypad =
      runWz({"terminal", "create", directory / "keypad", "--model", "KM420"});

  EXPECT_EQ(plain.errors, "");
  EXPECT_THAT(runWz({"terminal", "show", directory / "plain"}).out,
              HasSubstr("\nplatform    480x800C0T\n"));
  EXPECT_EQ(odd.code, 0);
  EXPECT_THAT(odd.errors, HasSubstr("wz: note: the model T30 has no keys"));
  EXPECT_THAT(odd.errors, HasSubstr("wz: note: the model T30 has a touch screen"));
  EXPECT_EQ(keypad.errors, "");
}

// ---- What was meant ----------------------------------------------------------------------------

TEST(DidYouMeanTest, ACommand) {
  EXPECT_EQ(runWz({"instal"}).errors,
            "wz: there is no command instal; did you mean install? (see wz --help)\n");
}

TEST(DidYouMeanTest, AnOption) {
  EXPECT_EQ(runWz({"list", "--terminl", "desk"}).errors,
            "wz: there is no option --terminl; did you mean --terminal? (see wz list --help)\n");
}

TEST(DidYouMeanTest, ACommandBelowAnother) {
  EXPECT_EQ(runWz({"keys", "shw", "x"}).errors,
            "wz: there is no command keys shw; did you mean show? (see wz --help)\n");
  EXPECT_EQ(runWz({"keys"}).errors,
            "wz: name one of its commands: init, issue, rotate, show; see wz keys --help\n");
  EXPECT_EQ(runWz({"--versio"}).errors,
            "wz: there is no option --versio; did you mean --version? (see wz --help)\n");
}

struct Answer {
  Arguments arguments;
  const char* words;
};

TEST(ShortAnswerTest, WhatIsWantedIsSaid) {
  const Answer answers[] = {
      {{"terminal", "create", "x", "--memory", "much"},
       "--memory: a number is wanted, not much; see wz terminal create --help"},
      {{"listen", "a", "b", "--timeout"}, "--timeout: SECONDS is missing; see wz listen --help"},
      {{"run", "x", "--keys", "300"},
       "--keys: a number from 0 to 255 is wanted, not 300; see wz run --help"},
      {{"keys", "show", "x", "--within", "-1"},
       "--within: a number from 0 to 100000 is wanted, not -1; see wz keys show --help"},
      {{"inspect", "x", "--verbose", "--quiet"},
       "--quiet excludes --verbose; see wz inspect --help"},
      {{"keys", "issue", "x", "--role", "boss"},
       "--role: application or manifest is wanted, not boss; see wz keys issue --help"},
  };
  for (const Answer& answer : answers) {
    const ProgramResult result = runWz(answer.arguments);
    EXPECT_EQ(result.code, kUsage);
    EXPECT_EQ(result.errors, std::string("wz: ") + answer.words + "\n");
  }
}

TEST(ShortAnswerTest, ANumberThatIsTooSmall) {
  EXPECT_EQ(runWz({"listen", "a", "b", "--timeout", "0"}).errors,
            "wz: --timeout: a number above 0 is wanted, not 0; see wz listen --help\n");
}

TEST(ShortAnswerTest, ArgumentsAreNamedInTheOrderGiven) {
  EXPECT_EQ(runWz({"list", "one", "two"}).errors,
            "wz: not expected: one two; see wz list --help\n");
}

// ---- Completion --------------------------------------------------------------------------------

// What bash offers for the last of these words.
std::vector<std::string> completed(const std::string& words) {
  const std::string script = "source <(" + std::string(WZ_PROGRAM) +
                             " completion bash); COMP_WORDS=(" + words +
                             "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _wz; "
                             "printf '%s\\n' \"${COMPREPLY[@]}\"";
  const ProgramResult result = runProgram("/bin/bash", {"-c", script});
  EXPECT_EQ(result.errors, "");
  return linesOf(result.out);
}

TEST(CompletionTest, BashOffersCommandsAndOptions) {
  EXPECT_THAT(completed("wz ins"), testing::ElementsAre("inspect", "install"));
  EXPECT_THAT(completed("wz keys ''"), testing::ElementsAre("init", "issue", "rotate", "show"));
  EXPECT_THAT(completed("wz --"), testing::IsSupersetOf({"--help", "--version"}));
  EXPECT_THAT(completed("wz inspect --ver"), testing::ElementsAre("--verbose"));
  EXPECT_THAT(completed("wz keys show --j"), testing::ElementsAre("--json"));
  EXPECT_THAT(completed("wz terminal create desk --ro"), testing::ElementsAre("--roots"));
  // Behind an option with a value stand names of files, which bash itself knows.
  EXPECT_THAT(completed("wz install --terminal --"), testing::ElementsAre(""));
}

class CompletionScriptTest : public testing::TestWithParam<Arguments> {};

// The shell itself takes the script for one of its language.
TEST_P(CompletionScriptTest, IsRead) {
  const std::string shell = GetParam()[0];
  if (runProgram("/bin/sh", {"-c", "command -v " + shell}).code != 0) {
    GTEST_SKIP() << shell << " is not installed";
  }
  const ProgramResult script = runWz({"completion", shell});
  const ProgramResult result =
      runProgram("/bin/sh", {"-c", std::string(WZ_PROGRAM) + " completion " + shell + " | " +
                                       shell + " " + GetParam()[1] + " /dev/stdin"});

  EXPECT_EQ(script.code, 0);
  EXPECT_THAT(script.out,
              AllOf(HasSubstr("made by: wz completion " + shell), HasSubstr("verbose")));
  EXPECT_EQ(result.code, 0) << result.errors;
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionScriptTest,
                         testing::Values(Arguments{"bash", "-n"}, Arguments{"zsh", "-n"},
                                         Arguments{"fish", "--no-execute"}),
                         [](const auto& row) { return row.param[0]; });

TEST(CompletionTest, OtherShellsAreNotKnown) {
  const ProgramResult result = runWz({"completion", "tcsh"});

  EXPECT_EQ(result.code, kUsage);
  EXPECT_EQ(result.errors,
            "wz: there is no completion for tcsh; there is for bash, zsh and fish\n");
}

// ---- Doctor ------------------------------------------------------------------------------------

TEST(DoctorTest, NamesWhatIsMissingAndHowToMendIt) {
  const TemporaryDirectory folder;

  const ProgramResult result = runWz({"doctor"}, [&folder] {
    setenv("PATH", folder.path().c_str(), 1);
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
  });

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(
      linesOf(result.out),
      testing::IsSupersetOf(
          {"missing  message bus: there is no program for the message bus",
           "           found: dbus-daemon is not in PATH",
           "           repair: Install it. sudo apt-get install dbus-daemon [WZ-1003]",
           "note     display: there is no display server", "note     Node.js: there is no Node.js",
           "           found: node is not in PATH"}));
  EXPECT_THAT(result.out, HasSubstr("[WZ-1010]"));
}

struct Lack {
  const char* code;
  const char* make;  // by a shell that is root in namespaces of its own; "$1" is a folder
};

class LackTest : public testing::TestWithParam<Lack> {};

TEST_P(LackTest, IsFound) {
  const TemporaryDirectory folder;
  const std::string script = std::string(GetParam().make) + "; exec \"$0\" doctor";

  const ProgramResult result = runWz({}, [&] {
    execlp("unshare", "unshare", "--user", "--map-root-user", "--mount", "sh", "-ec",
           script.c_str(), WZ_PROGRAM, folder.path().c_str(), nullptr);
  });

  EXPECT_THAT(result.out, HasSubstr("[" + std::string(GetParam().code) + "]")) << result.errors;
}

constexpr char kFakeBrowser[] =
    "mount -t tmpfs none /usr/lib/chromium; printf '#!/bin/sh\nexit 1\n' "
    ">/usr/lib/chromium/chromium; chmod +x /usr/lib/chromium/chromium";
constexpr char kFakeNode[] =
    "printf '#!/bin/sh\n[ \"$1\" = --version ] && echo v20.1.0\n' >\"$1/node\"; "
    "chmod +x \"$1/node\"; PATH=$1:$PATH";

INSTANTIATE_TEST_SUITE_P(
    Lacks, LackTest,
    testing::Values(Lack{"WZ-1001", "mount -t tmpfs none /usr/lib/chromium"},
                    Lack{"WZ-1002", kFakeBrowser},
                    Lack{"WZ-1004", "echo 0 >/proc/sys/user/max_user_namespaces"},
                    Lack{"WZ-1005", "mount -t tmpfs -o size=1m none /dev/shm"},
                    Lack{"WZ-1006", "unset DISPLAY WAYLAND_DISPLAY"},
                    Lack{"WZ-1007",
                         "mount -t tmpfs none /usr/share/fonts; HOME=$1; "
                         "[ ! -d /usr/local/share/fonts ] || "
                         "mount -t tmpfs none /usr/local/share/fonts"},
                    Lack{"WZ-0903", "export WZ_KEYS=$1; echo nonsense >\"$1/authorities.txt\""},
                    Lack{
                        "WZ-0907",
                        "cp -r \"${0%/*}/../keys\" \"$1/keys\"; \"$0\" keys rotate \"$1/keys\" "
                        "--until \"$(date -d '+30 days' +%F)\" >/dev/null; export WZ_KEYS=$1/keys"},
                    Lack{"WZ-1008",
                         "unset WZ_KEYS XDG_DATA_HOME HOME; cp \"$0\" \"$1/wz\"; "
                         "export LD_LIBRARY_PATH=${0%/*}/../lib; exec \"$1/wz\" doctor"},
                    Lack{"WZ-1011", kFakeNode}),
    [](const auto& row) { return "Code" + std::string(row.param.code).substr(3); });

TEST(DoctorTest, RemovesWhatWasLeftBehind) {
  const TemporaryDirectory folder;
  const std::string foreign = folder / "wz-try-backup";
  fs::create_directory(foreign);
  std::vector<std::string> left;
  for (const char* const pattern :
       {"wz-try-", "wz-check-", "wz-tamper-", "wz-workbench-", "wz-test-", "wz-", ".wz-"}) {
    left.push_back(folder / (pattern + std::string("Ab12Cd")));
    fs::create_directory(left.back());
    fs::permissions(left.back(), fs::perms::owner_all);
  }
  // Where no other wz runs, since nothing of it is touched while one does, and none has files.
  const auto doctor = [&folder](const char* option) {
    return runWz({}, [&folder, option] {
      setenv("TMPDIR", folder.path().c_str(), 1);
      (void)!chdir(folder.path().c_str());
      execlp("unshare", "unshare", "--user", "--map-root-user", "--mount", "--pid", "--fork",
             "--mount-proc", "sh", "-ec", "mount -t tmpfs none /dev/shm; exec \"$0\" doctor \"$@\"",
             WZ_PROGRAM, option, nullptr);
    });
  };

  const ProgramResult told = doctor(nullptr);
  const ProgramResult mended = doctor("--repair");

  for (const std::string& path : left) {
    EXPECT_THAT(told.out, HasSubstr("           found: " + path + "\n"));
  }
  EXPECT_THAT(told.out, HasSubstr("[WZ-1009]"));
  EXPECT_THAT(mended.out, HasSubstr("leftovers: removed 7\n"));
  EXPECT_TRUE(fs::exists(foreign));
}

TEST(DoctorTest, SaysWhatItHasNotLookedFor) {
  const TemporaryDirectory folder;
  const std::string held = folder / "wz-test-Ab12Cd";
  fs::create_directory(held);
  fs::permissions(held, fs::perms::owner_all);
  const int lock = open(held.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  fs::copy_file("/bin/sleep", folder / "wz");
  const Program other({"600"}, nullptr, folder / "wz");

  const ProgramResult result =
      runWz({"doctor"}, [&folder] { setenv("TMPDIR", folder.path().c_str(), 1); });
  close(lock);

  EXPECT_THAT(result.out, HasSubstr("leftovers: none of browsers; work folders were not looked "
                                    "for, since another wz runs (process "));
  EXPECT_THAT(result.out, Not(HasSubstr(held)));
}

TEST(DoctorTest, RefusesAFolderThatIsNoTerminal) {
  const TemporaryDirectory folder;

  const ProgramResult result = runWz({"doctor", "--terminal", folder.path()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.errors, HasSubstr(folder.path()));
}

// ---- Files that cannot be read -----------------------------------------------------------------

class UnreadableFileTest : public testing::TestWithParam<Arguments> {
 protected:
  void SetUp() override { ASSERT_EQ(runWz({"terminal", "create", terminal_}).code, kDone); }

  // With the file for "@", and the terminal for "%".
  [[nodiscard]] ProgramResult runWith(const std::string& file) const {
    Arguments arguments = GetParam();
    for (std::string& argument : arguments) {
      if (argument == "@") argument = file;
      if (argument == "%") argument = terminal_;
    }
    return runWz(arguments);
  }

  const TemporaryDirectory folder_;
  const std::string terminal_ = folder_ / "desk";
};

// The same code and the same words, whatever reads it.
TEST_P(UnreadableFileTest, IsOfTheEnvironmentWhereItIsMissing) {
  const std::string file = folder_ / "none.zip";

  const ProgramResult result = runWith(file);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.errors, AnyOf(StartsWith("wz: cannot read " + file + ": No such file"),
                                   StartsWith("wz: there is no folder " + file)));
}

INSTANTIATE_TEST_SUITE_P(
    Commands, UnreadableFileTest,
    testing::Values(Arguments{"inspect", "@"}, Arguments{"diff", "@", "@"}, Arguments{"check", "@"},
                    Arguments{"install", "--terminal", "%", "@"},
                    Arguments{"tamper", "@", "-o", "/tmp/none", "--keys", DEVELOPMENT_KEYS},
                    Arguments{"matrix", "@", "--terminals", "%"}, Arguments{"keys", "show", "@"},
                    Arguments{"why", "--log", "@"}, Arguments{"host", "--terminal", "%", "@"},
                    Arguments{"replay", "--terminal", "%", "@", "shop"},
                    Arguments{"run", "--terminal", "%", "--folder", "@"}, Arguments{"test", "@"},
                    Arguments{"pack", "@", "--keys", DEVELOPMENT_KEYS}),
    [](const auto& row) { return row.param[0]; });

TEST(CheckKeysTest, NamesTheTableThatIsMissing) {
  const TemporaryDirectory folder;

  const ProgramResult result = runWz({"check", folder.path(), "--keys", folder.path()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors,
              StartsWith("wz: cannot read " + (folder / "authorities.txt") + ": No such file"));
}

TEST(HelpCommandTest, ExplainsACommand) {
  const ProgramResult help = runWz({"help", "pack"});

  EXPECT_EQ(help.code, 0);
  EXPECT_THAT(help.out, HasSubstr("--sign-command CMD"));
  EXPECT_EQ(runWz({"help"}).out, runWz({"--help"}).out);
  EXPECT_EQ(runWz({"help", "fly"}).code, kUsage);
}

// ---- What is written ---------------------------------------------------------------------------

TEST(OutputLossTest, AFullDeviceIsNoticed) {
  const ProgramResult result = runWz({"explain"}, [] {
    const int full = open("/dev/full", O_WRONLY);
    dup2(full, STDOUT_FILENO);
  });

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write to standard output: No space left on device\n");
}

TEST(OutputLossTest, AClosedStandardOutputIsNoticed) {
  const ProgramResult result = runWz({"explain"}, [] { close(STDOUT_FILENO); });

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write to standard output: Bad file descriptor\n");
}

TEST(OutputLossTest, HelpIsNotLostSilentlyEither) {
  const ProgramResult result = runWz({"--help"}, [] { close(STDOUT_FILENO); });

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("cannot write to standard output"));
}

// ---- JSON --------------------------------------------------------------------------------------

class JsonTest : public testing::TestWithParam<Arguments> {};

TEST_P(JsonTest, AFailureIsADocumentToo) {
  const ProgramResult result = runWz(GetParam(), withoutTerminal);

  EXPECT_NE(result.code, 0);
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_TRUE(document.IsObject()) << result.out;
  EXPECT_FALSE(document["ok"].GetBool());
  EXPECT_TRUE(document["result"].IsNull());
  ASSERT_GT(document["diagnostics"].Size(), 0U);
  EXPECT_NE(document["diagnostics"][0]["message"].GetStringLength(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, JsonTest,
    testing::Values(Arguments{"list", "--json", "--terminal", "/nowhere"},
                    Arguments{"list", "--json", "--fast"},
                    Arguments{"install", "--json", "/nowhere/a.zip"},
                    Arguments{"inspect", "--json", "/nowhere/a.zip"},
                    Arguments{"inspect", "--json"},
                    Arguments{"remove", "--json", "--terminal", "/nowhere", "shop"},
                    Arguments{"keys", "show", "--json", "/nowhere/a.crt"},
                    Arguments{"explain", "--json", "xyzzy"}, Arguments{"fly", "--json"},
                    Arguments{"--json", "list"}, Arguments{"--json"}));

TEST(JsonCommandTest, IsNamedWhereItsOptionsStandBeforeIt) {
  rapidjson::Document document;
  document.Parse(runWz({"--json", "list"}).out.c_str());

  ASSERT_TRUE(document.IsObject());
  EXPECT_STREQ(document["schema"].GetString(), "urn:wzapp:list:1");
  EXPECT_STREQ(document["command"].GetString(), "list");
}

TEST(EmptyValueTest, IsTheValueAndNotTheNextWord) {
  const TemporaryDirectory folder;

  const ProgramResult made = runWz({"terminal", "create", "--serial=", folder / "desk"});
  const ProgramResult sponsor =
      runWz({"terminal", "create", "--sponsor=", folder / "other", "--keys", DEVELOPMENT_KEYS});

  EXPECT_EQ(made.code, kDone) << made.errors;
  EXPECT_THAT(contentOf(folder / "desk/terminal.json"), HasSubstr("\"serial\": \"\""));
  EXPECT_EQ(sponsor.code, kUsage);
  EXPECT_FALSE(fs::exists(folder / "other"));
}

// ---- wz explain --------------------------------------------------------------------------------

TEST(ExplainCommandTest, ALineOfALogIsExplained) {
  const ProgramResult result = runWz({"explain", "Error: Signature 'SHOP.P7S' not found"});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, AllOf(StartsWith("WZ-0301 error: The archive has no signature\n"),
                                HasSubstr("\n  Repair    ")));
}

TEST(ExplainCommandTest, JsonTellsTheSame) {
  const ProgramResult result = runWz({"explain", "-216", "--json"});

  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_TRUE(document.IsObject()) << result.out << result.errors;
  EXPECT_STREQ(document["schema"].GetString(), "urn:wzapp:explain:1");
  EXPECT_STREQ(document["command"].GetString(), "explain");
  EXPECT_TRUE(document["ok"].GetBool());
  EXPECT_STREQ(document["result"]["codes"][0]["code"].GetString(), "WZ-0321");
}

TEST(ExplainCommandTest, WithoutATextEveryCodeIsListed) {
  EXPECT_GT(linesOf(runWz({"explain"}).out).size(), 100U);
}

TEST(ExplainCommandTest, WhatIsNotKnownIsRejected) {
  const ProgramResult result = runWz({"explain", "xyzzy"});

  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.errors, HasSubstr("nothing is known of: xyzzy; wz explain without it lists"));
}

TEST(ExplainCommandTest, WhatIsNearIsSuggested) {
  EXPECT_EQ(runWz({"explain", "the", "singer", "may", "not"}).errors,
            "wz: nothing is known of: the singer may not; did you mean the signer may not?\n");
  EXPECT_EQ(runWz({"explain", "wz", "394"}).errors,
            "wz: nothing is known of: wz 394; did you mean WZ-0304?\n");
}

}  // namespace
}  // namespace wzapp_test
