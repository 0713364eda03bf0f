// wz install, wz list and wz remove.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <rapidjson/document.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/builders/zip_builder.h"
#include "tests/tools/archive_reader.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

using Lines = std::vector<std::string>;

class InstallTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
    const ProgramResult made = runWz({"terminal", "create", terminal_});
    ASSERT_EQ(made.code, 0) << made.errors;
  }

  // The path of a package of the sample application.
  [[nodiscard]] std::string pack(const std::string& name, const std::vector<std::string>& more = {},
                                 const std::string& keys = DEVELOPMENT_KEYS) const {
    std::vector<std::string> arguments{"pack", app_.path(), "-o", folder_ / name, "--keys", keys};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramResult result = runWz(arguments);
    EXPECT_EQ(result.code, 0) << result.errors;
    return folder_ / name;
  }

  [[nodiscard]] ProgramResult install(std::vector<std::string> files) const {
    files.insert(files.begin(), {"install", "--terminal", terminal_});
    return runWz(files);
  }

  [[nodiscard]] rapidjson::Document list() const {
    const ProgramResult result = runWz({"list", "--terminal", terminal_, "--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << result.out;
    return document;
  }

  [[nodiscard]] std::vector<std::string> installed() const {
    std::vector<std::string> ids;
    const rapidjson::Document document = list();
    for (const auto& application : document["result"]["applications"].GetArray()) {
      ids.emplace_back(application["id"].GetString());
    }
    return ids;
  }

  [[nodiscard]] bool isAnythingWaiting() const {
    const fs::path source = terminal_ + "/flash/system/wz";
    return fs::exists(source) && !fs::is_empty(source);
  }

  SampleApplication app_;
  TemporaryDirectory folder_;
  std::string terminal_ = folder_ / "desk";
};

TEST_F(InstallTest, AnApplicationIsInstalledAndStays) {
  const std::string package = pack("shop.zip");
  const std::string before = contentOf(package);

  const ProgramResult result = install({package});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"Install /mnt/flash/system/wz/shop.zip", "Overall result: OK",
                                 "installed shop 1.2", "done " + package}));
  EXPECT_THAT(installed(), ElementsAre("shop"));
  EXPECT_EQ(contentOf(terminal_ + "/flash/etc/config/wzapp/wz/shop/index.html"), "<p>");
  EXPECT_EQ(contentOf(package), before);
  EXPECT_TRUE(fs::is_empty(terminal_ + "/flash/system/wz"));
}

TEST_F(InstallTest, ARelativePathIsSeenFromWhereTheUserIs) {
  (void)pack("shop.zip");

  const ProgramResult result = runWz({"install", "--terminal", "desk", "shop.zip"},
                                     [this] { fs::current_path(folder_.path()); });

  EXPECT_EQ(result.code, 0) << result.errors;
}

TEST_F(InstallTest, AReplacedApplicationTellsItsVersions) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);
  app_.write("manifest.mft",
             R"({"application": {"id": "shop", "version": "1.3"}, "sponsors": ["123456"]})");

  const ProgramResult newer = install({pack("newer.zip")});
  const ProgramResult again = install({folder_ / "newer.zip"});

  EXPECT_THAT(linesOf(newer.out), Contains("replaced shop 1.2 by 1.3"));
  EXPECT_THAT(linesOf(again.out), Contains("replaced shop 1.3 by the same version"));
}

// The run's own result is then 0, and what has been installed is gone again.
TEST_F(InstallTest, AnApplicationThatDoesNotStayIsRejectedWithTheReason) {
  const ProgramResult result = install({pack("shop.zip", {"--application-only"})});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(
      linesOf(result.out),
      IsSupersetOf(Lines{
          "Overall result: OK", "no application changed", "rejected " + (folder_ / "shop.zip"),
          "  Error: No marketplace manifest found for shop", "  shop is not installed"}));
}

TEST_F(InstallTest, AnotherSponsorsApplicationIsRejectedWithTheReason) {
  const ProgramResult result = install({pack("shop.zip", {"--sponsor", "654321"})});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{
                  "  Error: Invalid sponsor list '654321' for installing 'shop', expecting "
                  "sponsor '123456'",
                  "  repair of WZ-0503: Pack it for the sponsor that the terminal expects. wz pack "
                  "APPDIR -o FILE --sponsor ID"}));
}

