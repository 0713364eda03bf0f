// An installed kit, which has no keys beside it: each user's own are made at first use.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class OwnKeysTest : public testing::Test {
 protected:
  // PREFIX/bin/wz and PREFIX/lib, as an installation has them.
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
    fs::create_directories(folder_ / "kit/bin");
    fs::copy_file(WZ_PROGRAM, folder_ / "kit/bin/wz");
    fs::create_directory_symlink(fs::path(WZ_PROGRAM).parent_path().parent_path() / "lib",
                                 folder_ / "kit/lib");
  }

  ProgramResult runAs(const std::string& user, const std::vector<std::string>& arguments) const {
    return runProgram(folder_ / "kit/bin/wz", arguments, [&] {
      unsetenv("WZ_KEYS");
      unsetenv("WZ_TERMINAL");
      setenv("XDG_DATA_HOME", dataOf(user).c_str(), 1);
    });
  }

  // Where the making is not what is tested: it takes seconds.
  void giveKeys(const std::string& user, const std::string& keys = madeKeys()) const {
    fs::create_directories(dataOf(user) + "/wzapp");
    fs::copy(keys, dataOf(user) + "/wzapp/keys", fs::copy_options::recursive);
  }

  [[nodiscard]] std::string dataOf(const std::string& user) const { return folder_ / user; }
  [[nodiscard]] std::string fileOf(const std::string& user) const {
    return folder_ / (user + ".zip");
  }

  SampleApplication app_;
  TemporaryDirectory folder_;
};

TEST_F(OwnKeysTest, AFreshKitPacksForItsOwnTerminals) {
  const ProgramResult packed = runAs("ann", {"pack", app_.path(), "-o", fileOf("ann")});
  const ProgramResult installed = runAs("ann", {"install", fileOf("ann")});

  ASSERT_EQ(packed.code, 0) << packed.errors;
  EXPECT_THAT(packed.errors, AllOf(HasSubstr("made development keys of your own in " +
                                             dataOf("ann") + "/wzapp/keys"),
                                   Not(HasSubstr("WZ-0905"))));
  ASSERT_EQ(installed.code, 0) << installed.out << installed.errors;
  EXPECT_THAT(installed.out, HasSubstr("installed shop 1.2"));
  EXPECT_EQ(runAs("ann", {"inspect", fileOf("ann")}).code, 0);
  EXPECT_EQ(runAs("ann", {"check", fileOf("ann")}).code, 0);
  EXPECT_EQ(runAs("ann", {"remove", "shop"}).code, 0);
  EXPECT_THAT(runAs("ann", {"--version"}).out,
              HasSubstr("table in force: development keys of your own, " + dataOf("ann")));
  EXPECT_THAT(runAs("ann", {"doctor"}).out,
              HasSubstr("authorities: development keys of your own, " + dataOf("ann")));
  EXPECT_EQ(fs::status(dataOf("ann") + "/wzapp/keys").permissions(), fs::perms::owner_all);
}

// Users of one kit do not trust each other's keys.
TEST_F(OwnKeysTest, EveryUserHasKeysOfHisOwn) {
  giveKeys("ann", DEVELOPMENT_KEYS);
  giveKeys("bob");
  ASSERT_EQ(runAs("ann", {"pack", app_.path(), "-o", fileOf("ann")}).code, 0);
  ASSERT_EQ(runAs("bob", {"terminal", "create", folder_ / "desk"}).code, 0);
  ASSERT_EQ(runAs("bob", {"pack", app_.path(), "-o", fileOf("bob")}).code, 0);

  const ProgramResult foreign =
      runAs("bob", {"install", "--terminal", folder_ / "desk", fileOf("ann")});
  const ProgramResult own =
      runAs("bob", {"install", "--terminal", folder_ / "desk", fileOf("bob")});
  // The terminal brings its table along, whoever uses it.
  const ProgramResult borrowed =
      runAs("ann", {"install", "--terminal", folder_ / "desk", fileOf("bob")});

  EXPECT_EQ(foreign.code, kRejected);
  EXPECT_THAT(foreign.out, HasSubstr("CA not found"));
  EXPECT_EQ(own.code, 0) << own.out;
  EXPECT_EQ(borrowed.code, 0) << borrowed.out;
}

TEST_F(OwnKeysTest, TwoFirstUsesAtOnceMakeOneSetOfKeys) {
  ProgramResult first, second;
  std::thread other([&] { second = runAs("ann", {"terminal", "create", folder_ / "one"}); });
  first = runAs("ann", {"terminal", "create", folder_ / "two"});
  other.join();

  EXPECT_EQ(first.code, 0) << first.errors;
  EXPECT_EQ(second.code, 0) << second.errors;
  EXPECT_EQ(contentOf(folder_ / "one/authorities/1.der"),
            contentOf(folder_ / "two/authorities/1.der"));
}

// What cannot be read of a terminal's table trusts nobody, rather than whom the build trusts.
TEST_F(OwnKeysTest, ABrokenTableTrustsNobody) {
  giveKeys("ann");
  ASSERT_EQ(runAs("ann", {"terminal", "create", folder_ / "desk"}).code, 0);
  ASSERT_EQ(runAs("ann", {"pack", app_.path(), "-o", fileOf("ann")}).code, 0);
  folder_.write("desk/authorities/authorities.txt", "nonsense\n");

  const ProgramResult result =
      runAs("ann", {"install", "--terminal", folder_ / "desk", fileOf("ann")});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, HasSubstr("CA not found"));
}

TEST_F(OwnKeysTest, ABuildKeepsToWhatItHasCompiledIn) {
  const ProgramResult made = runWz({"terminal", "create", folder_ / "desk"},
                                   [this] { setenv("XDG_DATA_HOME", dataOf("ann").c_str(), 1); });

  EXPECT_EQ(made.code, 0) << made.errors;
  EXPECT_FALSE(fs::exists(folder_ / "desk/authorities"));
  EXPECT_FALSE(fs::exists(dataOf("ann")));
}

}  // namespace
}  // namespace wzapp_test
