#include "crypto/certificate/issuance_memo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace wzapp {

void IssuanceMemo::startRound() {
  last_ = std::move(current_);
  current_.clear();
}

void IssuanceMemo::remember(ByteView issuer, ByteView certificate) {
  current_.insert(pairOf(issuer, certificate));
}

bool IssuanceMemo::knows(ByteView issuer, ByteView certificate) {
  const Pair pair = pairOf(issuer, certificate);
  if (current_.contains(pair)) return true;
  auto known = last_.extract(pair);
  if (known.empty()) return false;
  current_.insert(std::move(known));
  return true;
}

// The length in front keeps the border between the two from moving.
IssuanceMemo::Pair IssuanceMemo::pairOf(ByteView issuer, ByteView certificate) {
  const std::size_t size = issuer.size();
  std::array<std::uint8_t, sizeof size> issuerSize;
  std::memcpy(issuerSize.data(), &size, sizeof size);
  Sha256Context context;
  digestStart(&context);
  digestAdd(&context, issuerSize);
  digestAdd(&context, issuer);
  digestAdd(&context, certificate);
  Pair pair;
  digestFinish(&context, pair.data());
  return pair;
}

}  // namespace wzapp
