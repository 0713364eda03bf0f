/// The detached signature of a package, as terminals read it: PKCS#7 signedData (RFC 2315) in a
/// form of its own. Both versions are 2, the signed attributes stand in [2], there are no
/// certificates, and an attribute behind the signature names the key:
///
///     SEQUENCE { signedData, [0] { SEQUENCE {
///       INTEGER 2,
///       SET { SEQUENCE { sha256, NULL } },
///       SEQUENCE { package, [0] { IA5String } },
///       SET { SEQUENCE {
///         INTEGER 2,
///         SEQUENCE { NULL },                            -- where others name an issuer
///         SEQUENCE { sha256, NULL },
///         [2] { contentType package, messageDigest },   -- what is signed: the octets inside
///         SEQUENCE { rsaEncryption, NULL },
///         OCTET STRING signature,
///         [3] { signerKeyIdentifier } } } } } }
#ifndef PACKAGING_SIGNATURE_WRITER_H
#define PACKAGING_SIGNATURE_WRITER_H

#include <string>
#include <string_view>

namespace packaging {

/// The octets to be signed for a package archive with this SHA-256 digest (32 octets).
[[nodiscard]] std::string octetsToSign(std::string_view sha256);

/// The signature file.
/// \param signedOctets   what octetsToSign gave.
/// \param keyIdentifier  the subject key identifier of the signer's certificate.
/// \param signature      RSA, PKCS #1 v1.5, over the SHA-256 digest of `signedOctets`.
[[nodiscard]] std::string signatureFile(std::string_view signedOctets,
                                        std::string_view keyIdentifier, std::string_view signature);

}  // namespace packaging

#endif  // PACKAGING_SIGNATURE_WRITER_H
