// What 32 bits hold only where the build asks for it: times after January 2038, sizes above 2 GiB,
// inodes above 2^32.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "support/directory.h"
#include "support/file_system.h"
#include "tests/builders/child_process.h"
#include "tests/builders/own_namespace.h"
#include "tests/builders/temporary_directory.h"

namespace wzapp {
namespace {

constexpr std::int64_t kYear2040 = 2208988800;
constexpr std::int64_t kThreeGiB = std::int64_t{3} << 30;

class LargeFiles : public testing::Test {
 protected:
  // An empty file with a hole of that size, dated then.
  void make(std::int64_t size, std::int64_t seconds) const {
    const int descriptor = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    timespec times[2] = {};
    times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(seconds);
    const bool isMade =
        ftruncate(descriptor, static_cast<off_t>(size)) == 0 && futimens(descriptor, times) == 0;
    close(descriptor);
    ASSERT_TRUE(isMade);
  }

  wzapp_test::TemporaryDirectory directory_;
  std::string path_ = directory_.path() + "/file";
};

TEST_F(LargeFiles, AFileOfALaterDateHasAStatus) {
  make(0, kYear2040);

  struct stat status = {};
  ASSERT_EQ(fileStat(path_.c_str(), status), 0);
  EXPECT_EQ(status.st_mtime, kYear2040);
  ASSERT_EQ(linkStat(path_.c_str(), status), 0);
  EXPECT_EQ(status.st_mtime, kYear2040);
}

TEST_F(LargeFiles, AFileOfALaterDateIsRead) {
  make(7, kYear2040);

  std::string content;
  ASSERT_TRUE(readFile(path_.c_str(), content));
  EXPECT_EQ(content, std::string(7, '\0'));
}

TEST_F(LargeFiles, AFileOfMoreThanTwoGiBHasAStatus) {
  make(kThreeGiB, 0);

  struct stat status = {};
  ASSERT_EQ(fileStat(path_.c_str(), status), 0);
  EXPECT_EQ(status.st_size, kThreeGiB);
}

TEST_F(LargeFiles, AFileOfMoreThanTwoGiBIsRefusedBySizeAndNotByFailure) {
  make(kThreeGiB, 0);

  std::string content = "before";
  EXPECT_FALSE(readFile(path_.c_str(), content));
  EXPECT_EQ(content, "");
}

TEST_F(LargeFiles, AListedFileHasItsLaterDateAndTheLargestSize) {
  make(kThreeGiB, kYear2040);

  Directory directory;
  ASSERT_TRUE(directory.open(directory_.path()));
  DirEntry entry;
  while (entry.name != "file" && directory.read(entry)) {
  }
  EXPECT_EQ(entry.type, kRegularFileEntry);
  EXPECT_EQ(entry.year / 10, 204);  // in local time, it may still be the evening before
  EXPECT_EQ(entry.size, 2147483647);
}

// --- Inodes -----------------------------------------------------------------------------------

// Makes `folder`/both, which has the files of two file systems: so that their inodes differ, the
// uppermost bits of each tell the file system.
void mountOverlay(const std::string& folder) {
  wzapp_test::mountMemory(folder);
  for (const char* layer : {"one", "two", "both"}) {
    std::filesystem::create_directory(folder + "/" + layer);
  }
  for (const std::string layer : {"one", "two"}) {
    wzapp_test::mountMemory(folder + "/" + layer);
    std::ofstream(folder + "/" + layer + "/of_" + layer) << layer;
  }
  const std::string options = "xino=on,lowerdir=" + folder + "/one:" + folder + "/two";
  ASSERT_EQ(mount("test", (folder + "/both").c_str(), "overlay", 0, options.c_str()), 0);
}

TEST(LargeInodes, AreListedAndHaveAStatus) {
  if (wzapp_test::hasForeignThread()) GTEST_SKIP() << "an emulator cannot enter a user namespace";
  const wzapp_test::TemporaryDirectory temporary;
  wzapp_test::runInChild([&] {
    wzapp_test::enterOwnNamespace();
    ASSERT_NO_FATAL_FAILURE(mountOverlay(temporary.path()));

    std::set<std::string> names;
    Directory directory;
    ASSERT_TRUE(directory.open(temporary / "both"));
    for (DirEntry entry; directory.read(entry);) names.insert(entry.name);
    EXPECT_THAT(names, testing::ElementsAre(".", "..", "of_one", "of_two"));

    for (const char* name : {"/both/of_one", "/both/of_two"}) {
      struct stat status = {};
      ASSERT_EQ(fileStat((temporary.path() + name).c_str(), status), 0);
      EXPECT_GT(status.st_ino, 0xffffffffU);
      ASSERT_EQ(linkStat((temporary.path() + name).c_str(), status), 0);
      EXPECT_GT(status.st_ino, 0xffffffffU);
    }
  });
}

// An inode, an offset or a time that does not fit would make each of these calls fail.
TEST(FileTypes, HaveSixtyFourBits) {
  EXPECT_EQ(sizeof(off_t), 8U);
  EXPECT_EQ(sizeof(ino_t), 8U);
  EXPECT_EQ(sizeof(time_t), 8U);
}

}  // namespace
}  // namespace wzapp
