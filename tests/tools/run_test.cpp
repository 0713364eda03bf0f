// wz run, in a real browser.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/tools/run_fixture.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kWaitForever[] = "console.info('waiting');";

TEST_F(RunTest, ShowsWhatTheApplicationDoesAndHowItEnds) {
  const std::string folder = shop(
      "console.warn('low', 7); wz.log('info', 'Opened', 'two tills');"
      "fetch('missing.json').finally(() => wz.exit(0, {total: '12'}));");

  const ProgramResult result = runWz(run(folder, {"--param", "till=3", "--param", "note=a=b"}));

  EXPECT_EQ(result.code, kDone) << result.errors;
  const std::vector<std::string> lines = linesOf(result.out);
  EXPECT_THAT(lines, Contains(StartsWith("shop console warning: low 7 (index.html:1:")));
  EXPECT_THAT(lines, Contains("shop log info: Opened two tills"));
  EXPECT_THAT(lines, Contains(StartsWith("shop request failed: 404 ")));
  EXPECT_THAT(lines, Contains("shop ended with result 0"));
  EXPECT_THAT(lines, Contains("  total = 12"));
  EXPECT_THAT(lines, Contains("  till = 3"));
  EXPECT_THAT(lines, Contains("  note = a=b"));
  EXPECT_THAT(lines, Contains("  wz_appVersion = 1.2"));
  EXPECT_THAT(installed(), ElementsAre());
}

TEST_F(RunTest, ThePublishedLogIsShownWhole) {
  const ProgramResult result = runWz(run(shop("wz.log('notice', 'Opened'); wz.exit();")));

  std::string record;
  for (const std::string& line : linesOf(result.out)) {
    if (line.rfind("_WZLog ", 0) == 0) record += line;
  }
  EXPECT_THAT(record, HasSubstr("\"LAUNCH\""));
  EXPECT_THAT(record, HasSubstr("\"Opened\""));
  EXPECT_THAT(record, HasSubstr("\"EXIT\""));
}

TEST_F(RunTest, AResultOtherThanZeroIsAFailure) {
  const ProgramResult result = runWz(run(shop("wz.exit(7);")));

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(linesOf(result.out), Contains("shop ended with result 7"));
}

TEST_F(RunTest, AnotherEntryOpensItsOwnPage) {
  const ProgramResult result = runWz(run(shop("wz.exit(9);"), {"--entry", "PAY"}));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(linesOf(result.out), Contains("  page = pay"));
}

TEST_F(RunTest, AMissingStartPageIsNamed) {
  const std::string folder = shop("");
  fs::remove(folder + "/index.html");

  const ProgramResult result = runWz(run(folder));

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.out, HasSubstr("shop ended with result -3: there is no file index.html in "));
}

// In a view of the machine from which the browser's folder is gone.
TEST_F(RunTest, AMachineWithoutBrowserIsNoFaultOfTheApplication) {
  const std::string folder = shop("");
  const auto hideBrowser = [&] {
    execlp("unshare", "unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
           "mount -t tmpfs none /usr/lib/chromium && exec \"$0\" \"$@\"", WZ_PROGRAM, "run",
           "--headless", folder.c_str(), "--terminal", terminal_.directory().c_str(), nullptr);
  };

  const ProgramResult result = runWz({}, hideBrowser);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.out, HasSubstr("shop ended with result -2: "));
  EXPECT_THAT(result.out, HasSubstr("install the package chromium"));
}

TEST_F(RunTest, AnEntryWithoutPageIsNamed) {
  const ProgramResult result = runWz(run(shop(""), {"--entry", "VOID"}));

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.errors, EndsWith("/manifest.mft names no page for the entry VOID\n"));
  EXPECT_THAT(installed(), ElementsAre());
}

TEST_F(RunTest, AnApplicationThatIsNowhereIsAWrongCommandLine) {
  const ProgramResult result = runWz(run("kiosk"));

  EXPECT_EQ(result.code, kUsage);
  EXPECT_EQ(
      result.errors,
      "wz: there is no application kiosk: neither is one of that id installed, nor is there a "
      "folder of that name\n");
}

TEST_F(RunTest, AnInstalledApplicationRunsByItsId) {
  shop("wz.exit(0, {which: 'installed'});");
  const std::string root = terminal_.directory() + kAppRoot;
  fs::create_directories(root);
  fs::rename(terminal_.directory() + "/desk/shop", root + "/shop");
  fs::rename(root + "/shop/manifest.mft", root + "/SHOP.MFT");

  const ProgramResult result = runWz(run("shop"));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(linesOf(result.out), Contains("  which = installed"));
  EXPECT_THAT(installed(), testing::UnorderedElementsAre("shop", "SHOP.MFT"));
}

