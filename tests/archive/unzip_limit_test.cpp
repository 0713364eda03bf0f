// Archives that hand out more than they hold.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using wzapp_test::ArchiveTest;
using wzapp_test::MemoryFile;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

constexpr std::size_t kEntrySize = std::size_t{1} << 20;
constexpr int kEntries = 60;

// Zeros pack as well as anything can.
std::string zeros() { return std::string(kEntrySize, '\0'); }

// Entries "00" to "59" that show the same octets.
std::string sharedArchive() {
  ZipBuilder archive;
  for (int i = 0; i < kEntries; ++i) {
    char name[8];
    std::snprintf(name, sizeof name, "%02d", i);
    ZipEntry entry;
    entry.name = name;
    entry.content = zeros();
    if (i > 0) entry.sharesDataOf = 0;
    archive.entry(entry);
  }
  return archive.build();
}

// How many of those come out whole.
std::uint64_t readableEntries(const std::string& octets) {
  return octets.size() * UnZIP::kMaxExpansion / kEntrySize;
}

bool skip(ByteView /*block*/) { return true; }

class UnZIPLimitTest : public ArchiveTest {};

TEST_F(UnZIPLimitTest, WhatPacksBestCanBeReadAnyNumberOfTimes) {
  const MemoryFile file(ZipBuilder().file("zeros", zeros()).build());
  UnZIP archive(file.descriptor());

  for (int reading = 0; reading < 20; ++reading) {
    EXPECT_EQ(archive.readBlocks(archive.index().find("zeros"), skip), ReadEnd::kComplete)
        << reading;
  }
}

TEST_F(UnZIPLimitTest, EntriesThatShareOctetsAreReadableUpToTheLimit) {
  const std::string octets = sharedArchive();
  const MemoryFile file(octets);
  UnZIP archive(file.descriptor());
  ASSERT_EQ(archive.index().size(), std::size_t{kEntries});
  ASSERT_LT(readableEntries(octets), std::uint64_t{kEntries});

  std::uint64_t count = 0;
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry, ++count) {
    const bool isReadable = count < readableEntries(octets);

    EXPECT_EQ(archive.readBlocks(entry, skip),
              isReadable ? ReadEnd::kComplete : ReadEnd::kUnreadable)
        << entry->first;
  }
}

// One of the three ways after the other.
TEST_F(UnZIPLimitTest, EveryOperationIsCounted) {
  const std::string octets = sharedArchive();
  const MemoryFile file(octets);
  const MemoryFile target;
  UnZIP archive(file.descriptor());
  std::array<std::uint8_t, kSha1Size> sha1{};
  std::array<std::uint8_t, kSha256Size> sha256{};
  std::vector<std::uint8_t> content;

  auto entry = archive.index().begin();
  for (std::uint64_t count = 0; count < readableEntries(octets); ++count, ++entry) {
    if (count % 3 == 0) {
      EXPECT_TRUE(archive.readEntry(entry, content)) << count;
    } else if (count % 3 == 1) {
      EXPECT_TRUE(archive.digestEntry(entry, sha1, sha256)) << count;
    } else {
      target.assign("");
      EXPECT_TRUE(archive.extractToFile(entry, target.opener())) << count;
    }
  }

  EXPECT_FALSE(archive.readEntry(entry, content));
  EXPECT_LT(content.size(), kEntrySize);
  EXPECT_FALSE(archive.digestEntry(entry, sha1, sha256));
  EXPECT_EQ(sha1, (std::array<std::uint8_t, kSha1Size>{}));
  EXPECT_FALSE(archive.extractToFile(entry, target.opener()));
}

TEST_F(UnZIPLimitTest, WhatWasReadBeforeTheLimitStaysReadable) {
  const std::string octets = sharedArchive();
  const MemoryFile file(octets);
  UnZIP archive(file.descriptor());
  auto entry = archive.index().begin();
  while (archive.readBlocks(entry, skip) == ReadEnd::kComplete) ++entry;

  EXPECT_EQ(archive.readBlocks(entry, skip), ReadEnd::kUnreadable);
  for (auto before = archive.index().begin(); before != entry; ++before) {
    EXPECT_EQ(archive.readBlocks(before, skip), ReadEnd::kComplete) << before->first;
  }
}

// A part that was read counts once, too.
TEST_F(UnZIPLimitTest, WhatWasReadInPartCountsOnce) {
  const MemoryFile file(ZipBuilder().file("zeros", zeros()).build());
  UnZIP archive(file.descriptor());
  const auto entry = archive.index().begin();
  const auto stop = [](ByteView /*block*/) { return false; };

  for (int reading = 0; reading < 1000; ++reading) {
    ASSERT_EQ(archive.readBlocks(entry, stop), ReadEnd::kStopped);
  }

  EXPECT_EQ(archive.readBlocks(entry, skip), ReadEnd::kComplete);
}

// The directory is changed in place, once it has been read.
TEST_F(UnZIPLimitTest, NoMoreComesOutThanWasStatedWhenTheArchiveWasOpened) {
  const auto archiveStating = [](std::uint32_t size) {
    ZipEntry entry;
    entry.name = "noise";
    entry.content = wzapp_test::noise(20000);
    entry.size = size;
    return ZipBuilder().entry(entry).build();
  };
  const MemoryFile file(archiveStating(100));
  UnZIP archive(file.descriptor());
  EXPECT_EQ(archive.readBlocks(archive.index().begin(), skip), ReadEnd::kComplete);
  file.assign(archiveStating(20000));

  EXPECT_EQ(archive.readBlocks(archive.index().begin(), skip), ReadEnd::kUnreadable);
}

TEST_F(UnZIPLimitTest, OpenedAgainAnArchiveCanBeReadAgain) {
  const MemoryFile file(sharedArchive());
  {
    UnZIP archive(file.descriptor());
    auto entry = archive.index().begin();
    while (archive.readBlocks(entry, skip) == ReadEnd::kComplete) ++entry;
  }

  UnZIP archive(file.descriptor());

  EXPECT_EQ(archive.readBlocks(archive.index().begin(), skip), ReadEnd::kComplete);
}

}  // namespace
}  // namespace wzapp
