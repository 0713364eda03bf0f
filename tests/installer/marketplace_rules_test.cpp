#include "installer/marketplace_rules.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/builders/temporary_directory.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace wzapp_test;

class MarketplaceRulesTest : public RulesTest {
 protected:
  void apply() { EXPECT_TRUE(applyMarketplaceRules(removed)); }

  [[nodiscard]] bool isInstalled(const std::string& name) const {
    return terminal.exists(kApps + "/" + name);
  }

  FileCalls calls;
  AppIds removed;
};

// What is reported when the application `name` goes.
Lines applicationLines(const std::string& name) {
  return {"Removing " + kApps + "/" + name + "\n", "Removing " + kData + "/" + name + "\n"};
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// --- Applications that stay -------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, KeepWhatHasAManifestWithTheSponsor) {
  installApplication("shop");
  terminal.writeFile(kApps + "/shop.mft", manifestFor("shop"));
  writeMarketplaceManifest("shop", manifestFor("shop"));
  const auto before = tree();

  apply();

  EXPECT_EQ(tree(), before);
  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking shop\n"));
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(removed, IsEmpty());
}

TEST_F(MarketplaceRulesTest, CompareNamesInAnyCase) {
  installApplication("Shop");
  terminal.writeFile(kApps + "/sHOP.mFt", "");
  writeMarketplaceManifest("SHOP", manifestFor("shop"));
  const auto before = tree();

  apply();

  EXPECT_EQ(tree(), before);
  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking SHOP\n"));
}

TEST_F(MarketplaceRulesTest, TakeKeyValueManifestsToo) {
  installApplication("shop");
  writeMarketplaceManifest("shop", "[install]\nappid = shop\nsponsor = 1, 123456\n");

  apply();

  EXPECT_TRUE(isInstalled("shop"));
  EXPECT_THAT(lines, SizeIs(2));
}

TEST_F(MarketplaceRulesTest, FindNothingInAnEmptyTerminal) {
  terminal.makeFolder(kManifests);
  terminal.makeFolder(kApps);

  apply();

  EXPECT_THAT(lines, ElementsAre("postinstall\n"));
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(MarketplaceRulesTest, KeepAManifestWithoutItsApplication) {
  writeMarketplaceManifest("shop", manifestFor("shop"));

  apply();

  EXPECT_THAT(treeOf(kManifests), ElementsAre("shop/", "shop/mpmanifest.mft"));
  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking shop\n"));
}

// --- Applications that go ---------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, RemoveWhatHasNoManifest) {
  installApplication("shop");
  terminal.makeFolder(kManifests);

  apply();

  EXPECT_EQ(lines,
            Lines({"postinstall\n", "Error: No valid marketplace manifest found for SHOP\n"}) +
                applicationLines("shop"));
  EXPECT_EQ(installResult(), kInstallOk);  // the line is no error of the run
  EXPECT_THAT(removed, IsEmpty());
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
}

TEST_F(MarketplaceRulesTest, RemoveAManifestAtTheTopWithoutAnError) {
  terminal.writeFile(kApps + "/shop.MFT", manifestFor("shop"));
  terminal.makeFolder(kManifests);

  apply();

  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Removing " + kApps + "/shop.MFT\n"));
  EXPECT_THAT(treeOf(kApps), IsEmpty());
  EXPECT_THAT(removed, IsEmpty());
}

// Four characters are no manifest of something.
TEST_F(MarketplaceRulesTest, TakeABareSuffixForAnApplication) {
  terminal.writeFile(kApps + "/.mft", "");
  terminal.makeFolder(kManifests);

  apply();

  EXPECT_EQ(lines,
            Lines({"postinstall\n", "Error: No valid marketplace manifest found for .MFT\n"}) +
                applicationLines(".mft"));
}

TEST_F(MarketplaceRulesTest, RemoveAFileLikeAnApplication) {
  terminal.writeFile(kApps + "/%s", "");
  terminal.makeFolder(kManifests);

  apply();

  EXPECT_EQ(lines, Lines({"postinstall\n", "Error: No valid marketplace manifest found for %S\n"}) +
                       applicationLines("%s"));
  EXPECT_THAT(treeOf(kApps), IsEmpty());
}

