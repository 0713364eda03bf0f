// The file server with the test in the browser's place.

#include "workstation/browser/engine/files/file_server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "tests/builders/temporary_directory.h"

namespace workstation {
namespace {

class FileServerTest : public testing::Test {
 protected:
  using Flag = std::shared_ptr<std::atomic<bool>>;

  FileServerTest() {
    int commands[2];
    int events[2];
    EXPECT_EQ(::pipe2(commands, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(events, O_CLOEXEC), 0);
    commandRead_ = UniqueFd(commands[0]);
    eventWrite_ = UniqueFd(events[1]);
    connection_ = std::make_shared<CdpConnection>(UniqueFd(commands[1]), UniqueFd(events[0]));
    server_ = std::make_unique<FileServer>(connection_);
    EXPECT_TRUE(connection_->start([](const CdpEvent&) {}, [] {}));
    EXPECT_TRUE(server_->start());
    std::string error;
    files_ = ApplicationFiles::open(folder_.path(), {}, error);
    EXPECT_NE(files_, nullptr) << error;
    folder_.write("small.js", std::string(4096, 'x'));
    folder_.write("large.js", std::string(3 << 20, 'x'));
  }
  ~FileServerTest() override {
    connection_->stop();
    server_->stop();
  }

  static Flag makeFlag() { return std::make_shared<std::atomic<bool>>(false); }

  // A page asks for a file. `over`: it has gone.
  void ask(const std::string& id, const char* path, const Flag& over = makeFlag()) {
    server_->add({id, "GET", path, false, files_, over});
  }

  // The request that the next answer in the pipe is for; empty when none comes.
  std::string readAnswer(int patienceMs = 20'000) {
    std::size_t end = 0;
    while ((end = unread_.find('\0')) == std::string::npos) {
      char block[1 << 16];
      pollfd ready = {commandRead_.get(), POLLIN, 0};
      if (::poll(&ready, 1, patienceMs) <= 0) return "";
      const ssize_t count = ::read(commandRead_.get(), block, sizeof block);
      if (count <= 0) return "";
      unread_.append(block, static_cast<std::size_t>(count));
    }
    JsonDocument command;
    EXPECT_TRUE(parseJson(unread_.substr(0, end), command));
    unread_.erase(0, end + 1);
    lastCommand_ = jsonInt(command, "id", 0);
    return jsonString(jsonMember(command, "params"), "requestId");
  }

  // What the browser says to the last answer: that it has got to it, or that it no longer knows
  // the request.
  void take() const { reply(R"("result":{})"); }
  void refuse() const { reply(R"("error":{"code":-32602,"message":"Invalid InterceptionId."})"); }

 private:
  void reply(const std::string& outcome) const {
    const std::string text = "{\"id\":" + std::to_string(lastCommand_) + ',' + outcome + '}' + '\0';
    EXPECT_EQ(::write(eventWrite_.get(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }

  const wzapp_test::TemporaryDirectory folder_;
  std::shared_ptr<const ApplicationFiles> files_;
  UniqueFd commandRead_, eventWrite_;
  std::shared_ptr<CdpConnection> connection_;
  std::unique_ptr<FileServer> server_;
  std::string unread_;
  int lastCommand_ = 0;
};

TEST_F(FileServerTest, SmallFilesDoNotWaitForOneAnother) {
  constexpr int kFiles = 200;

  for (int i = 0; i < kFiles; ++i) ask(std::to_string(i), "/small.js");

  for (int i = 0; i < kFiles; ++i) ASSERT_NE(readAnswer(), "") << i;
}

TEST_F(FileServerTest, LargeFilesGoAsTheBrowserTakesThem) {
  for (const char* id : {"a", "b", "c"}) ask(id, "/large.js");

  for (int i = 0; i < 3; ++i) {
    ASSERT_NE(readAnswer(), "");
    EXPECT_EQ(readAnswer(50), "");
    take();
  }
}

// Hundreds of megabytes may wait for a page that has been closed; the first answer of the next page
// came behind them.
TEST_F(FileServerTest, NothingMoreGoesToAnApplicationThatHasEnded) {
  const Flag over = makeFlag();
  for (const char* id : {"a", "b", "c", "d", "e"}) ask(id, "/large.js", over);
  ASSERT_NE(readAnswer(), "");

  *over = true;
  ask("next", "/small.js");
  take();

  EXPECT_EQ(readAnswer(), "next");
}

TEST_F(FileServerTest, WhatTheBrowserRefusesIsNoLongerUnderWay) {
  for (const char* id : {"a", "b"}) ask(id, "/large.js");
  ASSERT_NE(readAnswer(), "");

  refuse();

  EXPECT_NE(readAnswer(), "");
}

TEST_F(FileServerTest, EndOfTheBrowserHoldsNobodyUp) {
  for (const char* id : {"a", "b", "c", "d"}) ask(id, "/large.js");

  ASSERT_NE(readAnswer(), "");  // and goes, while the others wait for their turn
}

}  // namespace
}  // namespace workstation
