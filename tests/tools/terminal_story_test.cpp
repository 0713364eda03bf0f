// What a terminal's history keeps, and what is told of it: wz history and its neighbours.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using Lines = std::vector<std::string>;

class TerminalStoryTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
    const ProgramResult made = runWz({"terminal", "create", terminal_});
    ASSERT_EQ(made.code, 0) << made.errors;
  }

  // A package of an application with this manifest, but for its id, version and sponsors.
  [[nodiscard]] std::string pack(const std::string& id, const std::string& version,
                                 const std::string& rest = "", const Lines& more = {}) const {
    const SampleApplication app;
    app.write("manifest.mft",
              R"({"application": {"id": ")" + id + R"(", "version": ")" + version +
                  R"("}, "sponsors": ["123456"], "desktop": {"file": "index.html"})" + rest + "}");
    std::string package = folder_ / (id + "-" + version + ".zip");
    Lines arguments{"pack", app.path(), "-o", package, "--keys", DEVELOPMENT_KEYS};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramResult result = runWz(arguments);
    EXPECT_EQ(result.code, 0) << result.out << result.errors;
    return package;
  }

  // With --terminal behind the command's first word.
  [[nodiscard]] ProgramResult run(Lines arguments) const {
    arguments.insert(arguments.begin() + 1, {"--terminal", terminal_});
    return runWz(arguments);
  }

  [[nodiscard]] rapidjson::Document json(Lines arguments, int code = 0) const {
    arguments.emplace_back("--json");
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.code, code) << result.errors;
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << result.out;
    return document;
  }

  [[nodiscard]] Lines history(const Lines& more = {}) const {
    Lines arguments{"history"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return linesOf(run(arguments).out);
  }

  [[nodiscard]] std::string historyFile() const { return terminal_ + "/history.jsonl"; }

  TemporaryDirectory folder_;
  std::string terminal_ = folder_ / "desk";
};

constexpr char kExports[] = R"(, "exports_trigger": [{"id": "PAID"}])";
constexpr char kImports[] = R"(, "imports_trigger": [{"id": "PAID", "file": "index.html"}])";

// ---- wz history --------------------------------------------------------------------------------

TEST_F(TerminalStoryTest, ANewTerminalHasNoHistory) {
  EXPECT_THAT(history(), ElementsAre("nothing has been installed or removed by wz yet"));
}

TEST_F(TerminalStoryTest, AnEventIsALine) {
  const std::string first = pack("shop", "1.2");
  const std::string older = pack("shop", "1.1");
  ASSERT_EQ(run({"install", first}).code, 0);
  ASSERT_EQ(run({"install", older}).code, 0);
  ASSERT_EQ(run({"remove", "--keys", DEVELOPMENT_KEYS, "shop"}).code, 0);

  EXPECT_THAT(
      history(),
      ElementsAre(AllOf(ContainsRegex("^1  20..-..-..T..:..:..Z  install "),
                        HasSubstr(first + "  ok  installed shop 1.2")),
                  AllOf(HasSubstr("2  "), HasSubstr("replaced shop 1.2 by 1.1, a downgrade")),
                  AllOf(HasSubstr("3  "), HasSubstr("remove the removal of shop  ok  removed shop "
                                                    "1.1"))));
  EXPECT_THAT(history({"--count", "1"}), ElementsAre(HasSubstr("removed shop 1.1")));
}

TEST_F(TerminalStoryTest, TheDocumentHasPackagesChangesAndTheWholeLog) {
  ASSERT_EQ(run({"install", pack("shop", "1.2", kExports)}).code, 0);

  const rapidjson::Document document = json({"history"});

  const auto& event = document["result"]["events"][0];
  EXPECT_EQ(event["packages"][0]["sha256"].GetStringLength(), 64U);
  EXPECT_TRUE(event["packages"][0]["done"].GetBool());
  EXPECT_STREQ(event["changes"][0]["change"].GetString(), "appeared");
  EXPECT_STREQ(event["changes"][0]["archive"].GetString(), "shop.zip");
  EXPECT_STREQ(event["changes"][0]["exportsTriggers"][0].GetString(), "PAID");
  EXPECT_STREQ(event["changes"][1]["thing"].GetString(), "marketplace manifest");
  EXPECT_STREQ(event["log"][0].GetString(), "Installing to /mnt/flash/etc/config/wzapp/wz");
  EXPECT_STREQ(event["log"][event["log"].Size() - 1].GetString(), "Overall result: OK");
}

