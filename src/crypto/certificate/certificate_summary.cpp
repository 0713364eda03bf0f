#include "crypto/certificate/certificate_summary.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/der_element.h"
#include "crypto/der/element_iterator.h"
#include "crypto/hex.h"

namespace wzapp {

namespace {

constexpr std::size_t kMaxKeyIdLength = 31;  // octets

// UTCTime is YYMMDDhhmmssZ, GeneralizedTime YYYYMMDDhhmmssZ. False for anything else.
bool timeToText(ByteView time, char (&text)[16]) {
  constexpr std::size_t kUtcLength = 13;
  constexpr std::size_t kGeneralizedLength = 15;
  if (time.size() != kUtcLength && time.size() != kGeneralizedLength) return false;
  if (time.back() != 'Z') return false;
  char* out = text;
  if (time.size() == kUtcLength) {
    out = std::copy_n(time[0] >= '5' ? "19" : "20", 2, out);  // 50 and above: the last century
  }
  *std::copy(time.begin(), time.end() - 1, out) = '\0';
  return true;
}

void copySerial(ByteView serial, char (&text)[12]) {
  const ByteView kept = serial.first(std::min(serial.size(), std::size(text) - 1));
  *std::copy(kept.rbegin(), kept.rend(), text) = '\0';
}

// Lines up the IA5Strings of the list. One that leaves no room for itself and the empty text at the
// end is skipped; a shorter one behind it may fit.
void copyPermissions(ByteView list, char (&text)[256]) {
  char* out = text;
  std::size_t space = std::size(text);
  ByteView elements;
  ElementIterator outer(list);
  if (outer.next(elements) != kDerSequence) elements = {};

  ElementIterator iterator(elements);
  ByteView permission;
  while (const std::uint32_t identifier = iterator.next(permission)) {
    const std::size_t length = permission.size();
    if (identifier != kDerIA5String || length == 0 || length + 2 >= space) continue;
    out = std::copy(permission.begin(), permission.end(), out);
    *out++ = '\0';
    space -= length + 1;
  }
  *out = '\0';
}

}  // namespace

int summariseCertificate(ByteView der, CertificateSummary& summary) {
  CertificateRecord record;
  if (parseCertificate(der, record) != 0) return kSummaryNotParsed;
  if (record.authorityKeyId.size() > kMaxKeyIdLength ||
      record.subjectKeyId.size() > kMaxKeyIdLength) {
    return kSummaryLongKeyId;
  }

  CertificateSummary filled{};
  if (!timeToText(record.notBefore, filled.validFrom)) return kSummaryBadTime;
  if (!timeToText(record.notAfter, filled.validTo)) return kSummaryBadTime;
  bytesToHex(record.authorityKeyId, filled.authorityKeyId, sizeof filled.authorityKeyId);
  bytesToHex(record.subjectKeyId, filled.subjectKeyId, sizeof filled.subjectKeyId);
  copySerial(record.serialNumber, filled.serial);
  bytesToHex(record.subjectUniqueLabel, filled.uniqueLabel, sizeof filled.uniqueLabel);
  copyPermissions(record.permissions, filled.permissions);
  summary = filled;
  return 0;
}

}  // namespace wzapp
