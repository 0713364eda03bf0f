// Which files are opened, and what is never touched.

#include "installer/regular_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using wzapp_test::FileCall;
using wzapp_test::FileCalls;

const std::string kFolder = "/mnt/flash/folder";
const std::string kFile = kFolder + "/file";

class RegularFileTest : public wzapp_test::RulesTest {
 protected:
  RegularFileTest() { terminal.writeFile(kFile, "content"); }

  // What is read from it; the text of the error when it is not opened.
  static std::string read(const std::string& path) {
    const FileDescriptor file = openRegularFile(path);
    if (!file.isOpen()) return std::to_string(errno);
    char text[100];
    const ssize_t count = ::read(file.get(), text, sizeof text);
    return count < 0 ? "unreadable" : std::string(text, static_cast<std::size_t>(count));
  }
  static std::string failure(int error) { return std::to_string(error); }

  FileCalls calls;
};

TEST_F(RegularFileTest, IsOpenedByNameOrThroughLinks) {
  fs::create_symlink(kFile, kFolder + "/absolute");
  fs::create_symlink("file", kFolder + "/relative");
  fs::create_symlink("../folder/absolute", kFolder + "/link");
  fs::create_directory_symlink(kFolder, "/mnt/flash/other");
  fs::create_symlink("other/relative", "/mnt/flash/far");

  for (const char* path :
       {"/mnt/flash/folder/file", "/mnt/flash/folder/absolute", "/mnt/flash/folder/relative",
        "/mnt/flash/folder/link", "/mnt/flash/far", "/mnt/flash/other/link"}) {
    EXPECT_EQ(read(path), "content") << path;
  }
}

TEST_F(RegularFileTest, IsNothingElse) {
  ASSERT_EQ(mkfifo((kFolder + "/pipe").c_str(), 0600), 0);
  fs::create_symlink("pipe", kFolder + "/to-pipe");
  fs::create_symlink("/dev/zero", kFolder + "/to-device");
  fs::create_symlink("loop", kFolder + "/loop");
  fs::create_symlink("nowhere", kFolder + "/gone");
  fs::create_symlink("file/", kFolder + "/slash");

  EXPECT_EQ(read(kFolder), failure(ENODEV));
  EXPECT_EQ(read(kFolder + "/pipe"), failure(ENODEV));
  EXPECT_EQ(read(kFolder + "/to-pipe"), failure(ENODEV));
  EXPECT_EQ(read(kFolder + "/to-device"), failure(ENODEV));
  EXPECT_EQ(read(kFolder + "/loop"), failure(ELOOP));
  EXPECT_EQ(read(kFolder + "/gone"), failure(ENOENT));
  EXPECT_EQ(read(kFolder + "/slash"), failure(ENOTDIR));
  EXPECT_EQ(read(kFolder + "/"), failure(ENOENT));
  EXPECT_EQ(read(""), failure(ENOENT));
}

TEST_F(RegularFileTest, IsFoundThroughAsManyLinksAsTheSystemFollows) {
  std::string target = "file";
  for (int number = 1; number <= 41; ++number) {
    fs::create_symlink(target, kFolder + "/" + std::to_string(number));
    target = std::to_string(number);
  }

  EXPECT_EQ(read(kFolder + "/40"), "content");
  EXPECT_EQ(read(kFolder + "/41"), failure(ELOOP));
}

TEST_F(RegularFileTest, IsOpenedByAnOpenThatNoExecInherits) {
  const FileDescriptor file = openRegularFile(kFile);

  EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
}

// What takes the place of the file once it was found to be one: `exchange` is called before it is
// opened for reading.
class ExchangedRegularFileTest : public RegularFileTest {
 protected:
  std::string readAfter(const std::function<void()>& exchange) {
    int found = 0;
    calls.hook = [&](const FileCall& call) {
      if (call.function == "openat" && call.name == "file" && ++found == 2) exchange();
      return 0;
    };
    std::string result = read(kFile);
    calls.hook = nullptr;
    return result;
  }
};

TEST_F(ExchangedRegularFileTest, ALinkIsNotFollowed) {
  EXPECT_EQ(readAfter([] {
              fs::remove(kFile);
              fs::create_symlink("/dev/zero", kFile);
            }),
            failure(ELOOP));
}

TEST_F(ExchangedRegularFileTest, APipeIsNotWaitedForAndNotRead) {
  EXPECT_EQ(readAfter([] {
              fs::remove(kFile);
              ASSERT_EQ(mkfifo(kFile.c_str(), 0600), 0);
            }),
            failure(ENODEV));
}

TEST_F(ExchangedRegularFileTest, TheFolderIsStillTheOneThatWasFound) {
  terminal.writeFile("/mnt/flash/evil/file", "evil");

  EXPECT_EQ(readAfter([] {
              fs::rename(kFolder, "/mnt/flash/moved");
              fs::create_directory_symlink("/mnt/flash/evil", kFolder);
            }),
            "content");
}

}  // namespace
}  // namespace wzapp
