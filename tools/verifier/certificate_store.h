/// The certificates that a terminal takes while it looks at one package.
#ifndef VERIFIER_CERTIFICATE_STORE_H
#define VERIFIER_CERTIFICATE_STORE_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "verifier/cause.h"
#include "verifier/certificate.h"
#include "verifier/verdict.h"

namespace verifier {

/// What a certificate may do; the numbers are those of the table of authorities.
enum Kind : int {
  kUnknown = 0,
  kRoot = 1,
  kFreeAuthority = 2,  ///< the permissions of what it issues decide
  kApplications = 3,
  kManifests = 4
};

class CertificateStore {
 public:
  struct Row {
    int kind;
    Certificate certificate;
  };

  /// Begins with the terminal's authorities, as far as it has their roots.
  explicit CertificateStore(const Terminal& terminal);

  struct Refusal {
    Cause code = kGood;   ///< of the message: WZ-0201 to WZ-0206
    Cause cause = kGood;  ///< behind it, where there is one
  };

  /// Takes a certificate, or says why not.
  [[nodiscard]] Refusal add(std::string_view der, int kind = kUnknown);

  /// Null when there is none.
  [[nodiscard]] const Row* find(const std::string& subjectKeyId) const;

 private:
  void addAll(const std::vector<Terminal::Authority>& authorities);

  std::map<std::string, Row> rows_;
};

}  // namespace verifier

#endif  // VERIFIER_CERTIFICATE_STORE_H
