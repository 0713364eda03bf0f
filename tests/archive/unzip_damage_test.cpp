// Archives damaged in every place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using testing::IsEmpty;
using wzapp_test::ArchiveTest;
using wzapp_test::digestByName;
using wzapp_test::MemoryFile;
using wzapp_test::namesOf;
using wzapp_test::noise;
using wzapp_test::opensslDigests;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;
using wzapp_test::ZipEntry;

class UnZIPDamageTest : public ArchiveTest {};

ZipBuilder smallArchive() {
  ZipEntry described;
  described.name = "shop\\described";
  described.content = "described behind it, described behind it";
  described.hasDataDescriptor = true;
  return ZipBuilder()
      .directory("shop")
      .stored("shop/stored", "0123456789")
      .file("shop/deflated", "abcabcabcabcabcabc")
      .entry(described);
}

void expectSoundIndex(const UnZIP& archive) {
  for (const auto& [name, position] : archive.index()) {
    EXPECT_LT(name.size(), UnZIP::kNameLimit);
    EXPECT_EQ(name.find_first_of(std::string("\\\0", 2)), std::string::npos);
    EXPECT_EQ(name.data()[name.size()], '\0');
  }
}

// Whatever an archive has become, what is digested is what is read, handed out and extracted.
void expectOperationsToAgree(UnZIP& archive, const MemoryFile& target) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    target.assign("");
    std::string handedOut;
    const ReadEnd end = archive.readBlocks(entry, [&handedOut](ByteView block) {
      handedOut.append(block.begin(), block.end());
      return true;
    });
    const auto digests = digestByName(archive, std::string(entry->first));
    std::vector<std::uint8_t> content;
    const bool isRead = archive.readEntry(entry, content);
    const bool isExtracted = archive.extractToFile(entry, target.opener());

    EXPECT_EQ(digests.has_value(), end == ReadEnd::kComplete);
    EXPECT_EQ(isExtracted, end == ReadEnd::kComplete);
    EXPECT_EQ(target.content(), handedOut);
    if (digests) {
      EXPECT_EQ(*digests, opensslDigests(handedOut));
    }
    if (isRead) {
      EXPECT_TRUE(handedOut.starts_with(std::string(content.begin(), content.end())));
    }
  }
}

// minizip takes for zeros what is missing of the last fields: of the comment's length, of the
// directory's offset (the archive then seems to have octets in front of it) and the upper half of
// the directory's size.
TEST_F(UnZIPDamageTest, ArchiveCutAtAnyOctetIsUnreadableOrCutInItsLastFields) {
  constexpr std::size_t kLastFields = 2 + 4 + 2;
  const std::string whole = smallArchive().build();
  const MemoryFile file(whole);
  UnZIP sound(file.descriptor());
  ASSERT_EQ(sound.index().size(), 4U);

  for (std::size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const MemoryFile cutFile(whole.substr(0, size));
    UnZIP archive(cutFile.descriptor());
    if (size < whole.size() - kLastFields) {
      EXPECT_THAT(archive.index(), IsEmpty());
      continue;
    }
    for (const std::string& name : namesOf(archive)) {
      const auto content = readByName(archive, name);
      EXPECT_EQ(content.value_or(readByName(sound, name).value()), readByName(sound, name));
    }
  }
}

TEST_F(UnZIPDamageTest, ArchiveWithoutItsBeginningIsUnreadable) {
  const std::string whole = smallArchive().build();
  const MemoryFile file;

  for (std::size_t size = 1; size <= whole.size(); ++size) {
    file.assign(whole.substr(size));
    const UnZIP archive(file.descriptor());
    EXPECT_THAT(archive.index(), IsEmpty()) << size;
  }
}

TEST_F(UnZIPDamageTest, EveryFlippedBitIsSurvived) {
  const std::string whole = smallArchive().build();
  const MemoryFile file;
  const MemoryFile target;

  for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    SCOPED_TRACE(bit);
    std::string flipped = whole;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    file.assign(flipped);
    UnZIP archive(file.descriptor());
    expectSoundIndex(archive);
    expectOperationsToAgree(archive, target);
  }
}

TEST_F(UnZIPDamageTest, EveryOctetSetToTheExtremesIsSurvived) {
  const std::string whole = smallArchive().zip64Directory().comment("comment").build();
  const MemoryFile file;
  const MemoryFile target;

  for (const char value : {'\0', '\xFF'}) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
      SCOPED_TRACE(i);
      std::string changed = whole;
      changed[i] = value;
      file.assign(changed);
      UnZIP archive(file.descriptor());
      expectSoundIndex(archive);
      expectOperationsToAgree(archive, target);
    }
  }
}

// Nothing but the digests tells: the CRC is not looked at.
TEST_F(UnZIPDamageTest, FlippedContentShowsInTheDigests) {
  const std::string content = noise(1000);
  std::string octets = ZipBuilder().stored("a", content).build();
  const std::size_t start = octets.find(content);
  ASSERT_NE(start, std::string::npos);

  for (const std::size_t i : {std::size_t{0}, std::size_t{500}, std::size_t{999}}) {
    std::string flipped = octets;
    flipped[start + i] = static_cast<char>(flipped[start + i] ^ 1);
    const MemoryFile file(flipped);
    UnZIP archive(file.descriptor());

    EXPECT_EQ(digestByName(archive, "a"), opensslDigests(flipped.substr(start, 1000)));
    EXPECT_NE(digestByName(archive, "a"), opensslDigests(content));
  }
}

}  // namespace
}  // namespace wzapp
