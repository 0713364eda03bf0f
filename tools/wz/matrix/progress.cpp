#include "wz/matrix/progress.h"

#include <cmath>

#include "wz/reports/screen.h"

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

MatrixProgress::MatrixProgress(std::size_t cells, double weight) : cells_(cells), weight_(weight) {}

MatrixProgress::~MatrixProgress() { clear(); }

void MatrixProgress::add(std::size_t cells, double weight) {
  done_ += cells;
  doneWeight_ += weight;
}

void MatrixProgress::leaveOut(std::size_t cells, double weight) {
  leftOut_ += cells;
  weight_ -= weight;
}

double MatrixProgress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - begin_).count();
}

// What is left is expected to cost as much for its weight as what is done has.
void MatrixProgress::show() {
  if (seconds() < kNotBefore || Clock::now() - shown_ < kBetween) return;
  shown_ = Clock::now();
  std::string text = grouped(leftOut_ + done_) + " of " + grouped(cells_) + " cells";
  if (doneWeight_ > 0) {
    const double rate = static_cast<double>(done_) / seconds();
    const double left = (weight_ - doneWeight_) / doneWeight_ * seconds();
    text += ", " + grouped(static_cast<std::uint64_t>(std::llround(rate))) + " a second, about " +
            durationText(left) + " left";
  }
  showLiveLine("wz: " + text);
  isShown_ = true;
}

void MatrixProgress::clear() {
  if (!isShown_) return;
  clearLiveLine();
  isShown_ = false;
}

}  // namespace wz
