// Each call that the reader makes fails in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/archive/archive_calls.h"
#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::ArchiveCalls;
using wzapp_test::ArchiveTest;
using wzapp_test::Call;
using wzapp_test::contentOf;
using wzapp_test::digestByName;
using wzapp_test::noise;
using wzapp_test::opensslDigests;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;

struct OpeningFault {
  const char* name;
  Call call;
  int number;
};

class OpeningFaultTest : public ArchiveTest, public testing::WithParamInterface<OpeningFault> {};

TEST_P(OpeningFaultTest, LeavesNothingOpenAndNothingInTheIndex) {
  const std::string path = write(ZipBuilder().file("a", "1").file("b", "2").file("c", "3"));
  ArchiveCalls calls;
  calls.fail(GetParam().call, GetParam().number);

  UnZIP archive(path);

  EXPECT_GE(calls.count(GetParam().call), GetParam().number);
  EXPECT_THAT(archive.index(), IsEmpty());
  EXPECT_EQ(calls.openArchives(), 0);
  EXPECT_EQ(readByName(archive, "a"), std::nullopt);
  EXPECT_EQ(digestByName(archive, "a"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, OpeningFaultTest,
    testing::Values(OpeningFault{"Open", Call::kOpen, 1}, OpeningFault{"Stat", Call::kFstat, 1},
                    OpeningFault{"Descriptor", Call::kFcntl, 1},
                    OpeningFault{"Archive", Call::kUnzOpen, 1},
                    OpeningFault{"GlobalInfo", Call::kUnzGetGlobalInfo, 1},
                    OpeningFault{"FirstInfo", Call::kUnzGetCurrentFileInfo, 1},
                    OpeningFault{"SecondInfo", Call::kUnzGetCurrentFileInfo, 2},
                    OpeningFault{"LastInfo", Call::kUnzGetCurrentFileInfo, 3},
                    OpeningFault{"FirstPosition", Call::kUnzGetFilePos, 1},
                    OpeningFault{"LastPosition", Call::kUnzGetFilePos, 3},
                    OpeningFault{"SecondEntry", Call::kUnzGoToNextFile, 1},
                    OpeningFault{"LastEntry", Call::kUnzGoToNextFile, 2}),
    [](const auto& test) { return test.param.name; });

class UnZIPFaultTest : public ArchiveTest {
 protected:
  void SetUp() override {
    ArchiveTest::SetUp();
    sha1_.fill(7);
    sha256_.fill(7);
  }

  const std::string target_ = directory_ / "target";
  std::array<std::uint8_t, kSha1Size> sha1_;
  std::array<std::uint8_t, kSha256Size> sha256_;
};

TEST_F(UnZIPFaultTest, ArchiveWithOneEntryIsNotAskedForANext) {
  const std::string path = write(ZipBuilder().file("a", "1"));
  const ArchiveCalls calls;

  const UnZIP archive(path);

  EXPECT_EQ(archive.index().size(), 1U);
  EXPECT_EQ(calls.count(Call::kUnzGoToNextFile), 0);
}

TEST_F(UnZIPFaultTest, CommonStartThatFailsLeavesEverythingAsItWas) {
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().file("a", "content")));
  const UnZIP::Entry entry = archive.index().begin();
  std::vector<std::uint8_t> content = {1, 2, 3};
  directory_.write("target", "before");

  for (const Call call : {Call::kUnzGoToFilePos, Call::kUnzOpenCurrentFile}) {
    calls.fail(call, 1);
    EXPECT_FALSE(archive.extractToFile(entry, target_));
    calls.fail(call, 1);
    EXPECT_FALSE(archive.digestEntry(entry, sha1_, sha256_));
    calls.fail(call, 1);
    EXPECT_FALSE(archive.readEntry(entry, content));
    calls.fail(call, 1);
    EXPECT_EQ(archive.readBlocks(entry, [](ByteView) { return true; }), ReadEnd::kNotOpened);
  }
  calls.fail(Call::kUnzGetCurrentFileInfo, 1);
  EXPECT_FALSE(archive.readEntry(entry, content));

  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_EQ(calls.count(Call::kUnzReadCurrentFile), 0);
  EXPECT_EQ(contentOf(target_), "before");
  EXPECT_THAT(sha1_, Each(7));
  EXPECT_THAT(sha256_, Each(7));
  EXPECT_THAT(content, ElementsAre(1, 2, 3));
  EXPECT_EQ(readByName(archive, "a"), "content");
}

TEST_F(UnZIPFaultTest, OnlyReadingWholeAsksForTheSize) {
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().file("a", "content")));
  const int before = calls.count(Call::kUnzGetCurrentFileInfo);

  EXPECT_TRUE(archive.extractToFile(archive.index().begin(), target_));
  EXPECT_TRUE(archive.digestEntry(archive.index().begin(), sha1_, sha256_));
  EXPECT_EQ(calls.count(Call::kUnzGetCurrentFileInfo), before);

  EXPECT_EQ(readByName(archive, "a"), "content");
  EXPECT_EQ(calls.count(Call::kUnzGetCurrentFileInfo), before + 1);
}

