#include "wz/matrix/matrix_plan.h"

#include <algorithm>

namespace wz {
namespace {

// Packages that one process tries on a terminal.
constexpr std::size_t kMostPackages = 32;
// Of so many terminals a row takes long anyway, and to enter one costs as much as a few trials.
constexpr std::size_t kManyGroups = 64;

}  // namespace

bool CellPlace::next(const MatrixShape& shape) {
  std::size_t& fast = shape.isTogether ? package : terminal;
  std::size_t& slow = shape.isTogether ? terminal : package;
  if (++fast < (shape.isTogether ? shape.packages : shape.terminals)) return true;
  fast = 0;
  return ++slow < (shape.isTogether ? shape.terminals : shape.packages);
}

bool CellPlace::isFirstOfRow(const MatrixShape& shape) const {
  return (shape.isTogether ? package : terminal) == 0;
}

MatrixPlan::MatrixPlan(const MatrixShape& shape, const Fleet& fleet, const Share& share)
    : shape_(shape), groups_(fleet.groups().size()) {
  const std::size_t all = shape.isTogether ? groups_ : groups_ * shape.packages;
  first_ = all * (share.number - 1) / share.count;
  end_ = all * share.number / share.count;
  if (!shape.isTogether) package_ = first_ / groups_;
  height_ = std::clamp(groups_ / kManyGroups, std::size_t{1}, kMostPackages);
  std::vector<std::size_t> terminalsOf(groups_);
  for (const FleetTerminal& terminal : fleet.terminals()) ++terminalsOf[terminal.group];
  for (std::size_t work = first_; work < end_; ++work) {
    cellCount_ += terminalsOf[work % groups_] * (shape.isTogether ? shape.packages : 1);
  }
}

bool MatrixPlan::isShared(std::size_t package, std::size_t group) const {
  const std::size_t work = shape_.isTogether ? group : package * groups_ + group;
  return work >= first_ && work < end_;
}

bool MatrixPlan::isBehindLast() const { return package_ >= shape_.packages; }

std::optional<MatrixPlan::Work> MatrixPlan::nextWork(
    const std::function<bool(std::size_t package, std::size_t group)>& isKnown) {
  while (!isBehindLast()) {
    const std::size_t height = shape_.isTogether ? shape_.packages : height_;
    Work work{group_, {}};
    for (std::size_t i = package_; i < std::min(package_ + height, shape_.packages); ++i) {
      if (isShared(i, group_) && !isKnown(i, group_)) work.packages.push_back(i);
    }
    if (++group_ == groups_) {
      group_ = 0;
      package_ += height;
      height_ = std::min(height_ * 2, kMostPackages);
    }
    if (work.packages.empty()) continue;
    if (shape_.isTogether) {  // what is tried at once is known at once, or not at all
      work.packages.resize(shape_.packages);
      for (std::size_t i = 0; i < shape_.packages; ++i) work.packages[i] = i;
    }
    return work;
  }
  return std::nullopt;
}

}  // namespace wz
