// The certificates that the terminal's security service hands out, one by one.
//
// Where the reading stands is one state for the process, as is the service's list: only one
// thread may read, and only one reading goes on at a time.
#ifndef WZAPP_CRYPTO_STORE_SECURITY_SERVICE_H
#define WZAPP_CRYPTO_STORE_SECURITY_SERVICE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/security_list.h"

namespace wzapp {

// Octets that the buffer of a certificate holds at least.
inline constexpr std::size_t kCertificateBufferSize = kSecurityRecordSize;

// A buffer of fewer octets than that.
inline constexpr int kCertificateBufferTooSmall = -1;

// Begins a reading: reads the service's list to its end, after which it begins afresh. An end that
// is none is told on standard error; reading is enabled all the same. A service whose list has no
// end is not returned from.
void startCertificateReading();

// Reads the next certificate into `buffer`.
//
// Returns the size of its DER text as the service says, which may be more than the buffer holds; 0
// at the end of the list and while reading is disabled; kCertificateBufferTooSmall; or the
// service's own result, which is not 0. Of these the last two disable reading, as does the end of
// the list.
[[nodiscard]] int readNextCertificate(std::span<std::uint8_t> buffer);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_SECURITY_SERVICE_H
