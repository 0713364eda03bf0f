/// The object identifiers that have been met, to refuse a second one.
///
/// Up to kInline of them are kept in a row inside the object. The first one more takes memory,
/// once, for a tree of as many as there can be. Inserting there takes at most 128 steps whatever
/// has been inserted before, so that no choice of identifiers makes a text slow to read.
#ifndef WZAPP_CRYPTO_SEEN_OIDS_H
#define WZAPP_CRYPTO_SEEN_OIDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "crypto/oid.h"

namespace wzapp {

class SeenOids {
 public:
  static constexpr std::size_t kInline = 64;

  enum class Result { kNew, kSeenBefore, kNoRoom };

  /// \param most  how many there can be.
  explicit SeenOids(std::size_t most) : most_(most) {}
  SeenOids(const SeenOids&) = delete;
  SeenOids& operator=(const SeenOids&) = delete;

  /// \return kNoRoom when memory cannot be had, or for more than there could be; `oid` is then not
  ///         inserted.
  [[nodiscard]] Result insert(const ShortOid& oid);

 private:
  struct Key {
    std::uint64_t low;
    std::uint64_t high;
    friend bool operator==(const Key&, const Key&) = default;
  };
  // A binary tree over the 128 bits of the keys. Entry i holds the leaf i and, but for the first,
  // the fork that came with it: the bit at which its leaf differs from the one that it met.
  using Link = std::uint32_t;  // 2 * entry + 1 for its leaf, + 0 for its fork
  struct Entry {
    Key key;
    std::uint32_t bit;  // 0: the highest
    Link links[2];      // by the value of that bit
  };

  [[nodiscard]] Result insertInRow(const Key& key);
  [[nodiscard]] bool isInRow(const Key& key) const;
  [[nodiscard]] Result insertInTree(const Key& key);
  void addToTree(const Key& key, std::uint32_t bit);
  [[nodiscard]] bool growTree();
  static unsigned bitOf(const Key& key, std::uint32_t bit);
  static std::uint32_t firstDifference(const Key& one, const Key& other);

  std::uint64_t endings_ = 0;      // a bit for each ending in the row, the lowest six bits of a key
  std::array<Key, kInline> row_;   // filled up to count_, as long as there is no tree
  std::unique_ptr<Entry[]> tree_;  // room for most_, filled up to count_
  std::size_t most_;
  std::size_t count_ = 0;
  Link root_ = 0;
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_SEEN_OIDS_H
