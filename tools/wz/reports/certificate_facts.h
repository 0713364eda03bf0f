/// What a certificate says, in the form in which it is shown.
#ifndef WZ_REPORTS_CERTIFICATE_FACTS_H
#define WZ_REPORTS_CERTIFICATE_FACTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/byte_view.h"

namespace wz {

/// What the dates of a certificate are to a terminal. It refuses a certificate only while it is
/// before the first date and behind the last at once, so that no ordinary one ever expires.
enum class DateVerdict {
  kValid,
  kNotYetValid,      ///< accepted all the same
  kExpired,          ///< accepted all the same
  kEndsBeforeBegin,  ///< the last date before the first, and now outside of both: accepted
  kRefused,          ///< the same, and now between the two: refused as expired
};

/// The texts may hold octets that are no UTF-8 and control characters.
struct CertificateFacts {
  std::string subject, issuer;  ///< name_text.h
  std::string serial;           ///< as a terminal shows it: at most 11 octets, last to first
  std::string serialOctets;     ///< as they stand in the certificate, hexadecimal
  std::string subjectKeyId, authorityKeyId;  ///< hexadecimal
  std::string validFrom, validTo;            ///< YYYYMMDDhhmmss, UTC
  DateVerdict dates = DateVerdict::kValid;
  std::size_t keyBits = 0;
  std::string publicExponent;      ///< decimal; hexadecimal behind 0x where it is beyond 64 bits
  std::string signatureAlgorithm;  ///< by name where a terminal can verify it, else dotted
  std::vector<std::string> permissions;
};

/// The time by this machine's clock as the dates of certificates are written: UTC, YYYYMMDDhhmmss.
[[nodiscard]] std::string currentTime();

/// Reads a certificate as the library does.
/// \param now      as currentTime() has it.
/// \param facts    filled only on success.
/// \param refusal  on failure why the library refuses it, with its code: a line of text.
[[nodiscard]] bool readFacts(wzapp::ByteView der, const std::string& now, CertificateFacts& facts,
                             std::string& refusal);

}  // namespace wz

#endif  // WZ_REPORTS_CERTIFICATE_FACTS_H
