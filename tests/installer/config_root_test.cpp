#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "installer/directories.h"
#include "support/install_log.h"
#include "tests/builders/child_process.h"
#include "tests/builders/collected_log.h"
#include "tests/builders/test_terminal.h"
#include "tests/builders/wrapped_calls.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::collectLine;
using wzapp_test::Lines;
using wzapp_test::TestTerminal;
using wzapp_test::WrappedCalls;

constexpr const char* kRoot = "/mnt/flash/etc/config/wzapp";
constexpr int kKilled = 90;  // the exit code of a process that stands for one
constexpr const char* kMark = "/mnt/flash/etc/config/wzapp.moving";
constexpr const char* kOldApp = "/home/sys13/flash/www/wz/shop/index.html";
constexpr const char* kOldManifest = "/home/sys13/flash/www/mp/shop/mpmanifest.mft";
constexpr const char* kOldData = "/home/sys13/flash/www/fsroot/shop/data";
constexpr const char* kNewApp = "/mnt/flash/etc/config/wzapp/wz/shop/index.html";
constexpr const char* kNewManifest = "/mnt/flash/etc/config/wzapp/mp/shop/mpmanifest.mft";
constexpr const char* kNewData = "/mnt/flash/etc/config/wzapp/fsroot/shop/data";

class ConfigRootTest : public testing::Test {
 protected:
  ~ConfigRootTest() override { setInstallLog(nullptr, nullptr); }

  bool prepare() { return prepareConfigRoot(collectLine, &lines); }

  void fillOldLayout() {
    terminal.writeFile(kOldApp, "app");
    terminal.writeFile(kOldManifest, "manifest");
    terminal.writeFile(kOldData, "data");
  }

  void expectOlderLayoutMoved() {
    EXPECT_EQ(terminal.readFile(kNewApp), "app");
    EXPECT_EQ(terminal.readFile(kNewManifest), "manifest");
    EXPECT_EQ(terminal.readFile(kNewData), "data");
    EXPECT_TRUE(fs::is_empty("/home/sys13/flash/www"));
    EXPECT_FALSE(terminal.exists(kMark));
  }

  // Renames whose source ends in `name` fail.
  void failRename(const std::string& name) {
    calls.rename = [name](const char* from, const char* to) {
      if (!std::string(from).ends_with(name)) return wzapp_test::realRename(from, to);
      errno = EXDEV;
      return -1;
    };
  }

  TestTerminal terminal;
  WrappedCalls calls;
  Lines lines;
};

// --- First start ------------------------------------------------------------------------------

TEST_F(ConfigRootTest, IsCreatedAtTheFirstStart) {
  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_TRUE(fs::is_directory(kRoot));
  EXPECT_TRUE(fs::is_empty(kRoot));
}

// Whoever is told may start an application, which prepares the root once more, on this thread or on
// one that it waits for.
TEST_F(ConfigRootTest, MayBePreparedAgainWhileItReports) {
  struct Host {
    int depth = 0;
    int lines = 0;

    static void take(void* user, const char* /*format*/, ...) {
      Host& host = *static_cast<Host*>(user);
      ++host.lines;
      if (++host.depth == 1) {
        static_cast<void>(prepareConfigRoot(take, user));
        std::thread([user] { static_cast<void>(prepareConfigRoot(take, user)); }).join();
      }
      --host.depth;
    }
  };
  terminal.writeFile(kRoot, "a file");
  Host host;

  EXPECT_FALSE(prepareConfigRoot(Host::take, &host));

  EXPECT_EQ(host.lines, 3);
}

// What is there must not be taken for missing, and the older layout be moved over it.
TEST_F(ConfigRootTest, IsNotUsedWhereNobodyCanTellWhetherItIsThere) {
  ASSERT_TRUE(prepare());
  fillOldLayout();
  for (const int error : {ENOMEM, EIO, EINTR, EMFILE}) {
    int left = 2;
    calls.stat = [&left, error](const char* path, struct stat* status) {
      if (path != std::string(kRoot) || left-- <= 0) return wzapp_test::realStat(path, status);
      errno = error;
      return -1;
    };
    lines.clear();

    EXPECT_TRUE(prepare()) << error;
    EXPECT_THAT(lines, IsEmpty());
    left = 3;
    EXPECT_FALSE(prepare()) << error;

    EXPECT_THAT(lines, ElementsAre("Failed to create /mnt/flash/etc/config/wzapp\n"));
    EXPECT_TRUE(terminal.exists(kOldApp));
    EXPECT_FALSE(terminal.exists(kNewApp));
  }
}