// What is being worked on is what runs, whatever is installed under its id.
TEST_F(RunTest, AFolderStandsInForTheInstalledApplication) {
  const std::string folder = shop("wz.exit(0, {which: 'folder'});");
  write("desk/shop/confApp.json", R"({"of": "folder"})");
  installShop();

  for (const Arguments& how : {run(folder), run("", {"--folder", folder})}) {
    Arguments arguments = how;
    std::erase(arguments, "");
    const ProgramResult result = runWz(arguments);

    EXPECT_EQ(result.code, kDone) << result.errors;
    EXPECT_THAT(linesOf(result.out), Contains("  which = folder"));
    EXPECT_THAT(linesOf(result.out), Contains(R"(  wz_confApp = {"of": "folder"})"));
  }
  EXPECT_THAT(linesOf(runWz(run("shop")).out), Contains("  which = installed"));
}

TEST_F(RunTest, TheInstalledApplicationIsBackAfterAKill) {
  const std::string folder = shop(kWaitForever);
  installShop();
  Program program(run(folder));
  ASSERT_TRUE(program.awaitOutput("shop console info: waiting")) << program.errors();

  const ProgramResult beside = runWz(run("shop"));
  program.signal(SIGKILL);
  program.wait();

  EXPECT_THAT(linesOf(beside.out), Contains("  which = installed"));
  EXPECT_THAT(linesOf(runWz(run("shop")).out), Contains("  which = installed"));
  EXPECT_EQ(runWz({"list", "--terminal", terminal_.directory()}).out,
            "shop 1.2  no marketplace manifest: the next installation removes it\n");
}

TEST_F(RunTest, OfAFolderAndAnInstalledApplicationOfOneNameTheInstalledOneRuns) {
  shop("wz.exit(0, {which: 'folder'});");
  installShop();

  const ProgramResult result =
      runWz(run("shop"), [this] { (void)!chdir((terminal_.directory() + "/desk").c_str()); });

  EXPECT_THAT(linesOf(result.out), Contains("  which = installed"));
  EXPECT_EQ(result.errors,
            "wz: running the installed application shop; the folder of that name is run by: wz run "
            "./shop\n");
}

TEST_F(RunTest, AFolderThatRunsIsListedAsNoApplication) {
  const std::string folder = shop(kWaitForever);
  const Arguments list{"list", "--json", "--terminal", terminal_.directory()};
  Program program(run(folder));
  ASSERT_TRUE(program.awaitOutput("shop console info: waiting")) << program.errors();

  const std::string alone = runWz(list).out;
  installShop();
  const std::string both = runWz(list).out;
  program.signal(SIGINT);
  program.wait();

  EXPECT_THAT(alone, HasSubstr("\"applications\": [],"));
  for (const std::string& listed : {alone, both})
    EXPECT_THAT(listed, HasSubstr("\"folder\": \"" + folder + "\""));
  EXPECT_THAT(both, HasSubstr("\"hasStandIn\": true"));
  EXPECT_THAT(runWz(list).out, HasSubstr("\"standIns\": []"));
  EXPECT_THAT(runWz(list).out, HasSubstr("\"hasStandIn\": false"));
}

TEST_F(RunTest, ABrokenManifestIsReportedAsByPack) {
  const std::string folder = shop("");
  write("desk/shop/manifest.mft", "{\n \"application\": {\"id\" \"shop\"}\n}");

  const ProgramResult result = runWz(run(folder));
  const ProgramResult packed = runWz(
      {"pack", folder, "-o", terminal_.directory() + "/shop.zip", "--keys", DEVELOPMENT_KEYS});

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.errors, HasSubstr("/shop/manifest.mft:2:"));
  EXPECT_THAT(result.errors, HasSubstr("[WZ-0702]"));
  EXPECT_EQ(linesOf(result.errors).front(), linesOf(packed.errors).front());
}

TEST_F(RunTest, ApplicationsOfAnOlderLayoutAreMovedBeforeAFolderTakesItsPlace) {
  write("home/sys13/flash/www/wz/old/index.html", "old");

  const ProgramResult result = runWz(run(shop("wz.exit();")));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(installed(), ElementsAre("old"));
}

TEST_F(RunTest, TheTimeLimitCancels) {
  const ProgramResult result = runWz(run(shop(kWaitForever), {"--timeout", "1"}));

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.errors, HasSubstr("wz: time is up; the application is being cancelled\n"));
  EXPECT_THAT(linesOf(result.out), Contains(StartsWith("shop ended with result -")));
  EXPECT_THAT(installed(), ElementsAre());
}

// As behind `| head`: nothing of the browser's is left behind.
TEST_F(RunTest, AReaderThatHasGoneCancelsInOrder) {
  const ProgramResult result = runWz(run(shop(kWaitForever)), closeReader);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write to standard output: Broken pipe\n");
  EXPECT_THAT(installed(), ElementsAre());
  for (const auto& entry : fs::directory_iterator(terminal_.directory() + "/run")) {
    EXPECT_THAT(entry.path().filename().string(), Not(StartsWith("browser-")));
  }
}

