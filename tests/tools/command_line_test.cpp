// What a user meets before anything happens: help, wrong command lines, machines that do not allow.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/builders/temporary_directory.h"
#include "tests/builders/test_terminal.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

constexpr int kUsage = 2, kEnvironment = 3;

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
                    Arguments{"keys"}, Arguments{"keys", "init"}, Arguments{"keys", "show"},
                    Arguments{"certs"}, Arguments{"new"}, Arguments{"pack"}, Arguments{"inspect"},
                    Arguments{"install"}, Arguments{"list"}, Arguments{"remove"}));

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
        WrongCommandLine{"Nothing", {}, "subcommand"},
        WrongCommandLine{"Unknown", {"fly"}, "there is no command fly"},
        WrongCommandLine{"UnknownOption", {"run", "shop", "--fast"}, "--fast"},
        WrongCommandLine{"TerminalAlone", {"terminal"}, "subcommand"},
        WrongCommandLine{"NoDirectory", {"terminal", "create"}, "DIR"},
        WrongCommandLine{"NoApplication", {"run"}, "name an application, or its folder"},
        WrongCommandLine{"KeysAlone", {"keys"}, "subcommand"},
        WrongCommandLine{"NoKeyDirectory", {"keys", "init"}, "DIR"},
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
  std::vector<std::thread> users;
  std::atomic<int> done{0};
  for (int i = 0; i < 6; ++i) {
    users.emplace_back([&] { done += runAtHome({"list"}).code == 0 ? 1 : 0; });
  }
  for (std::thread& user : users) user.join();

  EXPECT_EQ(done, 6);
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

}  // namespace
}  // namespace wzapp_test
