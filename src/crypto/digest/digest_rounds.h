// The rounds of SHA-1 and SHA-256 (FIPS 180-4) in plain C++, for the kernels that are made of them.
//
// The words change their roles instead of being moved: five rounds of SHA-1, or eight of SHA-256,
// bring every word back to its place.
#ifndef WZAPP_CRYPTO_DIGEST_DIGEST_ROUNDS_H
#define WZAPP_CRYPTO_DIGEST_DIGEST_ROUNDS_H

#include <cstdint>

#include "crypto/digest/digest_kernel.h"

// The state of a digest is meant to stay in registers from the first round to the last, which no
// call may come between.
#define WZAPP_ROUND __attribute__((always_inline)) inline

namespace wzapp {

using Word = std::uint32_t;

// Of words, and of vectors of them.
template <int bits, class T>
WZAPP_ROUND T rotl(T x) {
  return (x << bits) | (x >> (32 - bits));
}

template <int bits, class T>
WZAPP_ROUND T rotr(T x) {
  return rotl<32 - bits>(x);
}

WZAPP_ROUND Word choose(Word x, Word y, Word z) { return z ^ (x & (y ^ z)); }
WZAPP_ROUND Word parity(Word x, Word y, Word z) { return x ^ y ^ z; }
WZAPP_ROUND Word majority(Word x, Word y, Word z) { return (x & y) + (z & (x ^ y)); }

using Sha1Function = Word (*)(Word, Word, Word);

// What each twenty rounds of SHA-1 use.
inline constexpr Sha1Function kSha1Functions[] = {choose, parity, majority, parity};
inline constexpr Word kSha1Constants[] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};

// What the schedule of SHA-256 makes of the words 15 and 2 before.
template <class T>
WZAPP_ROUND T sha256Sigma0(T x) {
  return rotr<7>(x) ^ rotr<18>(x) ^ (x >> 3);
}

template <class T>
WZAPP_ROUND T sha256Sigma1(T x) {
  return rotr<17>(x) ^ rotr<19>(x) ^ (x >> 10);
}

struct Sha1State {
  explicit Sha1State(const Sha1Words& w) : a(w[0]), b(w[1]), c(w[2]), d(w[3]), e(w[4]) {}
  WZAPP_ROUND void addTo(Sha1Words& w) const {
    w[0] += a;
    w[1] += b;
    w[2] += c;
    w[3] += d;
    w[4] += e;
  }
  Word a, b, c, d, e;
};

template <Sha1Function function>
WZAPP_ROUND void sha1Round(Word a, Word& b, Word c, Word d, Word& e, Word input) {
  e += input;
  e += function(b, c, d);
  e += rotl<5>(a);
  b = rotl<30>(b);
}

struct Sha256State {
  explicit Sha256State(const Sha256Words& w)
      : a(w[0]), b(w[1]), c(w[2]), d(w[3]), e(w[4]), f(w[5]), g(w[6]), h(w[7]), bc(b ^ c) {}
  WZAPP_ROUND void addTo(Sha256Words& w) const {
    w[0] += a;
    w[1] += b;
    w[2] += c;
    w[3] += d;
    w[4] += e;
    w[5] += f;
    w[6] += g;
    w[7] += h;
  }
  Word a, b, c, d, e, f, g, h;
  Word bc;  // b ^ c, which the round before has had as its a ^ b
};

// The majority of a, b and c is b where b and c agree, and a elsewhere: b ^ ((a ^ b) & (b ^ c)).
WZAPP_ROUND void sha256Round(Word a, Word b, Word& bc, Word& d, Word e, Word f, Word g, Word& h,
                             Word input) {
  h += input;
  h += choose(e, f, g);
  const Word ab = a ^ b;
  const Word sum = rotr<2>(a ^ rotr<11>(a ^ rotr<9>(a))) + (b ^ (bc & ab));  // of 2, 13 and 22
  bc = ab;
  h += rotr<6>(e ^ rotr<5>(e) ^ rotr<19>(e));  // of 6, 11 and 25
  d += h;
  h += sum;
}

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DIGEST_DIGEST_ROUNDS_H
