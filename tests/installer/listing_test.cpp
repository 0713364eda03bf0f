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

  // The `nth` reading of an entry fails.
  void breakOffAt(int nth) {
    calls.hook = [nth, count = 0](const FileCall& call) mutable {
      return call.function == "readdir" && ++count == nth ? EIO : 0;
    };
  }

  FileCalls calls;
  std::vector<ListedEntry> entries;
};

TEST_F(ListingTest, HasTheEntriesInTheOrderOfTheDirectory) {
  ASSERT_EQ(listDirectory(kFolder, entries), Finding::kFound);

  std::vector<std::string> names;
  for (const ListedEntry& entry : entries) {
    EXPECT_EQ(entry.path, kFolder + "/" + entry.name);
    names.push_back(entry.name);
  }
  EXPECT_EQ(names, listed(kFolder));
  EXPECT_THAT(names, SizeIs(3));
}

TEST_F(ListingTest, OfNoDirectoryHasNone) {
  entries = {{"before", "before"}};

  EXPECT_EQ(listDirectory(kFolder + "/a", entries), Finding::kNone);
  EXPECT_THAT(lines, IsEmpty());

  EXPECT_THAT(entries, IsEmpty());
}

// A part of the entries would pass for all of them.
TEST_F(ListingTest, ThatBreaksOffHasNone) {
  for (int nth = 1; nth <= 6; ++nth) {  // with "." and "..", and the end
    entries = {{"before", "before"}};
    breakOffAt(nth);

    EXPECT_FALSE(listDirectory(kFolder, entries)) << nth;

    EXPECT_THAT(entries, IsEmpty()) << nth;
  }
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
