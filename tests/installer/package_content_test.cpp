#include "installer/package_content.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "installer/directories.h"
#include "support/install_result.h"
#include "tests/builders/zip_builder.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::FileCall;
using wzapp_test::FileCalls;
using wzapp_test::kApps;
using wzapp_test::kManifests;
using wzapp_test::Lines;
using wzapp_test::manifestFor;
using wzapp_test::treeOf;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

const std::string kArchive = "/mnt/flash/content.zip";
const std::string kOutside = "/mnt/flash/outside";

constexpr ContentTarget kApplication = {kAppRoot, true};
constexpr ContentTarget kManifest = {kManifestRoot, false};

class PackageContentTest : public wzapp_test::RulesTest {
 protected:
  PackageContentTest() { terminal.makeFolder(wzapp_test::kConfig); }

  std::string extract(const ZipBuilder& archive, const ContentTarget& target = kApplication) {
    terminal.writeFile(kArchive, archive.build());
    UnZIP content(kArchive);
    return extractContent(content, target);
  }

  FileCalls calls;
};

std::string notExtracted(const std::string& name, const std::string& destination) {
  return "Error: Failed to extract '" + name + "' -> '" + destination + "'\n";
}

TEST_F(PackageContentTest, GoesBelowTheRootWithItsFolders) {
  EXPECT_EQ(extract(ZipBuilder().directory("empty").file("a/b/c", "deep").file("top", "")), "");

  EXPECT_THAT(treeOf(kApps), ElementsAre("a/", "a/b/", "a/b/c", "top"));
  EXPECT_EQ(terminal.readFile(kApps + "/a/b/c"), "deep");
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(PackageContentTest, FindsADirectoryOnceForTheFilesThatFollowOneAnother) {
  const auto entered = [this](const ZipBuilder& archive) {
    int count = 0;
    calls.hook = [&count](const FileCall& call) {
      count += call.function == "openat" && call.name == "pages" ? 1 : 0;
      return 0;
    };
    extract(archive);
    calls.hook = nullptr;
    return count;
  };

  const int forOne = entered(ZipBuilder().file("one/pages/1", ""));
  const int forThree = entered(
      ZipBuilder().file("three/pages/1", "").file("three/pages/2", "").file("three/pages/3", ""));

  EXPECT_GT(forOne, 0);
  EXPECT_EQ(forThree, forOne);
}

TEST_F(PackageContentTest, ComesBackToADirectoryBehindTheFilesOfAnother) {
  extract(ZipBuilder().file("a/1", "1").file("a/b/2", "2").file("a/c", "3").file("d", "4"));

  EXPECT_THAT(treeOf(kApps), ElementsAre("a/", "a/1", "a/b/", "a/b/2", "a/c", "d"));
  EXPECT_EQ(terminal.readFile(kApps + "/a/c"), "3");
  EXPECT_EQ(terminal.readFile(kApps + "/d"), "4");
}

// A link takes the place of the directory between two of its files.
TEST_F(PackageContentTest, GoesOnInADirectoryThatIsMovedAndNotWhereItsNameLeads) {
  terminal.makeFolder(kOutside);
  calls.hook = [](const FileCall& call) {
    if (call.function == "openat" && call.name == "2") {
      fs::rename(kApps + "/a", kApps + "/moved");
      fs::create_directory_symlink(kOutside, kApps + "/a");
    }
    return 0;
  };

  extract(ZipBuilder().file("a/1", "").file("a/2", "").file("a/3", ""));

  calls.hook = nullptr;
  EXPECT_THAT(treeOf(kOutside), IsEmpty());
  EXPECT_THAT(treeOf(kApps), ElementsAre("a", "moved/", "moved/1", "moved/2", "moved/3"));
}

TEST_F(PackageContentTest, IsCreatedWithTheRightsOfTheProcessMask) {
  const mode_t mask = umask(027);
  static_cast<void>(extract(ZipBuilder().file("a/b", "x")));
  umask(mask);

  struct stat status;
  ASSERT_EQ(stat((kApps + "/a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, mode_t{0750});
  ASSERT_EQ(stat((kApps + "/a/b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, mode_t{0640});
}

// --- Names ------------------------------------------------------------------------------------

struct EntryCase {
  std::string name;
  std::string destination;
  std::string written;  // below the application root; nothing: it is not
};

void PrintTo(const EntryCase& row, std::ostream* out) { *out << '"' << row.name << '"'; }

class EntryDestinationTest : public PackageContentTest,
                             public testing::WithParamInterface<EntryCase> {};

TEST_P(EntryDestinationTest, LiesBelowTheRootOrIsRefused) {
  const EntryCase& row = GetParam();

  static_cast<void>(extract(ZipBuilder().file(row.name, "content").file("zz/next", "")));

  EXPECT_TRUE(terminal.exists(kApps + "/zz/next"));
  if (row.written.empty()) {
    std::string name = row.name;
    std::replace(name.begin(), name.end(), '\\', '/');
    EXPECT_THAT(lines, ElementsAre(notExtracted(name, row.destination)));
    EXPECT_EQ(installResult(), kInstallError);
    EXPECT_THAT(treeOf(kApps), ElementsAre("zz/", "zz/next"));
    EXPECT_FALSE(terminal.exists("/etc/zz-not-here"));
  } else {
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(terminal.readFile(kApps + "/" + row.written), "content");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Names, EntryDestinationTest,
    testing::Values(EntryCase{"../../etc/passwd", "", "_/_/etc/passwd"},
                    EntryCase{"a\\b\\c", "", "a/b/c"}, EntryCase{"a\\..\\..\\c", "", "a/_/_/c"},
                    EntryCase{"..", "", "_"}, EntryCase{"a/..", "", "a/_"},
                    EntryCase{"./a", "", "a"}, EntryCase{"a//b", "", "a/b"},
                    EntryCase{"a/./b", "", "a/b"}, EntryCase{"a:b", "", "a:b"},
                    EntryCase{"a\n\x1b[31m", "", "a\n\x1b[31m"},
                    EntryCase{std::string(255, 'n'), "", std::string(255, 'n')},
                    EntryCase{kApps + "/in/side", "", "in/side"},
                    EntryCase{kApps + "/./in/../side", "", "in/_/side"},
                    EntryCase{"/" + kApps + "//inside", "", "inside"},
                    EntryCase{"/etc/zz-not-here", "/etc/zz-not-here", ""},
                    EntryCase{"\\etc\\zz-not-here", "/etc/zz-not-here", ""},
                    EntryCase{"C:/x", "C:/x", ""}, EntryCase{"C:\\x", "C:/x", ""},
                    EntryCase{"", kApps, ""}, EntryCase{".", kApps, ""},
                    EntryCase{"x/.", kApps + "/x", "x"}, EntryCase{"./.", kApps, ""},
                    EntryCase{kApps, kApps, ""}, EntryCase{kApps + "x", kApps + "x", ""},
                    EntryCase{kManifests + "/x/y", kManifests + "/x/y", ""}));

// --- The previous version ---------------------------------------------------------------------

TEST_F(PackageContentTest, ReplacesTheDirectoriesThatItHolds) {
  for (const char* file : {"shop/old", "Shop/other", "shop.mft", "tool/kept", "empty/old"}) {
    terminal.writeFile(kApps + "/" + file, "old");
  }

  static_cast<void>(extract(ZipBuilder().directory("empty").file("shop/new", "").file("top", "")));

  EXPECT_THAT(treeOf(kApps), ElementsAre("Shop/", "Shop/other", "shop.mft", "shop/", "shop/new",
                                         "tool/", "tool/kept", "top"));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(PackageContentTest, OfAManifestReplacesFilesOnly) {
  terminal.writeFile(kManifests + "/shop/appuninstall.mft", "old");
  terminal.writeFile(kManifests + "/shop/mpmanifest.mft", "a longer one");

  static_cast<void>(extract(ZipBuilder().file("shop/mpmanifest.mft", "new"), kManifest));

  EXPECT_EQ(terminal.readFile(kManifests + "/shop/mpmanifest.mft"), "new");
  EXPECT_EQ(terminal.readFile(kManifests + "/shop/appuninstall.mft"), "old");
}

TEST_F(PackageContentTest, NeverRemovesTheRootOrWhatLiesOutside) {
  terminal.writeFile(kApps + "/shop/old", "old");
  terminal.writeFile(kApps + "/_/old", "old");
  terminal.writeFile(kOutside + "/kept", "kept");

  static_cast<void>(extract(ZipBuilder()
                                .file("./a", "")
                                .file("/b", "")
                                .file("C:/c", "")
                                .file("../d", "")
                                .file(kOutside + "/e", "")));

  EXPECT_THAT(treeOf(kApps), ElementsAre("_/", "_/d", "a", "shop/", "shop/old"));
  EXPECT_THAT(treeOf(kOutside), ElementsAre("kept"));
}

TEST_F(PackageContentTest, WarnsOfAPreviousVersionThatCannotBeRemoved) {
  terminal.writeFile(kApps + "/shop/old", "old");
  calls.hook = [](const FileCall& call) {
    return call.function == "unlinkat" && call.name == "old" ? EPERM : 0;
  };

  static_cast<void>(extract(ZipBuilder().file("shop/new", "")));

  EXPECT_THAT(lines, ElementsAre("Warning: Failed to remove '" + kApps +
                                     "/shop/old' (errno=" + std::to_string(EPERM) + ")\n",
                                 "Warning: Failed to remove '" + kApps +
                                     "/shop' (errno=" + std::to_string(ENOTEMPTY) + ")\n"));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_THAT(treeOf(kApps), ElementsAre("shop/", "shop/new", "shop/old"));
}

// --- A file that is there ---------------------------------------------------------------------

struct stat statusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status;
}

TEST_F(PackageContentTest, WritesAFileInPlace) {
  const std::string folder = kManifests + "/a";
  for (const char* name : {"1", "2", "3"}) terminal.writeFile(folder + "/" + name, "a longer one");
  fs::permissions(folder + "/2", fs::perms{0640});
  const struct stat before = statusOf(folder + "/2");
  const std::vector<std::string> order = wzapp_test::listed(folder);

  static_cast<void>(extract(ZipBuilder().file("a/2", "new"), kManifest));

  const struct stat after = statusOf(folder + "/2");
  EXPECT_EQ(terminal.readFile(folder + "/2"), "new");
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(wzapp_test::listed(folder), order);
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(PackageContentTest, WritesAFileWhoseFolderCannotBeWritten) {
  terminal.writeFile(kManifests + "/a/file", "old");
  fs::permissions(kManifests + "/a", fs::perms{0555});

  static_cast<void>(extract(ZipBuilder().file("a/file", "new").file("a/next", ""), kManifest));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/next", kManifests + "/a/next")));
  EXPECT_EQ(terminal.readFile(kManifests + "/a/file"), "new");
}

TEST_F(PackageContentTest, DoesNotWriteAFileThatMayNotBeWritten) {
  terminal.writeFile(kManifests + "/a/file", "old");
  fs::permissions(kManifests + "/a/file", fs::perms{0444});

  static_cast<void>(extract(ZipBuilder().file("a/file", "new").file("a/next", ""), kManifest));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/file", kManifests + "/a/file")));
  EXPECT_EQ(terminal.readFile(kManifests + "/a/file"), "old");
  EXPECT_TRUE(terminal.exists(kManifests + "/a/next"));
}

TEST_F(PackageContentTest, LeavesThePartThatCouldBeWrittenInPlace) {
  terminal.writeFile(kManifests + "/a/file", std::string(100000, 'o'));
  const ino_t inode = statusOf(kManifests + "/a/file").st_ino;
  int writes = 0;
  calls.hook = [&writes](const FileCall& call) {
    return call.function == "write" && ++writes == 3 ? ENOSPC : 0;
  };

  static_cast<void>(extract(ZipBuilder().file("a/file", std::string(100000, 'n')), kManifest));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/file", kManifests + "/a/file")));
  EXPECT_EQ(terminal.readFile(kManifests + "/a/file"), std::string(2 * 8192, 'n'));
  EXPECT_EQ(statusOf(kManifests + "/a/file").st_ino, inode);
}

// What takes the place of a file once it was found to be one.
class ExchangedFileTest : public PackageContentTest {
 protected:
  // Extracts to a file that `exchange` is called for before it is opened to be written in place.
  void extractOver(const std::function<void()>& exchange) {
    terminal.writeFile(kFile, "old");
    bool isFound = false;
    calls.hook = [&](const FileCall& call) {
      if (call.function == "fstatat" && call.name == "file") isFound = true;
      if (!isFound || call.function != "openat" || call.name != "file") return 0;
      isFound = false;
      exchange();
      return 0;
    };
    static_cast<void>(extract(ZipBuilder().file("a/file", "new"), kManifest));
    calls.hook = nullptr;
  }

  const std::string kFile = kManifests + "/a/file";
};

TEST_F(ExchangedFileTest, ALinkIsNotFollowed) {
  terminal.writeFile(kOutside + "/file", "kept");

  extractOver([this] {
    fs::remove(kFile);
    fs::create_symlink(kOutside + "/file", kFile);
  });

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/file", kFile)));
  EXPECT_EQ(terminal.readFile(kOutside + "/file"), "kept");
}

TEST_F(ExchangedFileTest, APipeIsNotWaitedFor) {
  extractOver([this] {
    fs::remove(kFile);
    ASSERT_EQ(mkfifo(kFile.c_str(), 0666), 0);
  });

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/file", kFile)));
}

TEST_F(ExchangedFileTest, APipeThatSomebodyReadsIsReplaced) {
  int reader = -1;
  extractOver([this, &reader] {
    fs::remove(kFile);
    ASSERT_EQ(mkfifo(kFile.c_str(), 0666), 0);
    reader = open(kFile.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  });

  char octet = 0;
  EXPECT_EQ(read(reader, &octet, 1), 0);
  close(reader);
  EXPECT_TRUE(fs::is_regular_file(kFile));
  EXPECT_EQ(terminal.readFile(kFile), "new");
}

TEST_F(ExchangedFileTest, AFileWithAnotherNameIsLeftAlone) {
  extractOver([this] { fs::create_hard_link(kFile, kManifests + "/other"); });

  EXPECT_EQ(terminal.readFile(kManifests + "/other"), "old");
  EXPECT_EQ(terminal.readFile(kFile), "new");
}

// --- What is in the way -----------------------------------------------------------------------

TEST_F(PackageContentTest, FollowsNoLink) {
  terminal.writeFile(kOutside + "/file", "kept");
  terminal.makeFolder(kManifests + "/b");
  fs::create_directory_symlink(kOutside, kManifests + "/a");
  fs::create_symlink(kOutside + "/file", kManifests + "/b/file");
  fs::create_symlink(kOutside + "/new", kManifests + "/b/gone");

  static_cast<void>(extract(ZipBuilder()
                                .file("a/file", "1")
                                .file("a/c/file", "2")
                                .file("b/file", "3")
                                .file("b/gone", "4"),
                            kManifest));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/c/file", kManifests + "/a/c/file"),
                                 notExtracted("a/file", kManifests + "/a/file")));
  EXPECT_THAT(treeOf(kOutside), ElementsAre("file"));
  EXPECT_EQ(terminal.readFile(kOutside + "/file"), "kept");
  EXPECT_FALSE(fs::is_symlink(kManifests + "/b/file"));
  EXPECT_EQ(terminal.readFile(kManifests + "/b/file"), "3");
  EXPECT_EQ(terminal.readFile(kManifests + "/b/gone"), "4");
}

TEST_F(PackageContentTest, GoesBelowARootThatIsTheUsersLink) {
  terminal.writeFile(kOutside + "/shop/old", "old");
  terminal.writeFile(kOutside + "/tool/file", "kept");
  fs::create_directory_symlink(kOutside, kApps);

  static_cast<void>(extract(ZipBuilder().file("shop/file", "new")));

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(treeOf(kOutside), ElementsAre("shop/", "shop/file", "tool/", "tool/file"));
}

TEST_F(PackageContentTest, DoesNotEnterARootThatIsAnotherLink) {
  calls.atStatus = [](struct stat& status) { status.st_uid = getuid() + 1; };
  terminal.writeFile(kOutside + "/shop/file", "kept");
  fs::create_directory_symlink(kOutside, kApps);

  static_cast<void>(extract(ZipBuilder().file("shop/file", "new")));

  EXPECT_THAT(lines, ElementsAre("Warning: Failed to remove '" + kApps +
                                     "/shop' (errno=" + std::to_string(ENOTDIR) + ")\n",
                                 notExtracted("shop/file", kApps + "/shop/file")));
  EXPECT_EQ(terminal.readFile(kOutside + "/shop/file"), "kept");
}

TEST_F(PackageContentTest, LeavesAFileWithAnotherNameAlone) {
  terminal.writeFile(kOutside + "/file", "kept");
  terminal.makeFolder(kManifests + "/a");
  fs::create_hard_link(kOutside + "/file", kManifests + "/a/file");

  static_cast<void>(extract(ZipBuilder().file("a/file", "new"), kManifest));

  EXPECT_EQ(terminal.readFile(kManifests + "/a/file"), "new");
  EXPECT_EQ(terminal.readFile(kOutside + "/file"), "kept");
}

TEST_F(PackageContentTest, DoesNotWaitForAPipe) {
  terminal.makeFolder(kManifests + "/a");
  ASSERT_EQ(mkfifo((kManifests + "/a/file").c_str(), 0666), 0);

  static_cast<void>(extract(ZipBuilder().file("a/file", "new"), kManifest));

  EXPECT_EQ(terminal.readFile(kManifests + "/a/file"), "new");
}

TEST_F(PackageContentTest, FailsWhereADirectoryOrAFileIsInTheWay) {
  terminal.makeFolder(kManifests + "/a/file");
  terminal.writeFile(kManifests + "/b", "a file");

  static_cast<void>(
      extract(ZipBuilder().file("a/file", "1").file("b/file", "2").file("c", "3"), kManifest));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/file", kManifests + "/a/file"),
                                 notExtracted("b/file", kManifests + "/b/file")));
  EXPECT_THAT(treeOf(kManifests), ElementsAre("a/", "a/file/", "b", "c"));
}

TEST_F(PackageContentTest, LeavesTheFoldersOfAnEntryThatCannotBeOpened) {
  ZipEntry unknown;
  unknown.name = "a/b/unknown";
  unknown.method = 99;

  static_cast<void>(extract(ZipBuilder().entry(unknown)));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/b/unknown", kApps + "/a/b/unknown")));
  EXPECT_THAT(treeOf(kApps), ElementsAre("a/", "a/b/"));
}

TEST_F(PackageContentTest, LeavesAPartOfADamagedEntry) {
  ZipEntry damaged;
  damaged.name = "a";
  damaged.content = std::string(100000, 'x');
  damaged.isDeflated = false;
  damaged.data = std::string(50000, 'x');
  damaged.packedSize = 100000;

  static_cast<void>(extract(ZipBuilder().entry(damaged).file("b", "next")));

  EXPECT_THAT(lines, Contains(notExtracted("a", kApps + "/a")));
  EXPECT_TRUE(terminal.exists(kApps + "/a"));
  EXPECT_EQ(terminal.readFile(kApps + "/b"), "next");
}

// Only a failure of the system leaves a file as it was; a damaged entry is what was signed.
TEST_F(PackageContentTest, EmptiesAFileWhoseNewContentIsDamagedFromItsStart) {
  ZipEntry damaged;
  damaged.name = "shop.MFT";
  damaged.content = "content";
  damaged.data = "\x07";  // a block of a type that there is not
  terminal.writeFile(kApps + "/shop.MFT", "before");

  static_cast<void>(extract(ZipBuilder().entry(damaged)));

  EXPECT_THAT(lines, ElementsAre(notExtracted("shop.MFT", kApps + "/shop.MFT")));
  EXPECT_EQ(terminal.readFile(kApps + "/shop.MFT"), "");
}

TEST_F(PackageContentTest, ReportsAFullDisk) {
  calls.hook = [](const FileCall& call) { return call.function == "write" ? ENOSPC : 0; };

  static_cast<void>(extract(ZipBuilder().file("a", "1").file("b", "2").file("c", "")));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a", kApps + "/a"), notExtracted("b", kApps + "/b")));
  EXPECT_EQ(terminal.readFile(kApps + "/a"), "");
}

TEST_F(PackageContentTest, ReportsADirectoryThatCannotBeMade) {
  calls.hook = [](const FileCall& call) { return call.function == "mkdirat" ? EACCES : 0; };

  static_cast<void>(extract(ZipBuilder().file("a/b", "1")));

  EXPECT_THAT(lines, ElementsAre(notExtracted("a/b", kApps + "/a/b")));
  EXPECT_FALSE(terminal.exists(kApps));
}

// --- The application's id ---------------------------------------------------------------------

TEST_F(PackageContentTest, IsNamedByItsLastManifest) {
  EXPECT_EQ(
      extract(ZipBuilder().file("a.mft", manifestFor("one")).file("b/c.MfT", manifestFor("two"))),
      "two");
  EXPECT_EQ(extract(ZipBuilder().file("a.mft", "[install]\nappid = one\n").file("b.mftx", "{}")),
            "one");
}

TEST_F(PackageContentTest, IsNamedByAManifestWithoutAnId) {
  EXPECT_EQ(extract(ZipBuilder().file("a.mft", manifestFor("one")).file("b.mft", "{}")), "");
}

TEST_F(PackageContentTest, IsNotNamedByAManifestThatCouldNotBeExtracted) {
  ZipEntry unknown;
  unknown.name = "b.mft";
  unknown.method = 99;
  terminal.writeFile(kApps + "/b.mft", manifestFor("old"));

  EXPECT_EQ(extract(ZipBuilder().file("a.mft", manifestFor("one")).entry(unknown)), "one");
}

}  // namespace
}  // namespace wzapp
