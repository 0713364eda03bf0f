#include "support/file_system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <vector>

#include "tests/builders/child_process.h"
#include "tests/builders/temporary_directory.h"
#include "tests/builders/wrapped_calls.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;
using wzapp_test::runInChild;
using wzapp_test::TemporaryDirectory;
using wzapp_test::WrappedCalls;

// --- readFile ---------------------------------------------------------------------------------

class ReadFileSizeTest : public testing::TestWithParam<std::size_t> {};

TEST_P(ReadFileSizeTest, TakesEveryOctet) {
  const TemporaryDirectory directory;
  std::string written(GetParam(), '\0');
  for (std::size_t i = 0; i < written.size(); ++i) written[i] = static_cast<char>(i * 7);
  const std::string path = directory.write("file", written);
  std::string content = "before";

  EXPECT_TRUE(readFile(path.c_str(), content));

  EXPECT_TRUE(content == written);
}

INSTANTIATE_TEST_SUITE_P(AroundTheBlock, ReadFileSizeTest,
                         testing::Values(0, 1, 4095, 4096, 4097, 8192, 100000));
INSTANTIATE_TEST_SUITE_P(AtTheLimit, ReadFileSizeTest, testing::Values(16777215, 16777216));

TEST(ReadFileTest, RefusesOneOctetMoreThanTheLimit) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "");
  fs::resize_file(path, 16777217);
  std::string content = "before";

  EXPECT_FALSE(readFile(path.c_str(), content));

  EXPECT_EQ(content, "");
}

TEST(ReadFileTest, RefusesAFileWithoutEnd) {
  std::string content = "before";

  EXPECT_FALSE(readFile("/dev/zero", content));

  EXPECT_EQ(content, "");
}

TEST(ReadFileTest, KeepsLineEndsAndZeroOctets) {
  const TemporaryDirectory directory;
  const std::string written("a\r\nb\n\0c\x1a", 8);
  const std::string path = directory.write("file", written);
  std::string content;

  EXPECT_TRUE(readFile(path.c_str(), content));

  EXPECT_EQ(content, written);
}

// As in a host that has closed its standard input.
TEST(ReadFileTest, ReadsByWhateverDescriptorIsFree) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "content");
  runInChild([&path] {
    close(STDIN_FILENO);
    std::string content;
    EXPECT_TRUE(readFile(path.c_str(), content));
    EXPECT_EQ(content, "content");
    EXPECT_EQ(readWholeFile(path.c_str(), content, kMaxFileSize), Finding::kFound);
    EXPECT_EQ(content, "content");
  });
}

TEST(ReadFileTest, EmptiesTheContentOfAFileThatCannotBeOpened) {
  const TemporaryDirectory directory;
  std::string content = "before";

  EXPECT_FALSE(readFile((directory / "missing").c_str(), content));

  EXPECT_EQ(content, "");
}

TEST(ReadFileTest, TakesAReadErrorForTheEndOfTheFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", std::string(3 * 4096, 'x'));
  std::string content;
  WrappedCalls calls;
  int reads = 0;
  calls.read = [&reads](int file, void* buffer, std::size_t size) -> ssize_t {
    if (++reads != 2) return wzapp_test::realRead(file, buffer, size);
    errno = EIO;
    return -1;
  };

  EXPECT_TRUE(readFile(path.c_str(), content));

  EXPECT_EQ(content.size(), 4096U);
  EXPECT_EQ(reads, 2);
}

TEST(ReadFileTest, ADirectoryReadsAsEmpty) {
  const TemporaryDirectory directory;
  std::string content = "before";

  EXPECT_TRUE(readFile(directory.path().c_str(), content));

  EXPECT_EQ(content, "");
}

TEST(ReadFileTest, APipeWithoutAWriterReadsAsEmpty) {
  const TemporaryDirectory directory;
  const std::string path = directory / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::string content = "before";

  EXPECT_TRUE(readFile(path.c_str(), content));

  EXPECT_EQ(content, "");
}

TEST(ReadFileTest, TakesWhatLiesInAPipeWithoutWaitingForMore) {
  const TemporaryDirectory directory;
  const std::string path = directory / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(write(writer, "one two", 7), 7);
  std::string content;

  EXPECT_TRUE(readFile(path.c_str(), content));

  EXPECT_EQ(content, "one two");
  close(writer);
}

