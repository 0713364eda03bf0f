// What 32 bits hold only where the build asks for it: times after January 2038, sizes above 2 GiB.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "support/file_system.h"
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

// An inode, an offset or a time that does not fit would make each of these calls fail.
TEST(FileTypes, HaveSixtyFourBits) {
  EXPECT_EQ(sizeof(off_t), 8U);
  EXPECT_EQ(sizeof(ino_t), 8U);
  EXPECT_EQ(sizeof(time_t), 8U);
}

}  // namespace
}  // namespace wzapp
