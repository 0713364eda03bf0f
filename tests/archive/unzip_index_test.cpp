// The index: which names it has, in which order, and when there is none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "tests/archive/archive_calls.h"
#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::ArchiveCalls;
using wzapp_test::ArchiveTest;
using wzapp_test::Call;
using wzapp_test::namesOf;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

static_assert(std::has_virtual_destructor_v<UnZIP>);
static_assert(!std::is_copy_constructible_v<UnZIP>);

static_assert(sizeof(EntryRecord::size) == 8 && sizeof(EntryRecord::offset) == 8 &&
              sizeof(EntryRecord::number) == 8);

class UnZIPIndexTest : public ArchiveTest {};

TEST_F(UnZIPIndexTest, NamesAreInAscendingOrderOfTheirOctets) {
  const UnZIP archive(write(ZipBuilder()
                                .file("\xFFz", "")
                                .file("b", "")
                                .file("a/b", "")
                                .file("a.b", "")
                                .file("B", "")
                                .file("\x80", "")
                                .file("\x7F", "")
                                .file("a", "")));

  EXPECT_THAT(namesOf(archive), ElementsAre("B", "a", "a.b", "a/b", "b", "\x7F", "\x80", "\xFFz"));
}

TEST_F(UnZIPIndexTest, BackslashesBecomeSlashes) {
  UnZIP archive(write(ZipBuilder().file("shop\\img\\a.png", "picture").file("\\", "x")));

  EXPECT_THAT(namesOf(archive), ElementsAre("/", "shop/img/a.png"));
  EXPECT_EQ(readByName(archive, "shop/img/a.png"), "picture");
  EXPECT_EQ(readByName(archive, "shop\\img\\a.png"), std::nullopt);
}

TEST_F(UnZIPIndexTest, OfEntriesWithTheSameNameTheLastInTheArchiveCounts) {
  UnZIP archive(write(ZipBuilder()
                          .file("same", "first")
                          .file("other", "other")
                          .stored("same", "second")
                          .file("a/b", "slash")
                          .file("a\\b", "backslash")
                          .file("c\\d", "backslash")
                          .file("c/d", "slash")));

  EXPECT_THAT(namesOf(archive), ElementsAre("a/b", "c/d", "other", "same"));
  EXPECT_EQ(readByName(archive, "same"), "second");
  EXPECT_EQ(readByName(archive, "a/b"), "backslash");
  EXPECT_EQ(readByName(archive, "c/d"), "slash");
}

TEST_F(UnZIPIndexTest, DirectoriesAreEntriesLikeAnyOther) {
  UnZIP archive(write(ZipBuilder().directory("shop").file("shop/a", "1").directory("empty/")));

  EXPECT_THAT(namesOf(archive), ElementsAre("empty/", "shop/", "shop/a"));
  EXPECT_EQ(readByName(archive, "shop/"), "");
}

TEST_F(UnZIPIndexTest, NameEndsAtItsFirstNul) {
  UnZIP archive(write(ZipBuilder()
                          .file("a.txt\0.exe"s, "cut")
                          .file("\0hidden"s, "nothing left")
                          .file("b"s, "first")
                          .file("b\0"s, "second")));

  EXPECT_THAT(namesOf(archive), ElementsAre("", "a.txt", "b"));
  EXPECT_EQ(readByName(archive, "a.txt"), "cut");
  EXPECT_EQ(readByName(archive, ""), "nothing left");
  EXPECT_EQ(readByName(archive, "b"), "second");
}

TEST_F(UnZIPIndexTest, OtherOctetsOfANameAreKept) {
  const std::vector<std::string> names = {"",          "\x01\n\x1B[31m", "../../etc/passwd",
                                          "/absolute", "C:/x",           "C:relative",
                                          "a//b",      "\xC3\xA4",       "%s%n"};
  ZipBuilder builder;
  for (const std::string& name : names) builder.file(name, "content of " + name);

  UnZIP archive(write(builder));

  EXPECT_THAT(namesOf(archive), testing::UnorderedElementsAreArray(names));
  for (const std::string& name : names) EXPECT_EQ(readByName(archive, name), "content of " + name);
}

struct NameLengthCase {
  std::size_t length;
  bool isReadable;
};

class NameLengthTest : public ArchiveTest, public testing::WithParamInterface<NameLengthCase> {};

TEST_P(NameLengthTest, DecidesOverTheWholeArchive) {
  const std::string name(GetParam().length, 'n');

  UnZIP archive(write(ZipBuilder().file("first", "1").file(name, "long").file("last", "2")));

  if (!GetParam().isReadable) {
    EXPECT_THAT(archive.index(), IsEmpty());
    return;
  }
  EXPECT_EQ(archive.index().size(), 3U);
  EXPECT_EQ(readByName(archive, name), "long");
}