TEST_F(MarketplaceRulesTest, WarnOfADirectoryWithoutManifest) {
  installApplication("shop");
  terminal.makeFolder(kManifests + "/shop");

  apply();

  EXPECT_EQ(lines, Lines({"postinstall\n", "Checking shop\n",
                          "Warning: " + kManifests + "/shop/mpmanifest.mft not found\n",
                          "Error: No valid marketplace manifest found for SHOP\n"}) +
                       applicationLines("shop") + Lines({"Removing " + kManifests + "/shop\n"}));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_THAT(removed, IsEmpty());
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
}

TEST_F(MarketplaceRulesTest, WarnOfAFileAmongTheManifests) {
  terminal.writeFile(kManifests + "/readme", "");

  apply();

  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking readme\n",
                                 "Warning: " + kManifests + "/readme/mpmanifest.mft not found\n",
                                 "Removing " + kManifests + "/readme\n"));
  EXPECT_THAT(treeOf(kManifests), IsEmpty());
}

TEST_F(MarketplaceRulesTest, WarningLeavesAnErrorAlone) {
  setInstallResult(kInstallError);
  terminal.makeFolder(kManifests + "/shop");

  apply();

  EXPECT_EQ(installResult(), kInstallError);
}

TEST_F(MarketplaceRulesTest, RemoveWhatAnotherSponsorOwns) {
  installApplication("shop");
  writeMarketplaceManifest("shop", manifestFor("Shop", "654321"));

  apply();

  EXPECT_EQ(lines,
            Lines({"postinstall\n", "Checking shop\n",
                   "Error: Invalid sponsor list '654321' for installing 'Shop', expecting sponsor "
                   "'123456'\n",
                   "Error: No valid marketplace manifest found for SHOP\n"}) +
                applicationLines("shop") + Lines({"Removing " + kManifests + "/shop\n"}));
  EXPECT_EQ(installResult(), kInstallError);
  EXPECT_THAT(removed, ElementsAre("Shop"));
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
}

TEST_F(MarketplaceRulesTest, RemoveWhatNobodyNames) {
  installApplication("shop");
  writeMarketplaceManifest("shop", "{}");

  apply();

  EXPECT_EQ(lines, Lines({"postinstall\n", "Checking shop\n",
                          "Error: app id missing in " + kManifests + "/shop/mpmanifest.mft\n",
                          "Error: No valid marketplace manifest found for SHOP\n"}) +
                       applicationLines("shop") + Lines({"Removing " + kManifests + "/shop\n"}));
  EXPECT_THAT(removed, IsEmpty());
}

TEST_F(MarketplaceRulesTest, RemoveAManifestInADirectoryOfAnotherName) {
  installApplication("shop");
  writeMarketplaceManifest("shop", manifestFor("store"));

  apply();

  EXPECT_EQ(lines, Lines({"postinstall\n", "Checking shop\n", "Mismatching directory name shop\n",
                          "Error: No valid marketplace manifest found for SHOP\n"}) +
                       applicationLines("shop") + Lines({"Removing " + kManifests + "/shop\n"}));
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(removed, ElementsAre("store"));
}

TEST_F(MarketplaceRulesTest, NeedNoApplicationRoot) {
  terminal.makeFolder(kManifests + "/shop");

  apply();

  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking shop\n",
                                 "Warning: " + kManifests + "/shop/mpmanifest.mft not found\n",
                                 "Removing " + kManifests + "/shop\n"));
}

// --- Uninstall manifests ----------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, Uninstall) {
  installApplication("shop");
  terminal.writeFile(kApps + "/shop.mft", manifestFor("shop"));
  writeMarketplaceManifest("shop", manifestFor("shop"));
  writeUninstallManifest("shop", manifestFor("shop"));
  Lines expected = {"postinstall\n", "Checking shop\n"};
  for (const std::string& name : listed(kApps)) {
    expected = expected + (name == "shop" ? applicationLines(name)
                                          : Lines{"Removing " + kApps + "/shop.mft\n"});
  }

  apply();

  EXPECT_EQ(lines, expected + Lines({"Removing " + kManifests + "/shop\n"}));
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(removed, IsEmpty());
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
}

