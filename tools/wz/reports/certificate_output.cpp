#include "wz/reports/certificate_output.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "wz/reports/acceptance.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

// "20120301000000" -> "2012-03-01 00:00:00"
std::string timeText(const std::string& time, char between) {
  constexpr std::size_t kDigits = 14;
  if (time.size() != kDigits) return time;
  const auto part = [&time](std::size_t first, std::size_t count) {
    return time.substr(first, count);
  };
  return part(0, 4) + "-" + part(4, 2) + "-" + part(6, 2) + between + part(8, 2) + ":" +
         part(10, 2) + ":" + part(12, 2);
}

struct VerdictText {
  DateVerdict verdict;
  const char* name;  // in JSON
  const char* words;
};

constexpr VerdictText kVerdictTexts[] = {
    {DateVerdict::kValid, "valid",
     "Within its dates. A terminal would also accept it outside of them."},
    {DateVerdict::kNotYetValid, "notYetValid",
     "Not yet valid. A terminal accepts it all the same."},
    {DateVerdict::kExpired, "expired", "Expired. A terminal accepts it all the same."},
    {DateVerdict::kEndsBeforeBegin, "contradictory",
     "It ends before it begins. A terminal refuses it as expired in between, but not now."},
    {DateVerdict::kRefused, "refused",
     "It ends before it begins. A terminal refuses it as expired now."},
};

const VerdictText& textOf(DateVerdict verdict) {
  for (const VerdictText& text : kVerdictTexts) {
    if (text.verdict == verdict) return text;
  }
  return kVerdictTexts[0];
}

std::string kindWords(int kind) {
  return kind == 0 ? "none" : std::to_string(kind) + ", " + kindText(kind);
}

}  // namespace

void printFact(const std::string& indent, const char* name, const std::string& value) {
  char label[24];
  std::snprintf(label, sizeof(label), "%-18s", name);
  printLine(indent + label + value);
}

void printCertificate(const CertificateFacts& facts, int kind, const std::string& acceptance,
                      const std::string& indent) {
  const auto print = [&indent](const char* name, const std::string& value) {
    printFact(indent, name, value);
  };
  print("subject", facts.subject);
  print("issuer", facts.issuer);
  print("serial", facts.serial + " (octets " + facts.serialOctets +
                      ", which a terminal shows last to first)");
  print("subject key id", facts.subjectKeyId);
  print("authority key id", facts.authorityKeyId);
  print("valid",
        "from " + timeText(facts.validFrom, ' ') + " to " + timeText(facts.validTo, ' ') + " UTC");
  print("", textOf(facts.dates).words);
  print("key",
        "RSA, " + std::to_string(facts.keyBits) + " bits, public exponent " + facts.publicExponent);
  print("signature", facts.signatureAlgorithm);
  print("permissions", facts.permissions.empty() ? "none" : joined(facts.permissions));
  print("kind", kindWords(kind));
  print("acceptance", acceptance);
}

void putCertificate(JsonWriter& writer, const CertificateFacts& facts, int kind,
                    const std::string& acceptance) {
  putText(writer, "subject", facts.subject);
  putText(writer, "issuer", facts.issuer);
  putText(writer, "serial", facts.serial);
  putText(writer, "serialOctets", facts.serialOctets);
  putText(writer, "subjectKeyId", facts.subjectKeyId);
  putText(writer, "authorityKeyId", facts.authorityKeyId);
  putText(writer, "validFrom", timeText(facts.validFrom, 'T') + "Z");
  putText(writer, "validTo", timeText(facts.validTo, 'T') + "Z");
  putText(writer, "dates", textOf(facts.dates).name);
  putNumber(writer, "keyBits", facts.keyBits);
  putText(writer, "publicExponent", facts.publicExponent);
  putText(writer, "signatureAlgorithm", facts.signatureAlgorithm);
  putTexts(writer, "permissions", facts.permissions);
  putNumber(writer, "kind", static_cast<std::uint64_t>(kind));
  putText(writer, "acceptance", acceptance);
}

}  // namespace wz
