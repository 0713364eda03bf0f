#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/acceptance.h"
#include "wz/reports/certificate_cause.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/certificate_output.h"
#include "wz/reports/certificate_source.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/expiry.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

// What is known of a file, or an entry of one; without `isCertificate` only the reason why it is
// none.
struct Report {
  std::string file, entry;
  std::size_t size = 0;
  bool isCertificate = false;
  std::string refusal;
  CertificateFacts facts;
  Acceptance acceptance;
  Diagnostics diagnostics;

  [[nodiscard]] std::string name() const { return entry.empty() ? file : file + "!" + entry; }
};

void addCause(const std::optional<CertificateCause>& cause, Report& report) {
  if (!cause) return;
  report.diagnostics.push_back({cause->code, lowerFirst(codeOf(cause->code).title), report.file,
                                report.entry, 0, 0, cause->evidence});
}

Report examine(const CertificateOctets& source, unsigned days) {
  const wzapp::ByteView der = wzapp::viewOf(source.octets);
  Report report;
  report.file = source.file;
  report.entry = source.entry;
  report.size = source.octets.size();
  report.isCertificate = readFacts(der, currentTime(), report.facts, report.refusal);
  if (!report.isCertificate) {
    addCause(whyNotRead(der), report);
    return report;
  }
  report.acceptance = judge(der, report.facts, trustedAuthorities());
  addCause(whyNotAccepted(der, report.acceptance, report.facts, trustedAuthorities()), report);
  if (auto expiry = expiryOf(report.facts, report.file, report.entry, currentTime(), days)) {
    report.diagnostics.push_back(*expiry);
  }
  return report;
}

Report withoutCertificate(const std::string& file) {
  Report report;
  report.file = file;
  report.refusal = "there is no certificate in it";
  report.diagnostics.push_back({"WZ-0910", report.refusal, file, "", 0, 0, ""});
  return report;
}

// ---- One, in full ------------------------------------------------------------------------------

void printWords(const Report& report) {
  printFact("", "file", report.name() + ", " + std::to_string(report.size) + " octets");
  printCertificate(report.facts, report.acceptance.kind,
                   acceptanceText(report.acceptance, report.facts), "");
  printDiagnostics(report.diagnostics, false);
}

void printRefusal(const Report& report) {
  for (const Diagnostic& cause : report.diagnostics) {
    printMessage(report.name() + " is no certificate that a terminal reads: " + cause.message +
                 " [" + cause.code + "]");
    if (!cause.evidence.empty()) printMessage("found: " + cause.evidence);
    printMessage("repair: " + repairOf(cause));
  }
}

void printInFull(const Report& report) {
  if (report.isCertificate) {
    printWords(report);
  } else {
    printRefusal(report);
  }
}

// ---- Many, a line each -------------------------------------------------------------------------

const char* purposeOf(const Report& report) {
  static constexpr const char* kPurposes[] = {"not accepted", "root", "authority of signers",
                                              "applications", "manifests"};
  const int kind = report.acceptance.kind;
  return kind >= 0 && kind < 5 ? kPurposes[kind] : "?";
}

std::string padded(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

// What is wrong with several in one way is told once, with those of the first few names.
void printTogether(const std::vector<Report>& reports) {
  constexpr std::size_t kNamed = 3;
  std::map<std::string, std::vector<const Diagnostic*>> byCode;
  for (const Report& report : reports) {
    for (const Diagnostic& diagnostic : report.diagnostics) {
      byCode[diagnostic.code].push_back(&diagnostic);
    }
  }
  for (const auto& [id, diagnostics] : byCode) {
    const Code& code = codeOf(id);
    if (diagnostics.size() == 1) {
      printDiagnostics({*diagnostics.front()}, false);
      continue;
    }
    std::string names;
    for (std::size_t i = 0; i < std::min(kNamed, diagnostics.size()); ++i) {
      const Diagnostic& diagnostic = *diagnostics[i];
      names += (i == 0 ? "" : ", ") + diagnostic.file +
               (diagnostic.entry.empty() ? "" : "!" + diagnostic.entry);
    }
    if (diagnostics.size() > kNamed) {
      names += " and " + std::to_string(diagnostics.size() - kNamed) + " more";
    }
    printLine(std::string(severityText(code.severity)) + ": " + lowerFirst(code.title) + " [" + id +
              "]: " + names);
    printLine("  repair: " + repairOf(*diagnostics.front()));
  }
}

void printTable(const std::vector<Report>& reports) {
  std::size_t width = 0, serialWidth = 0;
  for (const Report& report : reports) {
    width = std::max(width, report.name().size());
    serialWidth = std::max(serialWidth, report.facts.serial.size());
  }
  for (const Report& report : reports) {
    const std::string name = padded(report.name(), width) + "  ";
    if (!report.isCertificate) {
      printLine(name + "no certificate that a terminal reads");
      continue;
    }
    const std::string& last = report.facts.validTo;
    printLine(name + padded(report.facts.serial, serialWidth) + "  until " + last.substr(0, 4) +
              "-" + last.substr(4, 2) + "-" + last.substr(6, 2) + "  " + purposeOf(report));
  }
  printTogether(reports);
}

// ---- JSON --------------------------------------------------------------------------------------

void putReport(JsonWriter& writer, const Report& report) {
  putText(writer, "file", report.file);
  putText(writer, "entry", report.entry);
  putNumber(writer, "octets", report.size);
  putFlag(writer, "isCertificate", report.isCertificate);
  if (!report.isCertificate) {
    putText(writer, "refusal", report.refusal);
    return;
  }
  const Acceptance& acceptance = report.acceptance;
  putCertificate(writer, report.facts, acceptance.kind, acceptanceText(acceptance, report.facts));
  putFlag(writer, "accepted", acceptance.kind != 0);
  writer.Key("authorities");
  writer.StartArray();
  for (const std::size_t row : acceptance.rows) writer.Uint64(row);
  writer.EndArray();
}

// One certificate stands in the result itself, too.
void printJson(const std::vector<Report>& reports, bool areCertificates) {
  Diagnostics all;
  for (const Report& report : reports) {
    all.insert(all.end(), report.diagnostics.begin(), report.diagnostics.end());
  }
  printJsonDocument("keys show", areCertificates, all, [&reports](JsonWriter& writer) {
    if (reports.size() == 1) putReport(writer, reports.front());
    writer.Key("certificates");
    writer.StartArray();
    for (const Report& report : reports) {
      writer.StartObject();
      putReport(writer, report);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

}  // namespace

int showKeys(const ShowKeysOptions& options) {
  std::vector<Report> reports;
  for (const std::string& file : options.files) {
    std::vector<CertificateOctets> sources;
    if (!readCertificates(file, sources)) return kEnvironment;
    if (sources.empty()) reports.push_back(withoutCertificate(file));
    for (const CertificateOctets& source : sources) {
      reports.push_back(examine(source, options.withinDays));
    }
  }
  const bool areCertificates = std::all_of(
      reports.begin(), reports.end(), [](const Report& report) { return report.isCertificate; });
  if (options.asJson) {
    printJson(reports, areCertificates);
  } else if (reports.size() == 1 || volume() == Volume::kVerbose) {
    for (const Report& report : reports) {
      if (&report != &reports.front()) printLine("");
      printInFull(report);
    }
  } else {
    printTable(reports);
  }
  return areCertificates ? kDone : kApplicationFailed;
}

}  // namespace wz
