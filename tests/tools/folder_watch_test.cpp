#include "tools/wz/terminal/folder_watch.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "tests/builders/temporary_directory.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::Not;

class FolderWatchTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(*directory_ / "app");
    FolderWatch::Listener listener;
    listener.onChanged = [this](const std::set<std::string>& names) {
      note([&] {
        if (names.empty()) ++returns_;
        seen_.insert(names.begin(), names.end());
      });
    };
    listener.onGone = [this] { note([&] { ++departures_; }); };
    listener.onTrouble = [](const std::string& error) { ADD_FAILURE() << error; };
    std::string error;
    ASSERT_TRUE(watch_.begin(folder(), listener, error)) << error;
  }

  std::string folder() const { return *directory_ / "app"; }

  template <typename Change>
  void note(Change change) {
    const std::lock_guard<std::mutex> lock(mutex_);
    change();
    changed_.notify_all();
  }

  template <typename Condition>
  bool await(Condition condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), condition);
  }

  bool sees(const std::string& name) {
    return await([&] { return seen_.count(name) > 0; });
  }

  std::unique_ptr<wzapp_test::TemporaryDirectory> directory_ =
      std::make_unique<wzapp_test::TemporaryDirectory>();
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::set<std::string> seen_;
  int returns_ = 0, departures_ = 0;
  FolderWatch watch_;
};

TEST_F(FolderWatchTest, TellsFilesThatAreWrittenMovedAndRemoved) {
  directory_->write("app/a.js", "1");
  EXPECT_TRUE(sees("a.js"));
  directory_->write("outside", "1");
  fs::rename(*directory_ / "outside", folder() + "/in.js");
  EXPECT_TRUE(sees("in.js"));
  fs::remove(folder() + "/in.js");
  directory_->write("app/.hidden", "1");
  directory_->write("app/x~", "1");
  directory_->write("app/last", "1");
  EXPECT_TRUE(sees("last"));
  EXPECT_THAT(seen_, AllOf(Not(Contains(".hidden")), Not(Contains("x~"))));
}

// Tests and what they write are no part of the application.
TEST_F(FolderWatchTest, WhatStaysOutOfPackagesIsNobodysBusiness) {
  directory_->write("app/.wzignore", "/tests/\n*.psd\n");
  directory_->write("app/first", "1");
  EXPECT_TRUE(sees("first"));

  fs::create_directories(folder() + "/tests/results");
  directory_->write("app/tests/results/trace.json", "1");
  directory_->write("app/drawing.psd", "1");
  directory_->write("app/second", "1");
  EXPECT_TRUE(sees("second"));
  for (const std::string& name : seen_) {
    EXPECT_NE(name.substr(0, 5), "tests");
    EXPECT_NE(name, "drawing.psd");
  }

  directory_->write("app/.wzignore", "*.psd\n");
  directory_->write("app/third", "1");
  EXPECT_TRUE(sees("third"));
  directory_->write("app/tests/results/trace.json", "2");
  EXPECT_TRUE(sees("tests/results/trace.json"));

  directory_->write("app/.wzignore", "results\n");
  directory_->write("app/fourth", "1");
  EXPECT_TRUE(sees("fourth"));
  directory_->write("app/tests/results/late.json", "3");
  directory_->write("app/fifth", "1");
  EXPECT_TRUE(sees("fifth"));
  EXPECT_THAT(seen_, Not(Contains("tests/results/late.json")));
}

TEST_F(FolderWatchTest, FollowsFoldersThatAreMadeOrMovedIn) {
  fs::create_directories(*directory_ / "tree/deep");
  directory_->write("tree/deep/b.js", "1");
  fs::rename(*directory_ / "tree", folder() + "/tree");
  EXPECT_TRUE(sees("tree/deep/b.js"));
  directory_->write("app/tree/deep/c.js", "1");
  EXPECT_TRUE(sees("tree/deep/c.js"));
}

TEST_F(FolderWatchTest, TheFolderMayGoAndComeBackWithWhatItStandsIn) {
  fs::rename(folder(), *directory_ / "elsewhere");
  EXPECT_TRUE(await([&] { return departures_ == 1; }));
  fs::rename(*directory_ / "elsewhere", folder());
  EXPECT_TRUE(await([&] { return returns_ == 1; }));
  directory_->write("app/a.js", "1");
  EXPECT_TRUE(sees("a.js"));
}

// Somebody else holds the folder open, as the browser service does: its removal then has no event.
TEST_F(FolderWatchTest, AFolderThatIsOpenElsewhereIsMissedAllTheSame) {
  const int open = ::open(folder().c_str(), O_PATH | O_CLOEXEC);
  fs::remove_all(folder());
  EXPECT_TRUE(await([&] { return departures_ == 1; }));
  fs::create_directory(folder());
  EXPECT_TRUE(await([&] { return returns_ == 1; }));
  close(open);
}

TEST_F(FolderWatchTest, WhatItStandsInMayBeMovedToo) {
  const std::string moved = directory_->path() + ".moved";
  fs::rename(directory_->path(), moved);
  EXPECT_TRUE(await([&] { return departures_ == 1; }));
  fs::rename(moved, directory_->path());
  EXPECT_TRUE(await([&] { return returns_ == 1; }));
}

TEST_F(FolderWatchTest, ALoopOfLinksIsNotFollowed) {
  fs::create_directory_symlink(folder(), folder() + "/again");
  EXPECT_TRUE(sees("again"));
  directory_->write("app/a.js", "1");
  EXPECT_TRUE(sees("a.js"));
  EXPECT_THAT(seen_, Not(Contains("again/a.js")));
}

}  // namespace
}  // namespace wz
