/// The certificates in what a user names: a file, a folder, a package or a certificate archive.
#ifndef WZ_REPORTS_CERTIFICATE_SOURCE_H
#define WZ_REPORTS_CERTIFICATE_SOURCE_H

#include <string>
#include <vector>

namespace wz {

/// A file, or an entry of one, that is taken for a certificate.
struct CertificateOctets {
  std::string file;
  std::string entry;  ///< of the package or archive that `file` is; empty: the file itself
  std::string octets;
};

/// Adds what `path` holds: of a folder, with all below it, the *.der and *.crt in the order of
/// their names; of a package the certificates that terminals look at; every member of a tar
/// archive; otherwise the file itself. Nothing is added where there is none. False after a message
/// when something cannot be read.
[[nodiscard]] bool readCertificates(const std::string& path,
                                    std::vector<CertificateOctets>& certificates);

}  // namespace wz

#endif  // WZ_REPORTS_CERTIFICATE_SOURCE_H
