// Where paths lead: which links are followed, and what happens to those that change meanwhile.

#include "installer/place.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using wzapp_test::FileCall;
using wzapp_test::FileCalls;
using wzapp_test::kApps;
using wzapp_test::kConfig;
using wzapp_test::kData;
using wzapp_test::kManifests;

const std::string kElsewhere = "/mnt/flash/elsewhere";

// Where the place really is; the error that it was not found with.
std::string whereIs(bool isFound, const Place& place) {
  if (!isFound) return std::to_string(errno);
  const std::string link = "/proc/self/fd/" + std::to_string(place.directory.get());
  return fs::read_symlink(link).string() + "/" + place.name;
}

std::string found(const std::string& path) {
  Place place;
  const bool isFound = findPlace(path, place);
  return whereIs(isFound, place);
}

std::string made(const std::string& path) {
  Place place;
  const bool isFound = makePlace(path, place);
  return whereIs(isFound, place);
}

std::string error(int number) { return std::to_string(number); }

class PlaceTest : public wzapp_test::RulesTest {
 protected:
  PlaceTest() {
    terminal.makeFolder(kConfig);
    terminal.makeFolder(kElsewhere);
  }

  FileCalls calls;
};

TEST_F(PlaceTest, IsANameInADirectoryThatIsThere) {
  terminal.makeFolder(kApps + "/shop");

  EXPECT_TRUE(found(kApps + "/shop/missing").ends_with("/wz/shop/missing"));
  EXPECT_EQ(found(kApps + "/other/file"), error(ENOENT));
  terminal.writeFile(kApps + "/file", "");
  EXPECT_EQ(found(kApps + "/file/name"), error(ENOTDIR));
  EXPECT_EQ(made(kApps + "/file/name"), error(ENOTDIR));
}

TEST_F(PlaceTest, DoesNotClimb) {
  terminal.makeFolder(kApps + "/shop");

  for (const char* path : {"/shop/..", "/shop/../file", "/./file", "/shop/."}) {
    EXPECT_EQ(found(kApps + path), error(EINVAL)) << path;
    EXPECT_EQ(made(kApps + path), error(EINVAL)) << path;
  }
}

TEST_F(PlaceTest, IsMadeWithItsDirectories) {
  EXPECT_TRUE(made(kApps + "/a/b/file").ends_with("/wz/a/b/file"));

  EXPECT_TRUE(fs::is_directory(kApps + "/a/b"));
  EXPECT_FALSE(terminal.exists(kApps + "/a/b/file"));
}

TEST_F(PlaceTest, LeadsThroughNoLinkBelowTheRoots) {
  terminal.makeFolder(kElsewhere + "/shop");
  terminal.makeFolder(kApps);
  fs::create_directory_symlink(kElsewhere, kApps + "/link");
  fs::create_directory_symlink(kElsewhere, kConfig + "/other");

  EXPECT_EQ(found(kApps + "/link/file"), error(ENOTDIR));
  EXPECT_EQ(made(kApps + "/link/shop/file"), error(ENOTDIR));
  EXPECT_EQ(found(kConfig + "/other/file"), error(ENOTDIR));
  EXPECT_EQ(made(kConfig + "/other/wz/file"), error(ENOTDIR));
}

TEST_F(PlaceTest, MayBeBelowARootThatIsALinkOfTheUser) {
  for (const std::string& root : {kApps, kManifests, kData}) {
    fs::create_directory_symlink(kElsewhere, root);
    EXPECT_TRUE(found(root + "/file").ends_with("/elsewhere/file")) << root;
    fs::remove(root);
    fs::create_directory_symlink("../../../elsewhere", root);
    EXPECT_TRUE(made(root + "/a/file").ends_with("/elsewhere/a/file")) << root;
    fs::create_directory_symlink(kElsewhere, root + "/link");
    EXPECT_EQ(made(root + "/link/file"), error(ENOTDIR)) << root;
    fs::remove_all(kElsewhere + "/a");
    fs::remove(kElsewhere + "/link");
  }
}

TEST_F(PlaceTest, IsNotBelowARootThatIsALinkToNothing) {
  fs::create_directory_symlink("nowhere", kApps);

  EXPECT_EQ(made(kApps + "/shop/file"), error(ENOENT));
  EXPECT_FALSE(terminal.exists(kConfig + "/nowhere"));
}

// The link of another user: seen as one, since a test cannot make it.
TEST_F(PlaceTest, IsNotBelowARootThatIsSomebodyElsesLink) {
  fs::create_directory_symlink(kElsewhere, kApps);
  calls.atStatus = [](struct stat& status) {
    if (S_ISLNK(status.st_mode)) status.st_uid = getuid() + 1;
  };
  EXPECT_EQ(found(kApps + "/file"), error(ENOTDIR));
  EXPECT_EQ(made(kApps + "/shop/file"), error(ENOTDIR));

  calls.atStatus = [](struct stat& status) {
    if (S_ISLNK(status.st_mode)) status.st_uid = 0;
  };
  EXPECT_TRUE(found(kApps + "/file").ends_with("/elsewhere/file"));
}

// --- Meanwhile --------------------------------------------------------------------------------

TEST_F(PlaceTest, IsMadeWhereAnotherMadeTheDirectoryMeanwhile) {
  calls.hook = [](const FileCall& call) {
    if (call.function == "mkdirat" && call.name == "shop") fs::create_directory(kApps + "/shop");
    return 0;
  };

  EXPECT_TRUE(made(kApps + "/shop/file").ends_with("/wz/shop/file"));
}

TEST_F(PlaceTest, IsNotMadeThroughALinkThatAppearsMeanwhile) {
  calls.hook = [](const FileCall& call) {
    if (call.function == "mkdirat" && call.name == "shop") {
      fs::create_directory_symlink(kElsewhere, kApps + "/shop");
    }
    return 0;
  };

  EXPECT_EQ(made(kApps + "/shop/file"), error(ENOTDIR));
}

TEST_F(PlaceTest, IsNotMadeWhereAFileAppearsMeanwhile) {
  calls.hook = [this](const FileCall& call) {
    if (call.function == "mkdirat" && call.name == "shop") terminal.writeFile(kApps + "/shop", "");
    return 0;
  };

  EXPECT_EQ(made(kApps + "/shop/file"), error(ENOTDIR));
}

TEST_F(PlaceTest, IsNotMadeWithoutTheRightTo) {
  calls.hook = [](const FileCall& call) { return call.function == "mkdirat" ? EACCES : 0; };

  EXPECT_EQ(made(kApps + "/shop/file"), error(EACCES));
}

TEST_F(PlaceTest, StaysTheDirectoryThatItWas) {
  terminal.makeFolder(kApps + "/shop");
  Place place;
  ASSERT_TRUE(findPlace(kApps + "/shop/file", place));
  fs::rename(kApps + "/shop", kApps + "/moved");
  fs::create_directory_symlink(kElsewhere, kApps + "/shop");

  const FileDescriptor file(
      openat(place.directory.get(), place.name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));

  EXPECT_TRUE(terminal.exists(kApps + "/moved/file"));
  EXPECT_EQ(fcntl(place.directory.get(), F_GETFD), FD_CLOEXEC);
}

}  // namespace
}  // namespace wzapp
