#include "crypto/store/terminal_certificates.h"

#include <cstddef>

namespace wzapp {

bool TerminalCertificates::next() {
  while (true) {
    // A failure of the service can look like a length: the certificate before must not be taken for
    // another one.
    buffer_.fill(0);
    const int length = readNextCertificate(buffer_);
    if (length < 1) return false;
    if (static_cast<std::size_t>(length) > buffer_.size()) continue;
    der_ = ByteView(buffer_).first(static_cast<std::size_t>(length));
    if (summariseCertificate(der_, summary_) == 0) return true;
  }
}

}  // namespace wzapp
