#include "tests/agree/library_verdict.h"

#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "archive/unzip.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/signature/signature_file.h"
#include "wz/words/codes.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kConfig = "/mnt/flash/etc/config/wzapp";
constexpr std::size_t kLargestProof = std::size_t{64} << 10;
constexpr std::size_t kLongestSignerId = 49;

// By the format of its line in the log.
const std::map<std::string, std::string>& codesByLine() {
  static const auto codes = [] {
    std::map<std::string, std::string> all;
    for (const wz::Code* const code : wz::allCodes()) {
      if (code->logLine[0] != '\0') all[code->logLine] = code->id;
    }
    return all;
  }();
  return codes;
}

void takeLine(void* user, const char* format, ...) {
  auto& verdict = *static_cast<verifier::Verdict*>(user);
  std::vector<std::string> names;
  va_list arguments;
  va_start(arguments, format);
  for (const char* at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at + 2, '%')) {
    if (at[1] == 's') names.emplace_back(va_arg(arguments, const char*));
    if (at[1] == 'd') names.push_back(std::to_string(va_arg(arguments, int)));
  }
  va_end(arguments);
  const auto code = codesByLine().find(format);
  if (code != codesByLine().end()) verdict.findings.insert({code->second, names});
  if (std::strcmp(format, "Extracting %s\n") == 0) verdict.taken.insert(names[0]);
  if (std::strcmp(format, "%s\n") == 0) verdict.stays.insert(names[0]);
}

const wz::Code* causeOfCertificate(wzapp::ByteView der) {
  wzapp::CertificateSummary summary;
  const int number = wzapp::summariseCertificate(der, summary);
  if (number != wzapp::kSummaryNotParsed) return wz::findCode(wz::Layer::kSummary, number);
  wzapp::CertificateRecord record;
  return wz::findCode(wz::Layer::kCertificate, wzapp::parseCertificate(der, record));
}

const wz::Code* causeOfSignature(wzapp::ByteView file) {
  wzapp::SignatureInfo info;
  const int number = wzapp::parseSignatureFile(file, info);
  if (number != 0) return wz::findCode(wz::Layer::kSignatureFile, number);
  return info.signerKeyId.size() > kLongestSignerId ? wz::findCode("WZ-0332") : nullptr;
}

struct Cause {
  const char* message;
  const wz::Code* (*find)(wzapp::ByteView);
};
constexpr Cause kCauses[] = {{"WZ-0202", causeOfCertificate}, {"WZ-0302", causeOfSignature}};

// What the log does not say is asked of the parsers again.
void addCauses(verifier::Verdict& verdict) {
  wzapp::UnZIP archive(kPackagePath);
  for (const verifier::Finding& finding : verdict.findings) {
    for (const Cause& cause : kCauses) {
      if (finding.code != cause.message) continue;
      std::vector<std::uint8_t> octets;
      const std::string& name = finding.names[0];
      if (!archive.readEntry(archive.index().find(name), octets, kLargestProof)) continue;
      const wz::Code* const code = cause.find(octets);
      if (code != nullptr) verdict.causes.insert({code->id, {name}});
    }
  }
}

void write(const std::string& package) {
  std::ofstream file(kPackagePath, std::ios::binary);
  file << package;
}

}  // namespace

verifier::Verdict libraryVerdict(const std::string& package) {
  fs::remove_all(kConfig);
  fs::create_directories(fs::path(kPackagePath).parent_path());
  write(package);
  verifier::Verdict verdict;
  verdict.result = wzapp::wzInstall(takeLine, &verdict);
  write(package);  // the run has taken it
  addCauses(verdict);
  fs::remove(kPackagePath);
  return verdict;
}

}  // namespace wzapp_test
