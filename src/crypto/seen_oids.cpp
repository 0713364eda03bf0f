#include "crypto/seen_oids.h"

#include <algorithm>
#include <bit>
#include <new>

namespace wzapp {

namespace {

constexpr bool isLeaf(std::uint32_t link) { return (link & 1) != 0; }

}  // namespace

unsigned SeenOids::bitOf(const Key& key, std::uint32_t bit) {
  const std::uint64_t half = bit < 64 ? key.high : key.low;
  return static_cast<unsigned>(half >> (63 - bit % 64)) & 1U;
}

// The highest bit in which two different keys differ.
std::uint32_t SeenOids::firstDifference(const Key& one, const Key& other) {
  const std::uint64_t high = one.high ^ other.high;
  if (high != 0) return static_cast<std::uint32_t>(std::countl_zero(high));
  return static_cast<std::uint32_t>(64 + std::countl_zero(one.low ^ other.low));
}

SeenOids::Result SeenOids::insert(const ShortOid& oid) {
  const Key key{oid.low(), oid.high()};
  return tree_ == nullptr ? insertInRow(key) : insertInTree(key);
}

SeenOids::Result SeenOids::insertInRow(const Key& key) {
  const std::uint64_t ending = std::uint64_t{1} << (key.low % 64);
  if ((endings_ & ending) != 0 && isInRow(key)) return Result::kSeenBefore;
  if (count_ == kInline) return growTree() ? insertInTree(key) : Result::kNoRoom;
  endings_ |= ending;
  Key& added = row_[count_++];
  added.low = key.low;  // one after the other, as they were written: see CMakeLists.txt
  added.high = key.high;
  return Result::kNew;
}

bool SeenOids::isInRow(const Key& key) const {
  const auto end = row_.begin() + static_cast<std::ptrdiff_t>(count_);
  return std::find(row_.begin(), end, key) != end;
}

SeenOids::Result SeenOids::insertInTree(const Key& key) {
  if (count_ == 0) {
    tree_[count_++].key = key;
    root_ = 1;
    return Result::kNew;
  }
  Link link = root_;
  while (!isLeaf(link)) {
    const Entry& fork = tree_[link / 2];
    link = fork.links[bitOf(key, fork.bit)];
  }
  const Key& met = tree_[link / 2].key;
  if (met == key) return Result::kSeenBefore;
  if (count_ == most_) return Result::kNoRoom;
  addToTree(key, firstDifference(met, key));
  return Result::kNew;
}

// Forks stand in the order of their bits on every way down; the new one goes before the first that
// decides on a lower bit than `bit`.
void SeenOids::addToTree(const Key& key, std::uint32_t bit) {
  Link* place = &root_;
  while (!isLeaf(*place) && tree_[*place / 2].bit < bit) {
    Entry& fork = tree_[*place / 2];
    place = &fork.links[bitOf(key, fork.bit)];
  }
  const auto entry = static_cast<Link>(2 * count_);
  Entry& added = tree_[count_++];
  const unsigned side = bitOf(key, bit);
  added.key = key;
  added.bit = bit;
  added.links[side] = entry + 1;
  added.links[1 - side] = *place;
  *place = entry;
}

// Takes the memory, and the full row into the tree.
bool SeenOids::growTree() {
  constexpr std::size_t kMostLinks = UINT32_MAX / 2;
  if (most_ <= kInline || most_ > kMostLinks) return false;
  tree_.reset(new (std::nothrow) Entry[most_]);
  if (tree_ == nullptr) return false;
  count_ = 0;
  // Not examined: they differ from each other, and there is room for more of them.
  for (const Key& key : row_) (void)insertInTree(key);
  return true;
}

}  // namespace wzapp
