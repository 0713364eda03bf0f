// What a page prints, with the test in the browser's place.

#include "workstation/browser/engine/page/page_console.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "workstation/browser/engine/page/page_observer.h"

namespace workstation {
namespace {

using testing::StartsWith;

class OpenQueue : public CallQueue {
 public:
  bool push(Task task, std::size_t) override {
    task();
    return true;
  }
  void finish(Task last) override { last(); }
};

class OpenPage : public PageOwner {
 public:
  bool isOpen() const override { return true; }
  bool standsStill() const override { return false; }
  void end(int, const std::string&) override {}
  void exit(int, std::map<std::string, std::string>) override {}
  void onLineTold() override {}
  std::shared_ptr<void> keep() override { return nullptr; }
};

class PageConsoleTest : public testing::Test {
 protected:
  PageConsoleTest() {
    int commands[2];
    int events[2];
    EXPECT_EQ(::pipe2(commands, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(events, O_CLOEXEC), 0);
    ::close(commands[0]);
    ::close(events[1]);
    page_.connection = std::make_shared<CdpConnection>(UniqueFd(commands[1]), UniqueFd(events[0]));
    page_.session = "S";
    setPageObserver(onEvent, &told_);
  }
  ~PageConsoleTest() override { setPageObserver(nullptr, nullptr); }

  void happens(const std::string& method, const std::string& params) {
    JsonDocument document;
    ASSERT_TRUE(parseJson(std::string(params), document));
    EXPECT_TRUE(console_.onEvent({method, "S", document}));
  }

  void prints(const std::string& text) {
    happens("Runtime.consoleAPICalled",
            R"({"type":"log","args":[{"type":"string","value":")" + text + R"("}]})");
  }

  void throws(const std::string& text) {
    happens("Runtime.exceptionThrown",
            R"({"exceptionDetails":{"text":"Uncaught","exception":{"type":"string","value":")" +
                text + R"("}}})");
  }

  // More than is shown within a second.
  void printsTooMuch() {
    for (int i = 0; i < 9; ++i) prints(std::string(1U << 20, 'x'));
  }

  std::vector<PageEvent> told_;
  PageFacts page_;
  OpenPage owner_;
  PageStory story_{std::make_shared<OpenQueue>(), 7, "shop"};
  // No time goes by.
  PageConsole console_{owner_, page_, story_, [] { return ConsoleMeter::Clock::time_point(); }};

 private:
  static void onEvent(void* told, const PageEvent& event) {
    static_cast<std::vector<PageEvent>*>(told)->push_back(event);
  }
};

// That an error goes uncaught is told whatever has been printed: otherwise a run that must not have
// one would pass.
TEST_F(PageConsoleTest, WhatIsTooMuchIsShownNoLongerButForOneError) {
  printsTooMuch();
  prints("behind");
  ASSERT_FALSE(told_.empty());
  EXPECT_THAT(told_.back().texts[0], StartsWith("the page prints too much"));
  EXPECT_LT(told_.size(), 10U);

  const std::size_t before = told_.size();
  throws("first");
  throws("second");
  ASSERT_EQ(told_.size(), before + 1);
  EXPECT_TRUE(told_.back().isUncaught);
  EXPECT_THAT(told_.back().texts[0], StartsWith("Uncaught"));

  console_.beginAnew();
  throws("of another document");
  EXPECT_GT(told_.size(), before + 1);
  EXPECT_TRUE(told_.back().isUncaught);
}

}  // namespace
}  // namespace workstation
