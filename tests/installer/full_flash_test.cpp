// Updates on a file system that has no room for them: the old version stays whole.
//
// Here that is a memory file system of a child process's own. With WZAPP_SMALL_FLASH=1 it is the
// one that the temporary terminal lies on (TMPDIR); full_flash.sh makes one and runs this there.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "installer/space_check.h"
#include "installer/temporary_file.h"
#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/builders/own_namespace.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"
#include "tests/installer/install_scenario.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using namespace wzapp_test;

constexpr std::size_t kKilo = 1024;
constexpr std::size_t kMega = 1024 * kKilo;
const std::string kFlash = "/mnt/flash";
const std::string kFiller = kFlash + "/filler";

// One version of the application "shop": `parts` files of a size beside its page.
struct Version {
  std::string page;
  std::size_t parts;
  std::size_t partSize;

  [[nodiscard]] ZipBuilder archive() const {
    ZipBuilder archive;
    archive.file("shop.MFT", manifestFor("shop")).file("shop/index.html", page);
    for (std::size_t i = 0; i < parts; ++i) archive.stored(part(i), noise(partSize));
    return archive;
  }

  [[nodiscard]] std::string package() const { return packageOf(archive()); }

  [[nodiscard]] static std::string packageOf(const ZipBuilder& archive) {
    return withSigners()
        .inner("SHOP.ZIP", archive)
        .signedBy(applicationSigner())
        .inner("SHOP-O.ZIP", manifestArchive("shop"))
        .signedBy(manifestSigner())
        .build();
  }

  static std::string part(std::size_t number) {
    return "shop/parts" + std::to_string(number % 3) + "/" + std::to_string(number);
  }

  // Whether this is what is installed, and nothing else.
  [[nodiscard]] bool isThere() const {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kApps)) {
      if (entry.is_regular_file()) ++files;
    }
    if (files != parts + 2) return false;
    for (std::size_t i = 0; i < parts; ++i) {
      std::error_code missing;
      if (fs::file_size(kApps + "/" + part(i), missing) != partSize) return false;
    }
    return true;
  }
};

const Version kOld = {"old", 4, 100 * kKilo};
const Version kNew = {"new", 12, 70 * kKilo};

