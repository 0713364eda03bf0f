#include "support/directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <map>
#include <type_traits>

#include "tests/builders/child_process.h"
#include "tests/builders/temporary_directory.h"
#include "tests/builders/wrapped_calls.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::Key;
using wzapp_test::runInChild;
using wzapp_test::TemporaryDirectory;
using wzapp_test::WrappedCalls;

static_assert(!std::is_copy_constructible_v<Directory> && !std::is_copy_assignable_v<Directory>);
static_assert(std::has_virtual_destructor_v<Directory>);

// An entry whose every field differs from those of a new one.
DirEntry filledEntry() {
  DirEntry entry;
  entry.path = "before";
  entry.name = "before";
  entry.type = 7;
  entry.access = 7;
  entry.size = 7;
  entry.year = 7;
  entry.month = entry.day = entry.hour = entry.minute = entry.second = 7;
  return entry;
}

std::map<std::string, DirEntry> list(const std::string& path) {
  std::map<std::string, DirEntry> entries;
  Directory directory;
  EXPECT_TRUE(directory.open(path));
  for (DirEntry entry = filledEntry(); directory.read(entry); entry = filledEntry()) {
    entries[entry.name] = entry;
  }
  return entries;
}

// The entry of `path`, a file of the given mode as `stat` is made to tell it.
DirEntry examine(const std::string& name, const struct stat& told) {
  const TemporaryDirectory directory;
  directory.write(name, "");
  WrappedCalls calls;
  calls.stat = [&](const char* path, struct stat* status) {
    if (!std::string(path).ends_with("/" + name)) return wzapp_test::realStat(path, status);
    *status = told;
    return 0;
  };
  return list(directory.path())[name];
}

TEST(DirEntryTest, StartsEmpty) {
  const DirEntry entry;

  EXPECT_EQ(entry.path, "");
  EXPECT_EQ(entry.name, "");
  EXPECT_EQ(entry.type, 0);
  EXPECT_EQ(entry.access, 0U);
  EXPECT_EQ(entry.size, 0);
  EXPECT_EQ(entry.year, 0);
  EXPECT_EQ(entry.month + entry.day + entry.hour + entry.minute + entry.second, 0);
}

TEST(DirectoryTest, ListsEveryEntryWithTheTwoOfTheDirectoryItself) {
  const TemporaryDirectory directory;
  directory.write("file", "12345");
  fs::create_directory(directory / "sub");

  std::map<std::string, DirEntry> entries = list(directory.path());

  EXPECT_THAT(entries, ElementsAre(Key("."), Key(".."), Key("file"), Key("sub")));
  EXPECT_EQ(entries["file"].path, directory / "file");
  EXPECT_EQ(entries["file"].type, kRegularFileEntry);
  EXPECT_EQ(entries["file"].size, 5);
  EXPECT_EQ(entries["sub"].type, kDirectoryEntry);
  EXPECT_EQ(entries["."].path, directory / ".");
  EXPECT_EQ(entries["."].type, kDirectoryEntry);
}

TEST(DirectoryTest, RemovesSeparatorsFromTheEndOfItsPath) {
  const TemporaryDirectory directory;
  directory.write("file", "");

  EXPECT_EQ(list(directory.path() + "///")["file"].path, directory / "file");
}

TEST(DirectoryTest, CleansDoubleSeparatorsInsideAPath) {
  const TemporaryDirectory directory;
  fs::create_directory(directory / "sub");
  directory.write("sub/file", "");

  EXPECT_EQ(list(directory / "//.////sub")["file"].path, directory / "./sub/file");
}

TEST(DirectoryTest, KeepsTheRootAlone) {
  std::map<std::string, DirEntry> entries = list("/");

  EXPECT_EQ(entries["usr"].path, "/usr");
}

TEST(DirectoryTest, EntriesOfTheCurrentDirectoryBeginWithTheirNames) {
  const TemporaryDirectory directory;
  fs::create_directory(directory / "sub");
  directory.write("sub/file", "");
  const fs::path before = fs::current_path();
  fs::current_path(directory.path());

  std::map<std::string, DirEntry> here = list(".");
  std::map<std::string, DirEntry> below = list("./././/sub/");

  fs::current_path(before);
  EXPECT_EQ(here["sub"].path, "sub");
  EXPECT_EQ(here["."].path, ".");
  EXPECT_EQ(here[".."].path, "..");
  EXPECT_EQ(below["file"].path, "sub/file");
}