TEST_F(InstallTest, AMissingTriggerIsTheReasonWhyAnApplicationVanishes) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);
  app_.write("manifest.mft", R"({"application": {"id": "shop"}, "sponsors": ["123456"],
    "imports_trigger": [{"id": "NOBODY_HAS_IT", "file": "index.html"}]})");

  const ProgramResult result = install({pack("newer.zip")});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"removed shop 1.2", "  Error: Missing trigger NOBODY_HAS_IT"}));
}

// ---- Several packages, and such as are none ----------------------------------------------------

TEST_F(InstallTest, AGoodPackageGoesInBesideABadOne) {
  const std::string bad = folder_.write("bad.zip", "no archive");

  const ProgramResult result = install({pack("shop.zip"), bad});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"done " + (folder_ / "shop.zip"), "rejected " + bad,
                                 "  Error: Failed reading '/mnt/flash/system/wz/bad.zip'"}));
  EXPECT_THAT(installed(), ElementsAre("shop"));
}

TEST_F(InstallTest, APackageOfForeignKeysIsRejected) {
  const ProgramResult result = install({pack("shop.zip", {}, madeKeys())});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out,
              HasSubstr("shop.zip: Error: Signature 'shop.p7s' using unknown certificate"));
}

TEST_F(InstallTest, AnArchiveWithNothingInItForATerminalIsRejected) {
  const std::string empty = folder_.write("empty.zip", ZipBuilder().file("readme.txt", "").build());

  const ProgramResult result = install({empty});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out), Contains("  there is no archive in it"));
}

TEST_F(InstallTest, NamesThatActOnAUsersTerminalAreEscaped) {
  const std::string hostile =
      folder_.write("hostile.zip", ZipBuilder().file("\x1B[2J\nx.zip", "").build());

  const ProgramResult result = install({hostile});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, AllOf(HasSubstr("Found \\x1b[2J\\nx.zip"), Not(HasSubstr("\x1B"))));
}

TEST_F(InstallTest, JsonTellsTheSame) {
  const ProgramResult result = install({pack("shop.zip"), "--json"});

  EXPECT_EQ(result.code, 0) << result.errors;
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_FALSE(document.HasParseError()) << result.out;
  EXPECT_EQ(document["result"]["result"].GetInt(), 0);
  EXPECT_TRUE(document["ok"].GetBool());
  EXPECT_STREQ(document["result"]["resultWord"].GetString(), "ok");
  EXPECT_TRUE(document["result"]["done"].GetBool());
  EXPECT_STREQ(document["result"]["packages"][0]["file"].GetString(),
               (folder_ / "shop.zip").c_str());
  EXPECT_STREQ(document["result"]["changes"][0]["change"].GetString(), "installed");
  EXPECT_STREQ(document["result"]["changes"][0]["id"].GetString(), "shop");
  EXPECT_STREQ(document["result"]["changes"][0]["versionNow"].GetString(), "1.2");
  EXPECT_GT(document["result"]["log"].Size(), 5U);
}

