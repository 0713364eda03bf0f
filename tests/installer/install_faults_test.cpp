// A run in which one operation after the other fails for a reason that passes: nothing is lost that
// was there before.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <set>
#include <string>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_scenario.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::StartsWith;
using namespace wzapp_test;

constexpr int kFaultStep = 31;
constexpr int kForGood = 1000000;

class InstallFaultsTest : public ScenarioTest, public testing::WithParamInterface<int> {
 protected:
  // Installed and staying: "shop", which a package updates, and "stays" with its library.
  void prepareStaying() {
    prepare();
    for (const char* name : {"gone", "lapsed"}) {
      fs::remove_all(kApps + "/" + name);
      fs::remove_all(kData + "/" + name);
      fs::remove_all(kManifests + "/" + name);
      fs::remove(kApps + "/" + name + ".MFT");
    }
    terminal.writeFile("/home/usr2/www/library.mft", R"({"exports_api":[{"id":"print"}]})");
    terminal.writeFile(kApps + "/stays/index.html", "<p>stays");
    terminal.writeFile(kApps + "/stays.MFT",
                       R"({"application":{"id":"stays"},"imports_api":[{"id":"print"}]})");
    terminal.writeFile(kData + "/stays/data", "of stays");
    terminal.writeFile(kManifests + "/stays/mpmanifest.mft", manifestFor("stays"));
  }
  void dropNothing() {
    fs::remove_all(kSource);
    terminal.makeFolder(kSource);
  }

  // Lets the `nth` operation fail, and those that repeat it, `times` in all. False when a run has
  // fewer.
  bool runWithFault(int nth, int times) {
    int count = 0;
    int left = times;
    failed = FileCall();
    calls.hook = [&](const FileCall& call) {
      ++count;
      const bool isRepeated = call.function == failed.function && call.name == failed.name;
      if (count < nth || (count > nth && !isRepeated) || left == 0) return 0;
      failed = call;
      --left;
      return GetParam();
    };
    result = install();
    calls.hook = nullptr;
    return count >= nth;
  }

  [[nodiscard]] std::string where(int nth) const {
    return std::to_string(nth) + ": " + failed.function + " " + failed.name;
  }
  [[nodiscard]] bool hasErrorLine() const {
    for (const std::string& line : lines) {
      for (const char* beginning : {"Error: ", "Warning: ", "Failed to create "}) {
        if (line.starts_with(beginning)) return true;
      }
    }
    return false;
  }

  // Lets creating or writing the page of an update fail so many times. Returns how often it did.
  int failPage(const std::string& function, int times) {
    drop("shop.zip", applicationPackage("shop"));
    terminal.writeFile(kApps + "/shop/index.html", "<p>old");
    int failures = 0;
    bool isPage = false;  // the last file that was created
    calls.hook = [&, function, times](const FileCall& call) {
      if (call.function == "openat") isPage = call.name == "index.html";
      if (!isPage || call.function != function || failures == times) return 0;
      ++failures;
      return GetParam();
    };
    result = install();
    calls.hook = nullptr;
    return failures;
  }

  // An operation of the extraction itself has failed, as it is reported.
  [[nodiscard]] bool isShopUnwritten() const {
    for (const std::string& line : lines) {
      if (line.starts_with("Error: Failed to extract '") && line.find("' -> '") != line.npos) {
        return true;
      }
    }
    return false;
  }
  // The packages stay, and not because they cannot be deleted: nothing was judged.
  [[nodiscard]] bool isUnjudged() const {
    return terminal.exists(kSource + "/tool.zip") && failed.function != "remove" &&
           failed.function != "syncfs";
  }
  // What cannot be listed to the end of the run is not taken back either.
  [[nodiscard]] bool isListingLost() const {
    return failed.function == "readdir" || (failed.function == "opendir" && failed.name == kApps);
  }

  FileCalls calls;
  FileCall failed;
  int result = 0;
};

