// Verification of RSA signatures with PKCS #1 v1.5 padding (RFC 8017, EMSA-PKCS1-v1_5) over SHA-1
// or SHA-256, with moduli of up to 2048 bits. Only the public operation is needed and present.
//
// Two exponents exist here, 3 and 65537. Which of them a key has is told by the length of its
// exponent alone; keys with others cannot verify. Any thread may call.
#ifndef WZAPP_CRYPTO_RSA_RSA_H
#define WZAPP_CRYPTO_RSA_RSA_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "crypto/rsa/big_number.h"
#include "crypto/rsa/montgomery.h"
#include "support/byte_view.h"

namespace wzapp {

inline constexpr std::size_t kMaxModulusSize = kMaxWords * kWordSize;  // octets

inline constexpr int kSignatureValid = 1;
inline constexpr int kSignatureInvalid = 0;
inline constexpr int kSignatureNoMemory = -1;
inline constexpr int kSignatureKeyTooLong = -2;
// The digest is not one of the two, or the modulus has no room for it and its padding.
inline constexpr int kSignatureUnknownDigest = -4;

// A question to the verifier: views and text of octets that somebody else owns.
struct SignatureCheck {
  ByteView data;               // what was signed
  bool prehashed = false;      // `data` is the digest already
  ByteView signature;          // big-endian; read as far as the modulus is long, see verify
  ByteView publicExponent;     // as a certificate holds it, without a leading zero octet
  ByteView modulus;            // big-endian, without a leading zero octet
  std::string_view digestOid;  // dotted text
};

// Returns kSignatureValid, kSignatureInvalid or one of the negative codes above; never use it as a
// bool. The signature's own length does not count: of a longer one the first octets are taken, and
// a shorter one counts as followed by zero octets.
[[nodiscard]] int verify(const SignatureCheck& check,
                         const MontgomeryKernel& kernel = montgomeryKernel());

// input to the power exponent, modulo the modulus, all big-endian. `output`, which has at least the
// size of the modulus, takes the result without leading zero octets; what is left of the modulus'
// size is filled with zeros behind it. Returns the number of octets of the result, 0 for the
// number 0.
//
// Both numbers are cut to 2048 bits, and the input to as many words as the modulus has significant
// ones. An input that is greater than the modulus then gives no result: `resultSize` and `output`
// stay as they are and false is returned.
[[nodiscard]] bool publicOperation(ByteView input, Word exponent, ByteView modulus,
                                   std::span<std::uint8_t> output, std::size_t& resultSize,
                                   const MontgomeryKernel& kernel = montgomeryKernel());

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_RSA_RSA_H
