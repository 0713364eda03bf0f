// The values of a certificate's extensions.
#ifndef WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_EXTENSIONS_H
#define WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_EXTENSIONS_H

#include <cstdint>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"
#include "support/byte_view.h"

namespace wzapp {

// A walk through the content of an extension's OCTET STRING, and where it stands. The view that it
// is made of must outlive it.
class ExtensionValue {
 public:
  explicit ExtensionValue(ByteView value) : walker_(value) {}

  // Steps on to the first element, which every value must begin with: complete and of definite
  // length.
  [[nodiscard]] bool begin() { return next() && element_.hasView(); }

  // Steps on; false at the end of the value and where it cannot be read.
  [[nodiscard]] bool next() { return walker_.next(element_) == 0; }

  // Steps on to an element at `depth`.
  [[nodiscard]] bool nextAt(std::uint32_t depth) { return next() && element_.depth == depth; }

  [[nodiscard]] const DerElement& element() const { return element_; }
  [[nodiscard]] bool is(std::uint32_t identifier) const {
    return element_.identifier == identifier;
  }

  // The number where the walk stands; false, with the output left alone, when there is none.
  [[nodiscard]] bool readFlag(std::int32_t& flag) const {
    return is(kDerBoolean) && readBoolean(element_, flag) == 0;
  }
  [[nodiscard]] bool readNumber(std::int32_t& number) const {
    return is(kDerInteger) && readInteger(element_, number) == 0;
  }

 private:
  DerWalker walker_;
  DerElement element_;
};

// How the value of a known extension is read into a record. The value stands at its first element.
// Gives 0 or a CertificateError.
using ReadExtension = int (*)(ExtensionValue& value, CertificateRecord& record);

// The reader for an extension; null for one that is not known.
[[nodiscard]] ReadExtension findExtension(const ShortOid& oid);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_EXTENSIONS_H
