/// The certificates that the peer trusts, with OpenSSL's X509 objects.
#ifndef WZAPP_BENCH_INSTALL_PEER_TRUST_STORE_H
#define WZAPP_BENCH_INSTALL_PEER_TRUST_STORE_H

#include <openssl/x509.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace bench::peer {

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using CertificatePointer = std::unique_ptr<X509, FreeCertificate>;

/// What a certificate may sign.
enum Kind { kUndecided = 0, kRoot = 1, kSignerAuthority = 2, kApplication = 3, kManifest = 4 };

struct Trusted {
  CertificatePointer certificate;
  int kind;
};

/// Every certificate in it but the roots was verified with its issuer's.
class TrustStore {
 public:
  /// Begins anew: the terminal's roots, then the compiled-in authorities that they have issued.
  void rebuild();

  /// Adds a certificate if it was issued by one that is there, and says so.
  void add(const std::string& name, std::string_view der);

  /// By the octets of the subject key identifier; null: there is none.
  [[nodiscard]] const Trusted* find(std::string_view keyId) const;

 private:
  void add(const std::string& name, CertificatePointer certificate, int kind);
  bool verify(CertificatePointer certificate, int kind);
  void insert(CertificatePointer certificate, int kind);

  std::map<std::string, Trusted, std::less<>> certificates_;
};

}  // namespace bench::peer

#endif  // WZAPP_BENCH_INSTALL_PEER_TRUST_STORE_H
