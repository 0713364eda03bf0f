#include "certificate_words/certificate_words.h"

#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"

namespace certificate_words {
namespace {

struct Row {
  int code;
  const char* words;
};

constexpr Row kParserRows[] = {
    {wzapp::kBadVersion, "it is not of version 3"},
    {wzapp::kBadPublicKey, "its key is not an RSA key, or is malformed"},
    {wzapp::kMissingKeyId, "it has no authority key identifier or no subject key identifier"},
    {wzapp::kUnknownCriticalExtension, "it marks an extension as critical that is not known"},
    {wzapp::kBadPrivateExtension4, "its private extension 4 is not a BOOLEAN"},
    {wzapp::kBadAuthorityKeyId, "its authority key identifier is not given as a key identifier"},
    {wzapp::kBadPrivateExtension1,
     "its private extension 1 is not a BOOLEAN and a list of permissions"},
    {wzapp::kBadBasicConstraints, "its basic constraints are malformed"},
    {wzapp::kDuplicateExtension, "it has an extension twice"},
    {wzapp::kBadExtension, "its extensions are missing, or one of them is malformed"},
    {wzapp::kLongExtensionOid,
     "the object identifier of an extension has more than 30 characters as text, or is malformed"},
    {wzapp::kBadPrivateExtension2, "its private extension 2 is not a BOOLEAN"},
    {wzapp::kBadExtensionValue,
     "the value of an extension cannot be read, or its private extension 3 is not an INTEGER"},
    {wzapp::kBadKeyUsage, "its key usage is not a BIT STRING of two or three octets"},
    {wzapp::kBadOuterSignature, "its signature or the algorithm of it is missing or malformed"},
    {wzapp::kNoToBeSigned, "it does not begin like a certificate in DER"},
    {wzapp::kNoSerialNumber, "it has no serial number"},
    {wzapp::kNoValidity, "it has no validity"},
};

constexpr Row kSummaryRows[] = {
    {wzapp::kSummaryNotParsed, "it does not parse"},
    {wzapp::kSummaryLongKeyId, "a key identifier of it has more than 31 octets"},
    {wzapp::kSummaryBadTime, "a time of its validity is neither YYMMDDhhmmssZ nor YYYYMMDDhhmmssZ"},
};

template <unsigned long count>
const char* find(const Row (&rows)[count], int code) {
  for (const Row& row : rows) {
    if (row.code == code) return row.words;
  }
  return "it was refused";
}

}  // namespace

const char* whyNotParsed(int code) { return find(kParserRows, code); }

const char* whyNotSummarised(int code) { return find(kSummaryRows, code); }

}  // namespace certificate_words
