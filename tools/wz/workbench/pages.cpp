#include "wz/workbench/pages.h"

#include <chrono>
#include <utility>

#include "wz/reports/message_output.h"

namespace wz {

void Pages::begin(std::function<std::string()> makeState, std::function<void()> onLost) {
  makeState_ = std::move(makeState);
  onLost_ = std::move(onLost);
}

void Pages::add(const SharedPage& page) {
  pages_.insert(page);
  page->putState("state", makeState_());
}

void Pages::remove(const SharedPage& page) { pages_.erase(page); }

void Pages::tell(const std::string& source, const std::string& line) {
  if (log_.append(source, line) == 0) {
    if (const auto onLost = std::exchange(onLost_, nullptr)) onLost();
    return;
  }
  for (const SharedPage& page : pages_) page->wake();
}

void Pages::tell(const std::string& source, const zelipc::JSObject& line) {
  tell(source, asciiJson(line));
}

void Pages::stateChanged() {
  if (std::exchange(willSend_, true)) return;
  constexpr std::chrono::milliseconds kGathering{30};
  loop_.after(kGathering, [this] {
    willSend_ = false;
    const std::string state = makeState_();
    for (const SharedPage& page : pages_) page->putState("state", state);
  });
}

void Pages::changed(const std::vector<std::string>& what) {
  zelipc::JSObject message;
  message["event"] = zelipc::JSObject("changed");
  message["what"] = zelipc::JSObject::array();
  for (const std::string& one : what) message["what"].append(zelipc::JSObject(one));
  const std::string text = asciiJson(message);
  for (const SharedPage& page : pages_) page->put(text);
}

void Pages::show(const SharedFrame& frame) {
  for (const SharedPage& page : pages_) page->show(frame);
}

}  // namespace wz
