// Which files of the source directory are package files, and what of them is read.

#include "installer/package_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "support/install_result.h"
#include "tests/installer/install_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::applicationArchive;
using wzapp_test::applicationPackage;
using wzapp_test::applicationSigner;
using wzapp_test::beginLines;
using wzapp_test::endLines;
using wzapp_test::extractedLines;
using wzapp_test::kApps;
using wzapp_test::kManifests;
using wzapp_test::kSource;
using wzapp_test::Lines;
using wzapp_test::listed;
using wzapp_test::logOf;
using wzapp_test::manifestArchive;
using wzapp_test::manifestSigner;
using wzapp_test::openLines;
using wzapp_test::PackageBuilder;
using wzapp_test::packageLines;
using wzapp_test::rulesLines;
using wzapp_test::signerLines;
using wzapp_test::strangeSigner;
using wzapp_test::withSigners;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

class PackageFileTest : public wzapp_test::InstallTest {
 protected:
  // Log of a run of one package file, x.zip, with nothing to stay afterwards.
  static Lines runOf(const Lines& lines, const std::string& word) {
    return logOf({beginLines(), openLines("x.zip"), lines, rulesLines(), endLines({}, word)});
  }
};

std::string unreadable(const std::string& name) {
  return "Error: Failed reading '" + kSource + "/" + name + "'\n";
}

// --- Names ------------------------------------------------------------------------------------

TEST_F(PackageFileTest, IsNamedZipInAnyCase) {
  drop("A.ZIP", applicationPackage("shop"));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines[1], "Install " + kSource + "/A.ZIP\n");
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(PackageFileTest, WithAShortNameIsDeletedUnread) {
  for (const char* name : {"abc", ".ZIP", "x", "a.mf"}) drop(name, applicationPackage("shop"));
  terminal.makeFolder(kSource + "/dir");
  drop("full/file", "kept");

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
  EXPECT_THAT(dropped(), ElementsAre("full/", "full/file"));
}

TEST_F(PackageFileTest, IsNothingElse) {
  for (const char* name : {"readme.txt", "app.zip.part", "azip5", "a.zip~"}) {
    drop(name, applicationPackage("shop"));
  }
  const auto before = dropped();

  EXPECT_EQ(install(), kInstallNoPackage);

  EXPECT_EQ(lines, logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
  EXPECT_EQ(dropped(), before);
}

TEST_F(PackageFileTest, IsTakenInTheOrderOfTheDirectory) {
  for (const char* name : {"c.zip", "a.zip", "b.zip", "d.zip"}) drop(name, "no archive");
  Lines expected = beginLines();
  for (const std::string& name : listed(kSource)) {
    expected.push_back("Install " + kSource + "/" + name + "\n");
    expected.push_back(unreadable(name));
  }

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({expected, rulesLines(), endLines({}, "ERROR")}));
}

// --- Files that are none ----------------------------------------------------------------------

TEST_F(PackageFileTest, ThatIsNoArchiveIsReportedAndDeleted) {
  drop("x.zip", "no archive");
  drop("empty.zip", "");
  drop("none.zip", ZipBuilder().build());

  EXPECT_EQ(install(), kInstallError);

  EXPECT_THAT(lines, testing::Contains(unreadable("x.zip")));
  EXPECT_THAT(lines, testing::Contains(unreadable("empty.zip")));
  EXPECT_THAT(lines, testing::Contains(unreadable("none.zip")));
  EXPECT_EQ(lines.size(), 11U);
  EXPECT_THAT(dropped(), IsEmpty());
}

void makeSocket(const std::string& path) {
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::strcpy(address.sun_path, path.c_str());
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(descriptor);
}

