#include "crypto/der/seen_oids.h"

#include <algorithm>
#include <new>

namespace wzapp {

namespace {

constexpr std::uint64_t endingOf(const ShortOid& oid) { return std::uint64_t{1} << oid.low() % 64; }

}  // namespace

SeenOids::Result SeenOids::insert(const ShortOid& oid) {
  if (isInRow(oid)) return Result::kSeenBefore;
  if (count_ < kInline) {
    row_[count_++] = {oid.high(), oid.low()};
    endings_ |= endingOf(oid);
    return Result::kNew;
  }
  try {
    return more_.insert(oid).second ? Result::kNew : Result::kSeenBefore;
  } catch (const std::bad_alloc&) {
    return Result::kNoMemory;
  }
}

// Known extensions end in different octets, so that most are told apart without a look at the row.
bool SeenOids::isInRow(const ShortOid& oid) const {
  if ((endings_ & endingOf(oid)) == 0) return false;
  for (std::size_t i = 0; i < count_; ++i) {
    if (row_[i].low == oid.low() && row_[i].high == oid.high()) return true;
  }
  return false;
}

}  // namespace wzapp