TEST_F(MarketplaceRulesTest, UninstallAManifestWithoutItsApplication) {
  writeMarketplaceManifest("shop", manifestFor("shop"));
  writeUninstallManifest("shop", "[uninstall]\nappid=shop\nsponsor=123456\n");

  apply();

  EXPECT_THAT(
      lines, ElementsAre("postinstall\n", "Checking shop\n", "Removing " + kManifests + "/shop\n"));
  EXPECT_THAT(treeOf(kManifests), IsEmpty());
}

// The ids must be the same to the octet, unlike the name of the directory.
TEST_F(MarketplaceRulesTest, DoNotUninstallAnIdOfAnotherCase) {
  installApplication("shop");
  writeMarketplaceManifest("shop", manifestFor("shop"));
  writeUninstallManifest("shop", manifestFor("Shop"));
  const auto before = tree();

  apply();

  EXPECT_EQ(tree(), before);
  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking shop\n"));
  EXPECT_THAT(removed, IsEmpty());
}

TEST_F(MarketplaceRulesTest, DoNotUninstallWhatIsNotAdmitted) {
  installApplication("shop");
  writeUninstallManifest("shop", manifestFor("shop"));

  apply();

  EXPECT_EQ(lines, Lines({"postinstall\n", "Checking shop\n",
                          "Warning: " + kManifests + "/shop/mpmanifest.mft not found\n",
                          "Error: No valid marketplace manifest found for SHOP\n"}) +
                       applicationLines("shop") + Lines({"Removing " + kManifests + "/shop\n"}));
}

TEST_F(MarketplaceRulesTest, RemoveARefusedUninstallManifestAndKeepTheApplication) {
  installApplication("shop");
  writeMarketplaceManifest("shop", manifestFor("shop"));
  writeUninstallManifest("shop", manifestFor("shop", "654321"));

  apply();

  EXPECT_THAT(
      lines,
      ElementsAre("postinstall\n", "Checking shop\n",
                  "Error: Invalid sponsor list '654321' for uninstalling 'shop', expecting "
                  "sponsor '123456'\n",
                  "Removing invalid uninstall package " + kManifests + "/shop/appuninstall.mft\n"));
  EXPECT_EQ(installResult(), kInstallError);
  EXPECT_THAT(removed, ElementsAre("shop"));
  EXPECT_TRUE(isInstalled("shop"));
  EXPECT_THAT(treeOf(kManifests), ElementsAre("shop/", "shop/mpmanifest.mft"));
}

TEST_F(MarketplaceRulesTest, RefuseBothManifests) {
  writeMarketplaceManifest("shop", manifestFor("shop", "1"));
  writeUninstallManifest("shop", "nonsense");

  apply();

  EXPECT_THAT(
      lines,
      ElementsAre("postinstall\n", "Checking shop\n",
                  "Error: Invalid sponsor list '1' for installing 'shop', expecting sponsor "
                  "'123456'\n",
                  "Error: Cannot read '" + kManifests +
                      "/shop/appuninstall.mft', invalid permissions or invalid format\n",
                  "Removing invalid uninstall package " + kManifests + "/shop/appuninstall.mft\n",
                  "Removing " + kManifests + "/shop\n"));
  EXPECT_THAT(removed, ElementsAre("shop"));
}

// A directory in place of the file opens like an empty one, and goes when it is empty.
TEST_F(MarketplaceRulesTest, RemoveAnEmptyDirectoryInPlaceOfAnUninstallManifest) {
  writeMarketplaceManifest("shop", manifestFor("shop"));
  terminal.makeFolder(kManifests + "/shop/appuninstall.mft");

  apply();

  EXPECT_THAT(
      lines,
      ElementsAre("postinstall\n", "Checking shop\n",
                  "Error: app id missing in " + kManifests + "/shop/appuninstall.mft\n",
                  "Removing invalid uninstall package " + kManifests + "/shop/appuninstall.mft\n"));
  EXPECT_THAT(treeOf(kManifests), ElementsAre("shop/", "shop/mpmanifest.mft"));
}

