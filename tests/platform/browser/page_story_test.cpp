#include "workstation/browser/engine/page/page_story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "workstation/browser/engine/page/page_observer.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using workstation::CallQueue;
using workstation::PageEvent;
using workstation::PageStory;

// A queue that takes as much as a test lets it.
class FullQueue : public CallQueue {
 public:
  bool push(Task task, std::size_t) override {
    if (isFull) return false;
    task();
    return true;
  }
  void finish(Task last) override { last(); }

  bool isFull = false;
};

class PageStoryTest : public testing::Test {
 protected:
  PageStoryTest() { workstation::setPageObserver(onEvent, &told_); }
  ~PageStoryTest() override { workstation::setPageObserver(nullptr, nullptr); }

  static PageEvent line(const std::string& text) {
    PageEvent event;
    event.texts = {text};
    return event;
  }

  const std::shared_ptr<FullQueue> queue_ = std::make_shared<FullQueue>();
  PageStory story_{queue_, 7, "shop"};
  std::vector<std::string> told_;

 private:
  static void onEvent(void* told, const PageEvent& event) {
    EXPECT_EQ(event.invocation, 7);
    EXPECT_EQ(event.appId, "shop");
    const bool isEnd = event.kind == PageEvent::Kind::kEnded;
    static_cast<std::vector<std::string>*>(told)->push_back(isEnd ? "the end" : event.texts.at(0));
  }
};

TEST_F(PageStoryTest, WhatIsTooMuchIsToldAsSoonAsThereIsRoom) {
  story_.tell(line("a"));
  queue_->isFull = true;
  story_.tell(line("b"));
  story_.tell(line("c"));
  story_.lose();
  queue_->isFull = false;
  story_.tell(line("d"));
  queue_->finish(story_.ending(0, ""));

  EXPECT_THAT(told_,
              ElementsAre("a", "events of the page that were too many at once and are not told: 3",
                          "d", "the end"));
}

TEST_F(PageStoryTest, WhatWasTooMuchAtLastIsToldBeforeTheEnd) {
  queue_->isFull = true;
  story_.tell(line("a"));
  queue_->finish(story_.ending(0, ""));

  EXPECT_THAT(
      told_,
      ElementsAre("events of the page that were too many at once and are not told: 1", "the end"));
}

TEST_F(PageStoryTest, WhatIsHeldHoldsUpWhatIsBehindIt) {
  const auto ticket = story_.hold(line("a"));
  story_.tell(line("b"));
  EXPECT_THAT(told_, testing::IsEmpty());

  story_.complete(ticket, [](PageEvent& event) { event.texts = {"A"}; });

  EXPECT_THAT(told_, ElementsAre("A", "b"));
}

}  // namespace
}  // namespace wzapp_test