TEST_P(InstallFaultsTest, LoseNothingWhereNothingIsToBeInstalled) {
  const int step = triesEveryPoint() ? 1 : kFaultStep;
  const int first = 1 + GetParam() % step;  // another sample for each error
  prepareStaying();
  dropNothing();
  ASSERT_EQ(install(), kInstallNoPackage);
  const Lines undisturbed = lines;
  const Snapshot before = snapshot();
  int errors = 0;
  for (const int times : {1, kForGood}) {
    for (int nth = first; runWithFault(nth, times); nth += step) {
      ASSERT_EQ(snapshot(), before) << where(nth);
      if (result == kInstallError) {
        ASSERT_TRUE(hasErrorLine()) << where(nth);
        ++errors;
      } else {
        ASSERT_EQ(result, kInstallNoPackage) << where(nth);
        ASSERT_EQ(lines, undisturbed) << where(nth);
      }
      ASSERT_EQ(result == kInstallError, times == kForGood) << where(nth);

      ASSERT_EQ(install(), kInstallNoPackage) << where(nth);
      ASSERT_EQ(lines, undisturbed) << where(nth);
      ASSERT_EQ(snapshot(), before) << where(nth);
    }
  }
  std::cout << "[ POINTS   ] " << errors << " runs with an error\n";
  EXPECT_GT(errors * step, 50);
}

TEST_P(InstallFaultsTest, LoseNothingBesideWhatIsInstalled) {
  const int step = triesEveryPoint() ? 1 : kFaultStep * 3;
  const int first = 1 + 4 * GetParam() % step;
  prepareStaying();
  static_cast<void>(install());
  const Snapshot after = snapshot();
  const std::string kept[] = {kApps + "/stays", kData + "/stays", kData + "/shop",
                              kManifests + "/stays"};
  int unjudged = 0;
  for (const int times : {1, kForGood}) {
    int nth = first;
    while (true) {
      prepareStaying();
      const Snapshot before = snapshot();
      if (!runWithFault(nth, times)) break;
      const Snapshot disturbed = snapshot();
      for (const auto& [path, content] : before) {
        for (const std::string& folder : kept) {
          if (!path.starts_with(folder)) continue;
          ASSERT_TRUE(disturbed.contains(path)) << where(nth) << ": " << path;
          ASSERT_EQ(disturbed.at(path), content) << where(nth) << ": " << path;
        }
      }
      ASSERT_EQ(result, kInstallError) << where(nth);  // the scenario has a bad package
      const bool isUnwritten = isShopUnwritten();
      ASSERT_TRUE(isUnwritten || terminal.exists(kApps + "/shop/index.html")) << where(nth);
      ASSERT_TRUE(isUnwritten || terminal.exists(kManifests + "/shop/mpmanifest.mft"))
          << where(nth);
      // New applications are there when they were judged, and only then.
      if (isUnjudged()) {
        ++unjudged;
        ASSERT_TRUE(isListingLost() || !terminal.exists(kApps + "/tool")) << where(nth);
        ASSERT_TRUE(isListingLost() || !terminal.exists(kApps + "/tool.mft")) << where(nth);
      }

      dropPackages();
      static_cast<void>(install());
      ASSERT_EQ(snapshot(), after) << where(nth);
      nth += step;
    }
  }
  std::cout << "[ POINTS   ] " << unjudged << " runs that judged nothing\n";
  EXPECT_GT(unjudged * step, 50);
}

// The version before is gone by then.
TEST_P(InstallFaultsTest, DoNotStopTheExtractionOfAnUpdateWhereTheyPass) {
  for (const char* const function : {"openat", "write"}) {
    // An interrupted write is repeated where it is made, as often as it takes.
    EXPECT_EQ(failPage(function, 2), 2) << function;

    EXPECT_EQ(result, kInstallOk) << function;
    EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop") << function;
    EXPECT_THAT(dropped(), testing::IsEmpty()) << function;
  }
}

