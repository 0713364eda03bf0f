/// The last dates of certificates, told ahead. Terminals do not mind them; people do.
#ifndef WZ_REPORTS_EXPIRY_H
#define WZ_REPORTS_EXPIRY_H

#include <optional>
#include <string>

#include "wz/reports/certificate_facts.h"
#include "wz/reports/diagnostic.h"

namespace wz {

/// How long ahead unless told otherwise, in days.
inline constexpr unsigned kExpiryNotice = 90;

/// What is to be said of the last date of a certificate: nothing while it is further away than
/// `days`.
/// \param now  as currentTime() has it.
[[nodiscard]] std::optional<Diagnostic> expiryOf(const CertificateFacts& facts,
                                                 const std::string& file, const std::string& entry,
                                                 const std::string& now, unsigned days);

}  // namespace wz

#endif  // WZ_REPORTS_EXPIRY_H
