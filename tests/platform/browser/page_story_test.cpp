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
  PageStoryTest() { workstation::setPageObserver(onEvent, this); }
  ~PageStoryTest() override { workstation::setPageObserver(nullptr, nullptr); }

  static PageEvent line(const std::string& text) {
    PageEvent event;
    event.texts = {text};
    return event;
  }

  const std::shared_ptr<FullQueue> queue_ = std::make_shared<FullQueue>();
  PageStory story_{queue_, 7, "shop"};
  std::vector<std::string> told_;
  std::vector<bool> uncaught_;

 private:
  static void onEvent(void* test, const PageEvent& event) {
    EXPECT_EQ(event.invocation, 7);
    EXPECT_EQ(event.appId, "shop");
    const bool isEnd = event.kind == PageEvent::Kind::kEnded;
    auto& self = *static_cast<PageStoryTest*>(test);
    self.told_.push_back(isEnd ? "the end" : event.texts.at(0));
    self.uncaught_.push_back(event.isUncaught);
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

TEST_F(PageStoryTest, ThatAnErrorWasAmongWhatIsLostIsTold) {
  PageEvent error = line("Uncaught");
  error.isUncaught = true;
  queue_->isFull = true;
  story_.tell(error);
  queue_->isFull = false;
  story_.tell(line("behind"));
  queue_->isFull = true;
  story_.tell(line("a"));
  queue_->finish(story_.ending(0, ""));

  EXPECT_THAT(uncaught_, ElementsAre(true, false, false, false));
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
