// Installation runs by their whole log, result and tree.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "installer/directories.h"
#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/builders/own_namespace.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using namespace wzapp_test;

ino_t inodeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_ino;
}

class InstallRunTest : public wzapp_test::InstallTest {
 protected:
  FileCalls calls;
};

// --- Results ----------------------------------------------------------------------------------

TEST_F(InstallRunTest, InstallsAnApplicationWithItsMarketplaceManifest) {
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          endLines({"shop"}, "OK")}));
  EXPECT_THAT(tree(), ElementsAre("mp/", "mp/shop/", "mp/shop/mpmanifest.mft", "wz/", "wz/shop.MFT",
                                  "wz/shop/", "wz/shop/index.html", "wz/shop/pages/",
                                  "wz/shop/pages/second.html"));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(InstallRunTest, SaysThatThereIsNoPackage) {
  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
}

TEST_F(InstallRunTest, ListsWhatIsInstalledWithoutAPackage) {
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  const auto before = tree();

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines("shop"), endLines({"shop"}, "NO PACKAGE")}));
  EXPECT_EQ(tree(), before);
}

TEST_F(InstallRunTest, PrefersAWarningToNoPackage) {
  terminal.makeFolder(kManifests + "/shop");

  EXPECT_EQ(install(), kInstallWarning);

  EXPECT_EQ(lines, logOf({beginLines(), "postinstall\n", "Checking shop\n",
                          "Warning: " + kManifests + "/shop/mpmanifest.mft not found\n",
                          "Removing " + kManifests + "/shop\n", "Checking dependencies\n",
                          endLines({}, "WARNING")}));
}

TEST_F(InstallRunTest, StartsWithAResultOfItsOwn) {
  drop("x.zip", "no archive");
  ASSERT_EQ(install(), kInstallError);

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(installResult(), kInstallNoPackage);
}

TEST_F(InstallRunTest, ReportsToNobodyWithoutALog) {
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(wzInstall(nullptr, &lines), kInstallOk);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_TRUE(terminal.exists(kApps + "/shop/index.html"));
}

// --- Updates ----------------------------------------------------------------------------------

TEST_F(InstallRunTest, UpdatesManifestsInRootsThatCannotBeWritten) {
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  for (const std::string& root : {kApps, kManifests}) fs::permissions(root, fs::perms{0555});
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallWarning);

  EXPECT_THAT(lines, testing::Contains(notRemoved(kApps + "/shop", EACCES)));
  EXPECT_THAT(lines, testing::Not(testing::Contains(testing::StartsWith("Error"))));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

TEST_F(InstallRunTest, UpdatesInTheOrderOfTheInstallation) {
  for (const char* id : {"shop", "tool", "bank"}) {
    drop(std::string(id) + ".zip", applicationPackage(id));
  }
  ASSERT_EQ(install(), kInstallOk);
  const std::vector<std::string> manifests = listed(kManifests);
  const ino_t inode = inodeOf(kManifests + "/tool/mpmanifest.mft");
  drop("tool.zip", applicationPackage("tool"));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(listed(kManifests), manifests);
  EXPECT_EQ(inodeOf(kManifests + "/tool/mpmanifest.mft"), inode);
}

// --- What a run leaves to others --------------------------------------------------------------

// Descriptors that a program which the host starts now would inherit.
std::set<int> inheritedDescriptors() {
  std::set<int> inherited;
  for (const std::string& name : listed("/proc/self/fd")) {
    const int flags = fcntl(std::stoi(name), F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) inherited.insert(std::stoi(name));
  }
  return inherited;
}

TEST_F(InstallRunTest, LetsNoProgramInheritItsFiles) {
  drop("shop.zip", applicationPackage("shop"));
  drop("tool.zip", applicationPackage("tool"));
  const std::set<int> before = inheritedDescriptors();
  std::set<int> during;
  atLine = [&during](const std::string& /*line*/) { during.merge(inheritedDescriptors()); };
  calls.hook = [&during](const FileCall& /*call*/) {
    const int error = errno;
    during.merge(inheritedDescriptors());
    errno = error;
    return 0;
  };

  EXPECT_EQ(install(), kInstallOk);

  calls.hook = nullptr;
  EXPECT_EQ(during, before);
}