TEST_P(InstallFaultsTest, ThatStayAreReportedOnce) {
  EXPECT_EQ(failPage("openat", kForGood), 3);

  EXPECT_EQ(result, kInstallError);
  EXPECT_EQ(std::ranges::count(lines, "Error: Failed to extract 'shop/index.html' -> '" + kApps +
                                          "/shop/index.html'\n"),
            1);
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// An application whose manifest is lost would be removed with its data.
TEST_P(InstallFaultsTest, KeepAManifestThatTheyDoNotLetReplace) {
  const std::string before = manifestFor("shop") + std::string(100, ' ');
  for (const std::string function : {"unzReadCurrentFile", "write"}) {
    // An interrupted write is repeated where it is made, as often as it takes.
    if (function == "write" && GetParam() == EINTR) continue;
    drop("shop.zip", applicationPackage("shop"));
    terminal.writeFile(kApps + "/shop.MFT", manifestFor("shop"));
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", before);
    terminal.writeFile(kData + "/shop/data", "of the shop");
    bool isManifest = false;  // the last file that was opened
    calls.hook = [&](const FileCall& call) {
      if (call.function == "openat") isManifest = call.name == "mpmanifest.mft";
      return isManifest && call.function == function ? GetParam() : 0;
    };

    EXPECT_EQ(install(), kInstallError) << function;

    calls.hook = nullptr;
    EXPECT_THAT(lines, Contains("Error: Failed to extract 'shop/mpmanifest.mft' -> '" + kManifests +
                                "/shop/mpmanifest.mft'\n"));
    EXPECT_EQ(read(kManifests + "/shop/mpmanifest.mft"), before) << function;
    EXPECT_EQ(read(kData + "/shop/data"), "of the shop") << function;
  }
}

// Room that nobody can tell of is not taken for room.
TEST_P(InstallFaultsTest, KeepAManifestForWhichNoRoomCanBeHad) {
  const std::string before = manifestFor("shop") + std::string(100, ' ');
  for (const int times : {1, 2, kForGood}) {
    drop("shop.zip", applicationPackage("shop"));
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", before);
    int left = times;
    calls.hook = [&](const FileCall& call) {
      return call.function == "fallocate" && left-- > 0 ? GetParam() : 0;
    };

    result = install();

    calls.hook = nullptr;
    const bool isKept = times == kForGood;
    EXPECT_EQ(result, isKept ? kInstallError : kInstallOk) << times;
    EXPECT_EQ(read(kManifests + "/shop/mpmanifest.mft"), isKept ? before : manifestFor("shop"));
  }
}

// The package is deleted when the run is over, whatever has become of it.
TEST_P(InstallFaultsTest, DoNotCostAPackageWhereTheyPass) {
  struct Opening {
    const char* function;
    const char* name;
    int count;  // in a run
  };
  // The package file: a look and the opening. The archives: it and its two inner packages.
  for (const Opening& opening : {Opening{"openat", "shop.zip", 2}, Opening{"unzOpen2_64", "", 3}}) {
    for (int nth = 1; nth <= opening.count; ++nth) {
      drop("shop.zip", applicationPackage("shop"));
      int count = 0;
      int left = 2;
      calls.hook = [&](const FileCall& call) {
        if (call.function != opening.function || call.name != opening.name) return 0;
        if (++count < nth || left == 0) return 0;
        --left;
        return GetParam();
      };

      EXPECT_EQ(install(), kInstallOk) << opening.function << " " << nth;

      calls.hook = nullptr;
      EXPECT_EQ(left, 0);
      EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
      EXPECT_THAT(dropped(), testing::IsEmpty());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Errors, InstallFaultsTest,
                         testing::Values(EMFILE, ENFILE, ENOMEM, EIO, EINTR));

// What fails for another reason would fail the next time as well.
TEST_F(ScenarioTest, ExtractsOnceWhatFailsForAnotherReason) {
  FileCalls calls;
  int failures = 0;
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [&failures](const FileCall& call) {
    if (call.function != "openat" || call.name != "index.html") return 0;
    ++failures;
    return EACCES;
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(failures, 1);
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// What is taken back is reported, and is installed by the next run.
TEST_F(ScenarioTest, TakesBackWhatIsNewWhereItCannotBeJudged) {
  FileCalls calls;
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  terminal.writeFile(kData + "/tool/data", "of an earlier tool");
  drop("shop.zip", applicationPackage("shop"));
  drop("tool.zip", applicationPackage("tool"));
  calls.hook = [](const FileCall& call) {
    return call.function == "opendir" && call.name == "/home/usr7/www" ? EMFILE : 0;
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, Contains("Warning: Failed to read directory '/home/usr7/www'.\n"));
  EXPECT_THAT(lines, Contains("Removing " + kApps + "/tool\n"));
  EXPECT_THAT(lines, Contains("Removing " + kApps + "/tool.MFT\n"));
  EXPECT_THAT(lines, Contains("Removing " + kManifests + "/tool\n"));
  EXPECT_THAT(lines, Contains("Error: Installation of tool failed\n"));
  EXPECT_THAT(lines, Contains("shop\n"));
  EXPECT_FALSE(terminal.exists(kApps + "/tool"));
  EXPECT_FALSE(terminal.exists(kManifests + "/tool"));
  EXPECT_EQ(read(kData + "/tool/data"), "of an earlier tool");
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
  EXPECT_THAT(dropped(), testing::UnorderedElementsAre("shop.zip", "tool.zip"));

  calls.hook = nullptr;
  EXPECT_EQ(install(), kInstallOk);
  EXPECT_THAT(lines, Contains("tool\n"));
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// The descriptor that is free then is a descriptor like any other.
TEST_F(ScenarioTest, ComesToTheSameEndWhereTheHostHasClosedItsStandardInput) {
  FileCalls calls;
  prepare();
  static_cast<void>(install());
  const Snapshot after = snapshot();
  prepare();
  const ChildResult child = tryInChild([this] {
    close(STDIN_FILENO);
    static_cast<void>(install());
  });

  EXPECT_EQ(child.failures, "");
  EXPECT_EQ(snapshot(), after);
}

// Nothing could be told from what was there before.
TEST_F(ScenarioTest, InstallsNothingWhereWhatIsThereCannotBeSeen) {
  for (const std::string& root : {kApps, kManifests}) {
    FileCalls calls;
    drop("shop.zip", applicationPackage("shop"));
    calls.hook = [&root](const FileCall& call) {
      return call.function == "opendir" && call.name == root ? ENFILE : 0;
    };

    EXPECT_EQ(install(), kInstallError);

    EXPECT_THAT(lines, Contains("Warning: Failed to read directory '" + root + "'.\n"));
    EXPECT_THAT(lines, Contains("postinstall\n"));
    EXPECT_THAT(lines, Contains("Checking dependencies\n"));
    EXPECT_THAT(lines, testing::Not(Contains(StartsWith("Install /"))));
    EXPECT_THAT(dropped(), testing::ElementsAre("shop.zip"));
  }
}

// What may not stay is removed by a run that sees all there is to see.
TEST_F(ScenarioTest, JudgesNobodyWherePackagesCannotBeSeen) {
  FileCalls calls;
  drop("shop.zip", applicationPackage("shop"));
  ASSERT_EQ(install(), kInstallOk);
  fs::remove_all(kManifests + "/shop");
  calls.hook = [](const FileCall& call) {
    return call.function == "opendir" && call.name == kSource ? EMFILE : 0;
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, Contains("Warning: Failed to read directory '" + kSource + "'.\n"));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");

  calls.hook = nullptr;
  static_cast<void>(install());
  EXPECT_FALSE(terminal.exists(kApps + "/shop"));
}

}  // namespace
}  // namespace wzapp
