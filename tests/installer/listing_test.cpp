#include "installer/listing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/directory.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using namespace wzapp_test;

const std::string kFolder = "/mnt/flash/folder";

class ListingTest : public RulesTest {
 protected:
  ListingTest() {
    for (const char* name : {"a", "b", "c"}) terminal.writeFile(kFolder + "/" + name, name);
  }

  // The `nth` reading of an entry fails, each time that the directory is opened.
  void breakOffAt(int nth) {
    openings = 0;
    calls.hook = [this, nth, count = 0](const FileCall& call) mutable {
      if (call.function == "opendir") {
        ++openings;
        count = 0;
      }
      return call.function == "readdir" && ++count == nth ? EIO : 0;
    };
  }

  FileCalls calls;
  int openings = 0;
  std::vector<ListedEntry> entries;
};

TEST_F(ListingTest, HasTheEntriesInTheOrderOfTheDirectory) {
  ASSERT_EQ(listDirectory(kFolder.c_str(), entries), Finding::kFound);

  std::vector<std::string> names;
  for (const ListedEntry& entry : entries) {
    EXPECT_EQ(entry.path(), kFolder + "/" + entry.name);
    names.push_back(entry.name);
  }
  EXPECT_EQ(names, listed(kFolder));
  EXPECT_THAT(names, SizeIs(3));
}

TEST_F(ListingTest, OfNoDirectoryHasNone) {
  entries = {{"before", "before"}};

  EXPECT_EQ(listDirectory((kFolder + "/a").c_str(), entries), Finding::kNone);
  EXPECT_THAT(lines, IsEmpty());

  EXPECT_THAT(entries, IsEmpty());
}

// A part of the entries would pass for all of them.
TEST_F(ListingTest, ThatBreaksOffHasNone) {
  for (int nth = 1; nth <= 6; ++nth) {  // with "." and "..", and the end
    entries = {{"before", "before"}};
    breakOffAt(nth);

    EXPECT_EQ(listDirectory(kFolder.c_str(), entries), Finding::kUnknown) << nth;

    EXPECT_THAT(entries, IsEmpty()) << nth;
    EXPECT_EQ(openings, 3) << nth;
  }
  EXPECT_THAT(lines, SizeIs(6));
  EXPECT_EQ(lines.back(), "Warning: Failed to read directory '" + kFolder + "'.\n");
  EXPECT_EQ(installResult(), kInstallError);
}

TEST_F(ListingTest, IsTriedAgainAtOnce) {
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR}) {
    int count = 0;
    calls.hook = [&count, error](const FileCall& call) {
      return call.function == "opendir" && ++count < 3 ? error : 0;
    };

    EXPECT_EQ(listDirectory(kFolder.c_str(), entries), Finding::kFound) << error;

    EXPECT_THAT(entries, SizeIs(3));
  }
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ListingTest, OfWhatMayNotBeReadHasNone) {
  for (const int error : {ENOENT, ENOTDIR, EACCES, EPERM}) {
    int count = 0;
    calls.hook = [&count, error](const FileCall& call) {
      count += call.function == "opendir" ? 1 : 0;
      return error;
    };

    EXPECT_EQ(listDirectory(kFolder.c_str(), entries), Finding::kNone) << error;

    EXPECT_EQ(count, 1) << error;
  }
  EXPECT_THAT(lines, IsEmpty());
}

// The same reading: what ends a listing ends that of a Directory.
TEST_F(ListingTest, ThatBreaksOffEndsADirectoryToo) {
  breakOffAt(3);
  Directory directory;
  ASSERT_TRUE(directory.open(kFolder));
  DirEntry entry;
  int count = 0;

  while (directory.read(entry)) ++count;

  EXPECT_EQ(count, 2);
}

}  // namespace
}  // namespace wzapp