TEST_F(TerminalStoryTest, ARemovalByARuleHasItsCode) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  ASSERT_EQ(run({"install", pack("shop", "1.3", kImports)}).code, kRejected);

  const rapidjson::Document document = json({"history", "--count", "1"});

  const auto& changes = document["result"]["events"][0]["changes"];
  EXPECT_STREQ(changes[0]["change"].GetString(), "vanished");
  EXPECT_STREQ(changes[0]["versionBefore"].GetString(), "1.2");
  EXPECT_STREQ(changes[0]["rules"][0]["code"].GetString(), "WZ-0514");
  EXPECT_EQ(changes[0]["rules"][0]["pass"].GetInt(), 1);
  EXPECT_STREQ(changes[2]["change"].GetString(), "refused");
  EXPECT_STREQ(changes[2]["versionNow"].GetString(), "1.3");
}

TEST_F(TerminalStoryTest, WhatIsRefusedHasTheCodeOfItsCause) {
  const std::string bad = folder_.write("bad.zip", "no archive");
  const ProgramResult other = runWz(
      {"pack", SampleApplication().path(), "-o", folder_ / "other.zip", "--keys", madeKeys()});
  ASSERT_EQ(other.code, 0) << other.errors;
  ASSERT_EQ(run({"install", bad, folder_ / "other.zip"}).code, kRejected);

  EXPECT_THAT(history(), ElementsAre(AllOf(HasSubstr("refused " + bad + " [WZ-01"),
                                           HasSubstr("refused shop 1.2 [WZ-03"))));
}

TEST_F(TerminalStoryTest, VerboseAddsDigestsCausesAndTheLog) {
  ASSERT_EQ(run({"install", pack("shop", "1.2", kImports)}).code, kRejected);

  const std::string out = run({"history", "--verbose"}).out;

  EXPECT_THAT(out, AllOf(ContainsRegex("    package .*, sha256 [0-9a-f]{64}, not done"),
                         HasSubstr("      WZ-0514, pass 1: Error: Missing trigger PAID\n"),
                         HasSubstr("    | Checking dependencies\n")));
}

TEST_F(TerminalStoryTest, ACutOffLastLineIsPassedOverAndTold) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  std::ofstream(historyFile(), std::ios::app) << R"({"schema": "urn:wzapp:history-event:1", "num)";

  const ProgramResult torn = run({"history"});
  ASSERT_EQ(run({"install", pack("tip", "2.0")}).code, 0);

  EXPECT_THAT(linesOf(torn.out), SizeIs(1));
  EXPECT_EQ(torn.errors, "wz: note: the last line of " + historyFile() +
                             " is cut off, as by a kill, and is passed over\n");
  EXPECT_THAT(history(), ElementsAre(HasSubstr("1  "), HasSubstr("2  ")));
  EXPECT_EQ(run({"history"}).errors, "");
}

TEST_F(TerminalStoryTest, LinesThatAreNoEventsArePassedOverAndTold) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  std::ofstream(historyFile(), std::ios::app) << "[[[[\n"
                                              << R"({"schema": "x"})"
                                              << "\n\n";

  const ProgramResult result = run({"history"});

  EXPECT_THAT(linesOf(result.out), SizeIs(1));
  EXPECT_THAT(result.errors, AllOf(HasSubstr("line 2 of "), HasSubstr("line 4 of ")));
}

TEST_F(TerminalStoryTest, WhatCannotBeWrittenHindersNoInstallation) {
  fs::create_directory(historyFile());

  const ProgramResult result = run({"install", pack("shop", "1.2")});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.errors, HasSubstr("wz: warning: the terminal's history in " + historyFile()));
}

TEST_F(TerminalStoryTest, AHistoryThatCannotBeReadEndsWithAMessage) {
  fs::create_directory(historyFile());
  EXPECT_EQ(run({"history"}).code, 0);  // reads as an empty file
  fs::remove(historyFile());
  fs::create_symlink(historyFile(), historyFile());

  EXPECT_EQ(run({"history"}).code, 3);
}

// Puts what is installed where it lay in the older layout.
void makeOlder(const std::string& terminal) {
  const fs::path config = terminal + "/flash/etc/config/wzapp";
  const fs::path older = terminal + "/home/sys13/flash/www";
  fs::create_directories(older);
  for (const char* const root : {"wz", "mp"}) fs::rename(config / root, older / root);
  fs::remove_all(config);
}

