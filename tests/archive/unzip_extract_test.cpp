// Extracting entries into files.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "tests/archive/archive_calls.h"
#include "tests/archive/archive_test.h"
#include "tests/builders/child_process.h"

namespace wzapp {
namespace {

using wzapp_test::ArchiveCalls;
using wzapp_test::ArchiveTest;
using wzapp_test::Call;
using wzapp_test::contentOf;
using wzapp_test::letters;
using wzapp_test::noise;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

class UnZIPExtractTest : public ArchiveTest {
 protected:
  // The data breaks after 30,000 of its octets.
  [[nodiscard]] std::string writeDamaged(const std::string& content) const {
    ZipEntry entry;
    entry.name = "a";
    entry.content = content;
    entry.data = wzapp_test::deflated(content).substr(0, 30000) + std::string(3000, '\xFF');
    return write(ZipBuilder().entry(entry).file("b", "whole"));
  }

  const std::string target_ = directory_ / "target";
};

TEST_F(UnZIPExtractTest, FileHoldsTheEntry) {
  const std::string content = noise(100000);
  UnZIP archive(write(ZipBuilder().file("a", content)));

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_EQ(contentOf(target_), content);
}

TEST_F(UnZIPExtractTest, EmptyEntryMakesAnEmptyFile) {
  UnZIP archive(write(ZipBuilder().stored("a", "")));

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_TRUE(std::filesystem::is_empty(target_));
}

TEST_F(UnZIPExtractTest, LongerFileIsReplaced) {
  UnZIP archive(write(ZipBuilder().file("a", "short")));
  directory_.write("target", std::string(10000, 'x'));

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_EQ(contentOf(target_), "short");
}

TEST_F(UnZIPExtractTest, ModeOfTheFileComesFromTheMask) {
  UnZIP archive(write(ZipBuilder().file("a", "content")));
  const mode_t mask = umask(027);

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));

  umask(mask);
  struct stat status;
  ASSERT_EQ(stat(target_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(UnZIPExtractTest, MissingDirectoryFailsAndLeavesTheArchiveUsable) {
  const ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().file("a", "content")));

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), directory_ / "missing/target"));

  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_FALSE(std::filesystem::exists(directory_ / "missing"));
  EXPECT_EQ(readByName(archive, "a"), "content");
  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));
}

TEST_F(UnZIPExtractTest, TargetOfAnEntryThatCannotBeOpenedIsNotTouched) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = "content";
  entry.method = 99;
  UnZIP archive(write(ZipBuilder().entry(entry)));
  directory_.write("target", "before");

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_EQ(contentOf(target_), "before");
}

TEST_F(UnZIPExtractTest, TargetIsOpenedByTheCallerOnceTheEntryIs) {
  ZipEntry unknown;
  unknown.name = "unknown";
  unknown.method = 99;
  UnZIP archive(write(ZipBuilder().entry(unknown).file("a", "content")));
  int opened = 0;
  const auto openTarget = [this, &opened] {
    ++opened;
    return open(target_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  };

  EXPECT_FALSE(archive.extractToFile(archive.index().find("unknown"), openTarget));
  EXPECT_EQ(opened, 0);

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), openTarget));
  EXPECT_EQ(opened, 1);
  EXPECT_EQ(contentOf(target_), "content");

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), openTarget));
  EXPECT_EQ(opened, 2);
}

TEST_F(UnZIPExtractTest, FileThatTheCallerOpensIsWrittenOverAndCutBehind) {
  UnZIP archive(write(ZipBuilder().file("a", "short").file("empty", "")));
  const auto openTarget = [this] { return open(target_.c_str(), O_WRONLY | O_CLOEXEC); };
  for (const char* name : {"a", "empty"}) {
    for (const std::string before : {"", "shorter", "long"}) {
      directory_.write("target", before == "long" ? std::string(10000, 'x') : before);

      EXPECT_TRUE(archive.extractToFile(archive.index().find(name), openTarget));

      EXPECT_EQ(contentOf(target_), readByName(archive, name)) << before;
    }
  }
}