TEST_F(ConfigRootTest, TakesTheOlderLayoutOver) {
  fillOldLayout();

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  expectOlderLayoutMoved();
}

// It is looked at this once: what a passing failure left behind would be lost.
TEST_F(ConfigRootTest, TakesTheOlderLayoutOverWhereACallFailsForAMoment) {
  fillOldLayout();
  std::map<std::string, int> left;
  const auto fails = [&left](const char* call, const std::string& path) {
    if (!path.starts_with("/home/sys13/flash/www/")) return false;
    if (left.try_emplace(call + path, 2).first->second-- <= 0) return false;
    errno = EIO;
    return true;
  };
  calls.stat = [&](const char* path, struct stat* status) {
    return fails("stat", path) ? -1 : wzapp_test::realStat(path, status);
  };
  calls.lstat = [&](const char* path, struct stat* status) {
    return fails("lstat", path) ? -1 : wzapp_test::realLstat(path, status);
  };
  calls.rename = [&](const char* from, const char* to) {
    return fails("rename", from) ? -1 : wzapp_test::realRename(from, to);
  };

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(left.size(), 9U);
  EXPECT_EQ(terminal.readFile(kNewApp), "app");
  EXPECT_EQ(terminal.readFile(kNewManifest), "manifest");
  EXPECT_EQ(terminal.readFile(kNewData), "data");
}

TEST_F(ConfigRootTest, TakesOverWhatCannotBeToldToBeThere) {
  fillOldLayout();
  calls.stat = [](const char* path, struct stat* status) {
    if (path != std::string("/home/sys13/flash/www/wz")) return wzapp_test::realStat(path, status);
    errno = ENOMEM;
    return -1;
  };

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(terminal.readFile(kNewApp), "app");
}

// Whether it is somebody else's link.
TEST_F(ConfigRootTest, MovesNothingThatCannotBeLookedAt) {
  fillOldLayout();
  calls.lstat = [](const char*, struct stat*) {
    errno = ENOMEM;
    return -1;
  };

  EXPECT_TRUE(prepare());

  EXPECT_EQ(lines.size(), 3U);
  EXPECT_TRUE(terminal.exists(kOldApp));
  EXPECT_FALSE(terminal.exists(kNewApp));
}

TEST_F(ConfigRootTest, MovesInAFixedOrderByOneRenameEach) {
  fillOldLayout();
  std::vector<std::string> renames;
  calls.rename = [&renames](const char* from, const char* to) {
    renames.push_back(std::string(from) + " " + to);
    return wzapp_test::realRename(from, to);
  };

  EXPECT_TRUE(prepare());

  EXPECT_THAT(renames,
              ElementsAre("/home/sys13/flash/www/wz /mnt/flash/etc/config/wzapp/wz",
                          "/home/sys13/flash/www/mp /mnt/flash/etc/config/wzapp/mp",
                          "/home/sys13/flash/www/fsroot /mnt/flash/etc/config/wzapp/fsroot"));
}

// Killed before each of its operations that change something.
TEST_F(ConfigRootTest, IsMadeUpForWhereverTheFirstStartIsKilled) {
  int kills = 0;
  for (bool isKilled = true; isKilled; kills += isKilled ? 1 : 0) {
    fs::remove_all("/mnt/flash/etc");
    fs::remove_all("/home/sys13/flash");
    fillOldLayout();
    const auto first = [this, kills] {
      int left = kills;
      const auto next = [&left] {
        if (left-- == 0) _exit(kKilled);
      };
      calls.mkdir = [&next](const char* path, mode_t mode) {
        next();
        return wzapp_test::realMkdir(path, mode);
      };
      calls.rename = [&next](const char* from, const char* to) {
        next();
        return wzapp_test::realRename(from, to);
      };
      static_cast<void>(prepare());
    };
    const wzapp_test::ChildResult child = wzapp_test::tryInChild(first);
    ASSERT_EQ(child.failures, "");
    isKilled = WIFEXITED(child.status) && WEXITSTATUS(child.status) == kKilled;
    lines.clear();

    EXPECT_TRUE(prepare()) << kills;

    EXPECT_THAT(lines, IsEmpty()) << kills;
    expectOlderLayoutMoved();
  }
  EXPECT_GE(kills, 7);  // the folders on the way, the root and its mark; three moves
}

TEST_F(ConfigRootTest, TakesTheMarkOfACutFirstStartAway) {
  ASSERT_TRUE(prepare());
  fillOldLayout();
  terminal.makeFolder(kMark);

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  expectOlderLayoutMoved();
}