TEST(DirectoryTest, CannotOpenWhatIsMissing) {
  const TemporaryDirectory temporary;
  Directory directory;
  DirEntry entry = filledEntry();

  EXPECT_FALSE(directory.open(temporary / "missing"));
  EXPECT_FALSE(directory.open(temporary.write("file", "")));
  EXPECT_FALSE(directory.open(""));

  EXPECT_FALSE(directory.read(entry));
  EXPECT_EQ(entry.name, "before");
}

TEST(DirectoryTest, AFailedOpenClosesTheDirectoryBefore) {
  const TemporaryDirectory temporary;
  Directory directory;
  DirEntry entry;
  ASSERT_TRUE(directory.open(temporary.path()));

  EXPECT_FALSE(directory.open(temporary / "missing"));

  EXPECT_FALSE(directory.read(entry));
}

TEST(DirectoryTest, ReadsNothingUnlessOpen) {
  const TemporaryDirectory temporary;
  Directory directory;
  DirEntry entry;

  EXPECT_FALSE(directory.read(entry));
  ASSERT_TRUE(directory.open(temporary.path()));
  EXPECT_TRUE(directory.read(entry));
  directory.close();
  EXPECT_FALSE(directory.read(entry));
  directory.close();
}

TEST(DirectoryTest, OpensAnotherDirectoryFromItsBeginning) {
  const TemporaryDirectory temporary;
  fs::create_directory(temporary / "sub");
  Directory directory;
  DirEntry entry;
  ASSERT_TRUE(directory.open(temporary.path()));
  ASSERT_TRUE(directory.read(entry));

  ASSERT_TRUE(directory.open(temporary / "sub"));

  int count = 0;
  while (directory.read(entry)) ++count;
  EXPECT_EQ(count, 2);
  EXPECT_FALSE(directory.read(entry));
}

TEST(DirectoryTest, ClosesItsStreamAtTheEnd) {
  const TemporaryDirectory temporary;
  const auto openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = openFiles();

  {
    Directory directory;
    ASSERT_TRUE(directory.open(temporary.path()));
    ASSERT_TRUE(directory.open(temporary.path()));
    EXPECT_EQ(openFiles(), before + 1);
  }

  EXPECT_EQ(openFiles(), before);
}

class RereadableDirectory : public Directory {
 public:
  void unread() { pending_ = true; }
};

TEST(DirectoryTest, APendingEntryIsReadOnceMore) {
  const TemporaryDirectory temporary;
  RereadableDirectory directory;
  DirEntry first;
  DirEntry again = filledEntry();
  DirEntry next;
  ASSERT_TRUE(directory.open(temporary.path()));
  ASSERT_TRUE(directory.read(first));

  directory.unread();

  ASSERT_TRUE(directory.read(again));
  EXPECT_EQ(again.path, first.path);
  EXPECT_EQ(again.name, first.name);
  EXPECT_EQ(again.type, first.type);
  EXPECT_EQ(again.year, first.year);
  ASSERT_TRUE(directory.read(next));
  EXPECT_NE(next.name, first.name);
  EXPECT_FALSE(directory.read(next));
}

// --- What is told of an entry -----------------------------------------------------------------

TEST(DirectoryEntryTest, AnEntryThatCannotBeExaminedIsOfNoKind) {
  const TemporaryDirectory directory;
  fs::create_symlink("nothing", directory / "link");

  const DirEntry entry = list(directory.path())["link"];

  EXPECT_EQ(entry.path, directory / "link");
  EXPECT_EQ(entry.type, kOtherEntry);
  EXPECT_EQ(entry.access, 0U);
  EXPECT_EQ(entry.size, 0);
  EXPECT_EQ(entry.year, 0);
  EXPECT_EQ(entry.month + entry.day + entry.hour + entry.minute + entry.second, 0);
}

TEST(DirectoryEntryTest, ALinkIsWhatItPointsTo) {
  const TemporaryDirectory directory;
  fs::create_directory(directory / "sub");
  directory.write("file", "123");
  fs::create_symlink("sub", directory / "toDirectory");
  fs::create_symlink("file", directory / "toFile");

  std::map<std::string, DirEntry> entries = list(directory.path());

  EXPECT_EQ(entries["toDirectory"].type, kDirectoryEntry);
  EXPECT_EQ(entries["toFile"].type, kRegularFileEntry);
  EXPECT_EQ(entries["toFile"].size, 3);
}

TEST(DirectoryEntryTest, APipeIsOfAnotherKind) {
  const TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);

  EXPECT_EQ(list(directory.path())["pipe"].type, kOtherEntry);
}

struct TypeCase {
  mode_t mode;
  std::int32_t type;
};

