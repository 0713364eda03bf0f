#include "wz/workbench/page_view.h"

#include <algorithm>
#include <utility>

namespace wz {

using zelipc::JSObject;

namespace {

constexpr int kQuality = 80;  // of a JPEG, in per cent

// Big-endian.
void addNumber(std::string& octets, std::uint32_t number) {
  for (const int shift : {24, 16, 8, 0}) octets += static_cast<char>(number >> shift & 255);
}

}  // namespace

void PageView::open(const std::string& url) {
  DebugSession::Listener listener;
  listener.onPicture = [this](const std::string& jpeg, unsigned width, unsigned height,
                              long long number) { show(jpeg, width, height, number); };
  session_ = std::make_unique<DebugSession>(loop_, url, std::move(listener));
  if (!lookers_.empty()) start();
}

void PageView::close() {
  session_.reset();
  lookers_.clear();
  frame_.reset();
}

void PageView::start() {
  JSObject params;
  params["format"] = JSObject("jpeg");
  params["quality"] = JSObject(kQuality);
  known_ = frames_;
  session_->send("Page.startScreencast", params);
}

void PageView::look(const SharedPage& page, bool on) {
  page->look(run_, on);
  if (!on) return forget(page);
  const bool isFirst = lookers_.empty();
  lookers_.insert(page);
  if (frame_) page->show(frame_);
  if (isFirst && session_) start();
}

void PageView::forget(const SharedPage& page) {
  if (lookers_.erase(page) == 0) return;
  if (lookers_.empty() && session_) session_->send("Page.stopScreencast", JSObject());
}

void PageView::show(const std::string& jpeg, unsigned width, unsigned height, long long number) {
  auto frame = std::make_shared<Frame>();
  frame->run = run_;
  frame->number = ++frames_;
  for (const std::uint32_t part : {run_, frames_, width, height}) {
    addNumber(frame->message, part);
  }
  frame->message += jpeg;
  frame_ = frame;
  series_ = number;
  pages_.show(frame);
}

// The browser makes a few pictures ahead and waits, until it hears that the fastest page has seen
// them: it does not work for nobody. A picture that was passed over counts as seen.
void PageView::seen(const SharedPage& page, std::uint32_t frame) {
  page->seen(run_, frame);
  if (!session_) return;
  JSObject params;
  params["sessionId"] = JSObject(series_);
  for (; known_ < std::min(frame, frames_); ++known_) {
    session_->send("Page.screencastFrameAck", params);
  }
}

void PageView::send(const std::string& method, const JSObject& params,
                    DebugSession::Result onResult) {
  session_->send(method, params, std::move(onResult));
}

}  // namespace wz
