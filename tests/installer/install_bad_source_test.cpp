// A source directory, and roots, in which other processes have put what is no file: nothing is
// waited for, nothing outside is touched.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "tests/installer/bad_input_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using namespace wzapp_test;
using testing::ElementsAre;

const std::string kOutside = "/mnt/flash/outside";

// --- What may lie around ----------------------------------------------------------------------

void makePipe(const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0666), 0); }

void makeSocket(const std::string& path) {
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(descriptor);
}

// The one device that any user may make.
void makeDevice(const std::string& path) {
  ASSERT_EQ(mknod(path.c_str(), S_IFCHR | 0666, makedev(0, 0)), 0);
}

auto linkTo(const std::string& target) {
  return [target](const std::string& path) { fs::create_symlink(target, path); };
}

void makeLoop(const std::string& path) { fs::create_symlink(path, path); }

// More links one after the other than a path may have.
void makeChain(const std::string& path) {
  std::string target = kOutside + "/package";
  for (int i = 0; i < 50; ++i) {
    const std::string link = kOutside + "-" + std::to_string(i);
    fs::remove(link);
    fs::create_symlink(target, link);
    target = link;
  }
  fs::create_symlink(target, path);
}

void makeEmptyFolder(const std::string& path) { fs::create_directory(path); }

// A file that its owner may not read.
void makeUnreadable(const std::string& path) {
  fs::copy_file(kOutside + "/package", path);
  fs::permissions(path, fs::perms::none);
}

struct Thing {
  const char* label;
  std::function<void(const std::string& path)> make;
  // What a name for it tells of it.
  enum class Kind { kFolder, kNothing, kOther } kind = Kind::kOther;
};

void PrintTo(const Thing& thing, std::ostream* out) { *out << thing.label; }

const std::vector<Thing>& things() {
  using Kind = Thing::Kind;
  static const std::vector<Thing> all = {
      {"Pipe", makePipe},
      {"Socket", makeSocket},
      {"Device", makeDevice},
      {"EmptyFolder", makeEmptyFolder, Kind::kFolder},
      {"UnreadableFile", makeUnreadable},
      {"LinkToNothing", linkTo("nowhere"), Kind::kNothing},
      {"LinkToItself", makeLoop, Kind::kNothing},
      {"LinksWithoutEnd", makeChain, Kind::kNothing},
      {"LinkToAFile", linkTo(kOutside + "/file")},
      {"LinkToAFolder", linkTo(kOutside), Kind::kFolder},
      {"LinkToTheTop", linkTo("/"), Kind::kFolder},
      {"LinkToItsOwnFolder", linkTo("."), Kind::kFolder},
      {"LinkToAnEndlessDevice", linkTo("/dev/zero")},
      {"LinkToAFullDevice", linkTo("/dev/full")},
      {"LinkToAPipe", linkTo(kOutside + "/pipe")},
      {"LinkToAFileOfTheKernel", linkTo("/proc/self/environ")},
  };
  return all;
}

class BadSourceTest : public BadInputTest {
 protected:
  BadSourceTest() {
    terminal.writeFile(kOutside + "/file", "kept");
    terminal.writeFile(kOutside + "/package", applicationPackage("bad").build());
    makePipe(kOutside + "/pipe");
  }

  // Makes something at `path` and drops the sound package, so that it is listed behind it. Returns
  // the name of the package file.
  std::string dropBehind(const std::string& name,
                         const std::function<void(const std::string& path)>& make) {
    const std::string path = kSource + "/" + name;
    for (int i = 0; i < 100; ++i) {
      const std::string good = std::to_string(i) + ".zip";
      if (i % 2 == 0) make(path);
      drop(good, applicationPackage(kGood));
      if (i % 2 != 0) make(path);
      if (listed(kSource).back() == good) return good;
      fs::remove(path);
      fs::remove(kSource + "/" + good);
    }
    ADD_FAILURE() << "a directory without an order";
    return "";
  }

  void expectOutsideUntouched() const {
    EXPECT_THAT(treeOf(kOutside), ElementsAre("file", "package", "pipe"));
    EXPECT_EQ(read(kOutside + "/file"), "kept");
  }
};

class ThingTest : public BadSourceTest, public testing::WithParamInterface<Thing> {};

INSTANTIATE_TEST_SUITE_P(All, ThingTest, testing::ValuesIn(things()),
                         [](const auto& test) { return test.param.label; });

TEST_P(ThingTest, NamedLikeAPackageIsReportedAndDeleted) {
  const std::string good = dropBehind("x.zip", GetParam().make);

  EXPECT_EQ(install(), kInstallError);

  const std::string path = kSource + "/x.zip";
  expectLog(logOf({beginLines(), "Install " + path + "\n", unreadable(path), openLines(good),
                   goodLines(), goodRulesLines(), endLines({kGood}, "ERROR")}));
  EXPECT_EQ(tree(), goodTree());
  EXPECT_THAT(dropped(), testing::IsEmpty());
  expectOutsideUntouched();
}

TEST_P(ThingTest, WithAShortNameIsDeletedUnread) {
  const std::string good = dropBehind("x", GetParam().make);

  EXPECT_EQ(install(), kInstallOk);

  expectLog(logOf(
      {beginLines(), openLines(good), goodLines(), goodRulesLines(), endLines({kGood}, "OK")}));
  EXPECT_THAT(dropped(), testing::IsEmpty());
  expectOutsideUntouched();
}

TEST_P(ThingTest, WithAnotherNameIsLeftAlone) {
  const std::string good = dropBehind("x.package", GetParam().make);

  EXPECT_EQ(install(), kInstallOk);

  expectLog(logOf(
      {beginLines(), openLines(good), goodLines(), goodRulesLines(), endLines({kGood}, "OK")}));
  EXPECT_EQ(listed(kSource), std::vector<std::string>{"x.package"});
  expectOutsideUntouched();
}