TEST_F(ConfigRootTest, IsNotUsedWhereNobodyCanTellWhetherItIsWhole) {
  ASSERT_TRUE(prepare());
  fillOldLayout();
  terminal.makeFolder(kMark);
  for (const int error : {ENOMEM, EIO}) {
    int left = 3;
    calls.lstat = [&left, error](const char* path, struct stat* status) {
      if (path != std::string(kMark) || left-- <= 0) return wzapp_test::realLstat(path, status);
      errno = error;
      return -1;
    };
    lines.clear();

    EXPECT_FALSE(prepare()) << error;

    EXPECT_THAT(lines, ElementsAre("Failed to create /mnt/flash/etc/config/wzapp\n"));
    EXPECT_FALSE(terminal.exists(kNewApp));
  }
  calls.lstat = nullptr;

  EXPECT_TRUE(prepare());
  expectOlderLayoutMoved();
}

// What others have put there says nothing, and neither does what is no directory.
TEST_F(ConfigRootTest, LooksAtTheOlderLayoutForAMarkOfItsOwnOnly) {
  ASSERT_TRUE(prepare());
  fillOldLayout();
  terminal.writeFile(kMark, "");
  EXPECT_TRUE(prepare());
  EXPECT_FALSE(terminal.exists(kNewApp));
  fs::remove(kMark);
  terminal.makeFolder(kMark);
  calls.lstat = [](const char* path, struct stat* status) {
    const int result = wzapp_test::realLstat(path, status);
    status->st_uid = geteuid() + 1;
    return result;
  };

  EXPECT_TRUE(prepare());

  EXPECT_FALSE(terminal.exists(kNewApp));
  EXPECT_THAT(lines, IsEmpty());
}

// A root that cannot be had must not leave a mark for one that somebody makes later.
TEST_F(ConfigRootTest, LeavesNoMarkWhereItFails) {
  fillOldLayout();
  calls.mkdir = [](const char* path, mode_t mode) {
    if (path != std::string(kRoot)) return wzapp_test::realMkdir(path, mode);
    errno = EACCES;
    return -1;
  };
  EXPECT_FALSE(prepare());
  EXPECT_FALSE(terminal.exists(kMark));

  calls.mkdir = nullptr;
  calls.getuid = [] { return geteuid() + 1; };
  EXPECT_FALSE(prepare());
  EXPECT_FALSE(terminal.exists(kMark));
}

TEST_F(ConfigRootTest, GoesOnWithoutAMark) {
  fillOldLayout();
  calls.mkdir = [](const char* path, mode_t mode) {
    if (path != std::string(kMark)) return wzapp_test::realMkdir(path, mode);
    errno = ENOSPC;
    return -1;
  };

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  expectOlderLayoutMoved();
}

// Two hosts start for the first time at once.
TEST_F(ConfigRootTest, SaysNothingOfWhatAnotherProcessHasMoved) {
  fillOldLayout();
  calls.rename = [](const char* from, const char* to) {
    EXPECT_EQ(wzapp_test::realRename(from, to), 0);
    return wzapp_test::realRename(from, to);
  };

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  expectOlderLayoutMoved();
}

TEST_F(ConfigRootTest, SaysNothingOfAbsentOldDirectories) {
  terminal.writeFile(kOldManifest, "manifest");

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(terminal.readFile(kNewManifest), "manifest");
  EXPECT_FALSE(terminal.exists("/mnt/flash/etc/config/wzapp/wz"));
  EXPECT_FALSE(terminal.exists("/mnt/flash/etc/config/wzapp/fsroot"));
}

TEST_F(ConfigRootTest, TakesALinkOfTheUserOver) {
  terminal.writeFile("/mnt/flash/elsewhere/file", "app");
  terminal.makeFolder("/home/sys13/flash/www");
  fs::create_directory_symlink("/mnt/flash/elsewhere", "/home/sys13/flash/www/wz");

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_TRUE(fs::is_symlink(wzapp::kAppRoot));
  EXPECT_EQ(terminal.readFile(std::string(wzapp::kAppRoot) + "/file"), "app");
}

class ForeignLinkTest : public ConfigRootTest {
 protected:
  ForeignLinkTest() {
    terminal.writeFile("/mnt/flash/elsewhere/file", "kept");
    terminal.writeFile(kOldManifest, "manifest");
    calls.lstat = [](const char* path, struct stat* status) {
      const int result = wzapp_test::realLstat(path, status);
      if (result == 0 && S_ISLNK(status->st_mode)) status->st_uid = ::getuid() + 1;
      return result;
    };
  }