// Takes so much of the file system that `octets` are left.
void leaveFree(std::uint64_t octets) {
  struct statvfs status = {};
  ASSERT_EQ(statvfs(kFlash.c_str(), &status), 0);
  const std::uint64_t free = std::uint64_t{status.f_bavail} * status.f_frsize;
  ASSERT_GT(free, octets);
  const int file = open(kFiller.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ASSERT_GE(file, 0);
  ASSERT_EQ(posix_fallocate(file, 0, static_cast<off_t>(free - octets)), 0);
  close(file);
}

// What a file takes of the file system.
std::uint64_t roomOf(const std::string& path) {
  constexpr std::uint64_t kStatusBlock = 512;
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return static_cast<std::uint64_t>(status.st_blocks) * kStatusBlock;
}

class FullFlashTest : public wzapp_test::InstallTest {
 protected:
  void SetUp() override {
    if (hasForeignThread()) GTEST_SKIP() << "an emulator cannot enter a user namespace";
  }

  // Installs the old version, then the new one where `limit` has taken the room. True if it is
  // there; otherwise the old one is.
  template <typename Limit>
  bool isUpdated(const Limit& limit) {
    fs::remove_all(kConfig);
    fs::remove(kFiller);
    fs::create_directories(kSource);
    fs::permissions(kSource, fs::perms{0777});
    drop("shop.zip", oldPackage_);
    EXPECT_EQ(install(), kInstallOk);
    EXPECT_TRUE(kOld.isThere());
    drop("shop.zip", newPackage_);
    limit();

    const int result = install();

    EXPECT_THAT(lines, testing::Contains("shop\n"));  // the list of what is installed
    EXPECT_FALSE(fs::exists(kSource + "/shop.zip"));
    const std::string page = read(kApps + "/shop/index.html");
    if (page == kNew.page) {
      EXPECT_TRUE(kNew.isThere());
      EXPECT_EQ(result, kInstallOk);
      return true;
    }
    EXPECT_EQ(page, kOld.page);
    EXPECT_TRUE(kOld.isThere());
    EXPECT_EQ(result, kInstallError);
    return false;
  }

  // From no free space at all to enough.
  void updateInEverySpace() {
    constexpr std::uint64_t kStep = 75 * kKilo;
    const std::uint64_t enough = TemporaryFile::kReserve + 4 * newPackage_.size();
    std::size_t updates = 0;
    std::size_t refusals = 0;
    for (std::uint64_t free = 0; free <= enough; free += kStep) {
      SCOPED_TRACE(free);
      const bool isDone = isUpdated([free] { leaveFree(free); });
      ++(isDone ? updates : refusals);
      ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(updates, 0U);
    EXPECT_GT(refusals, 10U);
  }

  const std::string oldPackage_ = kOld.package();
  const std::string newPackage_ = kNew.package();
};

TEST_F(FullFlashTest, KeepsTheOldVersionWhereTheNewOneHasNoRoom) {
  runInChild([this] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    updateInEverySpace();
  });
}

TEST_F(FullFlashTest, KeepsTheOldVersionWhereThereAreNoFilesForTheNewOne) {
  runInChild([this] {
    enterOwnNamespace();
    std::set<bool> outcomes;
    for (int files = 24; files < 45; ++files) {
      SCOPED_TRACE(files);
      mountMemory(kFlash, "size=24m,nr_inodes=" + std::to_string(files));
      outcomes.insert(isUpdated([] {}));
      ASSERT_EQ(umount(kFlash.c_str()), 0);
    }
    EXPECT_EQ(outcomes.size(), 2U);
  });
}

TEST_F(FullFlashTest, OfTheMachineKeepsTheOldVersionWhereTheNewOneHasNoRoom) {
  const char* const folder = std::getenv("WZAPP_SMALL_FLASH");
  if (folder == nullptr) {
    GTEST_SKIP() << "only in a small file system: tests/installer/full_flash.sh";
  }
  runInChild([this, folder] {
    enterOwnNamespace();
    ASSERT_EQ(mount(folder, kFlash.c_str(), nullptr, MS_BIND, nullptr), 0);
    updateInEverySpace();
  });
}

// What an entry outside the root would replace is not removed for it, and makes no room: least of
// all everything below the root.
TEST_F(FullFlashTest, FindsNoRoomOutsideTheApplication) {
  const std::string package = Version::packageOf(kNew.archive().file("/far/away", "x"));
  runInChild([&] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    fs::create_directories(kSource);
    fs::permissions(kSource, fs::perms{0777});
    drop("shop.zip", oldPackage_);
    ASSERT_EQ(install(), kInstallOk);
    std::ofstream(kApps + "/other") << noise(4 * kMega);
    drop("shop.zip", package);
    leaveFree(TemporaryFile::kReserve + package.size() + 100 * kKilo);

    EXPECT_EQ(install(), kInstallError);

    EXPECT_EQ(read(kApps + "/shop/index.html"), kOld.page);
    EXPECT_EQ(fs::file_size(kApps + "/" + Version::part(3)), kOld.partSize);
  });
}

// Without what the old version holds there would be too little.
TEST_F(FullFlashTest, TakesTheRoomOfTheOldVersion) {
  constexpr std::uint64_t kHalfOfTheOld = 200 * kKilo;
  runInChild([this] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");

    EXPECT_TRUE(isUpdated(
        [this] { leaveFree(TemporaryFile::kReserve + 2 * newPackage_.size() - kHalfOfTheOld); }));
  });
}