TEST_F(UnZIPFaultTest, ReadErrorZeroesTheDigests) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));

  for (int number = 1; number <= 5; ++number) {
    sha1_.fill(7);
    sha256_.fill(7);
    calls.fail(Call::kUnzReadCurrentFile, number);
    EXPECT_FALSE(archive.digestEntry(archive.index().begin(), sha1_, sha256_));
    EXPECT_THAT(sha1_, Each(0));
    EXPECT_THAT(sha256_, Each(0));
  }
  calls.failNothing();
  EXPECT_EQ(digestByName(archive, "a"), opensslDigests(content));
}

TEST_F(UnZIPFaultTest, ReadErrorLeavesThePartlyWrittenFile) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));

  for (int number = 1; number <= 5; ++number) {
    calls.fail(Call::kUnzReadCurrentFile, number);
    EXPECT_FALSE(archive.extractToFile(archive.index().begin(), target_));
    EXPECT_EQ(contentOf(target_),
              content.substr(0, static_cast<std::size_t>(number - 1) * UnZIP::kBlockSize));
    EXPECT_FALSE(calls.isEntryOpen());
  }
}

TEST_F(UnZIPFaultTest, ReadErrorLeavesWhatCouldBeReadInTheVector) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));
  std::vector<std::uint8_t> read(50000, 7);

  for (int number = 1; number <= 4; ++number) {
    calls.fail(Call::kUnzReadCurrentFile, number);
    EXPECT_FALSE(archive.readEntry(archive.index().begin(), read));
    EXPECT_EQ(std::string(read.begin(), read.end()),
              content.substr(0, static_cast<std::size_t>(number - 1) * UnZIP::kBlockSize));
    EXPECT_FALSE(calls.isEntryOpen());
  }
}

TEST_F(UnZIPFaultTest, NothingIsReadBehindTheStatedSize) {
  const std::string content = noise(30000);
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().stored("a", content)));
  calls.fail(Call::kUnzReadCurrentFile, 5);

  EXPECT_EQ(readByName(archive, "a"), content);
  EXPECT_EQ(calls.count(Call::kUnzReadCurrentFile), 4);
  EXPECT_EQ(calls.lastReadSize(), 30000 - 3 * UnZIP::kBlockSize);
}

TEST_F(UnZIPFaultTest, ResultOfClosingAnEntryIsIgnored) {
  ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().file("a", "content")));

  calls.fail(Call::kUnzCloseCurrentFile, 1);
  EXPECT_EQ(readByName(archive, "a"), "content");
  calls.fail(Call::kUnzCloseCurrentFile, 1);
  EXPECT_TRUE(archive.extractToFile(archive.index().begin(), target_));
}

TEST_F(UnZIPFaultTest, IndexThatDoesNotFitIntoMemoryIsAnUnreadableArchive) {
  ZipBuilder builder;
  constexpr std::size_t kCount = 300;
  for (std::size_t i = 0; i < kCount; ++i) {
    builder.stored(std::string(200, 'n') + std::to_string(i), "");
  }
  const std::string path = write(builder);

  int failures = 0;
  for (int number = 1;; ++number) {
    ArchiveCalls calls;
    calls.fail(Call::kNew, number);
    const UnZIP archive(path);
    calls.failNothing();
    if (calls.count(Call::kNew) < number) {
      EXPECT_EQ(archive.index().size(), kCount);
      break;
    }
    ++failures;
    EXPECT_THAT(archive.index(), IsEmpty());
    EXPECT_EQ(calls.openArchives(), 0);
  }
  EXPECT_GE(failures, 5);
}

TEST_F(UnZIPFaultTest, ContentThatDoesNotFitIntoMemoryIsNotRead) {
  const std::string content = noise(100000);
  UnZIP archive(write(ZipBuilder().stored("a", content)));

  int failures = 0;
  for (int number = 1;; ++number) {
    ArchiveCalls calls;
    std::vector<std::uint8_t> read;
    calls.fail(Call::kNew, number);
    const bool isRead = archive.readEntry(archive.index().begin(), read);
    calls.failNothing();
    if (calls.count(Call::kNew) < number) {
      EXPECT_TRUE(isRead);
      EXPECT_EQ(std::string(read.begin(), read.end()), content);
      break;
    }
    ++failures;
    EXPECT_FALSE(isRead);
    EXPECT_FALSE(calls.isEntryOpen());
  }
  EXPECT_GE(failures, 2);
}

// The others keep one block, and take no memory of their own.
TEST_F(UnZIPFaultTest, DigestingAndExtractingTakeNothingFromTheHeap) {
  UnZIP archive(write(ZipBuilder().stored("a", noise(100000))));
  const ArchiveCalls calls;

  EXPECT_TRUE(archive.digestEntry(archive.index().begin(), sha1_, sha256_));
  EXPECT_TRUE(archive.extractToFile(archive.index().begin(), target_));

  EXPECT_EQ(calls.count(Call::kNew), 0);
}

}  // namespace
}  // namespace wzapp