TEST_F(TerminalStoryTest, ARunMovesApplicationsOfTheOlderLayoutAndTells) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  makeOlder(terminal_);

  (void)run({"run", "none"});

  EXPECT_THAT(history({"--count", "1"}), ElementsAre(HasSubstr("  migration  ")));
  EXPECT_EQ(run({"list"}).out, "shop 1.2  for 123456\n");
}

TEST_F(TerminalStoryTest, ApplicationsOfTheOlderLayoutAreMovedAndTold) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  makeOlder(terminal_);

  ASSERT_EQ(run({"install", pack("tip", "2.0")}).code, 0);

  EXPECT_THAT(history(),
              ElementsAre(HasSubstr("1  "),
                          AllOf(HasSubstr("  migration  "), HasSubstr("installed shop 1.2"),
                                HasSubstr("moved /home/sys13/flash/www/wz")),
                          HasSubstr("installed tip 2.0")));
}

// ---- Interruptions -----------------------------------------------------------------------------

// A pipe that holds less than an installation of wordyImports() prints: what is not read holds the
// program in the middle of its log.
class HeldOutput {
 public:
  HeldOutput() { EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0); }
  ~HeldOutput() {
    close(ends_[0]);
    closeOwn();
  }
  HeldOutput(const HeldOutput&) = delete;
  HeldOutput& operator=(const HeldOutput&) = delete;

  // In the program's process.
  void become() const {
    dup2(ends_[1], STDOUT_FILENO);
    (void)fcntl(ends_[1], F_SETPIPE_SZ, 4096);
  }

  // So that the program's end is the end of it.
  void closeOwn() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

  // Up to and with `text`; false at the end.
  [[nodiscard]] bool readUntil(const std::string& text) const {
    std::string all;
    char octet = 0;
    while (all.find(text) == std::string::npos) {
      if (read(ends_[0], &octet, 1) != 1) return false;
      all += octet;
    }
    return true;
  }

 private:
  int ends_[2] = {-1, -1};
};

// 200 lines of the log.
std::string wordyImports() {
  std::string imports = R"(, "imports_trigger": [)";
  for (int i = 0; i < 200; ++i) {
    imports += std::string(i == 0 ? "" : ", ") + R"({"id": "NOBODY_HAS_THIS_TRIGGER_)" +
               std::to_string(i) + R"(", "file": "index.html"})";
  }
  return imports + "]";
}

TEST_F(TerminalStoryTest, ASignalEndsAnInstallationBetweenTwoSteps) {
  const std::string shop = pack("shop", "1.2");
  const std::string tip = pack("tip", "2.0", wordyImports());
  HeldOutput held;
  Program program({"install", "--terminal", terminal_, shop, tip}, [&held] { held.become(); });
  held.closeOwn();
  ASSERT_TRUE(held.readUntil("Checking dependencies"));

  program.signal(SIGINT);

  EXPECT_FALSE(held.readUntil("Overall result"));
  EXPECT_EQ(program.wait(), -SIGINT);
  EXPECT_THAT(program.errors(), AllOf(HasSubstr("wz: the installation was interrupted: done is "),
                                      HasSubstr("not done nothing")));
  EXPECT_TRUE(fs::is_empty(terminal_ + "/flash/system/wz"));
  EXPECT_THAT(history(),
              ElementsAre(AllOf(HasSubstr("  interrupted  "), HasSubstr("installed shop 1.2"))));
  EXPECT_EQ(run({"install", shop}).errors, "");
}

TEST_F(TerminalStoryTest, AKilledInstallationIsToldByTheNextChange) {
  const std::string tip = pack("tip", "2.0", wordyImports());
  HeldOutput held;
  Program program({"install", "--terminal", terminal_, tip}, [&held] { held.become(); });
  held.closeOwn();
  ASSERT_TRUE(held.readUntil("Installing to"));
  program.signal(SIGKILL);
  ASSERT_EQ(program.wait(), -SIGKILL);

  const ProgramResult again = run({"install", pack("tip", "2.1")});

  EXPECT_EQ(again.code, 0) << again.errors;
  EXPECT_THAT(again.errors, AllOf(HasSubstr("wz: note: the installation that began at "),
                                  HasSubstr(" was interrupted: ")));
  EXPECT_THAT(history(), ElementsAre(HasSubstr("  interrupted  "), HasSubstr("  ok  ")));
  EXPECT_FALSE(fs::exists(terminal_ + "/history.begun"));
}

