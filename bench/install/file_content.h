/// What the files of generated applications hold: scripts, which pack well, and images, which are
/// packed already. The same seed gives the same octets on every machine.
#ifndef WZAPP_BENCH_INSTALL_FILE_CONTENT_H
#define WZAPP_BENCH_INSTALL_FILE_CONTENT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

/// An endless stream of 64-bit numbers without a pattern (splitmix64). For one thread at a time.
class Numbers {
 public:
  explicit Numbers(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next();
  /// One below `limit`, which is not 0.
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }

 private:
  std::uint64_t state_;
};

/// Replaces `block` by `size` octets of lines as scripts have them; deflate makes about a third of
/// them.
void fillWithScript(Numbers& numbers, std::size_t size, std::string& block);

/// Replaces `block` by `size` octets that no compression makes less of.
void fillWithImage(Numbers& numbers, std::size_t size, std::string& block);

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_FILE_CONTENT_H
