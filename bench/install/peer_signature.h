/// The detached signature of an inner package, read and verified with OpenSSL.
#ifndef WZAPP_BENCH_INSTALL_PEER_SIGNATURE_H
#define WZAPP_BENCH_INSTALL_PEER_SIGNATURE_H

#include <openssl/evp.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "bench/install/zip_reader.h"

namespace bench::peer {

/// SHA-1 and SHA-256 of the same octets.
struct Digests {
  std::array<unsigned char, 20> sha1;
  std::array<unsigned char, 32> sha256;
};

Digests digestEntry(ZipReader& archive, const ZipReader::Entry& entry);

/// Views into the octets of the file; their types are those of PKCS#7 (RFC 2315).
struct SignatureFile {
  std::string_view signedAttributes;  ///< what is signed
  std::string_view messageDigest;
  std::string_view signature;
  std::string_view signerKeyId;
  const EVP_MD* digest = nullptr;
};

/// False when the file has another form.
bool parseSignatureFile(std::string_view file, SignatureFile& parsed);

/// Whether the holder of `key` has signed a package with these digests.
bool isSignedBy(EVP_PKEY* key, const SignatureFile& file, const Digests& digests);

}  // namespace bench::peer

#endif  // WZAPP_BENCH_INSTALL_PEER_SIGNATURE_H
