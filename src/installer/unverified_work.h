// What a package file may make the run do before anybody is known to have signed for it.
//
// Whoever may write to the source directory can have the run inflate, digest, parse and verify
// whatever he likes, under the install lock. The work is counted in octets, of which reading and
// digesting one is the unit, and limited so that it stays in proportion to the size of the file:
//
// - An inner package counts the octets that come out of it, a certificate and a signature
//   kMaxCredentialSize, whatever they have: to parse one and to verify one signature
//   costs about as much as to inflate and digest so many octets.
// - What is verified is given back. The packages of an honest file are counted one at a time, and a
//   true package beside a false one buys it nothing.
// - The limit is what the file could bring at the best ratio of the format. Beyond the first
//   kFreeOctets of that it is kExpansion times the size of the file; and kFreeCredentials more
//   certificates and signatures in any case.
//
// So no file whose entries have octets of their own is refused unless it packs more than kExpansion
// times, and then only one that brings more than kFreeOctets. An inner package is an archive, which
// hardly packs again. A certificate or a signature has, packed, at least the 256 octets of an RSA
// signature, for which the file may do as much work as one counts.
#ifndef WZAPP_INSTALLER_UNVERIFIED_WORK_H
#define WZAPP_INSTALLER_UNVERIFIED_WORK_H

#include <cstddef>
#include <cstdint>

namespace wzapp {

// The largest certificate and the largest signature, in octets.
inline constexpr std::size_t kMaxCredentialSize = std::size_t{64} << 10;

// For one thread at a time. Nothing throws.
class UnverifiedWork {
 public:
  static constexpr std::uint64_t kExpansion = 256;
  static constexpr std::uint64_t kFreeOctets = std::uint64_t{16} << 20;
  static constexpr std::uint64_t kFreeCredentials = 32;

  // What a package file of `fileSize` octets may do.
  explicit UnverifiedWork(std::uint64_t fileSize);

  // Takes work of so many octets. False, with nothing taken, where that is not left.
  [[nodiscard]] bool take(std::uint64_t octets);

  // Gives back what was taken for something that is verified.
  void giveBack(std::uint64_t octets) { left_ += octets; }

 private:
  std::uint64_t left_;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_UNVERIFIED_WORK_H
