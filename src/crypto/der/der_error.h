// Codes of the DER layer. Every function of it that can fail returns 0 or one of these.
#ifndef WZAPP_CRYPTO_DER_DER_ERROR_H
#define WZAPP_CRYPTO_DER_DER_ERROR_H

namespace wzapp {

enum DerError : int {
  kDerEnd = -402,                  // a walk reached the end, or a search left its subtree
  kDerBadHeader = -403,            // a header or the content behind it does not lie in the view
  kDerTooLong = -404,              // identifier, length or nesting beyond the limits of the reader
  kDerIndefinitePrimitive = -405,  // indefinite length on a primitive element
  kDerNotFound = -406,             // nothing found; an OID with a too long arc or a too long text
  kDerBadInteger = -407,           // INTEGER of no octet or more than 4, or a record not valid
  kDerBadBoolean = -408,           // BOOLEAN not of one octet, or a record not valid
  kDerInvalidElement = -409,       // OID asked of a record that is not valid
  kDerUnknownSearch = -411,        // no such kind of search
  kDerTruncatedOid = -412,         // OID content ends inside an arc
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_DER_ERROR_H
