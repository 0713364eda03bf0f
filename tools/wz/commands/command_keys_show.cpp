#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "crypto/authorities.h"
#include "support/file_system.h"
#include "wz/commands/commands.h"
#include "wz/reports/acceptance.h"
#include "wz/reports/certificate_cause.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/certificate_output.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"

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
  Diagnostics diagnostics;
};

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

void addCause(const std::optional<CertificateCause>& cause, Report& report) {
  if (!cause) return;
  report.diagnostics.push_back(
      {cause->code, lowerFirst(codeOf(cause->code).title), report.file, "", 0, 0, cause->evidence});
}

Report examine(const std::string& file, const std::string& content) {
  const wzapp::ByteView der = wzapp::viewOf(content);
  Report report;
  report.file = file;
  report.size = content.size();
  report.isCertificate = readFacts(der, currentTime(), report.facts, report.refusal);
  if (report.isCertificate) {
    report.acceptance = judge(der, report.facts, wzapp::authorities());
    addCause(whyNotAccepted(der, report.acceptance, report.facts, wzapp::authorities()), report);
  } else {
    addCause(whyNotRead(der), report);
  }
  return report;
}

void printWords(const Report& report) {
  printFact("", "file", report.file + ", " + std::to_string(report.size) + " octets");
  printCertificate(report.facts, report.acceptance.kind,
                   acceptanceText(report.acceptance, report.facts), "");
  printDiagnostics(report.diagnostics, false);
}

void printRefusal(const Report& report) {
  for (const Diagnostic& cause : report.diagnostics) {
    printMessage(report.file + " is no certificate that a terminal reads: " + cause.message + " [" +
                 cause.code + "]");
    if (!cause.evidence.empty()) printMessage("found: " + cause.evidence);
    printMessage("repair: " + repairOf(cause));
  }
}

void printJson(const Report& report) {
  printJsonDocument("keys show", report.isCertificate, report.diagnostics,
                    [&report](JsonWriter& writer) {
                      putText(writer, "file", report.file);
                      putNumber(writer, "octets", report.size);
                      putFlag(writer, "isCertificate", report.isCertificate);
                      if (!report.isCertificate) {
                        putText(writer, "refusal", report.refusal);
                        return;
                      }
                      const Acceptance& acceptance = report.acceptance;
                      putCertificate(writer, report.facts, acceptance.kind,
                                     acceptanceText(acceptance, report.facts));
                      putFlag(writer, "accepted", acceptance.kind != 0);
                      writer.Key("authorities");
                      writer.StartArray();
                      for (const std::size_t row : acceptance.rows) writer.Uint64(row);
                      writer.EndArray();
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
    printRefusal(report);
  }
  return report.isCertificate ? kDone : kApplicationFailed;
}

}  // namespace wz