// ---- wz install --dry-run ----------------------------------------------------------------------

TEST_F(TerminalStoryTest, ADryRunSaysWhatWouldChangeAndChangesNothing) {
  const std::string older = pack("shop", "1.1");
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);

  const ProgramResult result = run({"install", "--dry-run", older, pack("tip", "2.0")});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(linesOf(result.out),
              ElementsAre("tried on a copy: the terminal stays as it is",
                          "would replace shop 1.2 by 1.1, a downgrade", "would install tip 2.0",
                          "would accept " + older, "would accept " + (folder_ / "tip-2.0.zip")));
  EXPECT_EQ(run({"list"}).out, "shop 1.2  for 123456\n");
  EXPECT_THAT(history(), SizeIs(1));
}

TEST_F(TerminalStoryTest, ADryRunSaysWhatWouldVanishAndWhy) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);

  const ProgramResult result = run({"install", "--dry-run", pack("shop", "1.3", kImports)});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, AllOf(HasSubstr("would remove shop 1.2\n  Error: Missing trigger PAID\n"
                                          "  Error: Installation of shop failed\n"
                                          "  repair of WZ-0514: Install what exports it"),
                                HasSubstr("would reject " + (folder_ / "shop-1.3.zip"))));
  const std::size_t told = result.out.find("repair of WZ-0514");
  EXPECT_EQ(result.out.find("repair of WZ-0514", told + 1), std::string::npos) << result.out;
}

// On a flash of 12 MiB, 8 of which are a reserve.
TEST_F(TerminalStoryTest, ADryRunAsksWhetherThereIsRoom) {
  const SampleApplication app;
  app.write("big.bin", std::string(std::size_t{6} << 20, 'x'));
  const std::string package = folder_ / "shop.zip";
  ASSERT_EQ(runWz({"pack", app.path(), "-o", package, "--keys", DEVELOPMENT_KEYS}).code, 0);
  const std::string command =
      std::string(WZ_PROGRAM) + " install --dry-run --terminal " + terminal_ + " " + package;
  const ProgramResult roomy = runProgram("/bin/sh", {"-c", command});
  const ProgramResult full = runProgram(
      "/usr/bin/unshare",
      {"-rm", "/bin/sh", "-c",
       "mount -t tmpfs -o size=12m flash " + terminal_ + "/flash || exit 77; " + command});
  if (full.code == 77) GTEST_SKIP() << "no file system can be mounted here: " << full.errors;

  EXPECT_EQ(roomy.code, 0) << roomy.out << roomy.errors;
  EXPECT_EQ(full.code, kRejected) << full.errors;
  EXPECT_THAT(full.out, AllOf(HasSubstr("no application would change\nwould reject " + package +
                                        "\n  the terminal's flash has no room for shop: its files "
                                        "take 62915"),
                              HasSubstr("repair of WZ-0103: Free space on the terminal")));
}

// What one of them exports, the other may import.
TEST_F(TerminalStoryTest, ASetWithDependenciesIsTriedTogether) {
  const std::string till = pack("till", "1.0", kExports);
  const std::string shop = pack("shop", "1.0", kImports);

  EXPECT_EQ(run({"install", "--dry-run", shop}).code, kRejected);
  EXPECT_EQ(run({"install", "--dry-run", shop, till}).code, 0);
  const ProgramResult both = run({"inspect", shop, till});

  EXPECT_EQ(both.code, 0) << both.out;
  EXPECT_THAT(both.out,
              AllOf(HasSubstr("accepted: " + shop), HasSubstr("accepted: " + till),
                    HasSubstr("this terminal would install them, and what they bring would stay")));
}

TEST_F(TerminalStoryTest, SeveralInspectedPackagesAreAList) {
  const std::string bad = folder_.write("bad.zip", "no archive");
  const ProgramResult result = runWz({"inspect", "--json", pack("till", "1.0"), bad});

  EXPECT_EQ(result.code, kRejected);
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_FALSE(document.HasParseError()) << result.out;
  const auto& packages = document["result"]["packages"];
  EXPECT_TRUE(packages[0]["accepted"].GetBool());
  EXPECT_FALSE(packages[1]["accepted"].GetBool());
}

