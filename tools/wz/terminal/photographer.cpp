#include "wz/terminal/photographer.h"

#include <charconv>
#include <fstream>
#include <system_error>
#include <utility>

#include "workstation/browser/browser_control.h"
#include "wz/reports/output.h"
#include "wz/terminal/page_actions.h"

namespace wz {
namespace {

// Between the first paint and the second picture: fonts, images and transitions.
constexpr std::chrono::milliseconds kSettleTime{400};

// How often an element is looked for.
constexpr std::chrono::milliseconds kLookTime{50};

}  // namespace

bool readPictureTime(const std::string& text, PictureTime& time) {
  if (text.empty()) return true;
  if (text == "exit") {
    time.kind = PictureTime::Kind::kExit;
    return true;
  }
  if (text[0] < '0' || text[0] > '9') {
    time.kind = PictureTime::Kind::kElement;
    time.selector = text;
    return true;
  }
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
  constexpr double kLongest = 86400;
  if (failure != std::errc() || (!unit.empty() && unit != "s" && unit != "ms")) return false;
  if (unit == "ms") number /= 1000;
  if (number > kLongest) return false;
  time.kind = PictureTime::Kind::kDelay;
  time.delay = std::chrono::milliseconds(static_cast<long long>(number * 1000));
  return true;
}

Photographer::Photographer(std::string file, PictureTime time, std::function<void()> onTaken)
    : file_(std::move(file)), time_(std::move(time)), onTaken_(std::move(onTaken)) {}

void Photographer::onOpened(int invocation) {
  invocation_ = invocation;
  painted_ = false;
  due_ = kNoDeadline;
  if (file_.empty()) return;
  if (time_.kind == PictureTime::Kind::kDelay)
    due_ = std::chrono::steady_clock::now() + time_.delay;
}

// A picture of the first paint and a better one when the page has settled: an application that ends
// soon leaves at least the first.
void Photographer::onPainted() {
  if (file_.empty() || painted_) return;
  painted_ = true;
  const auto now = std::chrono::steady_clock::now();
  if (time_.kind == PictureTime::Kind::kElement) due_ = now;
  if (time_.kind != PictureTime::Kind::kFirstPaint) return;
  take();
  due_ = now + kSettleTime;
}

void Photographer::onTime() {
  due_ = kNoDeadline;
  if (time_.kind == PictureTime::Kind::kElement) return lookForElement();
  take();
}

void Photographer::lookForElement() {
  bool isThere = false;
  std::string error;
  if (!findElement(invocation_, time_.selector, isThere, error) && error == kNoSelector) {
    error_ = time_.selector + " is no selector";
    return;
  }
  if (isThere) return take();
  error_ = "no element " + time_.selector + " has appeared";
  due_ = std::chrono::steady_clock::now() + kLookTime;
}

void Photographer::onLastPicture(const std::string& octets, bool failed) {
  if (file_.empty() || time_.kind != PictureTime::Kind::kExit) return;
  if (failed) {
    error_ = octets;
    return;
  }
  std::ofstream file(file_, std::ios::binary);
  file << octets;
  file.close();
  if (!file) {
    error_ = "cannot write " + file_;
    return;
  }
  taken_ = true;
  onTaken_();
}

void Photographer::take() {
  if (!workstation::takeScreenshot(invocation_, file_, error_)) return;
  taken_ = true;
  onTaken_();
}

bool Photographer::finish() const {
  if (file_.empty() || taken_) return true;
  const bool waited = time_.kind == PictureTime::Kind::kDelay;
  const std::string none = waited ? "the application had ended before" : "nothing was painted";
  printMessage("no picture: " + (error_.empty() ? none : error_));
  return false;
}

}  // namespace wz