TEST_F(InstallRunTest, NeedsNoProcFileSystem) {
  if (hasForeignThread()) GTEST_SKIP() << "an emulator cannot enter a user namespace";
  drop("shop.zip", applicationPackage("shop"));
  runInChild([this] {
    enterOwnNamespace();
    mountMemory("/proc");
    ASSERT_FALSE(fs::exists("/proc/self"));

    EXPECT_EQ(install(), kInstallOk);
    ASSERT_EQ(umount("/proc"), 0);
  });

  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

// --- Before the run ---------------------------------------------------------------------------

TEST_F(InstallRunTest, ReportsAnUnusableRootToTheLogOfTheRunBefore) {
  Lines before;
  ASSERT_EQ(wzInstall(collectLine, &before), kInstallNoPackage);
  before.clear();
  fs::remove_all(kConfig);
  terminal.writeFile(kConfig, "a file");

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(before, ElementsAre(kConfig + " is not a directory\n"));
}

TEST_F(InstallRunTest, ReportsAnUnusableRootToNobodyInTheFirstRun) {
  terminal.writeFile(kConfig, "a file");
  runInChild([this] {
    EXPECT_EQ(install(), kInstallError);
    EXPECT_THAT(lines, IsEmpty());

    fs::remove(kConfig);
    EXPECT_EQ(install(), kInstallNoPackage);
  });
}

TEST_F(InstallRunTest, MovesTheOlderLayoutFirst) {
  terminal.writeFile("/home/sys13/flash/www/wz/shop/index.html", "old");
  terminal.writeFile("/home/sys13/flash/www/mp/shop/mpmanifest.mft", manifestFor("shop"));

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(read(kApps + "/shop/index.html"), "old");
}

// --- The source directory ---------------------------------------------------------------------

TEST_F(InstallRunTest, CreatesASourceDirectoryThatIsMissing) {
  fs::remove(kSource);

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
  struct stat status;
  ASSERT_EQ(stat(kSource.c_str(), &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST_F(InstallRunTest, HasNoPackageWithoutASourceDirectoryWhateverTheRulesSay) {
  fs::remove(kSource);
  terminal.writeFile(kSource, "a file");
  terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop", "999999"));

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines,
            logOf({beginLines(), "postinstall\n", "Checking shop\n",
                   "Error: Invalid sponsor list '999999' for installing 'shop', expecting sponsor "
                   "'123456'\n",
                   "Removing " + kManifests + "/shop\n", "Checking dependencies\n",
                   endLines({}, "NO PACKAGE")}));
  EXPECT_EQ(read(kSource), "a file");
}

TEST_F(InstallRunTest, MayFailInTheListingWithoutASourceDirectory) {
  fs::remove(kSource);
  atLine = [this](const std::string& line) {
    if (line != "List of installed applications:\n") return;
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop", "999999"));
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines,
            logOf({beginLines(), rulesLines(), "List of installed applications:\n",
                   "Error: Invalid sponsor list '999999' for installing 'shop', expecting sponsor "
                   "'123456'\n",
                   "Overall result: ERROR\n"}));
}

// --- Rules ------------------------------------------------------------------------------------

Lines refusedManifest(const std::string& id) {
  return {"Error: Invalid sponsor list '999999' for installing '" + id +
          "', expecting sponsor '123456'\n"};
}

TEST_F(InstallRunTest, ReportsAnInstallationThatDidNotLast) {
  drop("x.zip", withSigners()
                    .inner("A.ZIP", ZipBuilder().file("a/a.mft", manifestFor("a")))
                    .signedBy(applicationSigner())
                    .inner("A-O.ZIP", manifestArchive("a", "999999"))
                    .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("A-O.ZIP"),
                   extractedLines("A.ZIP"), "postinstall\n", "Checking a\n", refusedManifest("a"),
                   "Error: No valid marketplace manifest found for A\n",
                   "Removing " + kApps + "/a\n", "Removing " + kData + "/a\n",
                   "Removing " + kManifests + "/a\n", "Checking dependencies\n",
                   "Error: Installation of a failed\n", endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), ElementsAre("mp/", "wz/"));
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(InstallRunTest, ReportsTheFirstOfSeveralThatDidNotLast) {
  drop("x.zip", withSigners()
                    .inner("B-O.ZIP", manifestArchive("b", "999999"))
                    .signedBy(manifestSigner())
                    .inner("C-O.ZIP", manifestArchive("c", "999999"))
                    .signedBy(manifestSigner())
                    .inner("A-O.ZIP", manifestArchive("a"))
                    .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, testing::Contains("Error: Installation of b failed\n"));
  EXPECT_THAT(lines, testing::Not(testing::Contains("Error: Installation of c failed\n")));
  EXPECT_THAT(lines, testing::Not(testing::Contains("Error: Installation of a failed\n")));
}

// The rules remove an application without a manifest, but only a manifest makes it a failure.
TEST_F(InstallRunTest, TakesNoErrorForAnApplicationWithoutAMarketplaceManifest) {
  drop("x.zip", withSigners()
                    .inner("A.ZIP", ZipBuilder().file("a/a.mft", manifestFor("a")))
                    .signedBy(applicationSigner())
                    .inner("B-O.ZIP", manifestArchive("b"))
                    .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("A.ZIP"),
                          extractedLines("B-O.ZIP"), "postinstall\n", "Checking b\n",
                          "Error: No valid marketplace manifest found for A\n",
                          "Removing " + kApps + "/a\n", "Removing " + kData + "/a\n",
                          "Checking dependencies\n", endLines({"b"}, "OK")}));
}

TEST_F(InstallRunTest, ReportsAnInstallationWhoseImportsAreMissing) {
  const std::string manifest = R"({"application":{"id":"shop"},"imports_trigger":[{"id":"pay"}]})";
  drop("x.zip", withSigners()
                    .inner("SHOP.ZIP", ZipBuilder().file("shop/a", "").file("shop.mft", manifest))
                    .signedBy(applicationSigner())
                    .inner("SHOP-O.ZIP", manifestArchive("shop"))
                    .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallError);

  const Lines rules = {"postinstall\n",
                       "Checking shop\n",
                       "Checking dependencies\n",
                       "Reading " + kApps + "/shop.mft\n",
                       "Checking " + kApps + "/shop.mft\n",
                       "Error: Missing trigger pay\n",
                       "Removing app SHOP\n",
                       "Re-checking dependencies after removing apps\n",
                       "Removing " + kData + "/shop\n",
                       "Error: Installation of shop failed\n"};
  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("SHOP-O.ZIP"),
                   extractedLines("SHOP.ZIP"), rules, endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), ElementsAre("mp/", "wz/"));
}

