/// Which of the authorities that are compiled in would accept a certificate.
#ifndef WZ_REPORTS_ACCEPTANCE_H
#define WZ_REPORTS_ACCEPTANCE_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "support/byte_view.h"
#include "wz/reports/certificate_facts.h"

namespace wz {

struct Acceptance {
  enum class Result {
    kAuthority,     ///< it is an authority of the table itself
    kRoot,          ///< authorities of the table name it as their issuer
    kAccepted,      ///< an authority issued it, and it may sign something
    kDates,         ///< an authority would, but for its dates
    kNoPermission,  ///< an authority issued it, but its permissions name nothing to sign
    kNotSigned,     ///< it names an authority, which did not sign it
    kNoAuthority,   ///< it names no authority of the table
  };
  Result result = Result::kNoAuthority;
  int kind = 0;  ///< with kAuthority, kRoot and kAccepted: what a terminal makes of it
  std::vector<std::size_t> rows;  ///< from 1: the authorities meant; none with kNoAuthority
};

/// Judges as a terminal that has the roots of all these authorities does, for a certificate that
/// comes with a package.
/// \param facts  of `der`.
[[nodiscard]] Acceptance judge(wzapp::ByteView der, const CertificateFacts& facts,
                               std::span<const wzapp::Authority> authorities);

/// The kind in words: "may sign applications".
[[nodiscard]] std::string kindText(int kind);

/// The result in words, a sentence.
[[nodiscard]] std::string acceptanceText(const Acceptance& acceptance,
                                         const CertificateFacts& facts);

}  // namespace wz

#endif  // WZ_REPORTS_ACCEPTANCE_H
