// All certificates of a terminal as one tar archive: its own and the authorities.
#ifndef WZAPP_CRYPTO_STORE_CERTIFICATE_ARCHIVE_H
#define WZAPP_CRYPTO_STORE_CERTIFICATE_ARCHIVE_H

#include <span>
#include <string>

#include "crypto/certificate/certificate_summary.h"
#include "crypto/store/authorities.h"

namespace wzapp {

// Whose a certificate is: how its file's name begins.
inline constexpr const char* kTerminalFilePrefix = "os";
inline constexpr const char* kAuthorityFilePrefix = "wz";

// The file name of a certificate. The serial stands in it as it is, whatever its octets.
[[nodiscard]] inline std::string certificateFileName(const char* prefix,
                                                     const CertificateSummary& summary) {
  return std::string(prefix) + summary.serial + ".crt";
}

// Replaces `archive` by the terminal's certificates in the order of the security service and the
// authorities of `table` in theirs, one DER file each. What does not summarise is left out. For
// the thread that reads the security service. The only exception is std::bad_alloc.
void writeCertificateArchive(std::span<const Authority> table, std::string& archive);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_CERTIFICATE_ARCHIVE_H