// ---- wz diff -----------------------------------------------------------------------------------

TEST_F(TerminalStoryTest, TwoPackagesAreCompared) {
  const SampleApplication app;
  const auto packed = [&](const std::string& name, const Lines& more = {}) {
    Lines arguments{"pack", app.path(), "-o", folder_ / name, "--keys", DEVELOPMENT_KEYS};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(runWz(arguments).code, 0);
    return folder_ / name;
  };
  const std::string first = packed("first.zip");
  app.write("manifest.mft", R"({"application": {"id": "shop", "version": "1.1"},
    "sponsors": ["123456", "654321"], "desktop": {"file": "index.html"},
    "imports_trigger": [{"id": "PAID", "file": "index.html", "optional": true}]})");
  app.write("index.html", "<p>more");
  app.write("new.js", "let a;");
  fs::remove(app / "img/logo.svg");
  const std::string second = packed("second.zip");

  const ProgramResult result = runWz({"diff", first, second});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(result.out, AllOf(HasSubstr("application of shop: 1.2 -> 1.1, a downgrade\n"),
                                HasSubstr("  + sponsors: 654321\n"),
                                HasSubstr("  + imports triggers: PAID (optional)\n"),
                                HasSubstr("  - file shop/img/logo.svg, 6 octets\n"),
                                HasSubstr("  + file shop/new.js, 6 octets\n"),
                                HasSubstr("  ~ file shop/index.html, 3 octets -> 7 octets\n"),
                                Not(HasSubstr("signer"))));
  EXPECT_THAT(runWz({"diff", first, first}).out,
              AllOf(HasSubstr("application of shop: the same, 1.2\n"), Not(HasSubstr("  "))));
}

TEST_F(TerminalStoryTest, AnotherSignerIsADifference) {
  const SampleApplication app;
  ASSERT_EQ(runWz({"pack", app.path(), "-o", folder_ / "a.zip", "--keys", DEVELOPMENT_KEYS}).code,
            0);
  ASSERT_EQ(runWz({"pack", app.path(), "-o", folder_ / "b.zip", "--keys", madeKeys()}).code, 0);

  const ProgramResult result = runWz({"diff", "--json", folder_ / "a.zip", folder_ / "b.zip"});

  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_FALSE(document.HasParseError()) << result.out;
  EXPECT_FALSE(document["result"]["same"].GetBool());
  EXPECT_STREQ(document["result"]["contents"][0]["change"].GetString(), "changed");
}

TEST_F(TerminalStoryTest, APackageIsComparedWithWhatIsInstalled) {
  const std::string first = pack("shop", "1.2");
  const std::string other = pack("tip", "2.0");
  ASSERT_EQ(run({"install", first}).code, 0);

  EXPECT_THAT(run({"diff", first}).out, AllOf(HasSubstr("from " + terminal_ + " to " + first),
                                              HasSubstr("application of shop: the same, 1.2\n"),
                                              HasSubstr("marketplace manifest of shop: the same")));
  EXPECT_THAT(run({"diff", other}).out,
              AllOf(HasSubstr("application of tip: only in the second, 2.0\n"),
                    HasSubstr("  + file tip/index.html, 3 octets\n")));
}

TEST_F(TerminalStoryTest, WhatCannotBeComparedIsSaid) {
  const std::string bad = folder_.write("bad.zip", "no archive");

  EXPECT_EQ(runWz({"diff", bad, bad}).code, kRejected);
  EXPECT_THAT(runWz({"diff", bad, bad}).out, HasSubstr("[WZ-01"));
  EXPECT_EQ(runWz({"diff", bad, folder_ / "none.zip"}).code, 3);
  EXPECT_EQ(run({"diff", bad, bad}).code, 2);
}

// ---- wz why ------------------------------------------------------------------------------------

constexpr char kNewerRuntime[] = R"(, "imports_sdk": {"wzruntime_min_version": "9.0"})";
const Lines kAllowed = {"--allow", "WZ-0724"};

