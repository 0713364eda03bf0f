// wz pack, and wz new.

#include <unistd.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "crypto/signature/signature_file.h"
#include "tests/tools/archive_reader.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/packaging/temporary_folders.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> namesOf(const Contents& contents) {
  std::vector<std::string> names;
  for (const auto& [name, content] : contents) names.push_back(name);
  return names;
}

class PackTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
  }

  // With keys that are nobody else's, unless told.
  [[nodiscard]] ProgramResult pack(std::vector<std::string> arguments,
                                   const std::string& keys = madeKeys()) const {
    arguments.insert(arguments.begin(), "pack");
    for (const std::string& argument : {std::string("-o"), file_, std::string("--keys"), keys}) {
      arguments.push_back(argument);
    }
    return runWz(arguments);
  }

  // Keys that a test may spoil.
  [[nodiscard]] std::string copiedKeys() const {
    fs::copy(madeKeys(), folder_ / "keys", fs::copy_options::recursive);
    return folder_ / "keys";
  }

  // Takes the raw signature out of a signature file of the package.
  void writeSignature(const std::string& entry, const std::string& name) const {
    const std::string file = contentsOf(file_).at(entry);
    wzapp::SignatureInfo info;
    ASSERT_EQ(wzapp::parseSignatureFile(viewOf(file), info), 0);
    folder_.write(name, std::string(info.signature.begin(), info.signature.end()));
  }

  SampleApplication app_;
  TemporaryDirectory folder_;
  std::string file_ = folder_ / "shop.zip";
};

TEST_F(PackTest, MakesAVerifiedPackage) {
  const ProgramResult result = pack({app_.path(), "--sponsor", "654321"}, DEVELOPMENT_KEYS);

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(linesOf(result.out),
              ElementsAre(StartsWith("made " + file_ + ", "),
                          "  shop-O.zip  marketplace manifest of shop, 1 file, signature verified",
                          "  shop.zip  application of shop, 3 files, signature verified"));
  EXPECT_THAT(namesOf(contentsOf(file_)),
              ElementsAre("application.crt", "manifest.crt", "shop-O.p7s", "shop-O.zip", "shop.p7s",
                          "shop.zip"));
}

TEST_F(PackTest, TheSponsorsOfTheManifestAreTheDefault) {
  ASSERT_EQ(pack({app_.path()}).code, 0);

  const std::string inner = folder_.write("o.zip", contentsOf(file_).at("shop-O.zip"));
  EXPECT_THAT(contentsOf(inner).at("shop/mpmanifest.mft"), HasSubstr("\"123456\""));
}

TEST_F(PackTest, TheSameInputGivesTheSameOctets) {
  ASSERT_EQ(pack({app_.path()}).code, 0);
  const std::string first = contentOf(file_);

  ASSERT_EQ(pack({app_.path()}).code, 0);

  EXPECT_EQ(contentOf(file_), first);
}

TEST_F(PackTest, KeysWithAuthoritiesOfTheirOwnAreVerifiedByThoseAndSaidSo) {
  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.errors,
              AllOf(StartsWith("wz: note: " + madeKeys() + " has authorities of its own"),
                    HasSubstr("[WZ-0905]")));
}

TEST_F(PackTest, DevelopmentKeysSignNoRelease) {
  for (const std::string& keys : {std::string(DEVELOPMENT_KEYS), madeKeys()}) {
    const ProgramResult result = pack({app_.path(), "--release"}, keys);

    EXPECT_EQ(result.code, kRejected);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("the signer application.crt is a development key"),
                                     HasSubstr("the signer manifest.crt is a development key"),
                                     HasSubstr("[WZ-0908]"), HasSubstr("repair: ")));
    EXPECT_FALSE(std::filesystem::exists(file_));
  }
}

TEST_F(PackTest, ACheckForReleaseRefusesThemToo) {
  ASSERT_EQ(pack({app_.path()}, madeKeys()).code, 0);

  const ProgramResult plain = runWz({"check", file_, "--keys", madeKeys()});
  const ProgramResult release = runWz({"check", "--release", file_, "--keys", madeKeys()});
  const ProgramResult folder = runWz({"check", "--release", app_.path()});

  EXPECT_EQ(plain.code, 0) << plain.out;
  EXPECT_EQ(release.code, kRejected);
  EXPECT_THAT(release.out, HasSubstr("[WZ-0908]"));
  EXPECT_EQ(folder.code, kUsage);
  EXPECT_THAT(folder.errors, HasSubstr("is a folder, which nobody has signed"));
}

