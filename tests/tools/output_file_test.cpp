#include "tools/wz/reports/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/builders/file_content.h"
#include "tests/builders/temporary_directory.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::size_t entriesIn(const std::string& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(OutputFileTest, IsMadeWithItsContent) {
  const TemporaryDirectory folder;
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose(folder / "out", error)) << error;
  EXPECT_FALSE(fs::exists(folder / "out"));
  ASSERT_TRUE(file.write(std::string("a\0b", 3), error)) << error;

  EXPECT_EQ(contentOf(folder / "out"), std::string("a\0b", 3));
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST(OutputFileTest, TakesTheFolderAsItWasChosen) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "before");
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose(folder / "before/out", error)) << error;
  fs::rename(folder / "before", folder / "after");
  ASSERT_TRUE(file.write("content", error)) << error;

  EXPECT_EQ(contentOf(folder / "after/out"), "content");
}

TEST(OutputFileTest, ReplacesAnOlderFileWhole) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("out", "something longer");
  std::ifstream reader(path, std::ios::binary);
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose(path, error)) << error;
  ASSERT_TRUE(file.write("short", error)) << error;

  EXPECT_EQ(contentOf(path), "short");
  // Who had it open still reads the older one.
  const std::string before((std::istreambuf_iterator<char>(reader)),
                           std::istreambuf_iterator<char>());
  EXPECT_EQ(before, "something longer");
}

TEST(OutputFileTest, WritesToADeviceInsteadOfReplacingIt) {
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose("/dev/null", error)) << error;
  EXPECT_TRUE(file.write("content", error)) << error;

  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(OutputFileTest, AFullDeviceIsReported) {
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose("/dev/full", error)) << error;
  EXPECT_FALSE(file.write("content", error));

  EXPECT_EQ(error, "cannot write /dev/full: No space left on device");
}

TEST(OutputFileTest, AFolderCannotBeReplaced) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "out");
  wz::OutputFile file;
  std::string error;

  ASSERT_TRUE(file.choose(folder / "out", error)) << error;
  EXPECT_FALSE(file.write("content", error));

  EXPECT_THAT(error, HasSubstr("Is a directory"));
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST(OutputFileTest, AMissingFolderIsReportedAtOnce) {
  wz::OutputFile file;
  std::string error;

  EXPECT_FALSE(file.choose("/nowhere/out", error));

  EXPECT_EQ(error, "cannot write /nowhere/out: No such file or directory");
}

TEST(OutputFileTest, ANameIsNeeded) {
  for (const char* const path : {"", "/tmp/", ".", "/tmp/.."}) {
    wz::OutputFile file;
    std::string error;

    EXPECT_FALSE(file.choose(path, error)) << path;

    EXPECT_THAT(error, HasSubstr("no name for a file"));
  }
}

}  // namespace
}  // namespace wzapp_test
