#include "wz/matrix/progress.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace wz {
namespace {

constexpr std::chrono::milliseconds kBetween{300};
constexpr double kNotBefore = 1;  // seconds

}  // namespace

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3; i -= 3) digits.insert(i - 3, ",");
  return digits;
}

std::string durationText(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) {
    return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  }
  return grouped(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

Progress::Progress(std::size_t cells, double weight)
    : isTerminal_(isatty(STDERR_FILENO) == 1), cells_(cells), weight_(weight) {}

Progress::~Progress() { clear(); }

void Progress::add(std::size_t cells, double weight) {
  done_ += cells;
  doneWeight_ += weight;
}

void Progress::leaveOut(std::size_t cells, double weight) {
  leftOut_ += cells;
  weight_ -= weight;
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - begin_).count();
}

// What is left is expected to cost as much for its weight as what is done has.
void Progress::show() {
  if (!isTerminal_ || seconds() < kNotBefore || Clock::now() - shown_ < kBetween) return;
  shown_ = Clock::now();
  std::string text = grouped(leftOut_ + done_) + " of " + grouped(cells_) + " cells";
  if (doneWeight_ > 0) {
    const double rate = static_cast<double>(done_) / seconds();
    const double left = (weight_ - doneWeight_) / doneWeight_ * seconds();
    text += ", " + grouped(static_cast<std::uint64_t>(std::llround(rate))) + " a second, about " +
            durationText(left) + " left";
  }
  std::fprintf(stderr, "\r\033[2Kwz: %s", text.c_str());
  std::fflush(stderr);
  isShown_ = true;
}

void Progress::clear() {
  if (!isShown_) return;
  std::fputs("\r\033[2K", stderr);
  std::fflush(stderr);
  isShown_ = false;
}

}  // namespace wz
