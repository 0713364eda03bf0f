#include "wz/reports/certificate_facts.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string_view>

#include "certificate_words/certificate_words.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"
#include "crypto/hex.h"
#include "wz/words/name_text.h"

namespace wz {
namespace {

using wzapp::ByteView;

struct AlgorithmName {
  const char* oid;
  const char* name;
};

// Those that a terminal can verify.
constexpr AlgorithmName kAlgorithmNames[] = {
    {"1.2.840.113549.1.1.5", "sha1WithRSAEncryption"},
    {"1.3.14.3.2.29", "sha1WithRSA"},
    {"1.2.840.113549.1.1.11", "sha256WithRSAEncryption"},
};

// Depth and index of the issuer and the subject: fields of the first part of the outermost element.
constexpr std::uint32_t kFieldDepth = 2, kIssuerIndex = 3, kSubjectIndex = 5;

std::string fieldName(ByteView der, std::uint32_t index) {
  wzapp::DerWalker walker(der);
  wzapp::DerElement element;
  while (walker.next(element) == 0) {
    if (element.depth != kFieldDepth || element.index != index) continue;
    return element.hasView() ? nameText(element.content()) : "?";
  }
  return "?";
}

std::string hexText(ByteView octets) {
  std::string text(2 * octets.size() + 1, '\0');
  wzapp::bytesToHex(octets, text.data(), text.size());
  text.pop_back();
  return text;
}

std::size_t bitsOf(ByteView number) {
  while (!number.empty() && number[0] == 0) number = number.subspan(1);
  return number.empty() ? 0 : 8 * (number.size() - 1) + std::bit_width(number[0]);
}

std::string numberText(ByteView number) {
  if (number.size() > sizeof(std::uint64_t)) return "0x" + hexText(number);
  std::uint64_t value = 0;
  for (const std::uint8_t octet : number) value = value << 8 | octet;
  return std::to_string(value);
}

std::string algorithmText(ByteView oid) {
  char text[128];
  if (wzapp::oidToText(oid, text, sizeof(text)) < 0) return "?";
  for (const AlgorithmName& row : kAlgorithmNames) {
    if (std::string_view(text) == row.oid) return row.name;
  }
  return text;
}

std::vector<std::string> permissionsOf(const wzapp::CertificateSummary& summary) {
  std::vector<std::string> permissions;
  for (const char* text = summary.permissions; *text != '\0'; text += std::strlen(text) + 1) {
    permissions.emplace_back(text);
  }
  return permissions;
}

// The dates compare as texts.
DateVerdict judgeDates(const std::string& from, const std::string& to, const std::string& now) {
  if (from > to)
    return now < from && now > to ? DateVerdict::kRefused : DateVerdict::kEndsBeforeBegin;
  if (now < from) return DateVerdict::kNotYetValid;
  return now > to ? DateVerdict::kExpired : DateVerdict::kValid;
}

std::string refusalText(const char* words, int code) {
  return std::string(words) + " (" + std::to_string(code) + ")";
}

}  // namespace

std::string currentTime() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[16];
  return std::string(text, std::strftime(text, sizeof(text), "%Y%m%d%H%M%S", &utc));
}

bool readFacts(ByteView der, const std::string& now, CertificateFacts& facts,
               std::string& refusal) {
  wzapp::CertificateRecord record;
  if (const int code = wzapp::parseCertificate(der, record); code != 0) {
    refusal = refusalText(certificate_words::whyNotParsed(code), code);
    return false;
  }
  wzapp::CertificateSummary summary;
  if (const int code = wzapp::summariseCertificate(der, summary); code != 0) {
    refusal = refusalText(certificate_words::whyNotSummarised(code), code);
    return false;
  }
  facts.issuer = fieldName(der, kIssuerIndex);
  facts.subject = fieldName(der, kSubjectIndex);
  facts.serial = summary.serial;
  facts.serialOctets = hexText(record.serialNumber);
  facts.subjectKeyId = summary.subjectKeyId;
  facts.authorityKeyId = summary.authorityKeyId;
  facts.validFrom = summary.validFrom;
  facts.validTo = summary.validTo;
  facts.dates = judgeDates(facts.validFrom, facts.validTo, now);
  facts.keyBits = bitsOf(record.modulus);
  facts.publicExponent = numberText(record.publicExponent);
  facts.signatureAlgorithm = algorithmText(record.signatureAlgorithm);
  facts.permissions = permissionsOf(summary);
  return true;
}

}  // namespace wz