TEST_F(UnZIPExtractTest, FileThatTheCallerOpensStaysWholeWhereNothingCanBeWritten) {
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", noise(30000))));
  const auto openTarget = [this] { return open(target_.c_str(), O_WRONLY | O_CLOEXEC); };
  const std::string before(40000, 'x');
  for (const Call call : {Call::kUnzReadCurrentFile, Call::kWrite}) {
    directory_.write("target", before);
    calls.fail(call, 1);

    EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), openTarget));

    EXPECT_EQ(contentOf(target_), before);
  }
}

// What the archive brings counts, even where it is nothing.
TEST_F(UnZIPExtractTest, FileThatTheCallerOpensIsEmptyWhereTheEntryIsDamagedFromItsStart) {
  ZipEntry damaged;
  damaged.name = "a";
  damaged.content = "content";
  damaged.data = "\x07";  // a block of a type that there is not
  UnZIP archive(write(ZipBuilder().entry(damaged)));
  directory_.write("target", "before");

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), [this] {
    const int target = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    errno = EEXIST;  // left by whatever the opener tried first
    return target;
  }));

  EXPECT_TRUE(std::filesystem::is_empty(target_));
}

TEST_F(UnZIPExtractTest, FileThatTheCallerOpensIsCutBehindTheBlocksBeforeAFailure) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));
  const auto openTarget = [this] { return open(target_.c_str(), O_WRONLY | O_CLOEXEC); };
  directory_.write("target", std::string(40000, 'x'));
  calls.fail(Call::kWrite, 3);

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), openTarget));

  EXPECT_EQ(contentOf(target_), content.substr(0, 2 * UnZIP::kBlockSize));
}

TEST_F(UnZIPExtractTest, DamagedEntryLeavesWhatCameBeforeTheDamage) {
  const std::string content = letters(100000);
  const ArchiveCalls calls;
  UnZIP archive(writeDamaged(content));

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_FALSE(calls.isEntryOpen());
  const std::string written = contentOf(target_);
  EXPECT_GT(written.size(), 40000U);
  EXPECT_LT(written.size(), content.size());
  EXPECT_EQ(written.substr(0, 40000), content.substr(0, 40000));
  EXPECT_EQ(readByName(archive, "b"), "whole");
}

// Full and failing disks.

class FullDiskTest : public UnZIPExtractTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(FullDiskTest, IsNoticedForAnEntryOfAnySize) {
  const ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", noise(GetParam()))));

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), "/dev/full"));

  EXPECT_FALSE(calls.isEntryOpen());
}

INSTANTIATE_TEST_SUITE_P(Sizes, FullDiskTest, testing::Values(1, 4096, 8192, 8193, 100000),
                         testing::PrintToStringParamName());

TEST_F(UnZIPExtractTest, FileThatMayNotGrowKeepsWhatWentIn) {
  const std::string content = noise(100000);
  const std::string path = write(ZipBuilder().stored("a", content));

  wzapp_test::runInChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit = {20000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    UnZIP archive(path);

    EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), target_));
    EXPECT_EQ(readByName(archive, "a"), content);
    // What counts a program's lines writes files on the way out.
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  });

  EXPECT_EQ(contentOf(target_), content.substr(0, 20000));
}

TEST_F(UnZIPExtractTest, EveryBlockThatCannotBeWrittenFailsAndLeavesTheBlocksBefore) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));

  for (int block = 1; block <= 4; ++block) {
    calls.fail(Call::kWrite, block);
    EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), target_));
    EXPECT_EQ(contentOf(target_),
              content.substr(0, static_cast<std::size_t>(block - 1) * UnZIP::kBlockSize));
    EXPECT_FALSE(calls.isEntryOpen());
  }

  calls.failNothing();
  const int before = calls.count(Call::kWrite);
  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));
  EXPECT_EQ(contentOf(target_), content);
  EXPECT_EQ(calls.count(Call::kWrite) - before, 4);
}

TEST_F(UnZIPExtractTest, WritesCutShortOrInterruptedGoOn) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));
  calls.limitWrites(1000);
  calls.interruptWrite();

  EXPECT_TRUE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_EQ(contentOf(target_), content);
}

TEST_F(UnZIPExtractTest, ClosingThatFailsIsAFailure) {
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", "content")));
  calls.fail(Call::kClose, 1);

  EXPECT_FALSE(archive.extractToFile(archive.index().find("a"), target_));

  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_EQ(contentOf(target_), "content");
}

}  // namespace
}  // namespace wzapp