TEST_F(PackTest, ASignerThatSoonEndsIsToldAhead) {
  const std::time_t soon = std::time(nullptr) + 30 * 24 * 60 * 60;
  char day[32];
  std::tm utc{};
  std::strftime(day, sizeof(day), "%Y-%m-%d", gmtime_r(&soon, &utc));
  const std::string keys = folder_ / "soon";
  ASSERT_EQ(runWz({"keys", "issue", keys, "--keys", madeKeys(), "--until", day}).code, 0);

  const ProgramResult result = pack({app_.path()}, keys);

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.errors,
              HasSubstr("warning: application.crt: the certificate is to be used until " +
                        std::string(day) + ", in 30 days [WZ-0907]"));
}

TEST_F(PackTest, RemovesApplications) {
  const ProgramResult result =
      pack({"--uninstall", "shop", "--uninstall", "tip", "--sponsor", "123456"}, DEVELOPMENT_KEYS);

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(namesOf(contentsOf(file_)),
              ElementsAre("manifest.crt", "shop-U.p7s", "shop-U.zip", "tip-U.p7s", "tip-U.zip"));
}

// What is under way lies beside the package, and in the folder for temporary files.
TEST_F(PackTest, ASignalLeavesNothingBehind) {
  constexpr std::chrono::seconds kSoon{30};  // or the program that signs has outlived it
  const auto begin = std::chrono::steady_clock::now();
  const TemporaryDirectory temporary;
  const std::string command = "echo signing >&2; exec sleep 60";
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Program wz(
        {"pack", app_.path(), "-o", file_, "--keys", DEVELOPMENT_KEYS, "--sign-command", command},
        [&] { setenv("TMPDIR", temporary.path().c_str(), 1); });
    ASSERT_TRUE(wz.awaitOutput("signing"));

    wz.signal(signal);

    EXPECT_EQ(wz.wait(), -signal);
    EXPECT_TRUE(fs::is_empty(folder_.path()));
    EXPECT_TRUE(fs::is_empty(temporary.path()));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kSoon);
}

// At any moment: there is the whole package then, or nothing.
TEST_F(PackTest, ASignalAtAnyMomentLeavesTheWholePackageOrNothing) {
  const TemporaryDirectory temporary;
  ASSERT_EQ(pack({app_.path()}, DEVELOPMENT_KEYS).code, 0);
  const std::string whole = contentOf(file_);
  constexpr int kTimes = 40;
  for (int i = 0; i < kTimes; ++i) {
    fs::remove(file_);
    Program wz({"pack", app_.path(), "-o", file_, "--keys", DEVELOPMENT_KEYS},
               [&] { setenv("TMPDIR", temporary.path().c_str(), 1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(i * 4));

    wz.signal(SIGTERM);

    wz.wait();
    const bool isMade = fs::exists(file_);
    EXPECT_THAT(namesIn(folder_.path()), testing::SizeIs(isMade ? 1 : 0));
    EXPECT_TRUE(!isMade || contentOf(file_) == whole);
    // ThreadSanitizer leaves a file of its own where the signal comes before the program begins.
    EXPECT_THAT(namesIn(temporary.path()), testing::Each(testing::StartsWith("tsan.")));
  }
}

// By somebody who makes folders all the time, those above them included.
TEST(TemporaryFoldersTest, WhatASignalHasRemovedIsNotMadeAgain) {
  const TemporaryDirectory parent;
  constexpr int kTimes = 20;
  for (int i = 0; i < kTimes; ++i) {
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      std::string path = parent / "wz-XXXXXX";
      if (!packaging::removeFoldersOnSignals() || !packaging::makeTemporaryFolder(path)) _exit(1);
      if (write(ready[1], "", 1) != 1) _exit(1);
      for (;;) {
        packaging::whileFoldersStay([&path] {
          fs::create_directories(path + "/a/b");
          fs::remove_all(path + "/a");
        });
      }
    }
    char octet = 0;
    close(ready[1]);
    EXPECT_EQ(read(ready[0], &octet, 1), 1);
    close(ready[0]);
    kill(child, SIGTERM);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(fs::is_empty(parent.path()));
  }
}

TEST_F(PackTest, AProgramThatSignsIsEnough) {
  const std::string keys = copiedKeys();
  ASSERT_EQ(pack({app_.path()}).code, 0);
  const std::string withKeys = contentOf(file_);
  writeSignature("shop.p7s", "application.raw");
  writeSignature("shop-O.p7s", "manifest.raw");
  fs::remove(keys + "/signers/application.key");
  fs::remove(keys + "/signers/manifest.key");

  const ProgramResult result =
      pack({app_.path(), "--sign-command", "cat '" + folder_.path() + "'/$WZ_SIGNER.raw"}, keys);

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_EQ(contentOf(file_), withKeys);
}

// ---- Refusals ----------------------------------------------------------------------------------

TEST_F(PackTest, SignersOfTheWrongKindAreRefused) {
  const std::string keys = copiedKeys();
  for (const char* const ending : {".der", ".key"}) {
    fs::copy_file(keys + "/signers/manifest" + ending, keys + "/signers/application" + ending,
                  fs::copy_options::overwrite_existing);
  }

  const ProgramResult result = pack({app_.path()}, keys);

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("wz: shop.zip: signer may sign this: kind 4, needed is 3"),
                    HasSubstr("terminals would refuse the package, so it was not kept")));
  EXPECT_THAT(namesIn(folder_.path()), ElementsAre("keys"));
}

