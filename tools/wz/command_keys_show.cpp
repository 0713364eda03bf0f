#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "acceptance.h"
#include "certificate_facts.h"
#include "commands.h"
#include "crypto/authorities.h"
#include "exit_code.h"
#include "json_output.h"
#include "output.h"
#include "support/file_system.h"

namespace wz {
namespace {

// What is known of a file; without `isCertificate` only the reason why it is none.
struct Report {
  std::string file;
  std::size_t size = 0;
  bool isCertificate = false;
  std::string refusal;
  CertificateFacts facts;
  Acceptance acceptance;
};

std::string currentTime() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[16];
  return std::string(text, std::strftime(text, sizeof(text), "%Y%m%d%H%M%S", &utc));
}

// Unlike what a terminal reads, this may be a pipe that its writer fills while it is read.
bool readWaiting(const std::string& file, std::string& content) {
  std::ifstream stream(file, std::ios::binary);
  std::array<char, 4096> block;
  while (stream && content.size() <= wzapp::kMaxFileSize) {
    stream.read(block.data(), block.size());
    content.append(block.data(), static_cast<std::size_t>(stream.gcount()));
  }
  return stream.eof() && content.size() <= wzapp::kMaxFileSize;
}

bool readInput(const std::string& file, std::string& content) {
  std::error_code failure;
  if (std::filesystem::is_directory(file, failure)) {
    printMessage(file + " is a folder; name a certificate in it");
    return false;
  }
  if (readWaiting(file, content)) return true;
  printMessage(file + " cannot be read, or has more than 16 MiB");
  return false;
}

Report examine(const std::string& file, const std::string& content) {
  const wzapp::ByteView der(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  Report report;
  report.file = file;
  report.size = content.size();
  report.isCertificate = readFacts(der, currentTime(), report.facts, report.refusal);
  if (report.isCertificate) {
    report.acceptance = judge(der, report.facts, wzapp::authorities());
  } else if (content.rfind("-----BEGIN", 0) == 0) {
    report.refusal =
        "it is PEM text where terminals read DER; openssl x509 -in FILE -outform DER -out OTHER "
        "makes one of the other";
  }
  return report;
}

// ---- In words ----------------------------------------------------------------------------------

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

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

void printFact(const char* name, const std::string& value) {
  char label[24];
  std::snprintf(label, sizeof(label), "%-18s", name);
  printLine(label + value);
}

void printWords(const Report& report) {
  const CertificateFacts& facts = report.facts;
  printFact("file", report.file + ", " + std::to_string(report.size) + " octets");
  printFact("subject", facts.subject);
  printFact("issuer", facts.issuer);
  printFact("serial", facts.serial + " (octets " + facts.serialOctets +
                          ", which a terminal shows last to first)");
  printFact("subject key id", facts.subjectKeyId);
  printFact("authority key id", facts.authorityKeyId);
  printFact("valid", "from " + timeText(facts.validFrom, ' ') + " to " +
                         timeText(facts.validTo, ' ') + " UTC");
  printFact("", textOf(facts.dates).words);
  printFact("key", "RSA, " + std::to_string(facts.keyBits) + " bits, public exponent " +
                       facts.publicExponent);
  printFact("signature", facts.signatureAlgorithm);
  printFact("permissions", facts.permissions.empty() ? "none" : joined(facts.permissions));
  const int kind = report.acceptance.kind;
  printFact("kind", kind == 0 ? "none" : std::to_string(kind) + ", " + kindText(kind));
  printFact("acceptance", acceptanceText(report.acceptance, facts));
}

// ---- As JSON -----------------------------------------------------------------------------------

void putFacts(JsonWriter& writer, const CertificateFacts& facts) {
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
}

void putAcceptance(JsonWriter& writer, const Report& report) {
  const Acceptance& acceptance = report.acceptance;
  putNumber(writer, "kind", static_cast<std::size_t>(acceptance.kind));
  putFlag(writer, "accepted", acceptance.kind != 0);
  writer.Key("authorities");
  writer.StartArray();
  for (const std::size_t row : acceptance.rows) writer.Uint64(row);
  writer.EndArray();
  putText(writer, "acceptance", acceptanceText(acceptance, report.facts));
}

void printJson(const Report& report) {
  printJsonObject([&report](JsonWriter& writer) {
    putText(writer, "file", report.file);
    putNumber(writer, "octets", report.size);
    putFlag(writer, "isCertificate", report.isCertificate);
    if (report.isCertificate) {
      putFacts(writer, report.facts);
      putAcceptance(writer, report);
    } else {
      putText(writer, "refusal", report.refusal);
    }
  });
}

}  // namespace

int showKey(const ShowKeyOptions& options) {
  std::string content;
  if (!readInput(options.file, content)) return kEnvironment;
  const Report report = examine(options.file, content);
  if (options.asJson) {
    printJson(report);
  } else if (report.isCertificate) {
    printWords(report);
  } else {
    printMessage(report.file + " is no certificate that a terminal reads: " + report.refusal);
  }
  return report.isCertificate ? kDone : kApplicationFailed;
}

}  // namespace wz