class EntryTypeTest : public testing::TestWithParam<TypeCase> {};

TEST_P(EntryTypeTest, ComesFromTheFileTypeBits) {
  struct stat told = {};
  told.st_mode = GetParam().mode | 0644;

  EXPECT_EQ(examine("file", told).type, GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(All, EntryTypeTest,
                         testing::Values(TypeCase{S_IFREG, 0}, TypeCase{S_IFDIR, 1},
                                         TypeCase{S_IFLNK, 2}, TypeCase{S_IFCHR, 3},
                                         TypeCase{S_IFBLK, 3}, TypeCase{S_IFIFO, 3},
                                         TypeCase{S_IFSOCK, 3}, TypeCase{0, 3}));

struct AccessCase {
  mode_t mode;
  bool isOwner;
  bool isGroup;
  std::uint32_t access;
};

class EntryAccessTest : public testing::TestWithParam<AccessCase> {};

TEST_P(EntryAccessTest, IsThatOfOneTriple) {
  struct stat told = {};
  told.st_mode = S_IFREG | GetParam().mode;
  told.st_uid = 1001;
  told.st_gid = 1002;
  const uid_t user = GetParam().isOwner ? 1001 : 1003;
  const gid_t group = GetParam().isGroup ? 1002 : 1003;
  const TemporaryDirectory directory;
  directory.write("file", "");
  std::uint32_t access = 7;
  {
    WrappedCalls calls;
    calls.getuid = [user] { return user; };
    calls.getgid = [group] { return group; };
    calls.stat = [&told](const char*, struct stat* status) {
      *status = told;
      return 0;
    };
    access = list(directory.path())["file"].access;
  }

  EXPECT_EQ(access, GetParam().access);
}

INSTANTIATE_TEST_SUITE_P(
    All, EntryAccessTest,
    testing::Values(AccessCase{0000, true, true, 0}, AccessCase{0400, true, false, 1},
                    AccessCase{0200, true, false, 2}, AccessCase{0600, true, false, 3},
                    AccessCase{0100, true, false, 0}, AccessCase{0077, true, true, 0},
                    AccessCase{0040, false, true, 1}, AccessCase{0020, false, true, 2},
                    AccessCase{0060, false, true, 3}, AccessCase{0707, false, true, 0},
                    AccessCase{0004, false, false, 1}, AccessCase{0002, false, false, 2},
                    AccessCase{0006, false, false, 3}, AccessCase{0770, false, false, 0},
                    AccessCase{0777, true, true, 3}, AccessCase{0111, false, false, 0}));

struct EntrySizeCase {
  off_t told;
  std::int32_t size;
};

class EntrySizeTest : public testing::TestWithParam<EntrySizeCase> {};

TEST_P(EntrySizeTest, StopsAtTheLargestNumber) {
  struct stat told = {};
  told.st_mode = S_IFREG | 0644;
  told.st_size = GetParam().told;

  EXPECT_EQ(examine("file", told).size, GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(All, EntrySizeTest,
                         testing::Values(EntrySizeCase{0, 0}, EntrySizeCase{2147483647, 2147483647},
                                         EntrySizeCase{2147483648, 2147483647},
                                         EntrySizeCase{1LL << 40, 2147483647}));

TEST(DirectoryEntryTest, TellsTheModificationTimeInLocalTime) {
  runInChild([] {
    setenv("TZ", "XYZ-5:30", 1);  // five and a half hours ahead
    tzset();
    struct stat told = {};
    told.st_mode = S_IFREG | 0644;
    told.st_mtime = 1388516645;  // 2013-12-31 19:04:05 UTC

    const DirEntry entry = examine("file", told);

    EXPECT_EQ(entry.year, 2014);
    EXPECT_EQ(entry.month, 1);
    EXPECT_EQ(entry.day, 1);
    EXPECT_EQ(entry.hour, 0);
    EXPECT_EQ(entry.minute, 34);
    EXPECT_EQ(entry.second, 5);
  });
}

TEST(DirectoryEntryTest, TellsNoDateForATimeBeyondTheCalendar) {
  struct stat told = {};
  told.st_mode = S_IFREG | 0644;
  told.st_mtime = std::numeric_limits<time_t>::max();

  const DirEntry entry = examine("file", told);

  EXPECT_EQ(entry.type, kRegularFileEntry);
  EXPECT_EQ(entry.year, 0);
  EXPECT_EQ(entry.month + entry.day + entry.hour + entry.minute + entry.second, 0);
}

}  // namespace
}  // namespace wzapp