TEST_F(PackTest, SignersOfOtherAuthoritiesAreRefused) {
  const std::string keys = copiedKeys();
  fs::remove(keys + "/authorities.txt");  // so that those compiled in count

  const ProgramResult result = pack({app_.path()}, keys);

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors, HasSubstr("application.crt: Refused: none of the authorities"));
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(PackTest, WhatIsWrongWithTheApplicationIsSaidAtOnce) {
  app_.write("data/other.mft", "{}");
  app_.write(std::string(100, 'a') + "/" + std::string(160, 'b'), "");

  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("has a name of 266 octets"), HasSubstr("[WZ-0805]"),
                    HasSubstr("give it another ending than .mft"), HasSubstr("[WZ-0712]")));
}

TEST_F(PackTest, AControlCharacterInANameDoesNotReachTheUsersTerminal) {
  app_.write("a\\\x1B[2J", "");

  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors, HasSubstr("a\\\\x1b[2J has a \\ in its name"));
}

TEST_F(PackTest, ASponsorThatIsNoneIsRefused) {
  const ProgramResult result = pack({app_.path(), "--sponsor", "12345"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors, "wz: the sponsor 12345 is not six digits [WZ-0714]\n");
}

TEST_F(PackTest, WithoutASponsorNoTerminalCouldHaveIt) {
  app_.write("manifest.mft", R"({"application": {"id": "shop"}})");

  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("which sponsors' terminals may have it?"), HasSubstr("[WZ-0901]")));
}

TEST_F(PackTest, OneApplicationIsRemovedOnce) {
  const ProgramResult result =
      pack({"--uninstall", "shop", "--uninstall", "SHOP", "--sponsor", "123456"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("the application SHOP is named twice"), HasSubstr("[WZ-0902]")));
}

TEST_F(PackTest, ANameThatTerminalsPassOverIsWrongUsage) {
  file_ = folder_ / "shop.pkg";

  EXPECT_EQ(pack({app_.path()}).code, kUsage);
}

TEST_F(PackTest, EitherAnApplicationOrARemovalIsWanted) {
  EXPECT_EQ(pack({}).code, kUsage);
  EXPECT_EQ(pack({app_.path(), "--uninstall", "shop"}).code, kUsage);
}

TEST_F(PackTest, UnlessToldThePackageIsNamedAfterTheApplication) {
  const std::string own = folder_ / "here";
  fs::create_directory(own);

  const ProgramResult result = runWz({"pack", app_.path(), "--keys", DEVELOPMENT_KEYS},
                                     [&] { EXPECT_EQ(chdir(own.c_str()), 0); });

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(namesIn(own), ElementsAre("shop.zip"));
  EXPECT_THAT(result.out, HasSubstr("made shop.zip, "));
}

TEST_F(PackTest, AMissingKeyDirectoryIsNamed) {
  const ProgramResult result = pack({app_.path()}, folder_ / "none");

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("cannot read the certificate " + (folder_ / "none/signers")),
                    HasSubstr("[WZ-0903]")));
}

TEST_F(PackTest, APlaceThatIsNotThereIsNamed) {
  file_ = folder_ / "none/shop.zip";

  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, AllOf(HasSubstr(folder_ / "none"), HasSubstr("[WZ-0904]")));
}

TEST_F(PackTest, TheKeysCanBeNamedByTheEnvironment) {
  const ProgramResult result = runWz({"pack", app_.path(), "-o", file_},
                                     [this] { setenv("WZ_KEYS", (folder_ / "none").c_str(), 1); });

  EXPECT_THAT(result.errors, HasSubstr(folder_ / "none/signers"));
}