// The empty id is one like any other: of a package that names no application here, and of an
// application whose dependencies fail there.
TEST_F(InstallRunTest, ComparesTheEmptyIdToo) {
  const std::string manifest = R"({"application":{"id":""},"imports_api":[{"id":"x"}]})";
  drop("x.zip", withSigners()
                    .inner("SHOP.ZIP", ZipBuilder().file("shop.mft", manifest))
                    .signedBy(applicationSigner())
                    .inner("SHOP-O.ZIP", manifestArchive("shop"))
                    .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, testing::Contains("Error: Installation of  failed\n"));
}

TEST_F(InstallRunTest, FailsWhenTheListingFindsASponsorLost) {
  drop("shop.zip", applicationPackage("shop"));
  atLine = [this](const std::string& line) {
    if (line != "List of installed applications:\n") return;
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop", "999999"));
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          "List of installed applications:\n", refusedManifest("shop"),
                          "Overall result: ERROR\n"}));
}

TEST_F(InstallRunTest, UninstallsByASignedPackage) {
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  terminal.writeFile(kData + "/shop/data", "own");
  drop("gone.zip",
       withSigners()
           .inner("SHOP-U.ZIP", ZipBuilder().file("shop/appuninstall.mft", manifestFor("shop")))
           .signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallOk);

  Lines removals;
  for (const std::string& name : listed(kApps)) removals.push_back(name);
  EXPECT_THAT(removals, IsEmpty());
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
  EXPECT_THAT(lines, IsSupersetOf({"Removing " + kApps + "/shop\n", "Removing " + kData + "/shop\n",
                                   "Removing " + kManifests + "/shop\n"}));
  EXPECT_EQ(lines.back(), "Overall result: OK\n");
}

TEST_F(InstallRunTest, ReplacesAnOlderVersion) {
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  terminal.writeFile(kApps + "/shop/left", "of the older version");
  terminal.writeFile(kData + "/shop/data", "own");
  drop("shop.zip", withSigners()
                       .inner("SHOP.ZIP", ZipBuilder().file("shop/index.html", "new"))
                       .signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("shop.zip"), signerLines(), extractedLines("SHOP.ZIP"),
                   rulesLines("shop"), endLines({"shop"}, "OK")}));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "new");
  EXPECT_FALSE(terminal.exists(kApps + "/shop/left"));
  EXPECT_EQ(read(kData + "/shop/data"), "own");
}

// --- Deletion ---------------------------------------------------------------------------------

// The roots that are there: nobody has stored data yet.
TEST_F(InstallRunTest, SynchronizesEveryRootBeforeTheFirstDeletion) {
  drop("shop.zip", applicationPackage("shop"));
  drop("tool.zip", applicationPackage("tool"));
  drop("abc", "");
  Lines seen;
  calls.hook = [&seen](const FileCall& call) {
    if (call.function == "syncfs") seen.emplace_back("synchronized");
    if (call.function == "remove" && call.name.find(".tmp") == std::string::npos) {
      seen.push_back(fs::path(call.name).filename());
    }
    return 0;
  };
  Lines expected(3, "synchronized");
  for (const std::string& name : listed(kSource)) expected.push_back(name);

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(seen, expected);
}

