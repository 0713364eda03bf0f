#include "crypto/security_service.h"

#include <array>
#include <cstdio>

#include "zelsec/zelsec.h"

namespace wzapp {

namespace {

constexpr int kCertificates = 2;  // operation of the service
constexpr int kListEnded = -510;

bool isReadingEnabled = false;

// `length` is what the service writes there, 0 if it writes nothing.
int query(std::span<std::uint8_t> buffer, unsigned short& length) {
  length = 0;
  return CMDiag(kCertificates, buffer.data(), &length);
}

}  // namespace

void startCertificateReading() {
  std::array<std::uint8_t, kCertificateBufferSize> buffer;
  unsigned short length = 0;
  int result = 0;
  do {
    result = query(buffer, length);
  } while (result == 0);
  if (result != kListEnded) std::fprintf(stderr, "CMDiag failed (ret=%d)\n", result);
  isReadingEnabled = true;
}

int readNextCertificate(std::span<std::uint8_t> buffer) {
  if (!isReadingEnabled) return 0;
  if (buffer.size() < kCertificateBufferSize) {
    isReadingEnabled = false;
    return kCertificateBufferTooSmall;
  }
  unsigned short length = 0;
  const int result = query(buffer, length);
  if (result == 0) return length;
  isReadingEnabled = false;
  return result == kListEnded ? 0 : result;
}

}  // namespace wzapp
