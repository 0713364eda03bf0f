// Reading entries: into memory, into digests, and in blocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/file_system.h"
#include "tests/archive/archive_calls.h"
#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;
using wzapp_test::ArchiveCalls;
using wzapp_test::ArchiveTest;
using wzapp_test::Call;
using wzapp_test::digestByName;
using wzapp_test::DigestTexts;
using wzapp_test::letters;
using wzapp_test::MemoryFile;
using wzapp_test::noise;
using wzapp_test::opensslDigests;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

class UnZIPEntryTest : public ArchiveTest {};

// Both digests of an entry, in buffers that held something before.
struct Digests {
  Digests() {
    sha1.fill(7);
    sha256.fill(7);
  }
  std::array<std::uint8_t, kSha1Size> sha1;
  std::array<std::uint8_t, kSha256Size> sha256;
};

// Everything that readBlocks() hands out.
struct Blocks {
  ReadEnd end;
  std::string content;
  std::size_t largest = 0;
  bool hasEmpty = false;
};

Blocks blocksOf(UnZIP& archive, const std::string& name) {
  Blocks blocks;
  blocks.end = archive.readBlocks(archive.index().find(name), [&blocks](ByteView block) {
    blocks.content.append(block.begin(), block.end());
    blocks.largest = std::max(blocks.largest, block.size());
    blocks.hasEmpty = blocks.hasEmpty || block.empty();
    return true;
  });
  return blocks;
}

struct ContentCase {
  const char* name;
  bool isDeflated;
  bool hasDataDescriptor;
  std::size_t size;
};

class EntryContentTest : public ArchiveTest, public testing::WithParamInterface<ContentCase> {};

TEST_P(EntryContentTest, IsTheSameForEveryOperation) {
  ZipEntry entry;
  entry.name = "entry";
  entry.content = noise(GetParam().size / 2);
  entry.content.resize(GetParam().size, 'x');
  entry.isDeflated = GetParam().isDeflated;
  entry.hasDataDescriptor = GetParam().hasDataDescriptor;
  UnZIP archive(write(ZipBuilder().file("before", "1").entry(entry).file("next", "2")));
  const MemoryFile target;

  EXPECT_EQ(digestByName(archive, "entry"), opensslDigests(entry.content));
  EXPECT_EQ(readByName(archive, "entry"), entry.content);
  const Blocks blocks = blocksOf(archive, "entry");
  EXPECT_TRUE(archive.extractToFile(archive.index().find("entry"), target.opener()));

  EXPECT_EQ(blocks.end, ReadEnd::kComplete);
  EXPECT_EQ(blocks.content, entry.content);
  EXPECT_LE(blocks.largest, UnZIP::kBlockSize);
  EXPECT_FALSE(blocks.hasEmpty);
  EXPECT_EQ(target.content(), entry.content);
}

