#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "installer/directories.h"
#include "support/install_log.h"
#include "tests/builders/collected_log.h"
#include "tests/builders/test_terminal.h"
#include "tests/builders/wrapped_calls.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::collectLine;
using wzapp_test::Lines;
using wzapp_test::TestTerminal;
using wzapp_test::WrappedCalls;

constexpr const char* kPath = "/mnt/flash/system/wz";

mode_t modeOf(const char* path) {
  struct stat status = {};
  EXPECT_EQ(stat(path, &status), 0) << path;
  return status.st_mode & 07777;
}

class SourceDirectoryTest : public testing::Test {
 protected:
  int create() { return wzInstallCreateSourceDir(collectLine, &lines); }

  // Makes the directory with a mode that has to be changed.
  void makeWithMode(mode_t mode) {
    terminal.makeFolder(kPath);
    ASSERT_EQ(chmod(kPath, mode), 0);
  }

  // Looking a group up, changing a group or a mode fails the test.
  void expectNoChange() {
    calls.getgrnam_r = [](const char*, struct group*, char*, std::size_t, struct group**) {
      ADD_FAILURE() << "getgrnam_r";
      return EIO;
    };
    calls.chown = [](const char*, uid_t, gid_t) {
      ADD_FAILURE() << "chown";
      return -1;
    };
    calls.chmod = [](const char*, mode_t) {
      ADD_FAILURE() << "chmod";
      return -1;
    };
  }

  TestTerminal terminal;
  WrappedCalls calls;
  Lines lines;
};

TEST(InstallPathsTest, AreFixed) {
  EXPECT_STREQ(wzInstallSourceDir(), "/mnt/flash/system/wz");
  EXPECT_STREQ(wzInstallAppRoot(), "/mnt/flash/etc/config/wzapp/wz");
  EXPECT_STREQ(wzInstallManifestRoot(), "/mnt/flash/etc/config/wzapp/mp");
  EXPECT_STREQ(kTemporaryFile, "/mnt/flash/system/wz/installer.tmp");
  EXPECT_STREQ(kConfigRoot, "/mnt/flash/etc/config/wzapp");
  EXPECT_STREQ(kFileSystemRoot, "/mnt/flash/etc/config/wzapp/fsroot");
  EXPECT_EQ(wzInstallSourceDir(), wzInstallSourceDir());
}

// --- What is there already --------------------------------------------------------------------

class ReadySourceDirectoryTest : public SourceDirectoryTest,
                                 public testing::WithParamInterface<mode_t> {};

