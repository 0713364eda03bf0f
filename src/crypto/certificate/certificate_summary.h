// A certificate in fixed text fields, as the certificate store and the certificate archive key on.
#ifndef WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_SUMMARY_H
#define WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_SUMMARY_H

#include "support/byte_view.h"

namespace wzapp {

enum SummaryError : int {
  kSummaryNotParsed = -3,
  kSummaryLongKeyId = -5,  // a key identifier of more than 31 octets
  kSummaryBadTime = -6,    // a validity time that is neither a UTCTime nor a GeneralizedTime
};

// All fields end with a NUL.
struct CertificateSummary {
  char authorityKeyId[64];  // uppercase hexadecimal
  char subjectKeyId[64];    // uppercase hexadecimal
  char validFrom[16];       // YYYYMMDDhhmmss
  char validTo[16];         // YYYYMMDDhhmmss
  char serial[12];          // the first 11 serial octets in reverse order, as they are
  char uniqueLabel[18];     // uppercase hexadecimal of at most 8 octets
  char permissions[256];    // one text after the other, ended by an empty one
};

// `summary` is filled only on success.
// Returns 0 or a SummaryError.
[[nodiscard]] int summariseCertificate(ByteView der, CertificateSummary& summary);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_SUMMARY_H