TEST_F(TerminalStoryTest, WhatIsInstalledIsToldWithItsPackageAndItsNeighbours) {
  const std::string till = pack("till", "1.0", kExports);
  const std::string shop = pack("shop", "1.2", kImports);
  ASSERT_EQ(run({"install", till, shop}).code, 0);

  const std::string of = run({"why", "SHOP"}).out;
  const std::string by = run({"why", "till"}).out;

  EXPECT_THAT(of, AllOf(HasSubstr("shop 1.2 is installed\n  since event 1, 20"),
                        HasSubstr(": installed shop 1.2, by " + shop + " (sha256 "),
                        HasSubstr("  it imports the trigger PAID, exported by till\n")));
  EXPECT_THAT(by, HasSubstr("  what it exports is imported by shop\n"));
}

TEST_F(TerminalStoryTest, AnApplicationThatNobodyKnowsHasANearOne) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);

  const ProgramResult result = run({"why", "shap"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors,
            "wz: shap is not installed, and no event of the history tells of it; did you mean "
            "shop?\n");
}

TEST_F(TerminalStoryTest, WhatWasAskedForIsToldSo) {
  ASSERT_EQ(run({"install", pack("shop", "1.2")}).code, 0);
  ASSERT_EQ(run({"remove", "--keys", DEVELOPMENT_KEYS, "shop"}).code, 0);

  EXPECT_THAT(run({"why", "shop"}).out, AllOf(HasSubstr("shop is not installed\n  event 2, "),
                                              HasSubstr("removed shop 1.2, by the removal of shop"),
                                              HasSubstr("\n  it was asked for\n"),
                                              HasSubstr("also in its history:\n  event 1")));
}

// What stands behind a missing trigger may have happened long before.
TEST_F(TerminalStoryTest, TheTreeLeadsToTheFirstCauseAndItsChangeKeepsTheApplication) {
  const std::string till = pack("till", "1.0", kExports);
  const std::string shop = pack("shop", "1.2", kImports);
  ASSERT_EQ(run({"install", till, shop}).code, 0);
  const std::string newer = pack("till", "2.0", std::string(kExports) + kNewerRuntime, kAllowed);
  ASSERT_EQ(run({"install", newer}).code, kRejected);
  ASSERT_EQ(run({"install", pack("tip", "1.0")}).code, 0);

  const ProgramResult result = run({"why", "shop"});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(result.out,
              HasSubstr("  WZ-0514 a trigger that the application imports is missing, in pass 1\n"
                        "    Error: Missing trigger PAID\n"
                        "    till 1.0 exported it, and was removed by event 2\n"
                        "      WZ-0512 the runtime is older than the application asks for, in pass "
                        "1\n"
                        "        Error: WZ runtime version 2.46.6 less than 9.0\n"
                        "the smallest change that would keep it:\n"
                        "  in the manifest of till: \"wzruntime_min_version\": \"2.46.6\" instead "
                        "of \"9.0\"\n"));
  const std::string mended =
      pack("till", "2.1",
           std::string(kExports) + R"(, "imports_sdk": {"wzruntime_min_version": "2.46.6"})");
  EXPECT_EQ(run({"install", "--dry-run", mended, shop}).code, 0);
}

TEST_F(TerminalStoryTest, TheSmallestChangeOfARemovedExporterIsToInstallIt) {
  const std::string till = pack("till", "1.0", kExports);
  const std::string shop = pack("shop", "1.2", kImports);
  ASSERT_EQ(run({"install", till, shop}).code, 0);
  ASSERT_EQ(run({"remove", "--keys", DEVELOPMENT_KEYS, "till"}).code, 0);

  const rapidjson::Document document = json({"why", "shop"});

  const auto& result = document["result"];
  EXPECT_FALSE(result["installed"].GetBool());
  EXPECT_STREQ(result["causes"][0]["exporter"].GetString(), "till");
  EXPECT_STREQ(result["causes"][0]["how"].GetString(), "was removed on request");
  EXPECT_EQ(std::string(result["smallestChange"][0].GetString()),
            "install till 1.0 (" + till + "), which exports PAID, before it or with it");
}

TEST_F(TerminalStoryTest, WhatIsThereByNowNeedsNoChange) {
  const std::string till = pack("till", "1.0", kExports);
  const std::string shop = pack("shop", "1.2", kImports);
  ASSERT_EQ(run({"install", shop}).code, kRejected);
  ASSERT_EQ(run({"install", till}).code, 0);

  EXPECT_THAT(run({"why", "shop"}).out,
              HasSubstr("  none: what was missing is exported by now, so install it again\n"));
  EXPECT_EQ(run({"install", shop}).code, 0);
}

