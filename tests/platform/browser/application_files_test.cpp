#include "workstation/browser/engine/files/application_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>

#include "tests/builders/temporary_directory.h"

// The wrapped syscall() of this program, so that a system without openat2 can be played.
static bool hasOpenat2 = true;

extern "C" {
long __real_syscall(long number, ...);
// It takes six arguments, whatever the call has: more than clang's checked va_arg lets pass.
__attribute__((no_sanitize("address"))) long __wrap_syscall(long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  long values[6];
  for (long& value : values) value = va_arg(arguments, long);
  va_end(arguments);
  if (number == SYS_openat2 && !hasOpenat2) {
    errno = ENOSYS;
    return -1;
  }
  return __real_syscall(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
}

namespace workstation {
namespace {

namespace fs = std::filesystem;
using wzapp_test::TemporaryDirectory;

// With openat2 and without it.
class ApplicationFilesTest : public testing::TestWithParam<bool> {
 protected:
  ApplicationFilesTest() {
    hasOpenat2 = GetParam();
    fs::create_directories(outer / "app/sub");
    outer.write("secret.txt", "secret");
    outer.write("app/a.txt", "own");
    outer.write("app/sub/b.txt", "below");
    std::string error;
    files = ApplicationFiles::open(outer / "app", {}, error);
  }
  ~ApplicationFilesTest() override { hasOpenat2 = true; }

  std::string contentOf(const std::string& name) {
    std::string content;
    return files->read(name, content) == FileResult::kFound ? content : "none";
  }

  TemporaryDirectory outer;
  std::shared_ptr<ApplicationFiles> files;
};

INSTANTIATE_TEST_SUITE_P(Systems, ApplicationFilesTest, testing::Values(true, false));

TEST_P(ApplicationFilesTest, FindsFilesBelowTheFolder) {
  ASSERT_TRUE(files);
  EXPECT_EQ(contentOf("a.txt"), "own");
  EXPECT_EQ(contentOf("sub/b.txt"), "below");
  EXPECT_TRUE(files->contains("sub/b.txt"));
}

TEST_P(ApplicationFilesTest, NothingElseIsAFile) {
  for (const char* name : {"", "none.txt", "sub", "sub/", "a.txt/", "a.txt/x", "."})
    EXPECT_EQ(contentOf(name), "none") << name;
  EXPECT_EQ(contentOf(std::string("a.txt\0x", 7)), "none");
}

TEST_P(ApplicationFilesTest, NamesThatClimbAreNotFollowed) {
  for (const char* name : {"../secret.txt", "sub/../../secret.txt", "/etc/passwd", "//etc/passwd"})
    EXPECT_EQ(contentOf(name), "none") << name;
}

TEST_P(ApplicationFilesTest, LinksThatLeaveAreRefused) {
  fs::create_symlink("../secret.txt", outer / "app/relative");
  fs::create_symlink(outer / "secret.txt", outer / "app/absolute");
  fs::create_directory_symlink("..", outer / "app/folder");
  fs::create_symlink("/proc/self/environ", outer / "app/magic");

  for (const char* name : {"relative", "absolute", "folder/secret.txt", "magic"})
    EXPECT_EQ(contentOf(name), "none") << name;
}

TEST_P(ApplicationFilesTest, PipesHoldUpNobody) {
  ASSERT_EQ(::mkfifo((outer / "app/pipe.html").c_str(), 0600), 0);

  EXPECT_EQ(contentOf("pipe.html"), "none");
}

TEST_P(ApplicationFilesTest, FallbacksBelowTheFolderAreSearchedInOrder) {
  fs::create_directories(outer / "app/small");
  fs::create_directories(outer / "app/default");
  outer.write("app/small/one.css", "small");
  outer.write("app/default/one.css", "default");
  outer.write("app/default/two.css", "default");
  std::string error;
  files = ApplicationFiles::open(
      outer / "app/", {outer.path(), outer / "app/small/", "", outer / "app/default"}, error);

  ASSERT_TRUE(files) << error;
  EXPECT_EQ(contentOf("one.css"), "small");
  EXPECT_EQ(contentOf("two.css"), "default");
  EXPECT_EQ(contentOf("a.txt"), "own");
  EXPECT_EQ(contentOf("secret.txt"), "none");
}

TEST_P(ApplicationFilesTest, LinksInsideAreFollowedWhereTheSystemCanTell) {
  fs::create_symlink("sub/b.txt", outer / "app/inside");

  EXPECT_EQ(contentOf("inside"), GetParam() ? "below" : "none");
}

TEST(ApplicationFilesOpenTest, MissingFolderIsToldByName) {
  std::string error;

  EXPECT_EQ(ApplicationFiles::open("/nowhere/app", {}, error), nullptr);
  EXPECT_NE(error.find("/nowhere/app"), std::string::npos);
}

TEST(ApplicationFilesOpenTest, HugeFilesAreRefusedUnread) {
  const TemporaryDirectory folder;
  folder.write("huge.bin", "");
  fs::resize_file(folder / "huge.bin", (64ULL << 20) + 1);
  std::string error;
  const auto files = ApplicationFiles::open(folder.path(), {}, error);
  std::string content = "untouched";

  EXPECT_EQ(files->read("huge.bin", content), FileResult::kTooLarge);
  EXPECT_EQ(content, "untouched");
}

}  // namespace
}  // namespace workstation