// --- Paths ------------------------------------------------------------------------------------

struct AbsoluteCase {
  const char* path;
  bool isAbsolute;
};

class IsAbsolutePathTest : public testing::TestWithParam<AbsoluteCase> {};

TEST_P(IsAbsolutePathTest, TellsAnAbsolutePath) {
  EXPECT_EQ(isAbsolutePath(GetParam().path), GetParam().isAbsolute) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(All, IsAbsolutePathTest,
                         testing::Values(AbsoluteCase{"/", true}, AbsoluteCase{"\\", true},
                                         AbsoluteCase{"/x", true}, AbsoluteCase{"\\x/y", true},
                                         AbsoluteCase{"C:/x", true}, AbsoluteCase{"C:\\x", true},
                                         AbsoluteCase{"C:", true}, AbsoluteCase{":", true},
                                         AbsoluteCase{":/", true}, AbsoluteCase{"a:b:", true},
                                         AbsoluteCase{"a:b:/c", true}, AbsoluteCase{"", false},
                                         AbsoluteCase{"x", false}, AbsoluteCase{"x/y", false},
                                         AbsoluteCase{"./x", false}, AbsoluteCase{"a:b", false},
                                         AbsoluteCase{"C:x", false}, AbsoluteCase{"a/b:", false},
                                         AbsoluteCase{"..", false}, AbsoluteCase{"a/:/", false}));

struct PathCase {
  const char* path;
  const char* expected;
};

class DirNameTest : public testing::TestWithParam<PathCase> {};

TEST_P(DirNameTest, IsWhatStandsBeforeTheLastSeparator) {
  EXPECT_EQ(dirName(GetParam().path), GetParam().expected) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(
    All, DirNameTest,
    testing::Values(PathCase{"file", "."}, PathCase{"", "."}, PathCase{"C:", "."},
                    PathCase{"/file", "/"}, PathCase{"\\file", "\\"}, PathCase{"/", "/"},
                    PathCase{"C:/file", "C:/"}, PathCase{"C:\\file", "C:\\"},
                    PathCase{"C:/", "C:/"}, PathCase{"C:/x/y", "C:/x"}, PathCase{"a/b/c", "a/b"},
                    PathCase{"a/b/", "a/b"}, PathCase{"a/b", "a"}, PathCase{"a\\b/c", "a\\b"},
                    PathCase{"a/b\\c", "a/b"}, PathCase{"/a/b", "/a"}, PathCase{"//", "/"},
                    PathCase{"//a", "/"}, PathCase{"./a", "."}));

class NormalizePathTest : public testing::TestWithParam<PathCase> {};

TEST_P(NormalizePathTest, Cleans) {
  EXPECT_EQ(normalizePath(GetParam().path), GetParam().expected) << GetParam().path;
}

TEST_P(NormalizePathTest, TakesBackslashesForSlashes) {
  std::string path = GetParam().path;
  for (char& octet : path) {
    if (octet == '/') octet = '\\';
  }

  EXPECT_EQ(normalizePath(path), GetParam().expected) << path;
}

TEST_P(NormalizePathTest, ChangesNothingTheSecondTime) {
  EXPECT_EQ(normalizePath(GetParam().expected), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, NormalizePathTest,
    testing::Values(
        PathCase{"", "."}, PathCase{".", "."}, PathCase{"./.", "."}, PathCase{"a/..", "."},
        PathCase{"/", "/"}, PathCase{"//", "/"}, PathCase{"///", "/"}, PathCase{"/.", "/"},
        PathCase{"a", "a"}, PathCase{"/a", "/a"}, PathCase{"a/", "a"}, PathCase{"/a/", "/a"},
        PathCase{"a//b/./c", "a/b/c"}, PathCase{"C:/x/..", "C:/"}, PathCase{"C:", "C:/"},
        PathCase{"C:/", "C:/"}, PathCase{":", ":/"}, PathCase{"C:/..", "C:/.."},
        PathCase{"C:x/y", "C:x/y"}, PathCase{"a/C:/b", "a/C:/b"}, PathCase{"..", ".."},
        PathCase{"../../a", "../../a"}, PathCase{"a/../../b", "../b"}, PathCase{"/../a", "/../a"},
        PathCase{"/a/../../b", "/../b"}, PathCase{"a/b/../..", "."}, PathCase{"a/b/../../..", ".."},
        PathCase{"../a/..", ".."}, PathCase{"../a/../..", "../.."}, PathCase{"a/...", "a/..."},
        PathCase{"./a", "a"}, PathCase{"a/b/../c/./../d/", "a/d"}));

TEST(NormalizePathMixedTest, WritesSlashesOnly) {
  EXPECT_EQ(normalizePath("\\a/b\\..\\c"), "/a/c");
}

TEST(NormalizePathMixedTest, KeepsZeroOctets) {
  const std::string path("a\0b/..\0/c", 9);

  EXPECT_EQ(normalizePath(path), path);
}

struct JoinCase {
  const char* base;
  const char* path;
  const char* expected;
};

class JoinPathTest : public testing::TestWithParam<JoinCase> {};

TEST_P(JoinPathTest, ResolvesAgainstTheBase) {
  EXPECT_EQ(joinPath(GetParam().base, GetParam().path), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, JoinPathTest,
    testing::Values(JoinCase{"/base", "x/../y", "/base/y"}, JoinCase{"/base", "", "/base"},
                    JoinCase{"/base", "/abs/../z", "/abs/../z"},
                    JoinCase{"/base", "\\abs\\.\\z", "\\abs\\.\\z"},
                    JoinCase{"/base", "C:/x/.", "C:/x/."}, JoinCase{"/base", "../x", "/x"},
                    JoinCase{"/base", "../../x", "/../x"}, JoinCase{"base/", "x", "base/x"},
                    JoinCase{"", "x", "/x"}, JoinCase{"C:", "x", "C:/x"},
                    JoinCase{"a\\b", "c\\d", "a/b/c/d"}, JoinCase{".", ".", "."}));

// --- makePath ---------------------------------------------------------------------------------

TEST(MakePathTest, CreatesTheDirectoryWithItsParents) {
  const TemporaryDirectory directory;

  EXPECT_TRUE(makePath(directory / "a/b/c"));

  EXPECT_TRUE(fs::is_directory(directory / "a/b/c"));
}

TEST(MakePathTest, CreatesARelativeDirectory) {
  const TemporaryDirectory directory;
  const fs::path before = fs::current_path();
  fs::current_path(directory.path());

  EXPECT_TRUE(makePath("plain"));
  EXPECT_TRUE(makePath("x/y"));

  fs::current_path(before);
  EXPECT_TRUE(fs::is_directory(directory / "plain"));
  EXPECT_TRUE(fs::is_directory(directory / "x/y"));
}

TEST(MakePathTest, AsksForMode0777) {
  WrappedCalls calls;
  std::vector<mode_t> modes;
  calls.stat = [](const char*, struct stat*) { return -1; };
  calls.mkdir = [&modes](const char*, mode_t mode) {
    modes.push_back(mode);
    return 0;
  };

  EXPECT_TRUE(makePath("a/b"));

  EXPECT_EQ(modes, (std::vector<mode_t>{0777, 0777}));
}

TEST(MakePathTest, AnEmptyPathExists) { EXPECT_TRUE(makePath("")); }

TEST(MakePathTest, AnExistingDirectoryIsEnough) {
  const TemporaryDirectory directory;

  EXPECT_TRUE(makePath(directory.path()));
  EXPECT_TRUE(makePath(directory.path() + "/"));
  EXPECT_TRUE(makePath("/"));
}

TEST(MakePathTest, AnExistingFileIsEnough) {
  const TemporaryDirectory directory;

  EXPECT_TRUE(makePath(directory.write("file", "")));
}

TEST(MakePathTest, CreatesNothingBelowAFile) {
  const TemporaryDirectory directory;

  EXPECT_FALSE(makePath(directory.write("file", "") + "/x"));
}

TEST(MakePathTest, RefusesAParentComponentAtTheEnd) {
  const TemporaryDirectory directory;

  EXPECT_FALSE(makePath(directory / "a/b/.."));
  EXPECT_FALSE(makePath(directory / "a/b\\.."));

  EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(MakePathTest, RefusesAMissingParentComponentOnTheWay) {
  const TemporaryDirectory directory;

  EXPECT_FALSE(makePath(directory / "a/../b"));

  EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(MakePathTest, TakesAnExistingParentComponent) {
  const TemporaryDirectory directory;
  fs::create_directory(directory / "a");

  EXPECT_TRUE(makePath(directory / "a/../b"));

  EXPECT_TRUE(fs::is_directory(directory / "b"));
}

TEST(MakePathTest, TakesANameThatOnlyEndsInTwoDots) {
  const TemporaryDirectory directory;

  EXPECT_TRUE(makePath(directory / "a.."));

  EXPECT_TRUE(fs::is_directory(directory / "a.."));
}

TEST(MakePathTest, ATrailingSeparatorIsAFailureAlthoughTheDirectoryIsThere) {
  const TemporaryDirectory directory;

  EXPECT_FALSE(makePath(directory / "new/"));

  EXPECT_TRUE(fs::is_directory(directory / "new"));
}

TEST(MakePathTest, ADirectoryThatAppearsMeanwhileIsAFailure) {
  const TemporaryDirectory directory;
  WrappedCalls calls;
  calls.stat = [](const char*, struct stat*) { return -1; };

  EXPECT_FALSE(makePath(directory.path()));
}

TEST(MakePathTest, KeepsTheParentsOfADirectoryThatCannotBeCreated) {
  const TemporaryDirectory directory;
  WrappedCalls calls;
  int created = 0;
  calls.mkdir = [&created](const char* path, mode_t mode) {
    if (++created < 3) return wzapp_test::realMkdir(path, mode);
    errno = ENOSPC;
    return -1;
  };

  EXPECT_FALSE(makePath(directory / "a/b/c/d"));

  EXPECT_EQ(created, 3);
  EXPECT_TRUE(fs::is_directory(directory / "a/b"));
  EXPECT_FALSE(fs::exists(directory / "a/b/c"));
}

TEST(MakePathTest, SplitsAtBackslashesToo) {
  WrappedCalls calls;
  std::vector<std::string> created;
  calls.stat = [](const char*, struct stat*) { return -1; };
  calls.mkdir = [&created](const char* path, mode_t) {
    created.emplace_back(path);
    return 0;
  };

  EXPECT_TRUE(makePath("a\\b/c"));
  EXPECT_TRUE(makePath("/x"));

  EXPECT_EQ(created, (std::vector<std::string>{"a", "a\\b", "a\\b/c", "/x"}));
}

TEST(MakePathTest, IsNotExhaustedByManySeparators) {
  const TemporaryDirectory directory;

  EXPECT_FALSE(makePath(directory / ("new" + std::string(20000, '/'))));
}

// --- Status -----------------------------------------------------------------------------------

TEST(WriteWholeTest, WritesFromThePositionOfTheFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "0123456789");
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(lseek(file, 3, SEEK_SET), 3);
  const std::vector<std::uint8_t> octets = {'a', 'b', 'c'};

  EXPECT_TRUE(writeWhole(file, octets));
  EXPECT_TRUE(writeWhole(file, {}));
  close(file);

  std::string content;
  ASSERT_TRUE(readFile(path.c_str(), content));
  EXPECT_EQ(content, "012abc6789");
}

TEST(WriteWholeTest, FailsWhereNothingMayBeWritten) {
  const int file = open("/dev/full", O_WRONLY | O_CLOEXEC);
  const std::vector<std::uint8_t> octets = {'a'};

  EXPECT_FALSE(writeWhole(file, octets));
  EXPECT_FALSE(writeWhole(-1, octets));
  close(file);
}

TEST(FileStatTest, FollowsLinks) {
  const TemporaryDirectory directory;
  directory.write("file", "12345");
  fs::create_symlink("file", directory / "link");
  struct stat followed = {};
  struct stat itself = {};

  ASSERT_EQ(fileStat((directory / "link").c_str(), followed), 0);
  ASSERT_EQ(linkStat((directory / "link").c_str(), itself), 0);

  EXPECT_TRUE(S_ISREG(followed.st_mode));
  EXPECT_EQ(followed.st_size, 5);
  EXPECT_TRUE(S_ISLNK(itself.st_mode));
}

TEST(FileStatTest, FailsForALinkToNothing) {
  const TemporaryDirectory directory;
  fs::create_symlink("nothing", directory / "link");
  struct stat status = {};

  EXPECT_EQ(fileStat((directory / "link").c_str(), status), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(linkStat((directory / "link").c_str(), status), 0);
  EXPECT_EQ(linkStat((directory / "missing").c_str(), status), -1);
}

}  // namespace
}  // namespace wzapp