TEST_F(PackTest, WhatTheCheckRefusesIsNotPacked) {
  app_.write("node_modules/x.js", "");

  const ProgramResult result = pack({app_.path()});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors, HasSubstr("the folder node_modules would be packed [WZ-0821]"));
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(PackTest, WhatIsDeliberateIsAllowed) {
  app_.write("node_modules/x.js", "");

  EXPECT_EQ(pack({app_.path(), "--allow", "WZ-0821"}).code, 0);
}

TEST_F(PackTest, IgnoredFilesAndThePackageItselfStayOut) {
  app_.write(".wzignore", "*.psd\n");
  app_.write("logo.psd", "x");
  file_ = app_ / "shop.zip";
  ASSERT_EQ(pack({app_.path()}).code, 0);
  const std::string first = contentOf(file_);

  ASSERT_EQ(pack({app_.path()}).code, 0);

  EXPECT_EQ(contentOf(file_), first);
  const std::string inner = folder_.write("inner.zip", contentsOf(file_).at("shop.zip"));
  EXPECT_THAT(namesOf(contentsOf(inner)),
              ElementsAre("shop.MFT", "shop/img/logo.svg", "shop/index.html"));
}

TEST_F(PackTest, APackageIsCheckedLikeItsFolder) {
  app_.write("index.html", "<img src=none.svg>");
  ASSERT_EQ(pack({app_.path(), "--allow", "WZ-0813"}, DEVELOPMENT_KEYS).code, 0);

  const ProgramResult result = runWz({"check", file_});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out),
              testing::Contains(file_ + "!shop.zip!shop/index.html:1:10: error: none.svg is not "
                                        "there [WZ-0813]"));
}

// A terminal that states the version of its browser is warned for.
TEST_F(PackTest, WhatIsNewerThanTheTerminalsEngineIsToldOf) {
  app_.write("app.js", "const a = b?.c;");
  const std::string desk = folder_ / "desk";
  ASSERT_EQ(runWz({"terminal", "create", desk, "--engine", "70"}).code, 0);
  const std::string warning =
      "app.js:1:12: warning: optional chaining needs version 80 of the browser, and the terminal "
      "has 70 [WZ-0816]\n";

  EXPECT_THAT(runWz({"check", app_.path(), "--terminal", desk}).out, HasSubstr(warning));
  EXPECT_THAT(runWz({"check", app_.path()}).out, Not(HasSubstr("WZ-0816")));
  EXPECT_THAT(pack({app_.path(), "--terminal", desk}, DEVELOPMENT_KEYS).errors, HasSubstr(warning));
  EXPECT_EQ(runWz({"check", app_.path(), "--terminal", folder_ / "none"}).code, kEnvironment);
}

TEST_F(PackTest, AFolderIsCheckedInJson) {
  const ProgramResult result = runWz({"check", "--json", app_.path()});

  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_THAT(result.out, AllOf(HasSubstr("\"schema\": \"urn:wzapp:check:1\""),
                                HasSubstr("\"applications\": [")));
}

// ---- wz new ------------------------------------------------------------------------------------

class NewTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
  }

  TemporaryDirectory folder_;
  std::string app_ = folder_ / "corner-shop";
};

TEST_F(NewTest, WhatItMakesPacksAsItStands) {
  const ProgramResult made = runWz({"new", app_});
  ASSERT_EQ(made.code, 0) << made.errors;

  const ProgramResult packed =
      runWz({"pack", app_, "-o", folder_ / "shop.zip", "--keys", DEVELOPMENT_KEYS});

  EXPECT_EQ(packed.code, 0);
  EXPECT_EQ(packed.errors, "");
  const std::string inner =
      folder_.write("inner.zip", contentsOf(folder_ / "shop.zip").at("corner-shop.zip"));
  EXPECT_THAT(
      namesOf(contentsOf(inner)),
      IsSupersetOf({"corner-shop.MFT", "corner-shop/app.css", "corner-shop/app.js",
                    "corner-shop/confApp.json", "corner-shop/icon.svg", "corner-shop/index.html"}));
}

TEST_F(NewTest, WhatItMakesRunsAsItStands) {
  ASSERT_EQ(runWz({"new", app_}).code, 0);
  ASSERT_EQ(runWz({"terminal", "create", folder_ / "desk"}).code, 0);

  Program wz({"run", "--terminal", folder_ / "desk", "--headless", app_});
  const bool isPainted = wz.awaitOutput("corner-shop first paint");
  wz.signal(SIGINT);
  wz.wait();

  EXPECT_TRUE(isPainted) << wz.out() << wz.errors();
  EXPECT_THAT(wz.out(), AllOf(Not(HasSubstr(" console ")), Not(HasSubstr(" log ")),
                              Not(HasSubstr(" request failed"))));
}