TEST_F(InstallRunTest, KeepsThePackagesOfWhatIsNotOnStableStorage) {
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [](const FileCall& call) { return call.function == "syncfs" ? EIO : 0; };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          "Error: Failed to synchronise '" + kConfig + "' (errno=5)\n",
                          endLines({"shop"}, "ERROR")}));
  EXPECT_THAT(dropped(), ElementsAre("shop.zip"));

  calls.hook = nullptr;
  EXPECT_EQ(install(), kInstallOk);
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(InstallRunTest, SynchronizesRootsThatAreMountsOfTheirOwn) {
  drop("shop.zip", applicationPackage("shop"));
  terminal.makeFolder(kData);
  for (int failing = 1; failing <= 4; ++failing) {
    int count = 0;
    calls.hook = [&count, failing](const FileCall& call) {
      return call.function == "syncfs" && ++count == failing ? EIO : 0;
    };

    EXPECT_EQ(install(), kInstallError);

    const std::string roots[] = {kConfig, kApps, kManifests, kData};
    EXPECT_THAT(lines, testing::Contains("Error: Failed to synchronise '" + roots[failing - 1] +
                                         "' (errno=5)\n"));
    EXPECT_THAT(dropped(), ElementsAre("shop.zip")) << failing;
  }
}

TEST_F(InstallRunTest, SynchronizesTheWholeSystemForARootThatMayNotBeOpened) {
  drop("shop.zip", applicationPackage("shop"));
  int count = 0;
  calls.hook = [&count](const FileCall& call) {
    if (call.function == "sync") ++count;
    return call.function == "open" && call.name == kManifests ? EACCES : 0;
  };

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(count, 1);
  EXPECT_THAT(dropped(), IsEmpty());
}

// Whatever their order in the source directory: killed behind the first deletion, the run that
// follows must not bring back what was uninstalled.
TEST_F(InstallRunTest, DeletesUninstallPackagesLast) {
  const std::string uninstall =
      withSigners()
          .inner("SHOP-U.ZIP", ZipBuilder().file("shop/appuninstall.mft", manifestFor("shop")))
          .signedBy(manifestSigner())
          .build();
  for (const char* name : {"a.zip", "b.zip", "c.zip", "d.zip"}) drop(name, "");
  const std::vector<std::string> order = listed(kSource);
  // Those that are listed first.
  drop(order[0], uninstall);
  drop(order[1], "no archive");
  drop(order[2], uninstall);
  drop(order[3], applicationPackage("shop"));
  std::vector<std::string> deleted;
  calls.hook = [&deleted](const FileCall& call) {
    if (call.function == "remove") deleted.push_back(fs::path(call.name).filename());
    return 0;
  };

  EXPECT_EQ(install(), kInstallError);

  std::erase(deleted, "installer.tmp");
  EXPECT_THAT(deleted, ElementsAre(order[1], order[3], order[0], order[2]));
}

TEST_F(InstallRunTest, IgnoresAPackageThatCannotBeDeleted) {
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [](const FileCall& call) {
    return call.function == "remove" && call.name.ends_with("shop.zip") ? EPERM : 0;
  };

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          endLines({"shop"}, "OK")}));
  EXPECT_THAT(dropped(), ElementsAre("shop.zip"));
}

// --- The host's log ---------------------------------------------------------------------------

TEST_F(InstallRunTest, LetsNoExceptionOfTheLogOut) {
  for (const std::string at : {"Installing", "Found", "postinstall", "Overall"}) {
    drop("shop.zip", applicationPackage("shop"));
    atLine = [&at](const std::string& line) {
      if (line.starts_with(at)) throw std::runtime_error(at);
    };

    const int result = install();

    EXPECT_EQ(result, at == "Overall" ? kInstallOk : kInstallError) << at;
    EXPECT_TRUE(lines.back().starts_with("Overall")) << at;
    EXPECT_FALSE(terminal.exists(kTemporary)) << at;
    EXPECT_EQ(terminal.exists(kSource + "/shop.zip"), at != "Overall") << at;
    // What no rule has judged yet does not stay.
    EXPECT_EQ(terminal.exists(kApps + "/shop.MFT"), at == "Overall") << at;
  }
}

}  // namespace
}  // namespace wzapp
