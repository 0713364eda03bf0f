#include "crypto/store/security_service.h"

#include <array>
#include <cstdio>

#include "support/security_list.h"

namespace wzapp {

namespace {

bool isReadingEnabled = false;

// `length` is what the service writes there, 0 if it writes nothing.
int query(std::span<std::uint8_t> buffer, std::uint16_t& length) {
  length = 0;
  return readSecurityRecord(SecurityList::kCertificates, buffer, length);
}

}  // namespace

void startCertificateReading() {
  std::array<std::uint8_t, kCertificateBufferSize> buffer;
  std::uint16_t length = 0;
  int result = 0;
  do {
    result = query(buffer, length);
  } while (result == 0);
  if (result != kSecurityListEnded) std::fprintf(stderr, "CMDiag failed (ret=%d)\n", result);
  isReadingEnabled = true;
}

int readNextCertificate(std::span<std::uint8_t> buffer) {
  if (!isReadingEnabled) return 0;
  if (buffer.size() < kCertificateBufferSize) {
    isReadingEnabled = false;
    return kCertificateBufferTooSmall;
  }
  std::uint16_t length = 0;
  const int result = query(buffer, length);
  if (result == 0) return length;
  isReadingEnabled = false;
  return result == kSecurityListEnded ? 0 : result;
}

}  // namespace wzapp