// A NUL does not make a name shorter than it is.
TEST_F(UnZIPIndexTest, LongNameWithAnEarlyNulIsUnreadableToo) {
  const UnZIP archive(write(ZipBuilder().file("a\0"s + std::string(300, 'n'), "")));

  EXPECT_THAT(archive.index(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Lengths, NameLengthTest,
                         testing::Values(NameLengthCase{1, true}, NameLengthCase{254, true},
                                         NameLengthCase{255, true}, NameLengthCase{256, false},
                                         NameLengthCase{257, false}, NameLengthCase{65535, false}),
                         [](const auto& test) { return std::to_string(test.param.length); });

TEST_F(UnZIPIndexTest, CommentsExtraFieldsAndOctetsInFrontDoNotMatter) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = "content";
  entry.comment = std::string(65535, 'c');
  entry.extra = "\xFE\xCA\x04\x00"s + "data";

  UnZIP archive(write(ZipBuilder()
                          .prefix("#!/bin/sh\nexit 1\n")
                          .comment(std::string(1000, 'x'))
                          .entry(entry)
                          .file("b", "more")));

  EXPECT_THAT(namesOf(archive), ElementsAre("a", "b"));
  EXPECT_EQ(readByName(archive, "a"), "content");
  EXPECT_EQ(readByName(archive, "b"), "more");
}

TEST_F(UnZIPIndexTest, NameOfTheDirectoryCountsAndNotThatOfTheLocalHeader) {
  ZipEntry entry;
  entry.name = "listed";
  entry.localName = "hidden";
  entry.content = "content";

  UnZIP archive(write(ZipBuilder().entry(entry)));

  EXPECT_THAT(namesOf(archive), ElementsAre("listed"));
  EXPECT_EQ(readByName(archive, "listed"), "content");
}

ZipBuilder threeFiles() { return ZipBuilder().file("a", "1").file("b", "2").file("c", "3"); }

TEST_F(UnZIPIndexTest, Zip64DirectoryIsRead) {
  UnZIP archive(write(threeFiles().zip64Directory()));

  EXPECT_THAT(namesOf(archive), ElementsAre("a", "b", "c"));
  EXPECT_EQ(readByName(archive, "c"), "3");
}

TEST_F(UnZIPIndexTest, OnlyTheStatedNumberOfEntriesIsListed) {
  const UnZIP archive(write(threeFiles().statedEntries(2)));
  EXPECT_THAT(namesOf(archive), ElementsAre("a", "b"));

  const UnZIP none(write(threeFiles().statedEntries(0)));
  EXPECT_THAT(none.index(), IsEmpty());
}

TEST_F(UnZIPIndexTest, MoreEntriesStatedThanThereAreMakesTheArchiveUnreadable) {
  for (const std::uint64_t count : {4U, 5U, 1000U, 65534U, 65535U}) {
    const UnZIP archive(write(threeFiles().statedEntries(count)));
    EXPECT_THAT(archive.index(), IsEmpty()) << count;
  }
}

TEST_F(UnZIPIndexTest, HugeStatedNumberOfEntriesCostsNothing) {
  const std::string path =
      write(threeFiles().zip64Directory().statedEntries(9295429630892703745ULL));
  const ArchiveCalls calls;

  const UnZIP archive(path);

  EXPECT_THAT(archive.index(), IsEmpty());
  EXPECT_LE(calls.count(Call::kUnzGetCurrentFileInfo), 4);
}

struct LyingDirectory {
  const char* name;
  ZipBuilder archive;
};

class LyingDirectoryTest : public ArchiveTest,
                           public testing::WithParamInterface<LyingDirectory> {};

TEST_P(LyingDirectoryTest, MakesTheArchiveUnreadable) {
  const UnZIP archive(write(GetParam().archive));

  EXPECT_THAT(archive.index(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Lies, LyingDirectoryTest,
    testing::Values(LyingDirectory{"SizeTooLarge", threeFiles().statedDirectorySize(10000)},
                    LyingDirectory{"SizeTooSmall", threeFiles().statedDirectorySize(100)},
                    LyingDirectory{"SizeHuge", threeFiles().statedDirectorySize(0xFFFFFFF0)},
                    LyingDirectory{"OffsetTooLarge", threeFiles().statedDirectoryOffset(10000)},
                    LyingDirectory{"OffsetHuge", threeFiles().statedDirectoryOffset(0xFFFFFFF0)},
                    LyingDirectory{
                        "Zip64SizeWraps",
                        threeFiles().zip64Directory().statedDirectorySize(0xFFFFFFFFFFFFFFF0)}),
    [](const auto& test) { return test.param.name; });

// A smaller offset than the true one means octets in front of the archive, and one that wraps is
// such an offset: the names are there, but nothing where their content should be.
TEST_F(UnZIPIndexTest, DirectoryThatIsMovedIsListedWithoutContent) {
  for (const ZipBuilder& builder :
       {threeFiles().statedDirectoryOffset(0),
        threeFiles().zip64Directory().statedDirectoryOffset(0xFFFFFFFFFFFFFFF0)}) {
    UnZIP archive(write(builder));
    EXPECT_THAT(namesOf(archive), ElementsAre("a", "b", "c"));
    for (const char* name : {"a", "b", "c"}) EXPECT_EQ(readByName(archive, name), std::nullopt);
  }
}

TEST_F(UnZIPIndexTest, TenThousandEntriesCostOneVisitEach) {
  constexpr int kCount = 10000;
  ZipBuilder builder;
  for (int i = 0; i < kCount; ++i) builder.stored("package" + std::to_string(i) + ".zip", "p");
  const std::string path = write(builder);
  const ArchiveCalls calls;

  UnZIP archive(path);

  EXPECT_EQ(archive.index().size(), std::size_t{kCount});
  EXPECT_EQ(calls.count(Call::kUnzGetCurrentFileInfo), kCount);
  EXPECT_EQ(calls.count(Call::kUnzGetFilePos), kCount);
  EXPECT_EQ(calls.count(Call::kUnzGoToNextFile), kCount - 1);
  EXPECT_EQ(readByName(archive, "package9999.zip"), "p");
}

TEST_F(UnZIPIndexTest, NamesThatTakeMoreMemoryThanMayBeMakeTheArchiveUnreadable) {
  const auto archiveOf = [this](std::size_t count) {
    ZipBuilder builder;
    for (std::size_t i = 0; i < count; ++i) {
      builder.stored(std::string(245, 'n') + std::to_string(10000 + i), "");
    }
    return write(builder);
  };
  // Of each entry its name, and less than 160 octets besides.
  constexpr std::size_t kFitting = UnZIP::kMaxIndexSize / (250 + 160);

  EXPECT_EQ(UnZIP(archiveOf(kFitting)).index().size(), kFitting);
  EXPECT_THAT(UnZIP(archiveOf(UnZIP::kMaxIndexSize / 250)).index(), IsEmpty());
}

TEST_F(UnZIPIndexTest, MayTakeTheLastOctetOfItsMemory) {
  constexpr std::size_t kNode = sizeof(UnZIP::Index::value_type) + 4 * sizeof(void*);
  // The longest names, of a multiple of 8 octets with the zero behind them, that fill it.
  std::size_t name = UnZIP::kNameLimit - 8;
  while (UnZIP::kMaxIndexSize % (kNode + name) != 0) name -= 8;
  const std::size_t count = UnZIP::kMaxIndexSize / (kNode + name);
  const auto archiveOf = [&](std::size_t entries) {
    ZipBuilder builder;
    for (std::size_t i = 0; i < entries; ++i) {
      builder.stored(std::string(name - 1 - 5, 'n') + std::to_string(10000 + i), "");
    }
    return write(builder);
  };

  EXPECT_EQ(UnZIP(archiveOf(count)).index().size(), count);
  EXPECT_THAT(UnZIP(archiveOf(count + 1)).index(), IsEmpty());
}

// The same name again and again takes no memory.
TEST_F(UnZIPIndexTest, OneNameManyTimesIsOneEntry) {
  ZipBuilder builder;
  for (int i = 0; i < 60000; ++i) builder.stored(std::string(250, 'n'), "");

  EXPECT_EQ(UnZIP(write(builder)).index().size(), 1U);
}

// minizip takes the mark that stands for one to be a size itself where a long has 64 bits.
TEST_F(UnZIPIndexTest, SizesOf64BitsAreNeverCutTo32) {
  ZipEntry entry;
  entry.name = "a";
  entry.content = "12345";
  entry.size = 0xFFFFFFFF;
  entry.extra = "\x01\x00\x08\x00\x05\x00\x00\x00\x01\x00\x00\x00"s;  // 2^32 + 5
  UnZIP archive(write(ZipBuilder().entry(entry)));

  ASSERT_THAT(namesOf(archive), ElementsAre("a"));
  EXPECT_GE(archive.index().begin()->second.size, 0xFFFFFFFFU);
  EXPECT_EQ(readByName(archive, "a"), std::nullopt);
}

TEST_F(UnZIPIndexTest, SeventyThousandEntriesAreListedByTheZip64Directory) {
  constexpr int kCount = 70000;
  ZipBuilder builder;
  builder.zip64Directory();
  for (int i = 0; i < kCount; ++i) builder.stored(std::to_string(i), "");

  const UnZIP archive(write(builder));

  EXPECT_EQ(archive.index().size(), std::size_t{kCount});
}

}  // namespace
}  // namespace wzapp
