// The certificates that an installation run trusts.
//
// A certificate gets in only when one that is in already has issued it. At the bottom stand the
// terminal's roots, on them the authorities that are compiled in, on those the signer certificates
// that come with packages.
#ifndef WZAPP_CRYPTO_STORE_CERTIFICATE_STORE_H
#define WZAPP_CRYPTO_STORE_CERTIFICATE_STORE_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/certificate/certificate_summary.h"
#include "crypto/certificate/issuance_memo.h"
#include "crypto/store/authorities.h"
#include "support/byte_view.h"

namespace wzapp {

// What a certificate may sign.
enum CertificateKind : std::int32_t {
  kUndecidedCertificate = 0,  // a package certificate that is being added
  kRootCertificate = 1,       // of the terminal, from its security service
  kSignerAuthority = 2,  // issues package signer certificates, whose permissions say their kind
  kApplicationCertificate = 3,  // signs application packages, or issues what does
  kManifestCertificate = 4,     // signs "-O.ZIP" and "-U.ZIP" packages, or issues what does
};

struct Certificate {
  std::int32_t kind;  // CertificateKind
  std::vector<std::uint8_t> der;
};

// What it prints goes to the install log, a refusal as a warning, which the run's result notes.
// One object belongs to one thread at a time, and only one may be rebuilt at a time since the
// security service has one list. The only exceptions are std::bad_alloc and those of the log.
class CertificateStore {
 public:
  // An empty store on the authorities of `table`, rows of static octets in their order.
  explicit CertificateStore(std::span<const Authority> table) : table_(table) {}
  CertificateStore(const CertificateStore&) = delete;
  CertificateStore& operator=(const CertificateStore&) = delete;

  // Forgets every certificate, then takes the terminal's roots that have issued an authority of
  // the table, then the authorities whose issuer is there. A root is trusted as the security
  // service gives it.
  //
  // The security service is asked each time. What is kept from the time before depends on octets
  // alone: the summaries of the table, and which certificate has signed which.
  void rebuild();

  // Adds a certificate, or reports why not.
  //
  // `displayName`: what the reports call it.
  // `der` is copied.
  // `kind`: what the certificate becomes. For kUndecidedCertificate its issuer decides that, and
  // where the issuer is a kSignerAuthority the permissions do.
  void add(const char* displayName, ByteView der, std::int32_t kind = kUndecidedCertificate);

  // The certificate of a subject key identifier in uppercase hexadecimal; null if there is none.
  // It outlives the store's own use of it.
  [[nodiscard]] std::shared_ptr<const Certificate> find(std::string_view subjectKeyId) const;

 private:
  // A row of the table that summarises.
  struct SummarisedAuthority {
    const Authority* row;
    CertificateSummary summary;
  };

  void summariseTable();
  void addTerminalRoots();
  void addAuthorities();
  void addSummarised(const char* displayName, ByteView der, const CertificateSummary& summary,
                     std::int32_t kind);
  [[nodiscard]] bool isIssuedBy(const Certificate& issuer, ByteView der);
  [[nodiscard]] bool hasIssuedAuthority(std::string_view subjectKeyId) const;
  void insert(const char* subjectKeyId, std::int32_t kind, ByteView der);

  std::span<const Authority> table_;
  std::vector<SummarisedAuthority> summarisedTable_;  // empty until the first rebuild
  IssuanceMemo issuances_;
  // By subject key identifier.
  using Certificates = std::map<std::string, std::shared_ptr<const Certificate>, std::less<>>;
  Certificates certificates_;
  Certificates former_;  // of the time before the last rebuild: not trusted, only not copied again
};

// The installer's store, on the compiled-in authorities; empty at first, and there until the
// process ends.
[[nodiscard]] CertificateStore& certificateStore();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_CERTIFICATE_STORE_H