  static void makeLink() {
    fs::create_directory_symlink("/mnt/flash/elsewhere", "/home/sys13/flash/www/wz");
  }
  void expectOnlyTheManifestsMoved() {
    EXPECT_THAT(lines, ElementsAre("Failed to move /home/sys13/flash/www/wz to "
                                   "/mnt/flash/etc/config/wzapp/wz\n"));
    EXPECT_FALSE(terminal.exists(wzapp::kAppRoot));
    EXPECT_EQ(terminal.readFile(kNewManifest), "manifest");
  }
};

TEST_F(ForeignLinkTest, IsNotTakenOver) {
  makeLink();

  EXPECT_TRUE(prepare());

  expectOnlyTheManifestsMoved();
}

TEST_F(ForeignLinkTest, IsNotTakenOverInPlaceOfADirectory) {
  terminal.writeFile(kOldApp, "app");
  calls.rename = [](const char* from, const char* to) {
    if (std::string(from).ends_with("www/wz")) {
      fs::remove_all(from);
      makeLink();
    }
    return wzapp_test::realRename(from, to);
  };

  EXPECT_TRUE(prepare());

  expectOnlyTheManifestsMoved();
}

struct RenameCase {
  const char* name;
  const char* line;
};

class FailedMoveTest : public ConfigRootTest, public testing::WithParamInterface<RenameCase> {};

TEST_P(FailedMoveTest, LeavesTheOthersToBeMoved) {
  fillOldLayout();
  failRename(std::string("/") + GetParam().name);

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, ElementsAre(GetParam().line));
  EXPECT_TRUE(terminal.exists(std::string("/home/sys13/flash/www/") + GetParam().name));
  for (const char* name : {"wz", "mp", "fsroot"}) {
    const bool wasMoved = std::string(name) != GetParam().name;
    EXPECT_EQ(terminal.exists(std::string(kRoot) + "/" + name), wasMoved) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(All, FailedMoveTest,
                         testing::Values(RenameCase{"wz",
                                                    "Failed to move /home/sys13/flash/www/wz to "
                                                    "/mnt/flash/etc/config/wzapp/wz\n"},
                                         RenameCase{"mp",
                                                    "Failed to move /home/sys13/flash/www/mp to "
                                                    "/mnt/flash/etc/config/wzapp/mp\n"},
                                         RenameCase{
                                             "fsroot",
                                             "Failed to move /home/sys13/flash/www/fsroot to "
                                             "/mnt/flash/etc/config/wzapp/fsroot\n"}));

TEST_F(ConfigRootTest, StaysUsableWhenNothingCanBeMoved) {
  fillOldLayout();
  failRename("");

  EXPECT_TRUE(prepare());

  EXPECT_EQ(lines.size(), 3U);
}

TEST_F(ConfigRootTest, NeverLooksAtTheOlderLayoutAgain) {
  ASSERT_TRUE(prepare());
  fillOldLayout();

  EXPECT_TRUE(prepare());

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_TRUE(terminal.exists(kOldApp));
  EXPECT_FALSE(terminal.exists(kNewApp));
}

TEST_F(ConfigRootTest, CannotBeCreated) {
  fillOldLayout();
  calls.mkdir = [](const char*, mode_t) {
    errno = ENOSPC;
    return -1;
  };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("Failed to create /mnt/flash/etc/config/wzapp\n"));
  EXPECT_TRUE(terminal.exists(kOldApp));
}

TEST_F(ConfigRootTest, CannotBeCreatedBelowAFile) {
  terminal.writeFile("/mnt/flash/etc", "");

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("Failed to create /mnt/flash/etc/config/wzapp\n"));
}

TEST_F(ConfigRootTest, MustBelongToTheUserWhoCreatesIt) {
  fillOldLayout();
  calls.getuid = [] { return uid_t{4711}; };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines,
              ElementsAre("Failed to create /mnt/flash/etc/config/wzapp for correct user\n"));
  EXPECT_TRUE(terminal.exists(kRoot));
  EXPECT_TRUE(terminal.exists(kOldApp));
}

TEST_F(ConfigRootTest, MustBeThereAfterItsCreation) {
  fillOldLayout();
  calls.stat = [](const char* path, struct stat* status) {
    if (std::string(path) != kRoot) return wzapp_test::realStat(path, status);
    errno = ENOENT;
    return -1;
  };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines,
              ElementsAre("Failed to create /mnt/flash/etc/config/wzapp for correct user\n"));
  EXPECT_TRUE(terminal.exists(kOldApp));
}

