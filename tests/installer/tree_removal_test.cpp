#include "installer/tree_removal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/builders/own_namespace.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using namespace wzapp_test;

const std::string kTree = kApps + "/shop";
const std::string kOutside = "/mnt/flash/outside";

class TreeRemovalTest : public RulesTest {
 protected:
  void fillTree(const std::string& root) {
    terminal.writeFile(root + "/a/b/one", "1");
    terminal.writeFile(root + "/a/b/two", "2");
    terminal.writeFile(root + "/a/three", "3");
    terminal.makeFolder(root + "/empty");
    terminal.writeFile(root + "/four", "4");
  }

  // Operations on one of `names` fail with EIO.
  void failOn(const std::string& function, const std::set<std::string>& names) {
    calls.hook = [function, names](const FileCall& call) {
      return call.function == function && names.contains(call.name) ? EIO : 0;
    };
  }

  FileCalls calls;
};

// --- What is removed --------------------------------------------------------------------------

TEST_F(TreeRemovalTest, DoesNothingWhereNothingIs) {
  removeTree(kTree, Quiet::kNothing);
  terminal.makeFolder(kApps);
  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(TreeRemovalTest, RemovesAFile) {
  terminal.writeFile(kTree, "file");

  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, RemovesADirectoryWithAllThatIsInIt) {
  fillTree(kTree);
  terminal.writeFile(kApps + "/other/file", "stays");

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(treeOf(kApps), ElementsAre("other/", "other/file"));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(TreeRemovalTest, RemovesTheWholeApplicationRoot) {
  fillTree(kTree);

  removeTree(kApps, Quiet::kNothing);

  EXPECT_THAT(treeOf(kConfig), IsEmpty());
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, WorksOutsideOfTheRootsToo) {
  fillTree("/mnt/flash/elsewhere");

  removeTree("/mnt/flash/elsewhere", Quiet::kNothing);

  EXPECT_FALSE(terminal.exists("/mnt/flash/elsewhere"));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, RemovesEverythingThatIsNoDirectory) {
  terminal.makeFolder(kTree);
  ASSERT_EQ(mkfifo((kTree + "/pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("nowhere", (kTree + "/broken").c_str()), 0);
  ASSERT_EQ(symlink("loop", (kTree + "/loop").c_str()), 0);
  ASSERT_EQ(mknod((kTree + "/socket").c_str(), S_IFSOCK | 0600, 0), 0);
  terminal.writeFile(kTree + "/unreadable", "");
  ASSERT_EQ(chmod((kTree + "/unreadable").c_str(), 0), 0);

  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, TakesNamesAsOctets) {
  const std::vector<std::string> names = {
      "a\\b",     "C:",  "..\\up", "new\nline", "%s%n",
      "\xFF\xFE", "...", " ",      "-rf",       std::string(255, 'x')};
  for (const std::string& name : names) {
    terminal.makeFolder(kTree);
    ASSERT_EQ(mkdir((kTree + "/" + name).c_str(), 0777), 0) << name;
    ASSERT_EQ(close(creat((kTree + "/" + name + "/" + name).c_str(), 0666)), 0) << name;
  }

  removeTree(kTree + "/a\\b", Quiet::kNothing);
  EXPECT_FALSE(terminal.exists(kTree + "/a\\b"));
  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, NeverClimbs) {
  fillTree(kTree);
  terminal.writeFile(kConfig + "/file", "stays");
  const auto before = tree();

  for (const char* path : {"/..", "/../file", "/shop/../../file", "/.", "/shop/.", "/shop/.."}) {
    removeTree(kApps + path, Quiet::kNothing);
    EXPECT_FALSE(removeFile(kApps + path)) << path;
  }

  EXPECT_EQ(tree(), before);
}

TEST_F(TreeRemovalTest, ListsADirectoryBeforeItRemovesAnything) {
  terminal.writeFile(kTree + "/one", "");
  terminal.writeFile(kTree + "/two", "");
  calls.hook = [this](const FileCall& call) {
    if (call.function == "unlinkat" && call.name != "shop") {
      terminal.writeFile(kTree + "/late-" + call.name, "");
    }
    return 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(treeOf(kTree), ElementsAre("late-one", "late-two"));
  EXPECT_THAT(lines, ElementsAre("Warning: Failed to remove '" + kTree +
                                 "' (errno=" + std::to_string(ENOTEMPTY) + ")\n"));
}

TEST_F(TreeRemovalTest, RemovesInTheOrderOfTheListing) {
  for (int i = 0; i < 50; ++i) terminal.writeFile(kTree + "/" + std::to_string(i * 7919), "");
  std::vector<std::string> expected = listed(kTree);
  expected.emplace_back("shop");
  std::vector<std::string> removed;
  calls.hook = [&removed](const FileCall& call) {
    if (call.function == "unlinkat") removed.push_back(call.name);
    return 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_EQ(removed, expected);
}

TEST_F(TreeRemovalTest, RemovesSomeNamesOfTheTopLast) {
  for (const char* name : {"last", "x", "y", "z", "first", "w/last"}) {
    terminal.writeFile(kTree + "/" + name, "");
  }
  std::vector<std::string> removed;
  calls.hook = [&removed](const FileCall& call) {
    if (call.function == "unlinkat") removed.push_back(call.name);
    return 0;
  };
  constexpr std::string_view kLast[] = {"first", "missing", "last"};

  removeTree(kTree, Quiet::kNothing, kLast);

  ASSERT_EQ(removed.size(), 8U);
  EXPECT_EQ(removed[5], "first");
  EXPECT_EQ(removed[6], "last");
  EXPECT_EQ(removed[7], "shop");
}

// --- Depth ------------------------------------------------------------------------------------

// A chain of directories deeper than a path can be long.
void makeChain(const std::string& top, int depth) {
  ASSERT_EQ(mkdir(top.c_str(), 0777), 0);
  int directory = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(mkdirat(directory, "d", 0777), 0);
    ASSERT_EQ(close(openat(directory, "f", O_CREAT | O_WRONLY | O_CLOEXEC, 0666)), 0);
    const int next = openat(directory, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    close(directory);
    directory = next;
    ASSERT_GE(directory, 0);
  }
  close(directory);
}

TEST_F(TreeRemovalTest, NeedsFewDescriptorsHoweverDeepATreeIs) {
  terminal.makeFolder(kApps);
  makeChain(kTree, 5000);
  const auto openFiles = [] { return listed("/proc/self/fd").size(); };
  const std::size_t before = openFiles();
  std::size_t most = 0;
  int count = 0;
  calls.hook = [&](const FileCall&) {
    if (++count % 16 == 0) most = std::max(most, openFiles());
    return 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(openFiles(), before);
  EXPECT_GT(most, before);
  EXPECT_LT(most, before + 25);
}

// Those that were opened again from below must be closed again, too.
TEST_F(TreeRemovalTest, NeedsFewDescriptorsHoweverBushyADeepTreeIs) {
  constexpr int kDepth = 60;
  terminal.makeFolder(kApps);
  makeChain(kTree, kDepth);
  std::string path = kTree;
  for (int i = 0; i < kDepth; ++i) {
    makeChain(path + "/b", 20);
    path += "/d";
  }
  const auto openFiles = [] { return listed("/proc/self/fd").size(); };
  const std::size_t before = openFiles();
  std::size_t most = 0;
  int count = 0;
  calls.hook = [&](const FileCall&) {
    if (++count % 7 == 0) most = std::max(most, openFiles());
    return 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(openFiles(), before);
  EXPECT_LT(most, before + 25);
}

// --- What is reported -------------------------------------------------------------------------

std::string unreadable(const std::string& path) {
  return "Warning: Failed to read directory '" + path + "'.\n";
}

TEST_F(TreeRemovalTest, WarnsOfAFileThatCannotBeRemoved) {
  terminal.writeFile(kTree, "file");
  failOn("unlinkat", {"shop"});

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, ElementsAre(notRemoved(kTree, EIO)));
  EXPECT_EQ(installResult(), kInstallWarning);
}

// Not what the look at what is left has come to.
TEST_F(TreeRemovalTest, TellsTheErrorOfTheRemovalItself) {
  terminal.writeFile(kTree, "stays");
  failOn("unlinkat", {"shop"});
  calls.atStatus = [](struct stat&) { errno = EPERM; };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, ElementsAre("Warning: Failed to remove '" + kTree +
                                 "' (errno=" + std::to_string(EIO) + ")\n"));
}

TEST_F(TreeRemovalTest, WarningLeavesAnErrorAlone) {
  setInstallResult(kInstallError);
  terminal.writeFile(kTree, "file");
  failOn("unlinkat", {"shop"});

  removeTree(kTree, Quiet::kNothing);

  EXPECT_EQ(installResult(), kInstallError);
}

TEST_F(TreeRemovalTest, WarnsOfADirectoryThatCannotBeRemoved) {
  fillTree(kTree);
  failOn("unlinkat", {"b"});

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines,
              ElementsAre(notRemoved(kTree + "/a/b", EIO), notRemoved(kTree + "/a", ENOTEMPTY),
                          notRemoved(kTree, ENOTEMPTY)));
  EXPECT_THAT(treeOf(kTree), ElementsAre("a/", "a/b/"));
}

// An empty directory goes although it cannot be read.
TEST_F(TreeRemovalTest, WarnsOfAnUnreadableDirectoryAndGoesOn) {
  terminal.makeFolder(kTree + "/empty");
  failOn("openat", {"empty"});

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, ElementsAre(unreadable(kTree + "/empty")));
  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_EQ(installResult(), kInstallWarning);
}

TEST_F(TreeRemovalTest, WarnsOfADirectoryWithoutAListing) {
  terminal.writeFile(kTree + "/file", "");
  calls.hook = [](const FileCall& call) { return call.function == "fdopendir" ? ENOMEM : 0; };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, ElementsAre(unreadable(kTree), notRemoved(kTree, ENOTEMPTY)));
}

// What was listed by then is not all that is in it: nothing of it is removed.
TEST_F(TreeRemovalTest, WarnsOfAListingThatBreaksOff) {
  fillTree(kTree);
  int count = 0;
  calls.hook = [&count](const FileCall& call) {
    return call.function == "readdir" && ++count % 4 == 0 ? EIO : 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_EQ(count, 12);  // three attempts
  EXPECT_THAT(lines, ElementsAre(unreadable(kTree), notRemoved(kTree, ENOTEMPTY)));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_TRUE(terminal.exists(kTree + "/a/b/one"));
}

// Each operation in turn, on a tree that is deeper than its levels stay open: what passes leaves
// nothing of an old version that a new one would be mixed with.
TEST_F(TreeRemovalTest, GoesOnWhereAnOperationFailsForAMoment) {
  for (const int error : {EMFILE, ENOMEM, EIO, EINTR}) {
    std::set<std::string> functions;
    int count = 0;
    for (int nth = 1; nth == 1 || count >= nth - 1; ++nth) {
      terminal.makeFolder(kApps);
      makeChain(kTree, 20);
      fillTree(kTree + "/d/d");
      count = 0;
      calls.hook = [&](const FileCall& call) {
        if (++count != nth) return 0;
        functions.insert(call.function);
        return error;
      };

      removeTree(kTree, Quiet::kNothing);

      calls.hook = nullptr;
      ASSERT_THAT(lines, IsEmpty()) << nth;
      ASSERT_FALSE(terminal.exists(kTree)) << nth;
    }
    EXPECT_THAT(functions,
                testing::IsSupersetOf({"openat", "fstatat", "fdopendir", "readdir", "unlinkat"}));
  }
}

// The way back up.
TEST_F(TreeRemovalTest, TellsWhyItCannotGoBackUp) {
  terminal.makeFolder(kApps);
  makeChain(kTree, 20);
  calls.hook = [](const FileCall& call) {
    return call.function == "openat" && call.name == ".." ? EMFILE : 0;
  };

  removeTree(kTree, Quiet::kNothing);

  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].ends_with("' (errno=" + std::to_string(EMFILE) + ")\n")) << lines[0];
}

TEST_F(TreeRemovalTest, SaysNothingOfWhatHasNoStatus) {
  terminal.writeFile(kTree + "/file", "");
  terminal.makeFolder(kTree + "/folder");
  calls.hook = [](const FileCall& call) {
    return call.name == "file" || call.name == "folder" ? EACCES : 0;
  };

  EXPECT_FALSE(removeTree(kTree, Quiet::kNothing));

  EXPECT_THAT(lines, ElementsAre(notRemoved(kTree, ENOTEMPTY)));
}

TEST_F(TreeRemovalTest, SaysNothingOfATopWithoutStatus) {
  terminal.writeFile(kTree + "/file", "");
  failOn("fstatat", {"shop"});

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_TRUE(terminal.exists(kTree + "/file"));
}

// What another process removes meanwhile is gone as well.
TEST_F(TreeRemovalTest, SaysNothingOfWhatIsGoneMeanwhile) {
  fillTree(kTree);
  calls.hook = [](const FileCall& call) {
    if (call.function == "openat" && call.name == "b") fs::remove_all(kTree + "/a/b");
    if (call.function == "unlinkat" && call.name == "four") fs::remove(kTree + "/four");
    return 0;
  };

  EXPECT_TRUE(removeTree(kTree, Quiet::kNothing));

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, IsQuietAtTheTopOnly) {
  terminal.writeFile(kTree + "/a/file", "");
  failOn("unlinkat", {"file"});

  removeTree(kTree, Quiet::kTop);

  EXPECT_THAT(lines,
              ElementsAre(notRemoved(kTree + "/a/file", EIO), notRemoved(kTree + "/a", ENOTEMPTY)));
  EXPECT_EQ(installResult(), kInstallWarning);
}

TEST_F(TreeRemovalTest, IsQuietAboutATopThatCannotBeRead) {
  terminal.writeFile(kTree + "/file", "");
  failOn("openat", {"shop"});

  removeTree(kTree, Quiet::kTop);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_TRUE(terminal.exists(kTree + "/file"));
}

TEST_F(TreeRemovalTest, IsQuietAboutATopThatIsAFile) {
  terminal.writeFile(kTree, "");
  failOn("unlinkat", {"shop"});

  removeTree(kTree, Quiet::kTop);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(TreeRemovalTest, InAdvanceIsQuietThroughout) {
  fillTree(kTree);
  failOn("unlinkat", {"one", "four"});

  EXPECT_FALSE(removeTree(kTree, Quiet::kEverything));

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(treeOf(kTree), ElementsAre("a/", "a/b/", "a/b/one", "four"));
  calls.hook = nullptr;
  EXPECT_TRUE(removeTree(kTree, Quiet::kEverything));
  EXPECT_TRUE(removeTree(kTree, Quiet::kEverything));
}

// Empty or not: what cannot be listed is for the removal that reports it.
TEST_F(TreeRemovalTest, InAdvanceLeavesWhatCannotBeListed) {
  fillTree(kTree);
  failOn("openat", {"empty"});

  EXPECT_FALSE(removeTree(kTree, Quiet::kEverything));

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(treeOf(kTree), ElementsAre("empty/"));
  EXPECT_TRUE(removeTree(kTree, Quiet::kNothing));
  EXPECT_THAT(lines, ElementsAre(unreadable(kTree + "/empty")));
  EXPECT_EQ(installResult(), kInstallWarning);
}

// Each operation once, until none is hit: the removal ends, says what it has left, and has not lost
// a descriptor.
TEST_F(TreeRemovalTest, EndsWhateverOperationFails) {
  const auto openFiles = [] { return listed("/proc/self/fd").size(); };
  const std::size_t before = openFiles();
  int nth = 1;
  for (bool wasHit = true; wasHit; ++nth) {
    fillTree(kTree);
    lines.clear();
    int count = 0;
    FileCall failed;
    calls.hook = [&](const FileCall& call) {
      if (++count != nth) return 0;
      failed = call;
      return EACCES;
    };

    removeTree(kTree, Quiet::kNothing);

    calls.hook = nullptr;
    wasHit = count >= nth;
    const bool isGone = !terminal.exists(kTree);
    // Of what has no status nothing is said; but then it is in the way of what it is in.
    const bool isHidden = failed.function == "fstatat" && failed.name == "shop";
    EXPECT_EQ(!isGone && lines.empty(), isHidden) << nth;
    if (!wasHit) {
      EXPECT_TRUE(isGone);
      EXPECT_THAT(lines, IsEmpty());
    }
    EXPECT_EQ(openFiles(), before) << nth;
  }
  EXPECT_GT(nth, 15);
}

// --- Links ------------------------------------------------------------------------------------

TEST_F(TreeRemovalTest, RemovesALinkAndNotItsTarget) {
  fillTree(kOutside);
  const auto before = treeOf(kOutside);
  terminal.makeFolder(kTree);
  ASSERT_EQ(symlink(kOutside.c_str(), (kTree + "/link").c_str()), 0);
  ASSERT_EQ(symlink((kOutside + "/four").c_str(), (kTree + "/file-link").c_str()), 0);

  removeTree(kTree + "/link", Quiet::kNothing);
  removeTree(kTree, Quiet::kNothing);

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_EQ(treeOf(kOutside), before);
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, FollowsNoLinkOnTheWay) {
  fillTree(kOutside);
  const auto before = treeOf(kOutside);
  terminal.makeFolder(kApps);
  ASSERT_EQ(symlink(kOutside.c_str(), kTree.c_str()), 0);

  removeTree(kTree + "/a", Quiet::kNothing);
  EXPECT_FALSE(removeFile(kTree + "/four"));

  EXPECT_EQ(treeOf(kOutside), before);
  EXPECT_THAT(lines, ElementsAre(notRemoved(kTree + "/a", ENOTDIR)));
}

TEST_F(TreeRemovalTest, FollowsTheUsersOwnLinkInPlaceOfARoot) {
  fillTree(kOutside + "/shop");
  terminal.makeFolder(kConfig);
  ASSERT_EQ(symlink(kOutside.c_str(), kApps.c_str()), 0);

  removeTree(kTree, Quiet::kNothing);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(treeOf(kOutside), IsEmpty());
  EXPECT_TRUE(terminal.exists(kApps));
}

TEST_F(TreeRemovalTest, FollowsNoOtherLinkInPlaceOfARoot) {
  calls.atStatus = [](struct stat& status) { status.st_uid = getuid() + 1; };
  fillTree(kOutside + "/shop");
  const auto before = treeOf(kOutside);
  terminal.makeFolder(kConfig);
  ASSERT_EQ(symlink(kOutside.c_str(), kApps.c_str()), 0);

  removeTree(kTree, Quiet::kTop);
  EXPECT_THAT(lines, IsEmpty());
  removeTree(kTree, Quiet::kNothing);
  EXPECT_THAT(lines, ElementsAre(notRemoved(kTree, ENOTDIR)));
  removeTree(kApps, Quiet::kNothing);

  EXPECT_EQ(treeOf(kOutside), before);
  EXPECT_FALSE(terminal.exists(kApps));
}

// Another process puts a link in place of a directory, or a directory in place of another, between
// any two operations of a removal. Behind the link is a tree with the same names.
struct SwapCase {
  const char* name;
  std::string victim;       // what is swapped
  std::string counterpart;  // what the link points at
};

void PrintTo(const SwapCase& row, std::ostream* out) { *out << row.name; }

class SwappedDirectoryTest : public TreeRemovalTest,
                             public testing::WithParamInterface<SwapCase> {};

TEST_P(SwappedDirectoryTest, LeavesWhatIsOutsideAlone) {
  const SwapCase& row = GetParam();
  fillTree(kOutside + "/shop");
  const auto outside = treeOf(kOutside);
  calls.atStatus = [](struct stat& status) { status.st_uid = getuid() + 1; };
  int nth = 1;
  int swaps = 0;
  for (bool wasReached = true; wasReached; ++nth) {
    fillTree(kTree);
    int count = 0;
    calls.hook = [&](const FileCall&) {
      if (++count == nth && rename(row.victim.c_str(), (kConfig + "/aside").c_str()) == 0) {
        EXPECT_EQ(symlink(row.counterpart.c_str(), row.victim.c_str()), 0);
        ++swaps;
      }
      return 0;
    };

    removeTree(kTree, Quiet::kNothing);

    calls.hook = nullptr;
    wasReached = count >= nth;
    ASSERT_EQ(treeOf(kOutside), outside) << nth;
    fs::remove_all(kConfig);
  }
  EXPECT_GT(swaps, 4);
}

INSTANTIATE_TEST_SUITE_P(
    All, SwappedDirectoryTest,
    testing::Values(SwapCase{"Root", kApps, kOutside}, SwapCase{"Top", kTree, kOutside + "/shop"},
                    SwapCase{"Inside", kTree + "/a", kOutside + "/shop/a"},
                    SwapCase{"Bottom", kTree + "/a/b", kOutside + "/shop/a/b"}),
    [](const testing::TestParamInfo<SwapCase>& row) { return row.param.name; });

// The way back up from a deep directory leads through "..", which is another one when the directory
// was moved meanwhile.
TEST_F(TreeRemovalTest, LeavesWhatIsAboveAMovedDirectoryAlone) {
  terminal.makeFolder(kApps);
  makeChain(kTree, 60);
  terminal.writeFile(kOutside + "/f", "stays");
  terminal.writeFile(kOutside + "/d/f", "stays");
  std::string middle = kTree;
  for (int i = 0; i < 30; ++i) middle += "/d";
  int unlinked = 0;
  calls.hook = [&](const FileCall& call) {
    // The deepest directory goes first; from then on the levels above are opened again.
    if (call.function == "unlinkat" && call.name == "d" && ++unlinked == 5) {
      EXPECT_EQ(rename(middle.c_str(), (kOutside + "/moved").c_str()), 0);
    }
    return 0;
  };

  removeTree(kTree, Quiet::kNothing);

  EXPECT_TRUE(terminal.exists(kOutside + "/f"));
  EXPECT_TRUE(terminal.exists(kOutside + "/d/f"));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].ends_with("' (errno=" + std::to_string(ENOENT) + ")\n")) << lines[0];
  EXPECT_EQ(installResult(), kInstallWarning);
}

// --- A single file ----------------------------------------------------------------------------

// Deeper on both than directories stay open, so that the way back leads from one file system to the
// other.
TEST_F(TreeRemovalTest, EmptiesAnotherFileSystemOnItsWay) {
  if (hasForeignThread()) GTEST_SKIP() << "an emulator cannot enter a user namespace";
  constexpr int kDepth = 20;
  std::string mounted = kTree;
  for (int i = 0; i < kDepth; ++i) mounted += "/d";
  terminal.makeFolder(mounted);
  for (const char* name : {"a", "z"}) terminal.writeFile(kTree + "/d/" + name, "1");

  runInChild([&] {
    enterOwnNamespace();
    mountMemory(mounted);
    std::string inside = mounted;
    for (int i = 0; i < kDepth; ++i) {
      inside += "/e";
      fs::create_directory(inside);
      terminal.writeFile(inside + "/file", "2");
    }

    removeTree(kTree, Quiet::kNothing);

    EXPECT_TRUE(fs::is_empty(mounted));
    EXPECT_THAT(treeOf(kTree + "/d"), testing::SizeIs(kDepth - 1));
    // What is mounted there, and everything above it.
    ASSERT_EQ(lines.size(), kDepth + 1U);
    EXPECT_EQ(lines[0], "Warning: Failed to remove '" + mounted +
                            "' (errno=" + std::to_string(EBUSY) + ")\n");
    EXPECT_EQ(lines[kDepth], "Warning: Failed to remove '" + kTree +
                                 "' (errno=" + std::to_string(ENOTEMPTY) + ")\n");
  });
}

TEST_F(TreeRemovalTest, RemovesASingleFile) {
  terminal.writeFile(kTree, "file");

  EXPECT_TRUE(removeFile(kTree));

  EXPECT_FALSE(terminal.exists(kTree));
  EXPECT_FALSE(removeFile(kTree));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TreeRemovalTest, RemovesASingleEmptyDirectory) {
  terminal.makeFolder(kTree);

  EXPECT_TRUE(removeFile(kTree));

  EXPECT_FALSE(terminal.exists(kTree));
}

TEST_F(TreeRemovalTest, LeavesASingleDirectoryThatIsNotEmpty) {
  fillTree(kTree);

  EXPECT_FALSE(removeFile(kTree));

  EXPECT_TRUE(terminal.exists(kTree + "/a/b/one"));
  EXPECT_THAT(lines, IsEmpty());
}

}  // namespace
}  // namespace wzapp