// The installer's own file has a name that everybody knows.
TEST_P(ThingTest, NamedLikeTheTemporaryFileMakesRoomForIt) {
  const std::string good = dropBehind("installer.tmp", GetParam().make);

  EXPECT_EQ(install(), kInstallOk);

  expectLog(logOf(
      {beginLines(), openLines(good), goodLines(), goodRulesLines(), endLines({kGood}, "OK")}));
  EXPECT_EQ(tree(), goodTree());
  EXPECT_THAT(dropped(), testing::IsEmpty());
  expectOutsideUntouched();
}

TEST_P(ThingTest, InPlaceOfTheSourceDirectory) {
  if (GetParam().kind == Thing::Kind::kFolder) return;  // it may be one
  fs::remove(kSource);
  GetParam().make(kSource);

  EXPECT_EQ(install(), kInstallNoPackage);

  expectLog(logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
  expectOutsideUntouched();
}

// --- Names ------------------------------------------------------------------------------------

// None of them is a format, and none leads anywhere else.
TEST_F(BadSourceTest, NamesOfPackageFiles) {
  std::vector<std::string> names = {"%s%n%x.zip",  "%.zip",    "a\nError: forged.zip",
                                    "\x1B[2J.zip", "\x01.zip", "\\..\\..\\x.zip",
                                    "C:x.zip",     "..zip",    "....zip",
                                    "-o.zip",      " .zip",    "\xFF\xFE.zip",
                                    "a.ZIP.zip",   "~.Zip",    std::string(251, 'n') + ".zip"};
  for (const std::string& name : names) drop(name, "no archive");
  drop("good.zip", applicationPackage(kGood));
  Lines expected = beginLines();
  for (const std::string& name : listed(kSource)) {
    const std::string path = kSource + "/" + name;
    append(expected, name == "good.zip" ? logOf({openLines(name), goodLines()})
                                        : Lines{"Install " + path + "\n", unreadable(path)});
  }

  EXPECT_EQ(install(), kInstallError);

  expectLog(logOf({expected, goodRulesLines(), endLines({kGood}, "ERROR")}));
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// --- Rights -----------------------------------------------------------------------------------

class Mode {
 public:
  Mode(const std::string& path, mode_t mode) : path_(path) {
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
  }
  ~Mode() { chmod(path_.c_str(), 0777); }
  Mode(const Mode&) = delete;
  Mode& operator=(const Mode&) = delete;

 private:
  std::string path_;
};

// It is put right for the next run.
TEST_F(BadSourceTest, ASourceDirectoryThatCannotBeListed) {
  drop("good.zip", applicationPackage(kGood));
  const Mode mode(kSource, 0300);

  EXPECT_EQ(install(), kInstallNoPackage);

  expectLog(logOf({beginLines(), rulesLines(), endLines({}, "NO PACKAGE")}));
  EXPECT_EQ(install(), kInstallOk);
  EXPECT_EQ(tree(), goodTree());
}

TEST_F(BadSourceTest, ASourceDirectoryThatCannotBeEntered) {
  drop("good.zip", applicationPackage(kGood));
  const Mode mode(kSource, 0600);
  const std::string path = kSource + "/good.zip";

  EXPECT_EQ(install(), kInstallError);

  expectLog(logOf({beginLines(), "Install " + path + "\n", unreadable(path), rulesLines(),
                   endLines({}, "ERROR")}));
}

// Neither is there room for a copy, nor can the package be deleted.
TEST_F(BadSourceTest, ASourceDirectoryThatCannotBeWrittenTo) {
  drop("good.zip", applicationPackage(kGood));
  const Mode mode(kSource, 0500);

  EXPECT_EQ(install(), kInstallError);

  expectLog(logOf({beginLines(), openLines("good.zip"), signerLines(), extractedLines("GOOD-O.ZIP"),
                   unreadable("GOOD-O.ZIP"), extractedLines("GOOD.ZIP"), unreadable("GOOD.ZIP"),
                   rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), testing::IsEmpty());
  EXPECT_THAT(dropped(), ElementsAre("good.zip"));
}

// --- Roots ------------------------------------------------------------------------------------

// In place of every manifest that is read.
TEST_P(ThingTest, InPlaceOfManifests) {
  const bool isGone = GetParam().kind == Thing::Kind::kNothing;  // as far as a status tells
  const std::string folder = kManifests + "/bad";
  const std::string manifest = folder + "/mpmanifest.mft";
  const std::string exporter = "/home/usr1/www/x.mft";
  terminal.makeFolder(folder);
  terminal.makeFolder("/home/usr1/www");
  GetParam().make(manifest);
  fs::rename(manifest, exporter);
  GetParam().make(manifest);

  const int result = install();

  Lines expected = logOf({beginLines(), "postinstall\n", "Checking bad\n"});
  if (isGone) {
    expected.push_back("Warning: " + manifest + " not found\n");
  } else if (GetParam().kind == Thing::Kind::kFolder) {
    expected.push_back("Error: app id missing in " + manifest + "\n");
  } else {
    expected.push_back("Error: Cannot read '" + manifest +
                       "', invalid permissions or invalid format\n");
  }
  append(expected, {"Removing " + folder + "\n", "Checking dependencies\n",
                    exporter + " not in JSON format, skipping.\n"});
  EXPECT_EQ(result, isGone ? kInstallWarning : kInstallError);
  expectLog(logOf({expected, endLines({}, isGone ? "WARNING" : "ERROR")}));
  EXPECT_FALSE(terminal.exists(folder));
  EXPECT_EQ(read(kOutside + "/file"), "kept");
}

}  // namespace
}  // namespace wzapp
