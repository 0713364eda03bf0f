/// Why a terminal does not read, or does not accept, a certificate, by codes.
#ifndef WZ_REPORTS_CERTIFICATE_CAUSE_H
#define WZ_REPORTS_CERTIFICATE_CAUSE_H

#include <optional>
#include <string>
#include <string_view>

#include "support/byte_view.h"
#include "wz/reports/acceptance.h"

namespace wz {

struct CertificateCause {
  std::string code;
  std::string evidence;  ///< may be empty
};

/// Why octets are no certificate that a terminal reads; nothing when they are one.
[[nodiscard]] std::optional<CertificateCause> whyNotRead(wzapp::ByteView octets);

/// Why a certificate that was read is not accepted; nothing when it is.
/// \param authorities  those by which it was judged.
[[nodiscard]] std::optional<CertificateCause> whyNotAccepted(
    wzapp::ByteView der, const Acceptance& acceptance, const CertificateFacts& facts,
    std::span<const wzapp::Authority> authorities);

/// Whether octets are a private key, as PEM text or as DER (PKCS #1 or #8).
[[nodiscard]] bool isPrivateKey(std::string_view octets);

}  // namespace wz

#endif  // WZ_REPORTS_CERTIFICATE_CAUSE_H
