/// RSA keys of 2048 bits with the public exponent 65537, by OpenSSL.
#ifndef DEVKEYS_RSA_KEY_H
#define DEVKEYS_RSA_KEY_H

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct evp_pkey_st;

namespace devkeys {

/// OpenSSL could not do something; the text is for the user.
class KeyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws a KeyError with `what` and OpenSSL's reason unless `succeeded`.
void require(bool succeeded, const char* what);

class RsaKey {
 public:
  /// Makes a new key. Throws KeyError.
  RsaKey();

  /// Reads a private key from PEM text that is not encrypted. Throws KeyError.
  explicit RsaKey(const std::string& pem);

  [[nodiscard]] evp_pkey_st* get() const { return key_.get(); }

  /// SHA-1 of the public key (RFC 5280, 4.2.1.2, method 1): 20 octets.
  [[nodiscard]] std::string identifier() const;

  /// RSA, PKCS #1 v1.5, over the SHA-256 digest of `octets`. Throws KeyError.
  [[nodiscard]] std::string sign(std::string_view octets) const;

  /// PKCS#8 in PEM, not encrypted.
  [[nodiscard]] std::string privatePem() const;

 private:
  struct Free {
    void operator()(evp_pkey_st* key) const;
  };
  std::unique_ptr<evp_pkey_st, Free> key_;
};

}  // namespace devkeys

#endif  // DEVKEYS_RSA_KEY_H