TEST_F(PackageFileTest, IsARegularFileOnly) {
  ASSERT_EQ(mkfifo((kSource + "/pipe.zip").c_str(), 0666), 0);
  makeSocket(kSource + "/socket.zip");
  fs::create_symlink("/dev/zero", kSource + "/device.zip");
  fs::create_symlink("nowhere", kSource + "/gone.zip");
  fs::create_symlink("loop.zip", kSource + "/loop.zip");
  terminal.makeFolder(kSource + "/empty.zip");
  drop("full.zip/in/file", "removed");
  terminal.writeFile("/mnt/flash/elsewhere/file", "kept");
  fs::create_directory_symlink("/mnt/flash/elsewhere", kSource + "/full.zip/in/link");
  Lines expected = beginLines();
  for (const std::string& name : listed(kSource)) {
    expected.push_back("Install " + kSource + "/" + name + "\n");
    expected.push_back(unreadable(name));
  }

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({expected, rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(dropped(), IsEmpty());
  EXPECT_TRUE(fs::exists("/dev/zero"));
  EXPECT_EQ(read("/mnt/flash/elsewhere/file"), "kept");
}

// Another user's: its content cannot be removed, but its name can be taken from it.
TEST_F(PackageFileTest, IsNoDirectoryForEver) {
  drop("x.zip/file", "kept");
  fs::permissions(kSource + "/x.zip", fs::perms{0555});

  EXPECT_EQ(install(), kInstallError);
  EXPECT_EQ(install(), kInstallNoPackage);

  const std::vector<std::string> left = listed(kSource);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_THAT(left[0], testing::StartsWith("installer.tmp"));
  EXPECT_EQ(read(kSource + "/" + left[0] + "/file"), "kept");
}

TEST_F(PackageFileTest, MayBeALinkToAnArchive) {
  terminal.writeFile("/mnt/flash/elsewhere", applicationPackage("shop").build());
  fs::create_symlink("/mnt/flash/elsewhere", kSource + "/shop.zip");

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), packageLines("shop"), rulesLines("shop"),
                          endLines({"shop"}, "OK")}));
  EXPECT_THAT(dropped(), IsEmpty());
  EXPECT_TRUE(terminal.exists("/mnt/flash/elsewhere"));
}

// --- Certificates -----------------------------------------------------------------------------

TEST_F(PackageFileTest, BringsCertificatesInAnyFolderAndCase) {
  drop("x.zip", PackageBuilder()
                    .certificate("deep/down/x.CrT", applicationSigner())
                    .certificate("m.crt", manifestSigner())
                    .certificate(".crt", strangeSigner())
                    .file("dir.crt/", "")
                    .file("x.crt.txt", "")
                    .inner("SHOP.ZIP", applicationArchive("shop"))
                    .signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines[13], "Adding certificate deep/down/x.CrT\n");
  EXPECT_EQ(lines[14], "Adding certificate m.crt\n");
  EXPECT_EQ(lines[15], "Found SHOP.ZIP\n");
}

TEST_F(PackageFileTest, ReportsCertificatesThatCannotBeRead) {
  ZipEntry unknown;
  unknown.name = "b.crt";
  unknown.method = 99;
  drop("x.zip",
       PackageBuilder().file("a.crt", "").entry(unknown).certificate("c.crt", manifestSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, runOf({"Error: Failed to extract 'a.crt'\n",
                          "Error: Failed to extract 'b.crt'\n", "Adding certificate c.crt\n"},
                         "ERROR"));
}

TEST_F(PackageFileTest, WarnsOfCertificatesThatAreRefused) {
  drop("x.zip", PackageBuilder().certificate("x.crt", strangeSigner()));

  EXPECT_EQ(install(), kInstallWarning);

  EXPECT_EQ(lines, runOf({"Adding certificate x.crt\n",
                          "Warning: Failed adding certificate 'x.crt': CA not found\n"},
                         "WARNING"));
  EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(PackageFileTest, LendsItsCertificatesToNoOther) {
  for (const char* name : {"a.zip", "b.zip"}) drop(name, "");
  const std::vector<std::string> order = listed(kSource);
  drop(order[0], withSigners());
  drop(order[1],
       PackageBuilder().inner("X.ZIP", applicationArchive("x")).signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines, logOf({beginLines(), openLines(order[0]), signerLines(), openLines(order[1]),
                          "Found X.ZIP\n", "Error: Signature 'X.P7S' using unknown certificate\n",
                          rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(dropped(), IsEmpty());
}

// --- Several ----------------------------------------------------------------------------------

TEST_F(PackageFileTest, HoldsInnerPackagesInAnyFolder) {
  drop("x.zip", withSigners()
                    .inner("in/shop.zip", applicationArchive("shop"))
                    .signedBy(applicationSigner(), "in/SHOP.p7s")
                    .inner("in/shop-o.zip", manifestArchive("shop"))
                    .signedBy(manifestSigner(), "in/shop-o.zip.p7s")
                    .inner(".zip", applicationArchive("short"))
                    .file("folder.zip/", ""));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("in/shop-o.zip"),
                   extractedLines("in/shop.zip"), rulesLines("shop"), endLines({"shop"}, "OK")}));
}

TEST_F(PackageFileTest, WithAnErrorKeepsNoOtherFromBeingInstalled) {
  drop("bad1.zip", "no archive");
  drop("shop.zip", applicationPackage("shop"));
  drop("bad2.zip", "no archive");

  EXPECT_EQ(install(), kInstallError);

  EXPECT_TRUE(terminal.exists(kApps + "/shop/index.html"));
  EXPECT_EQ(lines.back(), "Overall result: ERROR\n");
  EXPECT_THAT(dropped(), IsEmpty());
}

}  // namespace
}  // namespace wzapp