// --- Several at once --------------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, FollowTheOrderOfTheListings) {
  const auto isKept = [](int i) { return i % 3 == 0; };
  for (int i = 0; i < 30; ++i) {
    const std::string name = "app" + std::to_string(i * 7919 % 1000);
    installApplication(name);
    terminal.writeFile(kApps + "/" + name + ".mft", manifestFor(name));
    writeMarketplaceManifest(name, manifestFor(name, isKept(i) ? "123456" : "1"));
  }
  std::set<std::string> kept;
  for (int i = 0; i < 30; ++i) {
    if (isKept(i)) kept.insert("app" + std::to_string(i * 7919 % 1000));
  }
  Lines expected = {"postinstall\n"};
  for (const std::string& name : listed(kManifests)) {
    expected.push_back("Checking " + name + "\n");
    if (kept.contains(name)) continue;
    expected.push_back("Error: Invalid sponsor list '1' for installing '" + name +
                       "', expecting sponsor '123456'\n");
  }
  for (const std::string& name : listed(kApps)) {
    const bool isManifest = name.ends_with(".mft");
    const std::string id = isManifest ? name.substr(0, name.size() - 4) : name;
    if (kept.contains(id)) continue;
    if (!isManifest) {
      expected.push_back("Error: No valid marketplace manifest found for APP" + id.substr(3) +
                         "\n");
    }
    expected.push_back("Removing " + kApps + "/" + name + "\n");
    if (!isManifest) expected.push_back("Removing " + kData + "/" + name + "\n");
  }
  for (const std::string& name : listed(kManifests)) {
    if (!kept.contains(name)) expected.push_back("Removing " + kManifests + "/" + name + "\n");
  }

  apply();

  EXPECT_EQ(lines, expected);
  EXPECT_THAT(removed, SizeIs(20));
  EXPECT_THAT(listed(kApps), SizeIs(20));
  EXPECT_THAT(listed(kData), SizeIs(10));
  EXPECT_THAT(listed(kManifests), SizeIs(10));
}

TEST_F(MarketplaceRulesTest, AddToWhatWasRemovedBefore) {
  removed = {"before"};
  writeMarketplaceManifest("shop", manifestFor("shop", "1"));

  apply();

  EXPECT_THAT(removed, ElementsAre("before", "shop"));
}

// --- Without a manifest root ------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, RemoveEveryApplicationWithoutAManifestRoot) {
  installApplication("shop");
  terminal.writeFile(kApps + "/shop.mft", manifestFor("shop"));
  Lines expected = {"postinstall\n"};
  for (const std::string& name : listed(kApps)) {
    if (name == "shop") expected.push_back("Error: No marketplace manifest found for shop\n");
    expected.push_back("Removing " + kApps + "/" + name + "\n");
  }
  expected.push_back("Removing " + kApps + "\n");

  apply();

  EXPECT_EQ(lines, expected);
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "fsroot/shop/", "fsroot/shop/data"));
  EXPECT_THAT(removed, IsEmpty());  // no file of that name where the process works
}

TEST_F(MarketplaceRulesTest, ReadTheIdWhereTheProcessWorks) {
  terminal.writeFile(kApps + "/shop.mft", manifestFor("inside"));
  terminal.writeFile(kApps + "/none.mft", manifestFor("inside"));
  terminal.writeFile("/mnt/flash/other/shop.mft", manifestFor("outside"));
  terminal.writeFile("/mnt/flash/other/none.mft", "{}");

  runInChild([this] {
    ASSERT_EQ(chdir("/mnt/flash/other"), 0);

    apply();

    EXPECT_THAT(removed, ElementsAre("outside"));
    EXPECT_THAT(tree(), IsEmpty());
  });
  EXPECT_TRUE(terminal.exists("/mnt/flash/other/shop.mft"));
}

