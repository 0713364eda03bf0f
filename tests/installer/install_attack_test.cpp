// What other processes can do during a run: the source directory is open to all. An attacker acts
// inside the log callback and inside file operations, at the worst of moments, and on a thread of
// his own at any.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/builders/own_namespace.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using namespace wzapp_test;

const std::string kPackage = kSource + "/shop.zip";
const std::string kOutside = "/mnt/flash/outside";

// What the attacker would like to see installed.
ZipBuilder evilArchive() {
  return ZipBuilder().stored("shop/index.html", "evil").stored("shop/evil.html", "evil");
}

// The same octets on disk, so that a file that is open changes with it.
void overwrite(const std::string& path, const std::string& content) {
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(file, 0) << path;
  ASSERT_EQ(pwrite(file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
  close(file);
}

class InstallAttackTest : public wzapp_test::InstallTest {
 protected:
  InstallAttackTest() {
    terminal.writeFile(kOutside + "/file", "kept");
    terminal.writeFile(kOutside + "/index.html", "kept");
  }

  // The application is what its package holds, or is not there.
  void expectNothingUnverified() const {
    EXPECT_FALSE(terminal.exists(kApps + "/shop/evil.html"));
    for (const char* file : {"/shop/index.html", "/shop/pages/second.html"}) {
      EXPECT_THAT(read(kApps + file), testing::AnyOf("", "<p>shop", "<h1>shop"));
    }
  }
  void expectOutsideUntouched() const {
    EXPECT_THAT(treeOf(kOutside), ElementsAre("file", "index.html"));
    EXPECT_EQ(read(kOutside + "/file"), "kept");
    EXPECT_EQ(read(kOutside + "/index.html"), "kept");
  }
  void expectWholeLog() const {
    EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                            endLines({"shop"}, "OK")}));
  }

  FileCalls calls;
};