std::vector<ContentCase> contentCases() {
  std::vector<ContentCase> cases;
  constexpr std::size_t kSizes[] = {0, 1, 8191, 8192, 8193, 16383, 16384, 16385, 24576, 300000};
  for (const std::size_t size : kSizes) {
    cases.push_back({"Stored", false, false, size});
    cases.push_back({"Deflated", true, false, size});
    cases.push_back({"DescribedBehindIt", true, true, size});
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Sizes, EntryContentTest, testing::ValuesIn(contentCases()),
                         [](const auto& test) {
                           return test.param.name + std::to_string(test.param.size);
                         });

TEST_F(UnZIPEntryTest, EmptyEntryHasTheDigestsOfTheEmptyInput) {
  UnZIP archive(write(ZipBuilder().stored("empty", "")));

  EXPECT_EQ(digestByName(archive, "empty"),
            (DigestTexts{"da39a3ee5e6b4b0d3255bfef95601890afd80709",
                         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"}));
}

TEST_F(UnZIPEntryTest, ReadingAnEmptyEntryEmptiesTheVector) {
  UnZIP archive(write(ZipBuilder().stored("empty", "")));
  std::vector<std::uint8_t> content = {1, 2, 3};

  EXPECT_TRUE(archive.readEntry(archive.index().find("empty"), content));

  EXPECT_THAT(content, SizeIs(0));
}

TEST_F(UnZIPEntryTest, ReadingReplacesWhatALongerVectorHeld) {
  UnZIP archive(write(ZipBuilder().file("short", "ab")));
  std::vector<std::uint8_t> content(1000, 7);

  EXPECT_TRUE(archive.readEntry(archive.index().find("short"), content));

  EXPECT_THAT(content, ElementsAre('a', 'b'));
}

TEST_F(UnZIPEntryTest, NoOperationDependsOnWhereAnotherLeftTheArchive) {
  const std::string a = noise(50000);
  const std::string b(50000, 'b');
  UnZIP archive(write(ZipBuilder().stored("a", a).file("b", b).directory("c")));
  const auto stop = [](ByteView) { return false; };

  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(digestByName(archive, "a"), opensslDigests(a));
    EXPECT_EQ(readByName(archive, "b"), b);
    EXPECT_EQ(digestByName(archive, "b"), opensslDigests(b));
    EXPECT_EQ(archive.readBlocks(archive.index().find("a"), stop), ReadEnd::kStopped);
    EXPECT_EQ(readByName(archive, "c/"), "");
    EXPECT_EQ(readByName(archive, "a"), a);
  }
}

TEST_F(UnZIPEntryTest, DigestingAndReadingInBlocksLeaveTheEntryOpenAndReadingWholeClosesIt) {
  const ArchiveCalls calls;
  UnZIP archive(write(ZipBuilder().file("a", "content")));

  EXPECT_TRUE(digestByName(archive, "a"));
  EXPECT_TRUE(calls.isEntryOpen());
  EXPECT_TRUE(readByName(archive, "a"));
  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_EQ(blocksOf(archive, "a").end, ReadEnd::kComplete);
  EXPECT_TRUE(calls.isEntryOpen());
}

TEST_F(UnZIPEntryTest, EntryLeftOpenIsClosedWithTheArchive) {
  const std::string path = write(ZipBuilder().file("a", "content"));
  const ArchiveCalls calls;

  {
    UnZIP archive(path);
    EXPECT_TRUE(digestByName(archive, "a"));
  }

  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_EQ(calls.openArchives(), 0);
}

TEST_F(UnZIPEntryTest, SinkThatWantsNoMoreIsNotCalledAgain) {
  UnZIP archive(write(ZipBuilder().stored("a", noise(50000))));
  int count = 0;

  const ReadEnd end = archive.readBlocks(archive.index().find("a"), [&count](ByteView) {
    ++count;
    return count < 3;
  });

  EXPECT_EQ(end, ReadEnd::kStopped);
  EXPECT_EQ(count, 3);
}

TEST_F(UnZIPEntryTest, DigestingEndsWhereNoMoreBlocksAreWanted) {
  UnZIP archive(write(ZipBuilder().file("a", noise(100000))));
  Digests digests;
  digests.sha1.fill(7);
  int blocks = 0;

  EXPECT_FALSE(archive.digestEntry(archive.index().find("a"), digests.sha1, digests.sha256,
                                   [&blocks](ByteView) { return ++blocks < 3; }));

  EXPECT_EQ(blocks, 3);
  EXPECT_THAT(digests.sha1, testing::Each(0));
}

TEST_F(UnZIPEntryTest, DigestedBlocksAreHandedOnInTheSamePass) {
  const std::string content = noise(100000);
  UnZIP archive(write(ZipBuilder().file("a", content)));
  const ArchiveCalls calls;
  Digests digests;
  std::string copy;

  const bool isDigested = archive.digestEntry(archive.index().find("a"), digests.sha1,
                                              digests.sha256, [&copy](ByteView block) {
                                                copy.append(block.begin(), block.end());
                                                return true;
                                              });

  EXPECT_TRUE(isDigested);
  EXPECT_EQ(copy, content);
  EXPECT_EQ(wzapp_test::hexText(digests.sha1), opensslDigests(content).sha1);
  EXPECT_EQ(wzapp_test::hexText(digests.sha256), opensslDigests(content).sha256);
  EXPECT_EQ(calls.count(Call::kUnzOpenCurrentFile), 1);
}

// Sizes that the archive states and that are not true.

std::string archiveWithStatedSize(const std::string& content, bool isDeflated, std::uint32_t size) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = content;
  entry.isDeflated = isDeflated;
  entry.size = size;
  return ZipBuilder().entry(entry).file("b", noise(20000)).build();
}

class StatedSizeTest : public ArchiveTest, public testing::WithParamInterface<bool> {};

TEST_P(StatedSizeTest, LongerEntryIsCut) {
  const MemoryFile file(archiveWithStatedSize("0123456789", GetParam(), 4));
  UnZIP archive(file.descriptor());

  EXPECT_EQ(readByName(archive, "a"), "0123");
  EXPECT_EQ(digestByName(archive, "a"), opensslDigests("0123"));
}

TEST_P(StatedSizeTest, NothingIsReadOfAnEntryStatedToBeEmpty) {
  const MemoryFile file(archiveWithStatedSize("0123456789", GetParam(), 0));
  UnZIP archive(file.descriptor());

  EXPECT_EQ(readByName(archive, "a"), "");
}

TEST_P(StatedSizeTest, ShorterEntryIsNotReadWholeAndLeavesWhatThereWas) {
  const MemoryFile file(archiveWithStatedSize("0123456789", GetParam(), 11));
  const ArchiveCalls calls;
  UnZIP archive(file.descriptor());
  std::vector<std::uint8_t> content(1000, 7);

  EXPECT_FALSE(archive.readEntry(archive.index().find("a"), content));

  EXPECT_EQ(std::string(content.begin(), content.end()), "0123456789");
  EXPECT_FALSE(calls.isEntryOpen());
  EXPECT_EQ(digestByName(archive, "a"), opensslDigests("0123456789"));
}

TEST_P(StatedSizeTest, SixteenMebibytesOverAFewOctetsCostAFewOctets) {
  const MemoryFile file(archiveWithStatedSize("0123456789", GetParam(), kMaxFileSize));
  UnZIP archive(file.descriptor());
  std::vector<std::uint8_t> content;

  EXPECT_FALSE(archive.readEntry(archive.index().find("a"), content));

  EXPECT_LT(content.capacity(), 100U);
}

TEST_P(StatedSizeTest, GigabytesAreNotTriedToBeRead) {
  for (const std::uint32_t size : {std::uint32_t{kMaxFileSize + 1}, 0xFFFFFFF0U}) {
    const MemoryFile file(archiveWithStatedSize("0123456789", GetParam(), size));
    const ArchiveCalls calls;
    UnZIP archive(file.descriptor());
    std::vector<std::uint8_t> content = {1, 2, 3};

    EXPECT_FALSE(archive.readEntry(archive.index().find("a"), content));

    EXPECT_THAT(content, ElementsAre(1, 2, 3));
    EXPECT_EQ(calls.count(Call::kUnzReadCurrentFile), 0);
    EXPECT_EQ(digestByName(archive, "a"), opensslDigests("0123456789"));
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, StatedSizeTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Deflated" : "Stored"; });

TEST_F(UnZIPEntryTest, SixteenMebibytesAreReadAndOneOctetMoreIsNot) {
  const std::string most(kMaxFileSize, 'm');
  UnZIP archive(write(ZipBuilder().file("most", most).file("more", most + 'm')));

  EXPECT_TRUE(readByName(archive, "most") == most);
  EXPECT_EQ(readByName(archive, "more"), std::nullopt);
  EXPECT_EQ(digestByName(archive, "more"), opensslDigests(most + 'm'));
}

TEST_F(UnZIPEntryTest, WrongCrcIsNotLookedAt) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = "content";
  entry.crc = 0x12345678;
  UnZIP archive(write(ZipBuilder().entry(entry)));

  EXPECT_EQ(digestByName(archive, "a"), opensslDigests("content"));
  EXPECT_EQ(readByName(archive, "a"), "content");
  EXPECT_EQ(blocksOf(archive, "a").end, ReadEnd::kComplete);
}

TEST_F(UnZIPEntryTest, DamagedDataZeroesTheDigestsAndLeavesTheArchiveUsable) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = letters(100000);
  entry.data = wzapp_test::deflated(entry.content).substr(0, 30000) + std::string(3000, '\xFF');
  UnZIP archive(write(ZipBuilder().entry(entry).file("b", "whole")));
  Digests digests;
  std::vector<std::uint8_t> content(100000, 7);

  EXPECT_FALSE(archive.digestEntry(archive.index().find("a"), digests.sha1, digests.sha256));
  EXPECT_FALSE(archive.readEntry(archive.index().find("a"), content));
  const Blocks blocks = blocksOf(archive, "a");

  EXPECT_THAT(digests.sha1, Each(0));
  EXPECT_THAT(digests.sha256, Each(0));
  EXPECT_EQ(blocks.end, ReadEnd::kUnreadable);
  EXPECT_LT(content.size(), entry.content.size());
  ASSERT_GT(content.size(), 40000U);
  EXPECT_TRUE(std::equal(content.begin(), content.begin() + 40000, entry.content.begin()));
  EXPECT_EQ(blocks.content.substr(0, 40000), entry.content.substr(0, 40000));
  EXPECT_EQ(readByName(archive, "b"), "whole");
}

TEST_F(UnZIPEntryTest, EntryThatCannotBeOpenedLeavesTheOutputsAlone) {
  ZipEntry unknownMethod;
  unknownMethod.name = "method";
  unknownMethod.content = "content";
  unknownMethod.method = 99;
  ZipEntry otherHeader;
  otherHeader.name = "header";
  otherHeader.localName = "other length";
  otherHeader.content = "content";
  UnZIP archive(write(ZipBuilder().entry(unknownMethod).entry(otherHeader).file("b", "whole")));

  for (const char* name : {"method", "header"}) {
    SCOPED_TRACE(name);
    const UnZIP::Entry entry = archive.index().find(name);
    ASSERT_NE(entry, archive.index().end());
    Digests digests;
    std::vector<std::uint8_t> content = {1, 2, 3};

    EXPECT_FALSE(archive.digestEntry(entry, digests.sha1, digests.sha256));
    EXPECT_FALSE(archive.readEntry(entry, content));
    EXPECT_EQ(blocksOf(archive, name).end, ReadEnd::kNotOpened);

    EXPECT_THAT(digests.sha1, Each(7));
    EXPECT_THAT(digests.sha256, Each(7));
    EXPECT_THAT(content, ElementsAre(1, 2, 3));
  }
  EXPECT_EQ(readByName(archive, "b"), "whole");
}

// Where minizip does not read the sizes from the extra field, the entry is unreadable; it must not
// be read wrongly.
TEST_F(UnZIPEntryTest, EntryWithZip64SizesIsReadRightOrNotAtAll) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = noise(5000);
  entry.hasZip64Sizes = true;
  UnZIP archive(write(ZipBuilder().entry(entry).zip64Directory()));

  ASSERT_EQ(archive.index().size(), 1U);
  EXPECT_EQ(readByName(archive, "a").value_or(entry.content), entry.content);
  EXPECT_EQ(digestByName(archive, "a").value_or(opensslDigests(entry.content)),
            opensslDigests(entry.content));
}

TEST_F(UnZIPEntryTest, ManyEntriesMayShowTheSameOctets) {
  constexpr int kCount = 500;
  const std::string content(100000, 'x');
  ZipBuilder builder;
  for (int i = 0; i < kCount; ++i) {
    ZipEntry entry;
    entry.name = "copy" + std::to_string(100 + i);
    entry.localName = "copy100";
    entry.content = content;
    if (i > 0) entry.sharesDataOf = 0;
    builder.entry(entry);
  }
  UnZIP archive(write(builder));

  ASSERT_THAT(archive.index(), SizeIs(kCount));
  EXPECT_EQ(digestByName(archive, "copy100"), opensslDigests(content));
  EXPECT_EQ(digestByName(archive, "copy599"), opensslDigests(content));
}

TEST_F(UnZIPEntryTest, FileCutShortMeanwhileIsUnreadable) {
  const std::string content = noise(200000);
  const std::string path = write(ZipBuilder().stored("a", content).stored("b", "behind it"));
  UnZIP archive(path);
  ASSERT_THAT(archive.index(), SizeIs(2));
  ASSERT_EQ(truncate(path.c_str(), 100000), 0);
  Digests digests;
  std::vector<std::uint8_t> read;

  EXPECT_FALSE(archive.readEntry(archive.index().find("a"), read));
  EXPECT_TRUE(content.starts_with(std::string(read.begin(), read.end())));
  EXPECT_THAT(read, testing::Not(testing::IsEmpty()));

  EXPECT_FALSE(archive.digestEntry(archive.index().find("b"), digests.sha1, digests.sha256));
  EXPECT_THAT(digests.sha1, Each(7));
  EXPECT_FALSE(archive.digestEntry(archive.index().find("a"), digests.sha1, digests.sha256));
  EXPECT_FALSE(archive.readEntry(archive.index().find("b"), read));
}

}  // namespace
}  // namespace wzapp
