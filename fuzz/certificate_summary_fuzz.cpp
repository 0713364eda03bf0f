// The summary: every field is a text inside its bounds, of the characters that it is made of, and
// the same certificate gives the same octets again.

#include "crypto/certificate/certificate_summary.h"

#include <cstring>

#include "crypto/certificate/certificate_record.h"
#include "fuzz/check.h"

namespace {

using wzapp::ByteView;
using wzapp::CertificateSummary;

template <std::size_t kSize>
bool isText(const char (&field)[kSize]) {
  return std::memchr(field, '\0', kSize) != nullptr;
}

template <std::size_t kSize>
bool isHex(const char (&field)[kSize]) {
  return isText(field) && std::strspn(field, "0123456789ABCDEF") == std::strlen(field);
}

// Behind the last text stands an empty one.
bool isTextList(const char (&field)[256]) {
  std::size_t position = 0;
  while (position < sizeof field && field[position] != '\0') {
    const void* end = std::memchr(field + position, '\0', sizeof field - position);
    if (end == nullptr) return false;
    position = static_cast<std::size_t>(static_cast<const char*>(end) - field) + 1;
  }
  return position < sizeof field;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input(data, size);
  wzapp::CertificateRecord record;
  CertificateSummary summary;
  CertificateSummary again;
  std::memset(&summary, 0x55, sizeof summary);
  const CertificateSummary untouched = summary;

  const int code = wzapp::summariseCertificate(input, summary);

  const bool parses = wzapp::parseCertificate(input, record) == 0;
  FUZZ_CHECK((code == wzapp::kSummaryNotParsed) == !parses);
  if (code != 0) {
    FUZZ_CHECK(std::memcmp(&summary, &untouched, sizeof summary) == 0);
    return 0;
  }
  FUZZ_CHECK(isHex(summary.authorityKeyId) && isHex(summary.subjectKeyId));
  FUZZ_CHECK(std::strlen(summary.subjectKeyId) == 2 * record.subjectKeyId.size());
  FUZZ_CHECK(isHex(summary.uniqueLabel));
  FUZZ_CHECK(isText(summary.validFrom) && isText(summary.validTo) && isText(summary.serial));
  FUZZ_CHECK(isTextList(summary.permissions));
  FUZZ_CHECK(wzapp::summariseCertificate(input, again) == 0);
  FUZZ_CHECK(std::memcmp(&summary, &again, sizeof summary) == 0);
  return 0;
}