TEST_F(InstallAttackTest, APackageFileIsReplacedOnceItIsOpen) {
  drop("shop.zip", applicationPackage("shop"));
  atLine = [this](const std::string& line) {
    if (!line.starts_with("Adding OS")) return;
    drop("new", withSigners().inner("SHOP.ZIP", evilArchive()));
    fs::rename(kSource + "/new", kPackage);
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  expectNothingUnverified();
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

// The octets are exchanged in place, once the package is verified.
TEST_F(InstallAttackTest, APackageFileChangesOnceItIsVerified) {
  drop("shop.zip", applicationPackage("shop"));
  atLine = [](const std::string& line) {
    if (line == "Checking SHOP.ZIP\n")
      overwrite(kPackage, std::string(static_cast<std::size_t>(fs::file_size(kPackage)), 'x'));
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

TEST_F(InstallAttackTest, APackageFileIsCutToNothing) {
  drop("shop.zip", withSigners()
                       .inner("SHOP.ZIP", applicationArchive("shop").stored("shop/x", noise()))
                       .signedBy(applicationSigner()));
  atLine = [](const std::string& line) {
    if (line == "Found SHOP.ZIP\n") fs::resize_file(kPackage, 0);
  };

  EXPECT_EQ(install(), kInstallError);

  expectNothingUnverified();
  EXPECT_EQ(lines.back(), "Overall result: ERROR\n");
}

// The package is exchanged for another one of the same size between the two passes.
TEST_F(InstallAttackTest, APackageFileChangesBetweenTwoPasses) {
  const auto package = [](const std::string& text) {
    const auto archiveWith = [](const std::string& page) {
      return ZipBuilder().stored("shop/index.html", page).stored("shop/x", noise()).build();
    };
    const std::string archive = archiveWith(text);
    const std::string honest = archiveWith("good");
    return ZipBuilder()
        .stored("SHOP.P7S", signatureOf(honest, applicationSigner()))
        .stored("SHOP.ZIP", archive)
        .stored("a.crt", std::string(applicationSigner().certificate.begin(),
                                     applicationSigner().certificate.end()))
        .build();
  };
  drop("shop.zip", package("good"));
  calls.hook = [](const FileCall& call) { return call.function == "fstatvfs" ? EIO : 0; };
  atLine = [&package](const std::string& line) {
    if (line == "Checking SHOP.ZIP\n") overwrite(kPackage, package("evil"));
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({beginLines(), openLines("shop.zip"), "Adding certificate a.crt\n",
                          extractedLines("SHOP.ZIP"), "Error: Failed reading 'SHOP.ZIP'\n",
                          rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), IsEmpty());
}

// Nothing but the octets of one page change, at their place: what is left to tell is their digest.
TEST_F(InstallAttackTest, AnEntryChangesBetweenTwoPasses) {
  const std::string archive =
      ZipBuilder().stored("shop/index.html", "<p>good").stored("shop/x", noise()).build();
  const std::string package = ZipBuilder()
                                  .stored("SHOP.P7S", signatureOf(archive, applicationSigner()))
                                  .stored("SHOP.ZIP", archive)
                                  .stored("a.crt", textOf(applicationSigner().certificate))
                                  .build();
  const std::size_t page = package.find("<p>good");
  ASSERT_NE(page, std::string::npos);
  drop("shop.zip", package);
  calls.hook = [](const FileCall& call) { return call.function == "fstatvfs" ? EIO : 0; };
  atLine = [&](const std::string& line) {
    if (line != "Checking SHOP.ZIP\n") return;
    std::string changed = package;
    changed.replace(page, 7, "<p>evil");
    overwrite(kPackage, changed);
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({beginLines(), openLines("shop.zip"), "Adding certificate a.crt\n",
                          extractedLines("SHOP.ZIP"), "Error: Failed reading 'SHOP.ZIP'\n",
                          rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), IsEmpty());
}

// By its name only: its octets are out of the reach of other users.
TEST_F(InstallAttackTest, TheTemporaryFileIsReplaced) {
  drop("shop.zip", applicationPackage("shop"));
  atLine = [this](const std::string& line) {
    if (line != "Checking SHOP.ZIP\n") return;
    fs::remove(kTemporary);
    terminal.writeFile(kTemporary, evilArchive().build());
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(InstallAttackTest, TheTemporaryFileIsALinkBeforeItIsCreated) {
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [](const FileCall& call) {
    if (call.function == "open" && call.name == kTemporary) {
      fs::create_symlink(kOutside + "/file", kTemporary);
    }
    return 0;
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  expectOutsideUntouched();
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(InstallAttackTest, TheTemporaryFileIsThereBeforeItIsCreated) {
  const std::string planted = evilArchive().build();
  int count = 0;
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [&](const FileCall& call) {
    if (call.function == "open" && call.name == kTemporary) {
      terminal.writeFile(kTemporary, planted);
      fs::create_hard_link(kTemporary, kOutside + "/" + std::to_string(++count));
    }
    return 0;
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  EXPECT_FALSE(terminal.exists(kTemporary));
  ASSERT_EQ(count, 2);
  for (const char* const name : {"/1", "/2"}) EXPECT_EQ(read(kOutside + name), planted);
}

TEST_F(InstallAttackTest, TheTemporaryFileIsADirectoryWithContent) {
  drop("installer.tmp/in/file", "removed");
  fs::create_directory_symlink(kOutside, kTemporary + "/link");
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  expectOutsideUntouched();
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(InstallAttackTest, TheTemporaryFileIsADirectoryThatCannotBeEmptied) {
  drop("installer.tmp/file", "kept");
  fs::permissions(kTemporary, fs::perms{0555});
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  const std::vector<std::string> left = listed(kSource);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(read(kSource + "/" + left[0] + "/file"), "kept");
}

// As what another user puts into a source directory with the sticky bit. A mount point is it here.
TEST_F(InstallAttackTest, TheTemporaryFileIsADirectoryThatCanBeNeitherRemovedNorMoved) {
  if (hasForeignThread()) GTEST_SKIP() << "an emulator cannot enter a user namespace";
  drop("installer.tmp/file", "covered");
  drop("shop.zip", applicationPackage("shop"));
  runInChild([this] {
    enterOwnNamespace();
    mountMemory(kTemporary, "size=1m");
    terminal.writeFile(kTemporary + "/in/file", "removed");

    EXPECT_EQ(install(), kInstallOk);

    expectWholeLog();
    EXPECT_THAT(dropped(), ElementsAre("installer.tmp/"));
  });
}

TEST_F(InstallAttackTest, TheTemporaryFileBecomesALink) {
  drop("shop.zip", applicationPackage("shop"));
  atLine = [](const std::string& line) {
    if (line != "Extracting SHOP.ZIP\n") return;
    fs::remove(kTemporary);
    fs::create_symlink(kOutside + "/file", kTemporary);
  };

  EXPECT_EQ(install(), kInstallOk);

  expectWholeLog();
  expectOutsideUntouched();
  EXPECT_FALSE(terminal.exists(kTemporary));
}

// Each directory of the application in turn, at the moment when it is about to be entered.
TEST_F(InstallAttackTest, ADirectoryBecomesALinkWhileFilesAreWritten) {
  for (const std::string victim : {"shop", "pages"}) {
    drop("shop.zip", applicationPackage("shop"));
    const std::string path = kApps + (victim == "shop" ? "/shop" : "/shop/pages");
    calls.hook = [&](const FileCall& call) {
      std::error_code ignored;
      if (call.function != "openat" || call.name != victim || !fs::is_directory(path, ignored)) {
        return 0;
      }
      fs::remove_all(path);
      fs::create_directory_symlink(kOutside, path);
      return 0;
    };

    EXPECT_EQ(install(), kInstallError) << victim;

    expectOutsideUntouched();
  }
}

TEST_F(InstallAttackTest, AFileBecomesALinkBeforeItIsCreated) {
  drop("shop.zip", applicationPackage("shop"));
  calls.hook = [](const FileCall& call) {
    if (call.function == "openat" && call.name == "index.html") {
      fs::create_symlink(kOutside + "/file", kApps + "/shop/index.html");
    }
    return 0;
  };

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, testing::Contains("Error: Failed to extract 'shop/index.html' -> '" + kApps +
                                       "/shop/index.html'\n"));
  expectOutsideUntouched();
}

TEST_F(InstallAttackTest, AManifestRootHoldsLinks) {
  terminal.makeFolder(kManifests);
  fs::create_directory_symlink(kOutside, kManifests + "/shop");
  drop("shop.zip", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallError);

  expectOutsideUntouched();
  EXPECT_FALSE(terminal.exists(kManifests + "/shop"));
}

TEST_F(InstallAttackTest, PackagesBecomeDirectoriesAndLinksBeforeTheyAreDeleted) {
  drop("shop.zip", applicationPackage("shop"));
  drop("tool.zip", applicationPackage("tool"));
  atLine = [this](const std::string& line) {
    if (line != "Checking dependencies\n") return;
    fs::remove(kPackage);
    fs::create_directory_symlink(kOutside, kPackage);
    fs::remove(kSource + "/tool.zip");
    drop("tool.zip/file", "removed");
    fs::create_directory_symlink(kOutside, kSource + "/tool.zip/link");
  };

  EXPECT_EQ(install(), kInstallOk);

  expectOutsideUntouched();
  EXPECT_THAT(dropped(), IsEmpty());
}

// At any moment, on a thread of its own.
TEST_F(InstallAttackTest, EverythingIsExchangedAllTheTime) {
  const std::string honest = applicationPackage("shop").build();
  const std::string evil =
      withSigners()
          .inner("SHOP.ZIP", evilArchive())
          .file("SHOP.P7S", signatureOf(applicationArchive("shop").build(), applicationSigner()))
          .build();
  std::atomic<bool> isOver = false;
  std::thread attacker([&] {
    const auto put = [](const std::string& path, const std::string& content) {
      std::ofstream(path, std::ios::binary) << content;
    };
    std::error_code ignored;
    for (int i = 0; !isOver; ++i) {
      put(kPackage, i % 2 == 0 ? honest : evil);
      put(kSource + "/next", evil);
      fs::rename(kSource + "/next", kSource + "/evil.zip", ignored);
      fs::remove(kTemporary, ignored);
      if (i % 3 == 0) {
        fs::create_symlink(kOutside + "/file", kTemporary, ignored);
      } else {
        put(kSource + "/next", evilArchive().build());
        fs::rename(kSource + "/next", kTemporary, ignored);
      }
    }
  });

  for (int i = 0; i < 20; ++i) {
    static_cast<void>(install());
    expectNothingUnverified();
  }
  isOver = true;
  attacker.join();

  expectOutsideUntouched();
  drop("shop.zip", honest);
  fs::remove(kSource + "/evil.zip");
  static_cast<void>(install());
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

}  // namespace
}  // namespace wzapp
