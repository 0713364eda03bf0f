// The file behind an archive: what is read at which position.
#include "archive/archive_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <limits>
#include <random>

#include "tests/archive/archive_calls.h"
#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using wzapp_test::ArchiveCalls;
using wzapp_test::ArchiveTest;
using wzapp_test::Call;
using wzapp_test::MemoryFile;
using wzapp_test::noise;

std::string readAt(ArchiveFile& file, std::uint64_t offset, std::size_t count) {
  EXPECT_TRUE(file.seek(offset, SEEK_SET));
  std::string octets(count, '\0');
  octets.resize(file.read(reinterpret_cast<std::uint8_t*>(octets.data()), count));
  return octets;
}

class ArchiveFileTest : public ArchiveTest {};

TEST_F(ArchiveFileTest, GivesTheOctetsOfAnyPlaceInPiecesOfAnySize) {
  const std::string content = noise(50001);
  const MemoryFile memory(content);
  ArchiveFile file;
  ASSERT_TRUE(file.open(memory.descriptor()));
  std::mt19937 random(1);

  for (int i = 0; i < 2000; ++i) {
    const std::size_t offset = random() % (content.size() + 10);
    const std::size_t count = random() % (i % 2 == 0 ? 40 : 10000);
    const std::string expected =
        offset < content.size() ? content.substr(offset, count) : std::string();
    ASSERT_EQ(readAt(file, offset, count), expected) << offset << " " << count;
    ASSERT_EQ(file.position(), offset + expected.size());
  }
  EXPECT_FALSE(file.hasFailed());
}

TEST_F(ArchiveFileTest, IsReadOctetByOctetWithoutACallForEach) {
  const MemoryFile memory(noise(8192));
  ArchiveFile file;
  ASSERT_TRUE(file.open(memory.descriptor()));
  std::uint8_t octet = 0;
  ASSERT_EQ(file.read(&octet, 1), 1U);
  memory.assign("");

  for (int i = 1; i < 4096; ++i) ASSERT_EQ(file.read(&octet, 1), 1U) << i;
  EXPECT_EQ(file.read(&octet, 1), 0U);
}

TEST_F(ArchiveFileTest, StandsWhereFseekWould) {
  const MemoryFile memory("0123456789");
  ArchiveFile file;
  ASSERT_TRUE(file.open(memory.descriptor()));
  constexpr auto kBack = static_cast<std::uint64_t>(-4);
  constexpr auto kLast = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());

  EXPECT_TRUE(file.seek(kBack, SEEK_END));
  EXPECT_EQ(file.position(), 6U);
  EXPECT_TRUE(file.seek(kBack, SEEK_CUR));
  EXPECT_EQ(file.position(), 2U);
  EXPECT_FALSE(file.seek(kBack, SEEK_CUR));
  EXPECT_FALSE(file.seek(kBack, SEEK_SET));
  EXPECT_FALSE(file.seek(kLast + 1, SEEK_SET));
  EXPECT_EQ(file.position(), 2U);
  EXPECT_EQ(readAt(file, kLast, 5), "");
  EXPECT_EQ(readAt(file, kLast, 5000), "");
  EXPECT_FALSE(file.hasFailed());
}

TEST_F(ArchiveFileTest, GivesAllThatIsThereByReadsThatGiveLess) {
  const std::string content = noise(10000);
  const MemoryFile memory(content);
  ArchiveFile file;
  ASSERT_TRUE(file.open(memory.descriptor()));
  ArchiveCalls calls;
  calls.limitReads(700);
  calls.fail(Call::kPread, 3);  // a signal

  EXPECT_EQ(readAt(file, 10, 9000), content.substr(10, 9000));
  EXPECT_EQ(readAt(file, 9500, 300), content.substr(9500, 300));
  EXPECT_FALSE(file.hasFailed());
}

TEST_F(ArchiveFileTest, TellsOfAFileThatCannotBeRead) {
  const std::string path = directory_.write("file", "content");
  const int descriptor = open(path.c_str(), O_PATH | O_CLOEXEC);
  ArchiveFile file;
  ASSERT_TRUE(file.open(descriptor));
  close(descriptor);

  EXPECT_EQ(readAt(file, 0, 4), "");
  EXPECT_TRUE(file.hasFailed());
}

TEST_F(ArchiveFileTest, KeepsADescriptorThatNoExecInherits) {
  const MemoryFile memory("content");
  ArchiveFile file;
  const int next = dup(memory.descriptor());  // the number that the file's descriptor will have
  close(next);

  ASSERT_TRUE(file.open(memory.descriptor()));

  EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
}

TEST_F(ArchiveFileTest, LetsGoOfTheFileBefore) {
  const MemoryFile first("first");
  const MemoryFile second("second");
  ArchiveFile file;
  ASSERT_TRUE(file.open(first.descriptor()));
  EXPECT_EQ(readAt(file, 0, 5), "first");
  const int open = wzapp_test::openDescriptors();

  ASSERT_TRUE(file.open(second.descriptor()));

  EXPECT_EQ(wzapp_test::openDescriptors(), open);
  EXPECT_EQ(file.position(), 0U);
  EXPECT_EQ(readAt(file, 0, 6), "second");
}

TEST_F(ArchiveFileTest, IsARegularFile) {
  const int folder = open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ArchiveFile file;

  EXPECT_FALSE(file.open(folder));
  EXPECT_FALSE(file.open(-1));
  close(folder);
}

}  // namespace
}  // namespace wzapp