TEST_P(ReadySourceDirectoryTest, IsLeftAlone) {
  makeWithMode(GetParam());
  expectNoChange();

  EXPECT_EQ(create(), 0);

  EXPECT_THAT(lines, IsEmpty());
  calls.chmod = nullptr;
  EXPECT_EQ(modeOf(kPath), GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, ReadySourceDirectoryTest,
                         testing::Values(0777, 02777, 04777, 01777, 07777));

class ChangedSourceDirectoryTest : public SourceDirectoryTest,
                                   public testing::WithParamInterface<mode_t> {};

TEST_P(ChangedSourceDirectoryTest, GetsItsModeButKeepsItsContent) {
  makeWithMode(GetParam());
  ASSERT_EQ(chmod(kPath, 0700), 0);
  terminal.writeFile("/mnt/flash/system/wz/shop.zip", "package");
  ASSERT_EQ(chmod(kPath, GetParam()), 0);
  int chowns = 0;
  calls.chown = [&chowns](const char* path, uid_t owner, gid_t group) {
    ++chowns;
    return wzapp_test::realChown(path, owner, group);
  };

  EXPECT_EQ(create(), 0);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(modeOf(kPath), 0777U);
  EXPECT_EQ(chowns, 1);
  EXPECT_EQ(terminal.readFile("/mnt/flash/system/wz/shop.zip"), "package");
}

INSTANTIATE_TEST_SUITE_P(All, ChangedSourceDirectoryTest,
                         testing::Values(0755, 0776, 0767, 0677, 0700, 0000, 02755));

TEST_F(SourceDirectoryTest, IsCreatedWithItsParentsWhateverTheMask) {
  const mode_t mask = umask(077);

  const int result = create();

  umask(mask);
  EXPECT_EQ(result, 0);
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(modeOf(kPath), 0777U);
  EXPECT_EQ(modeOf("/mnt/flash/system"), 0700U);
}

TEST_F(SourceDirectoryTest, IsCreatedOnce) {
  EXPECT_EQ(create(), 0);
  expectNoChange();

  EXPECT_EQ(create(), 0);
}

TEST_F(SourceDirectoryTest, IsGivenToTheGroupAndKeepsItsOwner) {
  std::vector<std::string> steps;
  calls.getgrnam_r = [&](const char* name, struct group* entry, char*, std::size_t size,
                         struct group** found) {
    steps.push_back("getgrnam_r " + std::string(name) + " " + std::to_string(size));
    *entry = {};
    entry->gr_gid = 4711;
    *found = entry;
    return 0;
  };
  calls.chown = [&](const char* path, uid_t owner, gid_t group) {
    steps.push_back("chown " + std::string(path) + " " + std::to_string(static_cast<int>(owner)) +
                    " " + std::to_string(group));
    return 0;
  };
  calls.chmod = [&](const char* path, mode_t mode) {
    steps.push_back("chmod " + std::string(path) + " " + std::to_string(mode));
    return 0;
  };

  EXPECT_EQ(create(), 0);

  EXPECT_THAT(steps, ElementsAre("getgrnam_r system 256", "chown /mnt/flash/system/wz -1 4711",
                                 "chmod /mnt/flash/system/wz 511"));
}

TEST_F(SourceDirectoryTest, MayBeALinkToADirectory) {
  terminal.makeFolder("/mnt/flash/elsewhere");
  terminal.makeFolder("/mnt/flash/system");
  ASSERT_EQ(symlink("/mnt/flash/elsewhere", kPath), 0);

  EXPECT_EQ(create(), 0);

  EXPECT_EQ(modeOf("/mnt/flash/elsewhere"), 0777U);
}

TEST_F(SourceDirectoryTest, MayAppearWhileItIsCreated) {
  calls.mkdir = [](const char* path, mode_t mode) {
    EXPECT_EQ(wzapp_test::realMkdir(path, mode), 0);  // another program is faster
    return wzapp_test::realMkdir(path, mode);
  };
  terminal.makeFolder("/mnt/flash/system");

  EXPECT_EQ(create(), 0);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(modeOf(kPath), 0777U);
}

TEST_F(SourceDirectoryTest, MayBeCreatedByTwoThreadsAtOnce) {
  calls.mkdir = [](const char* path, mode_t mode) {
    std::this_thread::yield();
    return wzapp_test::realMkdir(path, mode);
  };
  for (int round = 0; round < 100; ++round) {
    std::filesystem::remove_all("/mnt/flash/system");
    std::barrier start(2);
    std::array<int, 2> results = {};

    std::thread thread([&] {
      start.arrive_and_wait();
      results[0] = wzInstallCreateSourceDir();
    });
    start.arrive_and_wait();
    results[1] = wzInstallCreateSourceDir();
    thread.join();

    ASSERT_THAT(results, ElementsAre(0, 0));
    ASSERT_EQ(modeOf(kPath), 0777U);
  }
}

// --- Failures ---------------------------------------------------------------------------------

constexpr const char* kNotCreated = "Error: Failed to create /mnt/flash/system/wz\n";

class FileInTheWayTest : public SourceDirectoryTest, public testing::WithParamInterface<mode_t> {};

TEST_P(FileInTheWayTest, FailsAndStays) {
  terminal.writeFile(kPath, "content");
  ASSERT_EQ(chmod(kPath, GetParam()), 0);
  expectNoChange();

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre(kNotCreated));
  EXPECT_EQ(modeOf(kPath), GetParam());
  calls.chmod = nullptr;
  ASSERT_EQ(chmod(kPath, 0600), 0);
  EXPECT_EQ(terminal.readFile(kPath), "content");
}

INSTANTIATE_TEST_SUITE_P(All, FileInTheWayTest, testing::Values(0644, 0777, 0000));

TEST_F(SourceDirectoryTest, CannotBeCreatedBelowAFile) {
  terminal.writeFile("/mnt/flash/system", "content");

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre(kNotCreated));
}

TEST_F(SourceDirectoryTest, CannotBeCreatedWhereALinkPointsToNothing) {
  terminal.makeFolder("/mnt/flash/system");
  ASSERT_EQ(symlink("/mnt/flash/nothing", kPath), 0);

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre(kNotCreated));
}

