#include "workstation/browser/engine/page/page_story.h"

#include "workstation/browser/engine/page/page_observer.h"

namespace workstation {
namespace {

std::size_t sizeOf(const PageEvent& event) {
  std::size_t size = sizeof event + event.message.payload.size() + event.url.size();
  for (const std::string& text : event.texts) size += text.size();
  return size;
}

}  // namespace

PageStory::PageStory(std::shared_ptr<CallQueue> queue, int invocation, std::string appId)
    : queue_(std::move(queue)),
      invocation_(invocation),
      appId_(std::move(appId)),
      gate_([this](PageEvent event) { letOut(std::move(event)); }) {}

void PageStory::tell(PageEvent event) {
  if (!hasPageObserver()) return;
  event.invocation = invocation_;
  event.appId = appId_;
  gate_.pass(std::move(event));
}

std::uint64_t PageStory::hold(PageEvent event) {
  event.invocation = invocation_;
  event.appId = appId_;
  return gate_.hold(std::move(event));
}

CallQueue::Task PageStory::ending(int result, const std::string& error) const {
  PageEvent end;
  end.kind = PageEvent::Kind::kEnded;
  end.invocation = invocation_;
  end.appId = appId_;
  end.level = result;
  if (!error.empty()) end.texts.push_back(error);
  if (lost_ == 0) return [end = std::move(end)] { tellPageObserver(end); };
  return [loss = lossEvent(), end = std::move(end)] {
    tellPageObserver(loss);
    tellPageObserver(end);
  };
}

// A page can do more than anybody reads. What is too much is lost, and that is told as soon as
// there is room for it.
void PageStory::letOut(PageEvent event) {
  if (lost_ > 0 && push(lossEvent())) {
    lost_ = 0;
    lostUncaught_ = false;
  }
  const bool isUncaught = event.isUncaught;
  if (lost_ == 0 && push(std::move(event))) return;
  ++lost_;
  lostUncaught_ = lostUncaught_ || isUncaught;
}

bool PageStory::push(PageEvent event) {
  const std::size_t size = sizeOf(event);
  return queue_->push([event = std::move(event)] { tellPageObserver(event); }, size);
}

PageEvent PageStory::lossEvent() const {
  PageEvent event;
  event.kind = PageEvent::Kind::kConsole;
  event.invocation = invocation_;
  event.appId = appId_;
  event.level = 4;
  event.isUncaught = lostUncaught_;
  event.texts.push_back("events of the page that were too many at once and are not told: " +
                        std::to_string(lost_));
  return event;
}

}  // namespace workstation