// Each operation of the installation in turn, once and for good: what cannot be found out is not
// taken for room.
TEST_F(FullFlashTest, KeepsTheOldVersionWhereACallFails) {
  static bool isInstalling;  // of the application itself
  const ZipBuilder withoutTop = ZipBuilder()
                                    .file("shop/index.html", kNew.page)
                                    .stored("shop/large", noise(kNew.parts * kNew.partSize));
  const std::string packages[] = {newPackage_, Version::packageOf(withoutTop)};
  runInChild([&] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    fs::create_directories(kSource);
    fs::permissions(kSource, fs::perms{0777});
    drop("shop.zip", oldPackage_);
    ASSERT_EQ(install(), kInstallOk);
    leaveFree(TemporaryFile::kReserve);
    atLine = [](const std::string& line) { isInstalling = line == "Extracting SHOP.ZIP\n"; };
    FileCalls calls;
    const std::size_t step = triesEveryPoint() ? 1 : 7;
    std::size_t first = 0;  // another sample each time
    for (const std::string& package : packages) {
      for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR}) {
        for (const bool isForGood : {false, true}) {
          std::size_t disturbed = 0;  // runs
          std::size_t count = 1;      // of operations that failed in one
          for (std::size_t nth = first++ % step; count > 0; nth += step) {
            drop("shop.zip", package);
            count = 0;
            std::size_t seen = 0;
            FileCall failed;
            calls.hook = [&](const FileCall& call) {
              if (!isInstalling) return 0;
              const bool isRepeated = isForGood && call.function == failed.function;
              const std::size_t number = seen++;
              if (number != nth && !(number > nth && isRepeated)) return 0;
              failed = call;
              ++count;
              return error;
            };

            static_cast<void>(install());

            calls.hook = nullptr;
            disturbed += count > 0 ? 1 : 0;
            ASSERT_TRUE(kOld.isThere()) << nth << ": " << failed.function << " " << failed.name;
            ASSERT_EQ(read(kApps + "/shop/index.html"), kOld.page) << nth;
          }
          EXPECT_GT(disturbed, 2U) << error;
        }
      }
    }
  });
  atLine = nullptr;
}

// A new version without an old one has nothing to lose, and takes what there is.
TEST_F(FullFlashTest, TakesTheReserveForANewApplication) {
  runInChild([this] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    fs::create_directories(kSource);
    fs::permissions(kSource, fs::perms{0777});
    drop("shop.zip", newPackage_);
    leaveFree(2 * newPackage_.size() + 100 * kKilo);

    EXPECT_EQ(install(), kInstallOk);

    EXPECT_TRUE(kNew.isThere());
  });
}

// It is cut only once its new content has room.
TEST_F(FullFlashTest, KeepsAManifestWhoseNewContentHasNoRoom) {
  const std::string longer = manifestFor("shop") + std::string(300 * kKilo, ' ');
  const std::string package =
      withSigners()
          .inner("SHOP-O.ZIP", ZipBuilder().file("shop/mpmanifest.mft", longer))
          .signedBy(manifestSigner())
          .build();
  runInChild([&] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    EXPECT_FALSE(isUpdated([&] {
      drop("shop.zip", package);
      leaveFree(200 * kKilo);
    }));
    EXPECT_EQ(read(kManifests + "/shop/mpmanifest.mft"), manifestFor("shop"));
    EXPECT_LE(roomOf(kManifests + "/shop/mpmanifest.mft"), 8 * kKilo);
  });
}

// Whatever says so, and where the file system cannot set room aside, what it says is free.
TEST_F(FullFlashTest, KeepsAManifestByWhatTheFileSystemSays) {
  struct Answer {
    int error;
    bool isFull;
    bool isUpdated;
  };
  constexpr Answer kAnswers[] = {{ENOSPC, false, false},    {EDQUOT, false, false},
                                 {EFBIG, false, false},     {EOPNOTSUPP, false, true},
                                 {EOPNOTSUPP, true, false}, {ENOSYS, true, false}};
  const std::string longer = manifestFor("shop") + std::string(300 * kKilo, ' ');
  const std::string package =
      withSigners()
          .inner("SHOP-O.ZIP", ZipBuilder().file("shop/mpmanifest.mft", longer))
          .signedBy(manifestSigner())
          .build();
  for (const Answer& answer : kAnswers) {
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop"));
    drop("shop.zip", package);
    FileCalls calls;
    bool isAsked = false;
    calls.hook = [&](const FileCall& call) {
      if (call.function == "unzReadCurrentFile") isAsked = false;
      if (call.function != "fallocate") return 0;
      isAsked = true;
      return answer.error;
    };
    calls.atSpace = [&](struct statvfs& status) {
      if (isAsked && answer.isFull) status.f_bavail = 0;
    };

    const int result = install();

    EXPECT_EQ(result, answer.isUpdated ? kInstallOk : kInstallError) << answer.error;
    EXPECT_EQ(read(kManifests + "/shop/mpmanifest.mft").size(),
              (answer.isUpdated ? longer : manifestFor("shop")).size())
        << answer.error;
  }
}