// Nobody ever exported it: the application does without.
TEST_F(TerminalStoryTest, WithoutAnExporterTheImportsBecomeOptional) {
  ASSERT_EQ(run({"install", pack("shop", "1.2", kImports)}).code, kRejected);

  EXPECT_THAT(run({"why", "shop"}).out,
              HasSubstr("the smallest change that would keep it:\n"
                        "  in the manifest of shop: mark the import of PAID \"optional\": true\n"));
}

TEST_F(TerminalStoryTest, PassesAreToldInTheirOrder) {
  // Where TILL fails, the exports of TILLX do not count any more.
  const std::string till = pack("till", "1.0", kNewerRuntime, kAllowed);
  const std::string tillx = pack("tillx", "1.0", kExports);
  const std::string shop = pack("shop", "1.2", kImports);
  ASSERT_EQ(run({"install", till, tillx, shop}).code, kRejected);

  EXPECT_THAT(run({"why", "shop"}).out,
              AllOf(HasSubstr("is missing, in pass 2\n"),
                    HasSubstr("    tillx 1.0 exported it, and stayed, but its exports did not")));
}

TEST_F(TerminalStoryTest, ALogOfARealTerminalIsExplained) {
  const std::string log = folder_.write("install.log",
                                        "Nov 22 09:00:01 box boot: up\n"
                                        "Nov 22 09:00:02 box wz[7]: Installing to /mnt/x\n"
                                        "Nov 22 09:00:02 box wz[7]: Install /mnt/flash/a.zip\n"
                                        "Nov 22 09:00:02 box wz[7]: Found Error: Invalid x.zip\n"
                                        "Nov 22 09:00:02 box wz[7]: Error: Invalid signature\n"
                                        "Nov 22 09:00:02 box wz[7]: postinstall\n"
                                        "Nov 22 09:00:02 box wz[7]: Checking shop\n"
                                        "Nov 22 09:00:03 box wz[7]: Checking dependencies\n"
                                        "Nov 22 09:00:03 box wz[7]: Checking /mnt/wz/shop.MFT\n"
                                        "Nov 22 09:00:03 box wz[7]: Error: Missing trigger PAID\n"
                                        "Nov 22 09:00:03 box wz[7]: Removing app SHOP\n"
                                        "Nov 22 09:00:03 box wz[7]: Re-checking dependencies after "
                                        "removing apps\n");

  const ProgramResult result = runWz({"why", "--log", log});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(result.out, AllOf(HasSubstr("run in lines 2 to 12: cut off, without a result\n"),
                                HasSubstr("    archive Error: Invalid x.zip, refused\n"
                                          "      WZ-0305 "),
                                HasSubstr("  SHOP was removed in pass 1 of the dependency check\n"
                                          "    WZ-0514 "),
                                HasSubstr("    the smallest change that would keep it:\n")));
  EXPECT_THAT(runWz({"why", "--log", log, "tip"}).out, Not(HasSubstr("SHOP")));
  EXPECT_THAT(runWz({"why", "--log", log, "--json"}).out, HasSubstr("\"smallestChange\""));
}

// What stands before the lines is no part of an application's name.
TEST_F(TerminalStoryTest, ALogWithTimesListsApplicationsByTheirNames) {
  const std::string log = folder_.write("install.log",
                                        "Nov 22 09:00:02 box wz[7]: Installing to /mnt/x\n"
                                        "Nov 22 09:00:02 box wz[7]: postinstall\n"
                                        "Nov 22 09:00:03 box wz[7]: Checking dependencies\n"
                                        "Nov 22 09:00:03 box wz[7]: List of installed "
                                        "applications:\n"
                                        "Nov 22 09:00:03 box wz[7]: shop\n"
                                        "Nov 22 09:00:03 box wz[7]: Overall result: OK\n");

  const std::string out = runWz({"why", "--log", log}).out;

  EXPECT_THAT(out, HasSubstr(": shop\n"));
  EXPECT_THAT(out, Not(HasSubstr("wz[7]")));
}

TEST_F(TerminalStoryTest, WhatIsNoLogIsSaid) {
  EXPECT_EQ(runWz({"why", "--log", folder_.write("x.log", "nothing\nat all\n")}).code, kRejected);
  EXPECT_EQ(runWz({"why", "--log", folder_ / "none.log"}).code, 3);
  EXPECT_EQ(runWz({"why"}).code, 2);
}

}  // namespace
}  // namespace wzapp_test