TEST_F(MarketplaceRulesTest, TakeAFileInPlaceOfTheManifestRootForNone) {
  installApplication("shop");
  terminal.writeFile(kManifests, "");

  apply();

  EXPECT_FALSE(terminal.exists(kApps));
  EXPECT_TRUE(terminal.exists(kManifests));
  EXPECT_EQ(lines.back(), "Removing " + kApps + "\n");
}

TEST_F(MarketplaceRulesTest, ReportNoRemovalWithoutAnyRoot) {
  apply();

  EXPECT_THAT(lines, ElementsAre("postinstall\n"));
  EXPECT_EQ(installResult(), kInstallOk);
}

// --- Faults -----------------------------------------------------------------------------------

TEST_F(MarketplaceRulesTest, RemoveNothingOfAnApplicationRootThatCannotBeListed) {
  installApplication("shop");
  writeMarketplaceManifest("shop", manifestFor("shop", "1"));
  calls.hook = [](const FileCall& call) {
    return call.function == "opendir" && call.name == kApps ? EACCES : 0;
  };

  apply();

  EXPECT_TRUE(isInstalled("shop"));
  EXPECT_EQ(lines.back(), "Removing " + kManifests + "/shop\n");
  EXPECT_THAT(lines, SizeIs(4));
}

TEST_F(MarketplaceRulesTest, KeepTheManifestsThatCannotBeListedAgain) {
  terminal.makeFolder(kManifests + "/shop");
  int listings = 0;
  calls.hook = [&listings](const FileCall& call) {
    return call.function == "opendir" && call.name == kManifests && ++listings == 2 ? EACCES : 0;
  };

  apply();

  EXPECT_THAT(lines, SizeIs(3));
  EXPECT_TRUE(terminal.exists(kManifests + "/shop"));
}

// The removal in advance must not take away what the other one has to report.
TEST_F(MarketplaceRulesTest, ReportAnEmptyDirectoryThatCannotBeListed) {
  installApplication("shop");
  terminal.makeFolder(kData + "/shop/locked");
  terminal.makeFolder(kManifests + "/shop/locked");
  calls.hook = [](const FileCall& call) {
    return call.function == "openat" && call.name == "locked" ? EACCES : 0;
  };

  apply();

  const auto unreadable = [](const std::string& path) {
    return "Warning: Failed to read directory '" + path + "/shop/locked'.\n";
  };
  EXPECT_THAT(lines, ElementsAre("postinstall\n", "Checking shop\n",
                                 "Warning: " + kManifests + "/shop/mpmanifest.mft not found\n",
                                 "Error: No valid marketplace manifest found for SHOP\n",
                                 "Removing " + kApps + "/shop\n", "Removing " + kData + "/shop\n",
                                 unreadable(kData), "Removing " + kManifests + "/shop\n",
                                 unreadable(kManifests)));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_FALSE(terminal.exists(kData + "/shop"));
  EXPECT_FALSE(terminal.exists(kManifests + "/shop"));
}

// The application's own data is removed before its directory, but reported behind it.
TEST_F(MarketplaceRulesTest, ReportFaultsAtTheirTurn) {
  terminal.writeFile(kApps + "/shop/page", "");
  terminal.writeFile(kData + "/shop/a/data", "");
  terminal.makeFolder(kManifests);
  calls.hook = [](const FileCall& call) {
    return call.function == "unlinkat" && (call.name == "page" || call.name == "data") ? EPERM : 0;
  };

  apply();

  EXPECT_THAT(lines,
              ElementsAre("postinstall\n", "Error: No valid marketplace manifest found for SHOP\n",
                          "Removing " + kApps + "/shop\n", notRemoved(kApps + "/shop/page", EPERM),
                          notRemoved(kApps + "/shop", ENOTEMPTY), "Removing " + kData + "/shop\n",
                          notRemoved(kData + "/shop/a/data", EPERM),
                          notRemoved(kData + "/shop/a", ENOTEMPTY)));
  EXPECT_EQ(installResult(), kInstallWarning);
}