TEST_F(RunTest, TheFirstInterruptCancelsInOrder) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program(run(shop(kWaitForever)));
    ASSERT_TRUE(program.awaitOutput("shop console info: waiting")) << program.errors();

    program.signal(signal);

    EXPECT_EQ(program.wait(), kFailed);
    EXPECT_THAT(program.errors(), HasSubstr("wz: interrupted; the application is being cancelled"));
    EXPECT_THAT(program.out(), HasSubstr("shop ended with result -"));
    EXPECT_THAT(program.out(), HasSubstr("\"EXIT\""));
    EXPECT_THAT(installed(), ElementsAre());
  }
}

TEST_F(RunTest, AfterAKillTheNextRunIsAsGoodAsTheFirst) {
  const std::string folder = shop(kWaitForever);
  {
    Program program(run(folder));
    ASSERT_TRUE(program.awaitOutput("shop console info: waiting")) << program.errors();
    program.signal(SIGKILL);
    EXPECT_EQ(program.wait(), -SIGKILL);
  }
  EXPECT_THAT(installed(), ElementsAre());
  shop("wz.exit();");

  const ProgramResult result = runWz(run(folder));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(installed(), ElementsAre());
}

TEST_F(RunTest, TwoRunsOfOneIdAreNotMixed) {
  const std::string folder = shop(kWaitForever);
  Program first(run(folder));
  ASSERT_TRUE(first.awaitOutput("shop console info: waiting")) << first.errors();

  const ProgramResult second = runWz(run(folder));

  EXPECT_EQ(second.code, kEnvironment);
  EXPECT_EQ(second.errors,
            "wz: the application shop is being run from a folder already; end that one first\n");
  first.signal(SIGINT);
  EXPECT_EQ(first.wait(), kFailed);
}

TEST_F(RunTest, APictureShowsThePage) {
  const std::string picture = terminal_.directory() + "/picture.png";

  const ProgramResult result =
      runWz(run(shop("setTimeout(() => wz.exit(), 1000);"), {"--screenshot", picture}));

  EXPECT_EQ(result.code, kDone) << result.errors;
  std::ifstream file(picture, std::ios::binary);
  const std::string content((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
  ASSERT_GT(content.size(), 24U);
  EXPECT_EQ(content.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(content.substr(16, 8), std::string("\0\0\x01\xe0\0\0\x03\x20", 8));  // 480 x 800
}

TEST_F(RunTest, APictureThatCannotBeSavedIsAFailure) {
  const ProgramResult result = runWz(
      run(shop("setTimeout(() => wz.exit(), 1000);"), {"--screenshot", "/nowhere/picture.png"}));

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("wz: cannot write /nowhere/picture.png: "));
}

// As behind `| head`: an application that goes on is not run for nobody.
TEST_F(RunTest, WithoutAReaderItEnds) {
  int pipe[2];
  ASSERT_EQ(pipe2(pipe, O_CLOEXEC), 0);
  close(pipe[0]);
  const std::string folder = shop("setInterval(() => console.info('on and on'), 20);");

  const ProgramResult result =
      runWz(run(folder, {"--timeout", "60"}), [&pipe] { dup2(pipe[1], STDOUT_FILENO); });
  close(pipe[1]);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write to standard output: Broken pipe\n");
}

TEST_F(RunTest, WhatAnApplicationWritesCannotActOnTheUsersTerminal) {
  const ProgramResult result = runWz(run(shop(
      R"(console.log('\u001b]0;owned\u0007\n\u202e'); wz.exit(0, {'\u001b[2J': '\u009b'});)")));

  EXPECT_THAT(linesOf(result.out),
              Contains(StartsWith("shop console info: \\x1b]0;owned\\x07 (index.html:1:")));
  EXPECT_THAT(linesOf(result.out), Contains("  \\u{202e}"));
  EXPECT_THAT(linesOf(result.out), Contains("  \\x1b[2J = \\u{009b}"));
  EXPECT_THAT(result.out + result.errors, Not(HasSubstr("\x1b")));
}

TEST_F(RunTest, AnApplicationAndAnotherProgramTalkOverTheBus) {
  Program desk({"reply", "desk", "LOOKUP", "{\"known\": true}", "--count", "1", "--terminal",
                terminal_.directory()});
  ASSERT_TRUE(desk.awaitOutput("answering LOOKUP at desk"));

  const ProgramResult result =
      runWz(run(shop("wz.notifyAndWait('desk', 'LOOKUP', {card: 7})"
                     ".then(reply => wz.exit(0, {known: String(reply.known)}));")));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(linesOf(result.out), Contains("  known = true"));
  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_EQ(desk.out(), "shop -> desk LOOKUP {\"card\":7}\n");
}

}  // namespace
}  // namespace wzapp_test
