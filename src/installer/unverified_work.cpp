#include "installer/unverified_work.h"

#include <algorithm>

#include "archive/unzip.h"

namespace wzapp {
namespace {

// The largest size whose work can be counted; no file has it.
constexpr std::uint64_t kLargestSize = UINT64_MAX / UnZIP::kMaxExpansion / 2;

}  // namespace

UnverifiedWork::UnverifiedWork(std::uint64_t fileSize) {
  const std::uint64_t size = std::min(fileSize, kLargestSize);
  left_ = std::min(size * UnZIP::kMaxExpansion, kFreeOctets + size * kExpansion) +
          kFreeCredentials * kMaxCredentialSize;
}

bool UnverifiedWork::take(std::uint64_t octets) {
  if (octets > left_) return false;
  left_ -= octets;
  return true;
}

}  // namespace wzapp