TEST_F(MarketplaceRulesTest, ReportFaultsInAManifestDirectoryInTheOrderOfItsListing) {
  writeMarketplaceManifest("shop", manifestFor("shop", "1"));
  for (const char* name : {"a", "z", "confOwner.json"}) {
    terminal.writeFile(kManifests + "/shop/" + name, "");
  }
  Lines expected;
  for (const std::string& name : listed(kManifests + "/shop")) {
    expected.push_back(notRemoved(kManifests + "/shop/" + name, EPERM));
  }
  calls.hook = [](const FileCall& call) {
    return call.function == "unlinkat" && call.name != "shop" ? EPERM : 0;
  };

  apply();

  ASSERT_THAT(lines, SizeIs(9));
  EXPECT_EQ(Lines(lines.begin() + 4, lines.begin() + 8), expected);
}

// --- A run that is cut short ------------------------------------------------------------------

// Ends a child process at each removal in turn; a following run must leave the same tree.
class CutRunTest : public MarketplaceRulesTest {
 protected:
  // True when the run was cut.
  bool applyCut(int nth) {
    constexpr int kCut = 99;
    const auto result = tryInChild([&] {
      int count = 0;
      calls.hook = [&](const FileCall& call) {
        if (call.function == "unlinkat" && ++count == nth) _exit(kCut);
        return 0;
      };
      apply();
    });
    EXPECT_EQ(result.failures, "");
    return WIFEXITED(result.status) && WEXITSTATUS(result.status) == kCut;
  }

  void fill(const std::string& sponsor, bool withUninstall) {
    installApplication("shop");
    terminal.writeFile(kApps + "/shop.mft", manifestFor("shop"));
    writeMarketplaceManifest("shop", manifestFor("shop", sponsor));
    terminal.writeFile(kManifests + "/shop/confOwner.json", "{}");
    if (withUninstall) writeUninstallManifest("shop", manifestFor("shop"));
    installApplication("other");
    writeMarketplaceManifest("other", manifestFor("other"));
  }

  void expectTheNextRunToFinish(const std::string& sponsor, bool withUninstall) {
    int nth = 1;
    for (;; ++nth) {
      fs::remove_all(kConfig);
      fill(sponsor, withUninstall);
      if (!applyCut(nth)) break;

      apply();

      ASSERT_THAT(tree(),
                  ElementsAre("fsroot/", "fsroot/other/", "fsroot/other/data", "mp/", "mp/other/",
                              "mp/other/mpmanifest.mft", "wz/", "wz/other/", "wz/other/index.html"))
          << nth;
    }
    EXPECT_GT(nth, 8);
  }
};

TEST_F(CutRunTest, IsFinishedByTheNextWhenUninstalling) {
  expectTheNextRunToFinish("123456", true);
}

TEST_F(CutRunTest, IsFinishedByTheNextWhenRefused) { expectTheNextRunToFinish("1", false); }

// --- Attackers --------------------------------------------------------------------------------

// Another process puts a link in place of the manifest directory before its uninstall manifest is
// removed.
TEST_F(MarketplaceRulesTest, RemoveNoUninstallManifestThroughALink) {
  const std::string outside = "/mnt/flash/outside";
  terminal.writeFile(outside + "/appuninstall.mft", "stays");
  writeMarketplaceManifest("shop", manifestFor("shop"));
  writeUninstallManifest("shop", "nonsense");
  calls.hook = [&](const FileCall& call) {
    if (call.function != "openat" || call.name != "shop") return 0;
    fs::rename(kManifests + "/shop", kManifests + "/aside");
    fs::create_directory_symlink(outside, kManifests + "/shop");
    return 0;
  };

  apply();

  EXPECT_TRUE(terminal.exists(outside + "/appuninstall.mft"));
}

TEST_F(MarketplaceRulesTest, RemoveALinkAmongTheApplicationsAndNotItsTarget) {
  terminal.writeFile("/mnt/flash/outside/file", "stays");
  terminal.makeFolder(kApps);
  terminal.makeFolder(kManifests);
  fs::create_directory_symlink("/mnt/flash/outside", kApps + "/shop");

  apply();

  EXPECT_FALSE(isInstalled("shop"));
  EXPECT_TRUE(terminal.exists("/mnt/flash/outside/file"));
  EXPECT_EQ(installResult(), kInstallOk);
}

}  // namespace
}  // namespace wzapp
