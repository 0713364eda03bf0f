// The object identifiers that have been met, to refuse a second one.
//
// Up to kInline of them are kept in a row inside the object, and none takes memory; those beyond
// go into a set, so that no number of them makes a text slow to read.
#ifndef WZAPP_CRYPTO_DER_SEEN_OIDS_H
#define WZAPP_CRYPTO_DER_SEEN_OIDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>

#include "crypto/der/oid.h"

namespace wzapp {

class SeenOids {
 public:
  static constexpr std::size_t kInline = 32;

  enum class Result { kNew, kSeenBefore, kNoMemory };

  // Returns kNoMemory when memory cannot be had; `oid` is then not inserted.
  [[nodiscard]] Result insert(const ShortOid& oid);

 private:
  // The key of a ShortOid. It has no value until it is given one, so that a row of them costs
  // nothing to make.
  struct Key {
    std::uint64_t high;
    std::uint64_t low;
  };

  [[nodiscard]] bool isInRow(const ShortOid& oid) const;

  std::array<Key, kInline> row_;  // filled up to count_
  std::size_t count_ = 0;
  std::uint64_t endings_ = 0;  // a bit for each ending in the row, the lowest six bits of an OID
  std::set<ShortOid> more_;
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_SEEN_OIDS_H