// What a manifest states beyond what it brings is not kept for it.
TEST_F(FullFlashTest, GivesTheRoomBackThatAManifestOnlyStates) {
  ZipEntry entry;
  entry.name = "shop/mpmanifest.mft";
  entry.content = manifestFor("shop") + "\n";
  entry.size = 5 * kMega;
  const std::string package = withSigners()
                                  .inner("SHOP-O.ZIP", ZipBuilder().entry(entry))
                                  .signedBy(manifestSigner())
                                  .build();
  runInChild([&] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    fs::create_directories(kSource);
    fs::permissions(kSource, fs::perms{0777});
    drop("shop.zip", oldPackage_);
    ASSERT_EQ(install(), kInstallOk);
    drop("shop.zip", package);

    EXPECT_EQ(install(), kInstallOk);

    EXPECT_EQ(read(kManifests + "/shop/mpmanifest.mft"), entry.content);
    EXPECT_LE(roomOf(kManifests + "/shop/mpmanifest.mft"), 8 * kKilo);
  });
}

// Whether a file of that size fits below `root`.
bool fits(const std::string& root, std::uint64_t size) {
  SpaceCheck check(root);
  check.addWritten(root + "/file", size);
  return check.fits();
}

// The last size that fits and the first that does not: a block that is begun counts as a whole, and
// one that ends with the file is the last.
TEST_F(FullFlashTest, HasRoomForWholeBlocksUpToTheReserve) {
  runInChild([] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    struct statvfs status = {};
    ASSERT_EQ(statvfs(kFlash.c_str(), &status), 0);
    const std::uint64_t block = status.f_frsize;
    const std::uint64_t room = status.f_bavail * block - TemporaryFile::kReserve;
    ASSERT_EQ(room % block, 0U);

    EXPECT_TRUE(fits(kFlash, room));
    EXPECT_FALSE(fits(kFlash, room + 1));
    EXPECT_TRUE(fits(kFlash, room - block + 1));
    EXPECT_TRUE(fits(kFlash, room - block));
    EXPECT_FALSE(fits(kFlash, UINT64_MAX));
  });
}

// Whether a file fits that is too large by half of what the old version has at `path`.
bool fitsInstead(void (SpaceCheck::*add)(const std::string&), const std::string& path) {
  struct statvfs status = {};
  EXPECT_EQ(statvfs(kApps.c_str(), &status), 0);
  const std::uint64_t room = status.f_bavail * status.f_frsize - TemporaryFile::kReserve;
  SpaceCheck check(kApps);
  check.addWritten(kApps + "/file", room + kMega / 2);
  EXPECT_FALSE(check.fits());
  EXPECT_FALSE(check.hasOldVersion());
  (check.*add)(path);
  return check.fits();
}

// What goes for the new version makes room for it, unless it stays under another name or frees
// another file system.
TEST_F(FullFlashTest, CountsWhatTheOldVersionLeaves) {
  runInChild([] {
    enterOwnNamespace();
    mountMemory(kFlash, "size=24m");
    fs::create_directories(kApps + "/shop/deep");
    fs::create_directories(kApps + "/elsewhere");
    mountMemory(kApps + "/elsewhere", "size=4m");
    for (const char* const file : {"/shop/deep/part", "/shop.MFT", "/linked", "/elsewhere/part"}) {
      std::ofstream(kApps + file) << noise(kMega);
    }
    fs::create_hard_link(kApps + "/linked", kFlash + "/link");

    EXPECT_TRUE(fitsInstead(&SpaceCheck::addReplaced, kApps + "/shop.MFT"));
    EXPECT_TRUE(fitsInstead(&SpaceCheck::addRemoved, kApps + "/shop.MFT"));
    EXPECT_TRUE(fitsInstead(&SpaceCheck::addRemoved, kApps + "/shop"));
    EXPECT_FALSE(fitsInstead(&SpaceCheck::addReplaced, kApps + "/shop"));
    EXPECT_FALSE(fitsInstead(&SpaceCheck::addReplaced, kApps + "/none"));
    EXPECT_FALSE(fitsInstead(&SpaceCheck::addReplaced, kApps + "/linked"));
    EXPECT_FALSE(fitsInstead(&SpaceCheck::addRemoved, kApps + "/linked"));
    EXPECT_FALSE(fitsInstead(&SpaceCheck::addRemoved, kApps + "/elsewhere"));
  });
}

}  // namespace
}  // namespace wzapp
