// The detached signature of a package: a PKCS#7 file (ContentInfo of type signedData, RFC 2315) in
// the form of this system, as views of its octets.
//
// Its signed attributes stand in [2], both versions are 2, it carries no certificates, and an
// attribute names the key that signed. Ordinary PKCS#7 and CMS files are refused.
#ifndef WZAPP_CRYPTO_SIGNATURE_SIGNATURE_FILE_H
#define WZAPP_CRYPTO_SIGNATURE_SIGNATURE_FILE_H

#include "support/byte_view.h"

namespace wzapp {

// Why a signature file does not parse.
enum SignatureFileError : int {
  kNotSignedData = -215,
  kBadSignatureVersion = -216,  // of the SignedData or the first signer: missing or not 2
  kNoSignatureDigest = -217,    // no supported digest algorithm, not the signer's, or wrong length
  kNoSignedContent = -218,      // no content of the private type that holds an IA5String
  kNoSignedAttributes = -219,
  kNoRsaSignature = -220,
  kBadContentType = -221,  // attribute missing or not of the private type
  kNoSignerKeyId = -222,
};

// The views are of the file's octets and good as long as those.
struct SignatureInfo {
  ByteView signedAttributes;  // content octets of [2]: what the signature covers
  ByteView messageDigest;     // 20 octets with SHA-1, 32 with SHA-256
  ByteView signerKeyId;
  ByteView signature;
  ByteView content;                // the IA5String inside the encapsulated content
  ByteView signerDigestAlgorithm;  // content octets of the OID
};

// Reads a signature file. The octets behind its outermost element are ignored. Allocates nothing;
// any thread may parse.
//
// `info` is filled only on success.
// Returns 0 or a SignatureFileError; the first that applies in the order of the structure.
[[nodiscard]] int parseSignatureFile(ByteView file, SignatureInfo& info);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_SIGNATURE_SIGNATURE_FILE_H
