// Which files are opened, and how: by name and by descriptor.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/archive/archive_test.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::ArchiveTest;
using wzapp_test::MemoryFile;
using wzapp_test::namesOf;
using wzapp_test::readByName;
using wzapp_test::ZipBuilder;

class UnZIPOpenTest : public ArchiveTest {};

ZipBuilder simpleArchive() { return ZipBuilder().file("a.txt", "content"); }

// Every operation fails on the end of the index.
void expectEveryOperationFails(UnZIP& archive, const std::string& target) {
  const UnZIP::Entry end = archive.index().end();
  std::vector<std::uint8_t> content = {1, 2, 3};
  std::array<std::uint8_t, kSha1Size> sha1;
  std::array<std::uint8_t, kSha256Size> sha256;
  sha1.fill(7);
  sha256.fill(7);
  const MemoryFile file("before");

  EXPECT_FALSE(archive.extractToFile(end, target));
  EXPECT_FALSE(archive.extractToFile(end, file.opener()));
  EXPECT_FALSE(archive.digestEntry(end, sha1, sha256));
  EXPECT_FALSE(archive.readEntry(end, content));
  EXPECT_EQ(archive.readBlocks(end, [](ByteView) { return true; }), ReadEnd::kNotOpened);

  EXPECT_FALSE(std::filesystem::exists(target));
  EXPECT_EQ(file.content(), "before");
  EXPECT_THAT(sha1, testing::Each(7));
  EXPECT_THAT(sha256, testing::Each(7));
  EXPECT_THAT(content, ElementsAre(1, 2, 3));
}

TEST_F(UnZIPOpenTest, MissingFileHasAnEmptyIndexAndNoOperationSucceeds) {
  UnZIP archive(directory_ / "missing.zip");

  EXPECT_THAT(archive.index(), IsEmpty());
  expectEveryOperationFails(archive, directory_ / "target");
}

TEST_F(UnZIPOpenTest, FileThatIsNoArchiveHasAnEmptyIndexAndNoOperationSucceeds) {
  UnZIP archive(directory_.write("text.zip", "This is no archive, whatever it is called.\n"));

  EXPECT_THAT(archive.index(), IsEmpty());
  expectEveryOperationFails(archive, directory_ / "target");
}

TEST_F(UnZIPOpenTest, OperationsFailOnTheEndOfAnIndexThatIsNotEmpty) {
  UnZIP archive(write(simpleArchive()));

  ASSERT_THAT(namesOf(archive), ElementsAre("a.txt"));
  expectEveryOperationFails(archive, directory_ / "target");
  EXPECT_EQ(readByName(archive, "a.txt"), "content");
}

TEST_F(UnZIPOpenTest, EmptyFileAndArchiveWithoutEntriesLookTheSame) {
  const UnZIP emptyFile(directory_.write("empty.zip", ""));
  const UnZIP emptyArchive(write(ZipBuilder()));

  EXPECT_THAT(emptyFile.index(), IsEmpty());
  EXPECT_THAT(emptyArchive.index(), IsEmpty());
}

TEST_F(UnZIPOpenTest, PipeIsNotWaitedFor) {
  const std::string path = directory_ / "pipe.zip";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

  const UnZIP archive(path);

  EXPECT_THAT(archive.index(), IsEmpty());
}

TEST_F(UnZIPOpenTest, NothingButARegularFileIsOpened) {
  const std::string folder = directory_ / "folder.zip";
  const std::string nowhere = directory_ / "nowhere.zip";
  const std::string socketPath = directory_ / "socket.zip";
  std::filesystem::create_directory(folder);
  std::filesystem::create_symlink(directory_ / "missing", nowhere);
  const int socketEnd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(socketPath.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  ASSERT_EQ(bind(socketEnd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

  for (const std::string& path :
       {folder, nowhere, socketPath, std::string("/dev/zero"), std::string()}) {
    const UnZIP archive(path);
    EXPECT_THAT(archive.index(), IsEmpty()) << path;
  }
  close(socketEnd);
}

TEST_F(UnZIPOpenTest, LinkToAnArchiveIsFollowed) {
  const std::string link = directory_ / "link.zip";
  std::filesystem::create_symlink(write(simpleArchive()), link);

  const UnZIP archive(link);

  EXPECT_THAT(namesOf(archive), ElementsAre("a.txt"));
}

TEST_F(UnZIPOpenTest, OpenArchiveKeepsOneDescriptor) {
  const std::string path = write(simpleArchive());
  const int before = wzapp_test::openDescriptors();

  const UnZIP archive(path);

  EXPECT_EQ(wzapp_test::openDescriptors(), before + 1);
}

TEST_F(UnZIPOpenTest, UnreadableArchiveKeepsNone) {
  const std::string path = directory_.write("none.zip", "no archive");
  const int before = wzapp_test::openDescriptors();

  const UnZIP archive(path);

  EXPECT_THAT(archive.index(), IsEmpty());
  EXPECT_EQ(wzapp_test::openDescriptors(), before);
}

TEST_F(UnZIPOpenTest, DescriptorOfAFileThatHasNoNameAnyMoreIsOpened) {
  const std::string path = write(simpleArchive());
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_EQ(unlink(path.c_str()), 0);
  wzapp_test::TemporaryDirectory elsewhere;

  UnZIP archive(descriptor);
  close(descriptor);

  EXPECT_THAT(namesOf(archive), ElementsAre("a.txt"));
  EXPECT_EQ(readByName(archive, "a.txt"), "content");
}

TEST_F(UnZIPOpenTest, DescriptorShowsItsFileAndNotWhatHasTakenItsName) {
  const std::string path = write(simpleArchive());
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const std::string other = directory_.write("other.zip", ZipBuilder().file("b", "").build());
  ASSERT_EQ(rename(other.c_str(), path.c_str()), 0);

  UnZIP archive(descriptor);
  close(descriptor);

  EXPECT_THAT(namesOf(archive), ElementsAre("a.txt"));
}

TEST_F(UnZIPOpenTest, PositionOfTheCallersDescriptorIsNeitherUsedNorMoved) {
  const MemoryFile file(simpleArchive().build());
  ASSERT_EQ(lseek(file.descriptor(), 7, SEEK_SET), 7);

  UnZIP archive(file.descriptor());

  EXPECT_EQ(readByName(archive, "a.txt"), "content");
  EXPECT_EQ(lseek(file.descriptor(), 0, SEEK_CUR), 7);
}

TEST_F(UnZIPOpenTest, DescriptorOfSomethingElseIsNotOpened) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const int folder = open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);

  for (const int descriptor : {ends[0], ends[1], folder, -1, 1'000'000}) {
    const UnZIP archive(descriptor);
    EXPECT_THAT(archive.index(), IsEmpty()) << descriptor;
  }
  for (const int descriptor : {ends[0], ends[1], folder}) close(descriptor);
}

}  // namespace
}  // namespace wzapp
