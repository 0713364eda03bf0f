#include "crypto/store/certificate_archive.h"

#include <ctime>

#include "crypto/store/tar_writer.h"
#include "crypto/store/terminal_certificates.h"
#include "wzapp/wzapp.h"

namespace wzapp {

void writeCertificateArchive(std::span<const Authority> table, std::string& archive) {
  archive.clear();
  const std::time_t now = std::time(nullptr);

  TerminalCertificates certificates;
  while (certificates.next()) {
    const std::string name = certificateFileName(kTerminalFilePrefix, certificates.summary());
    appendTarFile(archive, name, certificates.der(), now);
  }

  CertificateSummary summary;
  for (const Authority& authority : table) {
    if (summariseCertificate(authority.der, summary) != 0) continue;
    appendTarFile(archive, certificateFileName(kAuthorityFilePrefix, summary), authority.der, now);
  }
  appendTarEnd(archive);
}

void wzGetCertificateArchive(std::string& archive) {
  try {
    writeCertificateArchive(authorities(), archive);
  } catch (...) {
    archive.clear();  // memory is out
  }
}

}  // namespace wzapp