// What a terminal of the user's shows, read by a thread since it holds only so much.
class UsersTerminal {
 public:
  UsersTerminal() : screen_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (grantpt(screen_) != 0 || unlockpt(screen_) != 0) throw std::runtime_error("no terminal");
    program_ = open(ptsname(screen_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    reader_ = std::thread([this] { readAll(); });
  }
  UsersTerminal(const UsersTerminal&) = delete;
  UsersTerminal& operator=(const UsersTerminal&) = delete;
  ~UsersTerminal() {
    (void)shown();
    close(screen_);
  }

  // In the program's process.
  void becomeOutput() const {
    for (const int file : {STDOUT_FILENO, STDERR_FILENO}) dup2(program_, file);
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
  }

  // Everything that was shown, once the program has ended.
  const std::string& shown() {
    if (reader_.joinable()) {
      close(program_);
      reader_.join();
    }
    return shown_;
  }

 private:
  // Until nobody has the program's side open any more.
  void readAll() {
    char block[512];
    for (ssize_t count = 0; (count = read(screen_, block, sizeof(block))) > 0;) {
      shown_.append(block, static_cast<std::size_t>(count));
    }
  }

  int screen_, program_ = -1;
  std::string shown_;
  std::thread reader_;
};

TEST_F(InstallTest, AUsersTerminalHasALiveLineBelowTheLog) {
  const std::string package = pack("shop.zip");
  UsersTerminal users;

  const ProgramResult result =
      runWz({"install", "--terminal", terminal_, package}, [&users] { users.becomeOutput(); });

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(users.shown(),
              AllOf(HasSubstr("\r\x1B[2KFound shop-O.zip\r\n"),
                    HasSubstr("package 1 of 1: shop.zip, archive 2: shop.zip\r\x1B[2K"),
                    HasSubstr("marketplace manifests: SHOP\r\x1B[2K"),
                    HasSubstr("Overall result: OK\r\n\r\ninstalled shop 1.2\r\n")));
}

TEST_F(InstallTest, TheLogIsWrittenToAFileTooAlsoBesideJson) {
  const std::string package = pack("shop.zip");

  const ProgramResult shown = install({package, "--log", folder_ / "shown.log"});
  const ProgramResult json = install({package, "--json", "--log", folder_ / "json.log"});

  EXPECT_EQ(shown.code, 0) << shown.errors;
  EXPECT_THAT(shown.out, testing::StartsWith(contentOf(folder_ / "shown.log") + "\n"));
  EXPECT_EQ(json.code, 0) << json.errors;
  EXPECT_THAT(linesOf(contentOf(folder_ / "json.log")),
              IsSupersetOf(Lines{"Install /mnt/flash/system/wz/shop.zip", "Overall result: OK"}));
}

TEST_F(InstallTest, NothingIsInstalledWithoutTheFileForItsLog) {
  const std::string log = folder_ / "nowhere/x.log";

  const ProgramResult result = install({pack("shop.zip"), "--log", log});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write " + log + ": No such file or directory\n");
  EXPECT_THAT(installed(), testing::IsEmpty());
  EXPECT_FALSE(isAnythingWaiting());
}

// Nothing must be left for the next installation to carry out.
TEST_F(InstallTest, NothingIsRemovedWithoutTheFileForItsLog) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);

  const ProgramResult result = runWz({"remove", "shop", "--terminal", terminal_, "--log",
                                      folder_ / "nowhere/x.log", "--keys", DEVELOPMENT_KEYS});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("cannot write "));
  EXPECT_THAT(installed(), ElementsAre("shop"));
  EXPECT_FALSE(isAnythingWaiting());
}

TEST_F(InstallTest, APackageIsNotWrittenOverByItsLog) {
  const std::string package = pack("shop.zip");

  const ProgramResult result = install({package, "--log", package});

  EXPECT_EQ(result.code, kUsage);
  EXPECT_EQ(result.errors, "wz: " + package + " cannot be read and written at once\n");
  EXPECT_EQ(install({package}).code, 0);
}

TEST_F(InstallTest, AFullDiskBelowTheLogIsToldOfWhatIsInstalled) {
  const ProgramResult result = install({pack("shop.zip"), "--log", "/dev/full"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write /dev/full: No space left on device\n");
  EXPECT_THAT(installed(), ElementsAre("shop"));
}

// As behind `| head`: what it is about is done all the same.
TEST_F(InstallTest, WithoutAReaderItIsDoneToItsEnd) {
  const std::string package = pack("shop.zip");
  int pipe[2];
  ASSERT_EQ(pipe2(pipe, O_CLOEXEC), 0);
  close(pipe[0]);

  const ProgramResult result = runWz({"install", "--terminal", terminal_, package},
                                     [&pipe] { dup2(pipe[1], STDOUT_FILENO); });
  close(pipe[1]);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot write to standard output: Broken pipe\n");
  EXPECT_THAT(installed(), ElementsAre("shop"));
}

// ---- Failures ----------------------------------------------------------------------------------

TEST_F(InstallTest, AMissingFileLeavesTheTerminalAlone) {
  const ProgramResult result = install({pack("shop.zip"), folder_ / "none.zip"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors,
            "wz: cannot read " + (folder_ / "none.zip") + ": No such file or directory\n");
  EXPECT_FALSE(fs::exists(terminal_ + "/flash/system/wz/shop.zip"));
}

TEST_F(InstallTest, NamesThatTheTerminalPassesOverAreWrongUsage) {
  EXPECT_EQ(install({folder_.write("shop.pkg", "")}).code, kUsage);
  EXPECT_EQ(install({folder_.write(".zip", "")}).code, kUsage);
}

TEST_F(InstallTest, TwoPackagesOfOneNameAreWrongUsage) {
  fs::create_directory(folder_ / "other");
  const std::string first = pack("shop.zip");

  EXPECT_EQ(install({first, pack("other/shop.zip")}).code, kUsage);
}

TEST_F(InstallTest, APackageThatIsWaitingAlreadyIsNotReplaced) {
  ASSERT_EQ(
      runWz({"exec", "--terminal", terminal_, "--", "/bin/mkdir", "-p", "/mnt/flash/system/wz"})
          .code,
      0);
  const std::string waiting = terminal_ + "/flash/system/wz/shop.zip";
  folder_.write("desk/flash/system/wz/shop.zip", "waiting");

  const ProgramResult result = install({pack("shop.zip")});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("a package of that name is waiting there already"));
  EXPECT_EQ(contentOf(waiting), "waiting");
}

// In a new process: the system fails to bring anything to stable storage, as bad flash does.
void failSynchronization() {
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_syncfs, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{std::size(steps), steps};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    _exit(126);
  }
}

TEST_F(InstallTest, APackageThatTheTerminalKeepsIsRejectedWithTheReason) {
  const std::string package = pack("shop.zip");

  const ProgramResult result =
      runWz({"install", "--terminal", terminal_, package}, failSynchronization);

  EXPECT_EQ(result.code, kRejected) << result.errors;
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{
                  "Overall result: ERROR", "installed shop 1.2", "rejected " + package,
                  "  it is still waiting in /mnt/flash/system/wz/shop.zip: what it brought could "
                  "not be brought to stable storage, or it could not be deleted"}));
  EXPECT_TRUE(fs::exists(terminal_ + "/flash/system/wz/shop.zip"));
}

