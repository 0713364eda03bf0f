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
  const Key key{oid.high(), oid.low()};
  if (count_ == 0) {
    entries_[count_++].key = key;
    root_ = 1;
    return Result::kNew;
  }
  Link link = root_;
  while (!isLeaf(link)) {
    const Entry& fork = entries_[link / 2];
    link = fork.links[bitOf(key, fork.bit)];
  }
  const Key& met = entries_[link / 2].key;
  if (met == key) return Result::kSeenBefore;
  return add(key, firstDifference(met, key));
}

// Forks stand in the order of their bits on every way down; the new one goes before the first that
// decides on a lower bit than `bit`.
SeenOids::Result SeenOids::add(const Key& key, std::uint32_t bit) {
  if (count_ == room_ && !makeRoom()) return Result::kNoRoom;
  Link* place = &root_;
  while (!isLeaf(*place) && entries_[*place / 2].bit < bit) {
    Entry& fork = entries_[*place / 2];
    place = &fork.links[bitOf(key, fork.bit)];
  }
  const auto entry = static_cast<Link>(2 * count_);
  Entry& added = entries_[count_++];
  const unsigned side = bitOf(key, bit);
  added.key = key;
  added.bit = bit;
  added.links[side] = entry + 1;
  added.links[1 - side] = *place;
  *place = entry;
  return Result::kNew;
}

bool SeenOids::makeRoom() {
  constexpr std::size_t kMostLinks = UINT32_MAX / 2;
  if (allocated_ != nullptr || most_ <= room_ || most_ > kMostLinks) return false;
  allocated_.reset(new (std::nothrow) Entry[most_]);
  if (allocated_ == nullptr) return false;
  std::copy_n(entries_, count_, allocated_.get());
  entries_ = allocated_.get();
  room_ = most_;
  return true;
}

}  // namespace wzapp