// Something that is not a directory appears in the moment of the first start.
TEST_F(ConfigRootTest, MustBeADirectoryAfterItsCreationToo) {
  calls.mkdir = [this](const char* path, mode_t mode) {
    if (std::string(path) != kRoot) return wzapp_test::realMkdir(path, mode);
    terminal.writeFile(kRoot, "");
    return 0;
  };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("/mnt/flash/etc/config/wzapp is not a directory\n"));
}

// --- Later starts -----------------------------------------------------------------------------

TEST_F(ConfigRootTest, IsNotTouchedLater) {
  terminal.makeFolder(kRoot);
  ASSERT_EQ(chmod(kRoot, 0500), 0);
  calls.mkdir = [](const char*, mode_t) {
    ADD_FAILURE() << "mkdir";
    return -1;
  };

  EXPECT_TRUE(prepare());

  struct stat status = {};
  ASSERT_EQ(stat(kRoot, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0500U);
}

TEST_F(ConfigRootTest, MustBeADirectory) {
  terminal.writeFile(kRoot, "content");
  fillOldLayout();

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("/mnt/flash/etc/config/wzapp is not a directory\n"));
  EXPECT_EQ(terminal.readFile(kRoot), "content");
  EXPECT_TRUE(terminal.exists(kOldApp));
}

TEST_F(ConfigRootTest, MustBelongToTheUser) {
  terminal.makeFolder(kRoot);
  fillOldLayout();
  calls.getuid = [] { return uid_t{4711}; };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("/mnt/flash/etc/config/wzapp is owned by wrong user\n"));
  EXPECT_TRUE(terminal.exists(kOldApp));
}

TEST_F(ConfigRootTest, IsToldToBeNoDirectoryBeforeItsOwnerCounts) {
  terminal.writeFile(kRoot, "");
  calls.getuid = [] { return uid_t{4711}; };

  EXPECT_FALSE(prepare());

  EXPECT_THAT(lines, ElementsAre("/mnt/flash/etc/config/wzapp is not a directory\n"));
}

TEST_F(ConfigRootTest, RecoversWhenItsOwnerIsPutRight) {
  calls.getuid = [] { return uid_t{4711}; };
  ASSERT_FALSE(prepare());
  calls.getuid = nullptr;

  EXPECT_TRUE(prepare());
}

// --- Install sink -----------------------------------------------------------------------------

TEST_F(ConfigRootTest, InstallsTheSinkThatTheRunReportsTo) {
  ASSERT_TRUE(prepare());

  report("Install %s\n", "shop.zip");

  EXPECT_THAT(lines, ElementsAre("Install shop.zip\n"));
}

TEST_F(ConfigRootTest, InstallsTheSinkEvenWhenItFails) {
  terminal.writeFile(kRoot, "");
  ASSERT_FALSE(prepare());

  report("more\n");

  EXPECT_THAT(lines, ElementsAre("/mnt/flash/etc/config/wzapp is not a directory\n", "more\n"));
}

TEST_F(ConfigRootTest, IsSilentWithoutALog) {
  ASSERT_TRUE(prepare());
  EXPECT_TRUE(prepareConfigRoot(nullptr, &lines));
  report("nobody hears\n");
  fs::remove(kRoot);
  terminal.writeFile(kRoot, "");

  EXPECT_FALSE(prepareConfigRoot(nullptr, &lines));

  EXPECT_THAT(lines, IsEmpty());
}

// --- Threads ----------------------------------------------------------------------------------

TEST_F(ConfigRootTest, TwoFirstStartsAtOnceBothSucceed) {
  // The longer a directory takes to be created, the likelier a second start would be in between.
  calls.mkdir = [](const char* path, mode_t mode) {
    std::this_thread::yield();
    return wzapp_test::realMkdir(path, mode);
  };
  for (int round = 0; round < 100; ++round) {
    fs::remove_all("/mnt/flash/etc");
    fs::remove_all("/home/sys13/flash");
    fillOldLayout();
    std::barrier start(2);
    std::array<Lines, 2> reports;
    std::array<bool, 2> results = {};

    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 2; ++i) {
      threads.emplace_back([&, i] {
        start.arrive_and_wait();
        results[i] = prepareConfigRoot(collectLine, &reports[i]);
      });
    }
    for (std::thread& thread : threads) thread.join();

    ASSERT_THAT(results, ElementsAre(true, true));
    ASSERT_THAT(reports, ElementsAre(IsEmpty(), IsEmpty()));
    ASSERT_EQ(terminal.readFile(kNewData), "data");
  }
}

}  // namespace
}  // namespace wzapp
