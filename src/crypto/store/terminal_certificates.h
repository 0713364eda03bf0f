// The terminal's own certificates as the store and the archive take them: those that summarise.
#ifndef WZAPP_CRYPTO_STORE_TERMINAL_CERTIFICATES_H
#define WZAPP_CRYPTO_STORE_TERMINAL_CERTIFICATES_H

#include <array>
#include <cstdint>

#include "crypto/certificate/certificate_summary.h"
#include "crypto/store/security_service.h"
#include "support/byte_view.h"

namespace wzapp {

// One reading of the security service's list; what holds for that holds here. An object of some
// 9 KB that allocates nothing.
class TerminalCertificates {
 public:
  // Begins the reading.
  TerminalCertificates() { startCertificateReading(); }
  TerminalCertificates(const TerminalCertificates&) = delete;
  TerminalCertificates& operator=(const TerminalCertificates&) = delete;

  // Moves on to the next certificate that summarises; others are passed over in silence, as is
  // one of which the service states more octets than its buffer holds.
  // Returns false when none is left or the service fails.
  [[nodiscard]] bool next();

  // The certificate and its summary, good until next() is called again.
  [[nodiscard]] ByteView der() const { return der_; }
  [[nodiscard]] const CertificateSummary& summary() const { return summary_; }

 private:
  std::array<std::uint8_t, kCertificateBufferSize> buffer_;
  ByteView der_;
  CertificateSummary summary_{};
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_TERMINAL_CERTIFICATES_H