TEST_F(NewTest, TheEditorFindsTypingsAndASchema) {
  ASSERT_EQ(runWz({"new", app_}).code, 0);

  EXPECT_THAT(namesIn(app_ + "/.wz"),
              ElementsAre("host.schema.json", "manifest.schema.json", "wz.d.ts"));
  EXPECT_THAT(contentOf(app_ + "/.vscode/settings.json"), HasSubstr("./.wz/host.schema.json"));
  EXPECT_THAT(contentOf(app_ + "/manifest.mft"),
              AllOf(HasSubstr("\"$schema\": \".wz/manifest.schema.json\""),
                    HasSubstr("\"id\": \"corner-shop\""), HasSubstr("[\"123456\"]")));
}

TEST_F(NewTest, TheHostFileIsOneAndTestsAndItStayOutOfPackages) {
  ASSERT_EQ(runWz({"new", app_}).code, 0);
  ASSERT_EQ(runWz({"terminal", "create", folder_ / "desk"}).code, 0);

  Program host({"host", "--terminal", folder_ / "desk", app_ + "/host.json"});

  EXPECT_TRUE(host.awaitOutput("playing books")) << host.errors();
  EXPECT_THAT(contentOf(app_ + "/.wzignore"),
              AllOf(HasSubstr("/host.json\n"), HasSubstr("/*.zip\n"), HasSubstr("/tests/\n")));
  EXPECT_TRUE(fs::exists(app_ + "/tests/till.spec.js"));
}

TEST_F(NewTest, IdAndSponsorCanBeChosen) {
  ASSERT_EQ(runWz({"new", app_, "--id", "till", "--sponsor", "654321"}).code, 0);

  EXPECT_THAT(contentOf(app_ + "/manifest.mft"),
              AllOf(HasSubstr("\"id\": \"till\""), HasSubstr("[\"654321\"]")));
  EXPECT_THAT(contentOf(app_ + "/index.html"), HasSubstr("<title>till</title>"));
}

TEST_F(NewTest, AFolderThatIsInUseIsLeftAlone) {
  folder_.write("mine", "mine");

  const ProgramResult result = runWz({"new", folder_.path(), "--id", "till"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("it exists and is not empty"));
  EXPECT_THAT(namesIn(folder_.path()), ElementsAre("mine"));
}

TEST_F(NewTest, TheCurrentFolderIsCalledWhatItIsCalled) {
  fs::create_directory(app_);
  const auto inside = [&] {
    if (chdir(app_.c_str()) != 0) _exit(125);
  };

  const ProgramResult made = runWz({"new", "."}, inside);

  EXPECT_EQ(made.code, 0) << made.errors;
  EXPECT_THAT(made.out, HasSubstr("wz pack . -o corner-shop.zip"));
  EXPECT_THAT(contentOf(app_ + "/manifest.mft"), HasSubstr("\"id\": \"corner-shop\""));
}

TEST_F(NewTest, TheCommandsThatItNamesCanBeTyped) {
  const auto inside = [&] {
    if (chdir(folder_.path().c_str()) != 0) _exit(125);
  };

  const ProgramResult made = runWz({"new", "my shop", "--id", "till"}, inside);

  EXPECT_THAT(made.out, AllOf(HasSubstr("wz run --watch './my shop'\n"),
                              HasSubstr("wz pack './my shop' -o till.zip\n")));
}

TEST_F(NewTest, HalfAnApplicationIsTakenAway) {
  const auto noLargeFiles = [] {
    const rlimit limit{2000, 2000};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);
  };

  const ProgramResult result = runWz({"new", app_}, noLargeFiles);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("cannot make " + app_));
  EXPECT_FALSE(fs::exists(app_));
}

TEST_F(NewTest, AnIdThatIsNoneIsWrongUsage) {
  EXPECT_THAT(runWz({"new", ""}).errors, HasSubstr("wz: name the new folder"));
  EXPECT_EQ(runWz({"new", folder_ / "a b"}).code, kUsage);
  EXPECT_EQ(runWz({"new", app_, "--id", "x.mft"}).code, kUsage);
  EXPECT_EQ(runWz({"new", app_, "--sponsor", "1"}).code, kUsage);
  EXPECT_FALSE(fs::exists(app_));
}

}  // namespace
}  // namespace wzapp_test
