// The certificate parser: every view of a record lies inside the input, the outermost element alone
// decides, and the same certificate gives the same record again.

#include <algorithm>
#include <vector>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/der_walker.h"
#include "fuzz/check.h"
#include "fuzz/view_check.h"

namespace {

using wzapp::ByteView;
using wzapp::CertificateRecord;

std::vector<ByteView> viewsOf(const CertificateRecord& record) {
  return {record.serialNumber,       record.notBefore,         record.notAfter,
          record.subjectUniqueLabel, record.modulus,           record.publicExponent,
          record.authorityKeyId,     record.subjectKeyId,      record.signature,
          record.toBeSigned,         record.permissions,       record.privateExtension5,
          record.subjectLabelValue,  record.signatureAlgorithm};
}

void checkRecord(const CertificateRecord& record, ByteView input) {
  for (const ByteView view : viewsOf(record)) FUZZ_CHECK(wzapp_fuzz::liesInside(view, input));
  FUZZ_CHECK(record.toBeSigned.size() >= 2);
  FUZZ_CHECK(!record.authorityKeyId.empty() && !record.subjectKeyId.empty());
  for (const std::uint8_t usage : record.keyUsage) FUZZ_CHECK(usage <= 1);
  for (const std::int32_t flag : {record.isAuthority, record.privateExtension1,
                                  record.privateExtension2, record.privateExtension4}) {
    FUZZ_CHECK(flag == 0 || flag == 1);
  }
}

bool isSame(const CertificateRecord& one, const CertificateRecord& other) {
  const std::vector<ByteView> views = viewsOf(one);
  return std::ranges::equal(views, viewsOf(other), wzapp_fuzz::isSameView) &&
         one.keyUsage == other.keyUsage && one.isAuthority == other.isAuthority &&
         one.pathLength == other.pathLength && one.privateExtension1 == other.privateExtension1 &&
         one.privateExtension2 == other.privateExtension2 &&
         one.privateExtension3 == other.privateExtension3 &&
         one.privateExtension4 == other.privateExtension4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input(data, size);
  CertificateRecord record;
  CertificateRecord again;

  const int code = wzapp::parseCertificate(input, record);

  FUZZ_CHECK(code == 0 || (code >= -122 && code <= -102));
  if (code == 0) checkRecord(record, input);
  FUZZ_CHECK(wzapp::parseCertificate(wzapp::outermostElement(input), again) == code);
  FUZZ_CHECK(isSame(record, again));
  return 0;
}
