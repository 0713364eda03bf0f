#include "wz/reports/certificate_cause.h"

#include <cstdint>

#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/der/der_error.h"
#include "crypto/der/der_walker.h"
#include "support/file_system.h"
#include "wz/words/codes.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

using wzapp::ByteView;
using Result = Acceptance::Result;

// The first element that cannot be read, which may be behind it; empty when all can.
std::string derFault(ByteView octets) {
  wzapp::DerWalker walker(octets);
  wzapp::DerElement element;
  std::size_t offset = 0;
  for (;;) {
    const int result = walker.next(element);
    if (result == 0) {
      offset = element.offset;
      continue;
    }
    if (result == wzapp::kDerEnd && !octets.empty()) return {};
    const Code* const code = findCode(Layer::kDer, result);
    if (code == nullptr) return {};
    return "DER behind octet " + std::to_string(offset) + ": " + lowerFirst(code->title) + " (" +
           code->id + ")";
  }
}

CertificateCause causeOf(Layer layer, int number, ByteView octets) {
  const Code* const code = findCode(layer, number);
  return {code == nullptr ? "WZ-0202" : code->id, derFault(octets)};
}

std::string_view textOf(ByteView octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

// PrivateKeyInfo ::= SEQUENCE { INTEGER 0, SEQUENCE { OID, ... }, OCTET STRING }
// RSAPrivateKey ::= SEQUENCE { INTEGER 0, modulus INTEGER, ... }
bool isDerPrivateKey(ByteView octets) {
  wzapp::DerWalker walker(octets);
  wzapp::DerElement element;
  std::int32_t version = 0;
  if (walker.first(element) != 0 || element.identifier != wzapp::kDerSequence) return false;
  if (walker.next(element) != 0 || element.identifier != wzapp::kDerInteger) return false;
  if (wzapp::readInteger(element, version) != 0 || version != 0) return false;
  if (walker.next(element) != 0) return false;
  if (element.identifier == wzapp::kDerInteger) return element.depth == 1;
  return element.identifier == wzapp::kDerSequence && walker.next(element) == 0 &&
         element.identifier == wzapp::kDerObjectIdentifier;
}

}  // namespace

bool isPrivateKey(std::string_view octets) {
  const std::size_t begin = octets.find("-----BEGIN ");
  if (begin != std::string_view::npos) {
    const std::string_view line = octets.substr(begin, octets.find('\n', begin) - begin);
    if (line.find("PRIVATE KEY-----") != std::string_view::npos) return true;
  }
  return isDerPrivateKey(wzapp::viewOf(octets));
}

std::optional<CertificateCause> whyNotRead(ByteView octets) {
  if (octets.empty()) return CertificateCause{"WZ-0201", ""};
  wzapp::CertificateRecord record;
  const int parsed = wzapp::parseCertificate(octets, record);
  if (parsed != 0) {
    if (isPrivateKey(textOf(octets))) return CertificateCause{"WZ-0242", ""};
    if (textOf(octets).starts_with("-----BEGIN")) return CertificateCause{"WZ-0241", ""};
    return causeOf(Layer::kCertificate, parsed, octets);
  }
  wzapp::CertificateSummary summary;
  const int summarised = wzapp::summariseCertificate(octets, summary);
  if (summarised != 0) return causeOf(Layer::kSummary, summarised, octets);
  return std::nullopt;
}

std::optional<CertificateCause> whyNotAccepted(ByteView der, const Acceptance& acceptance,
                                               const CertificateFacts& facts,
                                               std::span<const wzapp::Authority> authorities) {
  switch (acceptance.result) {
    case Result::kAuthority:
    case Result::kRoot:
    case Result::kAccepted:
      return std::nullopt;
    case Result::kDates:
      return CertificateCause{"WZ-0203", facts.validFrom + " to " + facts.validTo};
    case Result::kNoPermission:
      return CertificateCause{"WZ-0206", ""};
    case Result::kNotSigned: {
      const ByteView issuer = authorities[acceptance.rows.front() - 1].der;
      const bool isUnknown =
          wzapp::checkAgainstAuthority(der, issuer) == wzapp::kCertificateRefused;
      return CertificateCause{isUnknown ? "WZ-0240" : "WZ-0205",
                              "signed by " + facts.signatureAlgorithm +
                                  "; it names the authority " + facts.authorityKeyId};
    }
    case Result::kNoAuthority:
      break;
  }
  return CertificateCause{"WZ-0204", "it names the authority " + facts.authorityKeyId};
}

}  // namespace wz