TEST_F(InstallTest, OneProgramAtATimeChangesATerminal) {
  const int folder = open(terminal_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);

  const ProgramResult result = install({pack("shop.zip")});

  close(folder);
  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("another program is changing the terminal"));
}

// ---- wz list, wz remove ------------------------------------------------------------------------

TEST_F(InstallTest, TheListTellsVersionsAndSponsors) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);

  const ProgramResult result = runWz({"list", "--terminal", terminal_});

  EXPECT_EQ(result.out, "shop 1.2  for 123456\n");
}

TEST_F(InstallTest, AnEmptyTerminalHasAnEmptyList) {
  EXPECT_EQ(runWz({"list", "--terminal", terminal_}).out, "no application is installed\n");
  EXPECT_EQ(list()["result"]["applications"].Size(), 0U);
}

TEST_F(InstallTest, ASignedPackageRemovesAnApplication) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);

  const ProgramResult result =
      runWz({"remove", "--terminal", terminal_, "--keys", DEVELOPMENT_KEYS, "SHOP"});

  EXPECT_EQ(result.code, 0) << result.out << result.errors;
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"removed shop 1.2", "  a signed package asked for it",
                                 "done the removal of shop"}));
  EXPECT_THAT(installed(), ElementsAre());
  EXPECT_FALSE(fs::exists(terminal_ + "/flash/etc/config/wzapp/mp/shop"));
  EXPECT_TRUE(fs::is_empty(terminal_ + "/flash/system/wz"));
}

TEST_F(InstallTest, ARemovalThatIsRefusedLeavesTheApplication) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);

  const ProgramResult result =
      runWz({"remove", "--terminal", terminal_, "--keys", madeKeys(), "shop"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out), Contains("  shop is still installed"));
  EXPECT_THAT(installed(), ElementsAre("shop"));
}

TEST_F(InstallTest, WhatIsNotInstalledCannotBeRemoved) {
  const ProgramResult result =
      runWz({"remove", "--terminal", terminal_, "--keys", DEVELOPMENT_KEYS, "shop"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors, "wz: there is no application shop on this terminal; see wz list\n");
}

TEST_F(InstallTest, ARemovalPackageOfThePackCommandDoesTheSame) {
  ASSERT_EQ(install({pack("shop.zip")}).code, 0);
  ASSERT_EQ(runWz({"pack", "--uninstall", "shop", "-o", folder_ / "u.zip", "--keys",
                   DEVELOPMENT_KEYS, "--sponsor", "123456"})
                .code,
            0);

  const ProgramResult result = install({folder_ / "u.zip"});

  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_THAT(linesOf(result.out), Contains("removed shop 1.2"));
}

}  // namespace
}  // namespace wzapp_test
