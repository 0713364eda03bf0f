#include "installer/entry_path.h"

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>

#include "support/file_system.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

using wzapp_test::kApps;

struct NameCase {
  const char* name;
  const char* path;
};

void PrintTo(const NameCase& row, std::ostream* out) { *out << '"' << row.name << '"'; }

class SanitizeEntryPathTest : public testing::TestWithParam<NameCase> {};

TEST_P(SanitizeEntryPathTest, GivesAPathThatDoesNotClimb) {
  EXPECT_EQ(sanitizeEntryPath(GetParam().name), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, SanitizeEntryPathTest,
    testing::Values(NameCase{"", ""}, NameCase{".", "."}, NameCase{"/", "/"}, NameCase{"\\", "/"},
                    NameCase{"a", "a"}, NameCase{"..", "_"}, NameCase{"...", "..."},
                    NameCase{"../", "_/"}, NameCase{"/..", "/_"}, NameCase{"../a", "_/a"},
                    NameCase{"a/..", "a/_"}, NameCase{"../..", "_/_"}, NameCase{"/../", "/_/"},
                    NameCase{"..a", "..a"}, NameCase{"a..", "a.."}, NameCase{"a../b", "a../b"},
                    NameCase{"./a", "./a"}, NameCase{"../../etc/passwd", "_/_/etc/passwd"},
                    NameCase{"/../../../a", "/_/_/_/a"}, NameCase{"a/../../../..", "a/_/_/_/_"},
                    NameCase{"a\\..\\b", "a/_/b"}, NameCase{"..\\..\\a\\..", "_/_/a/_"},
                    NameCase{"/etc/passwd", "/etc/passwd"}, NameCase{"C:/x", "C:/x"},
                    NameCase{"a//../b", "a//_/b"}));

// Of the characters that matter.
TEST(SanitizeEntryPathRandomTest, NeverLeadsOutOfTheRootUnlessItIsAbsolute) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string name;
    const std::size_t size = random() % 12;
    while (name.size() < size) name += "../\\a:"[random() % 6];

    const std::string path = joinPath(kApps, sanitizeEntryPath(name));

    ASSERT_EQ(path.find("/../"), std::string::npos) << name;
    if (isAbsolutePath(sanitizeEntryPath(name))) continue;
    ASSERT_TRUE(path == kApps || isBelow(path, kApps)) << name;
  }
}

struct BelowCase {
  const char* path;
  bool isBelow;
};

void PrintTo(const BelowCase& row, std::ostream* out) { *out << '"' << row.path << '"'; }

class IsBelowTest : public testing::TestWithParam<BelowCase> {};

TEST_P(IsBelowTest, TellsWhereAPathLies) {
  EXPECT_EQ(isBelow(GetParam().path, "/root/of"), GetParam().isBelow);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, IsBelowTest,
    testing::Values(BelowCase{"/root/of/a", true}, BelowCase{"/root/of/a/b", true},
                    BelowCase{"/root/of", false}, BelowCase{"/root/offside", false},
                    BelowCase{"/root", false}, BelowCase{"/", false}, BelowCase{"", false},
                    BelowCase{"root/of/a", false}, BelowCase{"C:/root/of/a", false}));

struct DestinationCase {
  const char* name;
  const char* path;
  const char* normalized;
  bool isBelowRoot;
};

constexpr DestinationCase kDestinations[] = {
    {"a/long/name/of/a/file.html", "/root/of/a/long/name/of/a/file.html",
     "/root/of/a/long/name/of/a/file.html", true},
    {"a", "/root/of/a", "/root/of/a", true},
    {"", "/root/of", "/root/of", false},
    {".", "/root/of", "/root/of", false},
    {"a/", "/root/of/a", "/root/of/a", true},
    {"../a", "/root/of/_/a", "/root/of/_/a", true},
    {"/root/of/../a", "/root/of/_/a", "/root/of/_/a", true},
    {"//root//of/./a", "//root//of/./a", "/root/of/a", true},
    {"/root/of/", "/root/of/", "/root/of", false},
    {"/root/of/.", "/root/of/.", "/root/of", false},
    {"/root/offside", "/root/offside", "/root/offside", false},
    {"/etc/passwd", "/etc/passwd", "/etc/passwd", false},
    {"C:/root/of/a", "C:/root/of/a", "C:/root/of/a", false},
};

// One object for all: nothing of a name may be left for the next.
TEST(DestinationTest, TellsWhereEntriesGo) {
  Destination destination("/root/of");
  for (const DestinationCase& row : kDestinations) {
    SCOPED_TRACE(row.name);

    destination.find(row.name);

    EXPECT_EQ(destination.path(), row.path);
    EXPECT_EQ(destination.normalized(), row.normalized);
    EXPECT_EQ(destination.isBelowRoot(), row.isBelowRoot);
  }
}

}  // namespace
}  // namespace wzapp