TEST_F(SourceDirectoryTest, CannotBeCreatedWithoutPermission) {
  terminal.makeFolder("/mnt/flash/system");
  ASSERT_EQ(chmod("/mnt/flash/system", 0500), 0);

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre(kNotCreated));
}

TEST_F(SourceDirectoryTest, CannotBeCreatedOnAFullFlash) {
  calls.mkdir = [](const char*, mode_t) {
    errno = ENOSPC;
    return -1;
  };

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre(kNotCreated));
}

class GroupLookUpTest : public SourceDirectoryTest, public testing::WithParamInterface<int> {};

TEST_P(GroupLookUpTest, FailsForAnErrorAndForNoSuchGroup) {
  calls.getgrnam_r = [](const char*, struct group*, char*, std::size_t, struct group** found) {
    *found = nullptr;
    return GetParam();
  };

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre("Error: getgrnam failed\n"));
}

INSTANTIATE_TEST_SUITE_P(All, GroupLookUpTest, testing::Values(0, ERANGE, ENOENT, EINTR, EIO));

TEST_F(SourceDirectoryTest, FailsWhenTheGroupEntryIsTooLong) {
  // A group of many members: the look-up itself says that 256 octets are too few.
  calls.getgrnam_r = [](const char* name, struct group* entry, char* buffer, std::size_t size,
                        struct group** found) {
    EXPECT_EQ(size, 256U);
    return wzapp_test::realGetgrnam(name, entry, buffer, 4, found);
  };

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre("Error: getgrnam failed\n"));
}

TEST_F(SourceDirectoryTest, TellsThatItsGroupCannotBeChanged) {
  makeWithMode(0755);
  calls.chown = [](const char*, uid_t, gid_t) {
    errno = EPERM;
    return -1;
  };

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre("Error: chown(/mnt/flash/system/wz) failed\n"));
  EXPECT_EQ(modeOf(kPath), 0755U);
}

TEST_F(SourceDirectoryTest, TellsThatItsModeCannotBeChanged) {
  calls.chmod = [](const char*, mode_t) {
    errno = EPERM;
    return -1;
  };

  EXPECT_EQ(create(), 2);

  EXPECT_THAT(lines, ElementsAre("Error: chmod(/mnt/flash/system/wz,0777) failed\n"));
}

void keepFormat(void* user, const char* format, ...) {
  static_cast<std::vector<std::string>*>(user)->emplace_back(format);
}

// The format goes to the log as it stands, without arguments that it does not name.
TEST_F(SourceDirectoryTest, HandsFormatsOver) {
  std::vector<std::string> formats;
  calls.getgrnam_r = [](const char*, struct group*, char*, std::size_t, struct group**) {
    return EIO;
  };
  EXPECT_EQ(wzInstallCreateSourceDir(keepFormat, &formats), 2);

  calls.mkdir = [](const char*, mode_t) { return -1; };
  ASSERT_EQ(rmdir(kPath), 0);
  EXPECT_EQ(wzInstallCreateSourceDir(keepFormat, &formats), 2);

  EXPECT_THAT(formats, ElementsAre("Error: getgrnam failed\n", "Error: Failed to create %s\n"));
}

TEST_F(SourceDirectoryTest, DoesNotUseTheInstallSink) {
  Lines sink;
  setInstallLog(collectLine, &sink);
  calls.mkdir = [](const char*, mode_t) { return -1; };

  EXPECT_EQ(create(), 2);
  EXPECT_EQ(wzInstallCreateSourceDir(), 2);
  setInstallLog(nullptr, nullptr);

  EXPECT_THAT(sink, IsEmpty());
  EXPECT_THAT(lines, ElementsAre(kNotCreated));
}

TEST_F(SourceDirectoryTest, MayBeCreatedSilently) {
  EXPECT_EQ(wzInstallCreateSourceDir(), 0);
  EXPECT_EQ(modeOf(kPath), 0777U);

  ASSERT_EQ(rmdir(kPath), 0);
  terminal.writeFile(kPath, "");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();

  EXPECT_EQ(wzInstallCreateSourceDir(), 2);

  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

void throwFromLog(void* /*user*/, const char* /*format*/, ...) { throw std::runtime_error("log"); }

TEST_F(SourceDirectoryTest, LetsNoExceptionOfTheLogOut) {
  calls.mkdir = [](const char*, mode_t) { return -1; };

  EXPECT_EQ(wzInstallCreateSourceDir(throwFromLog, nullptr), 2);
}

}  // namespace
}  // namespace wzapp
