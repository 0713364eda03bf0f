#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "packaging/package_maker.h"
#include "packaging/temporary_folders.h"
#include "support/text.h"
#include "wz/check/folder_check.h"
#include "wz/check/terminal_engine.h"
#include "wz/commands/commands.h"
#include "wz/commands/signing_options.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/development_key.h"
#include "wz/reports/expiry.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/package_output.h"
#include "wz/reports/package_report.h"
#include "wz/reports/screen.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

using packaging::Findings;

// False after a message for every error.
bool printFindings(const Findings& findings) {
  for (const packaging::Finding& warning : findings.warnings) {
    printMessage("warning: " + warning.text + " [" + warning.code + "]");
  }
  for (const packaging::Finding& error : findings.errors) {
    printMessage(error.text + " [" + error.code + "]");
  }
  return findings.errors.empty();
}

void checkSponsors(const std::vector<std::string>& sponsors, Findings& findings) {
  if (sponsors.empty()) {
    findings.errors.push_back(
        {"WZ-0901",
         "which sponsors' terminals may have it? Name each with --sponsor ID, or in the manifest: "
         "\"sponsors\": [\"123456\"]"});
  }
  for (const std::string& sponsor : sponsors) {
    if (const std::string why = packaging::whyNoSponsor(sponsor); !why.empty()) {
      findings.errors.push_back(
          {"WZ-0714", std::string("the sponsor ").append(sponsor).append(" ").append(why)});
    }
  }
}

// What makes one of the archives inside fail a check, the way a terminal says it.
void printRefusal(const PackageReport& report) {
  for (const PackageCertificate& certificate : report.certificates) {
    if (certificate.kind != 0) continue;
    printMessage(certificate.entry + ": " +
                 (certificate.isRead ? certificate.acceptance : certificate.refusal));
  }
  for (const InnerReport& inner : report.inners) {
    if (inner.isAccepted()) continue;
    const PackageCheck& failed = inner.checks.back();
    printMessage(inner.entry + ": " + failed.name + ": " + failed.detail);
  }
  if (!report.refusal.empty()) printMessage(report.refusal);
}

// False after a message for each development key.
bool isReleased(const PackageReport& report, bool isByCompiledIn) {
  const Diagnostics found = developmentKeysIn(report, isByCompiledIn);
  for (const Diagnostic& key : found) {
    printMessage(key.message + ": " + key.evidence + " [" + key.code + "]");
  }
  if (!found.empty()) printMessage("repair: " + repairOf(found.front()));
  return found.empty();
}

void tellExpiries(const PackageReport& report) {
  for (const PackageCertificate& certificate : report.certificates) {
    const auto expiry =
        expiryOf(certificate.facts, "", certificate.entry, currentTime(), kExpiryNotice);
    if (!expiry) continue;
    printMessage("warning: " + certificate.entry + ": " + expiry->message + ", " +
                 expiry->evidence + " [" + expiry->code + "]");
  }
}

// Verifies the package that was made, with the eyes of a terminal.
bool verify(const std::string& made, const std::string& keys, const SigningAuthorities& authorities,
            bool isRelease, PackageReport& report) {
  report = examinePackage(made, authorities.rows(), EntrySizes::kLeftOut);
  if (!report.isAccepted()) {
    printRefusal(report);
    printMessage("terminals would refuse the package, so it was not kept; are the signers in " +
                 keys + " the right ones? wz keys show explains a certificate");
    return false;
  }
  if (isRelease && !isReleased(report, authorities.areInForce())) return false;
  tellExpiries(report);
  if (!authorities.areInForce()) {
    printNote("note: " + keys +
              " has authorities of its own; only terminals whose library was built with them "
              "take the package, and this wz was not [WZ-0905]");
  }
  return true;
}

void printJson(const PackOptions& options, const Diagnostics& diagnostics,
               const PackageReport& report) {
  printJsonDocument("pack", true, diagnostics, [&](JsonWriter& writer) {
    std::error_code failure;
    putText(writer, "file", options.output);
    putNumber(writer, "octets", std::filesystem::file_size(options.output, failure));
    writer.Key("archives");
    writer.StartArray();
    for (const InnerReport& inner : report.inners) {
      writer.StartObject();
      putText(writer, "entry", inner.entry);
      putText(writer, "kind", innerKindText(inner.kind));
      putText(writer, "application", inner.id);
      putNumber(writer, "files", inner.entries.size());
      writer.EndObject();
    }
    writer.EndArray();
    putTexts(writer, "warnings", report.warnings);
  });
}

void printMade(const std::string& file, const PackageReport& report) {
  if (volume() == Volume::kVerbose) printPackage(report, true);
  for (const std::string& warning : report.warnings) printMessage("warning: " + warning);
  std::error_code failure;
  printSuccess("made " + file + ", " + std::to_string(std::filesystem::file_size(file, failure)) +
               " octets");
  for (const InnerReport& inner : report.inners) {
    printSuccess("  " + inner.entry + "  " + innerKindText(inner.kind) + " of " + inner.id + ", " +
                 std::to_string(inner.entries.size()) +
                 (inner.entries.size() == 1 ? " file" : " files") + ", signature verified");
  }
}

// Makes the package beside its place, and moves it there when it is verified.
template <typename Order>
int makeVerified(const Order& order, const PackOptions& options, const std::string& keys,
                 const packaging::PackageSigners& signers, const Diagnostics& diagnostics) {
  SigningAuthorities authorities;
  if (!authorities.load(keys)) return kEnvironment;
  std::string error;
  PackageReport report;
  bool isRefused = false;
  const bool isMade = packaging::makePackage(
      order, signers, options.output,
      [&](const std::string& made) {
        isRefused = !verify(made, keys, authorities, options.isRelease, report);
        return !isRefused;
      },
      error);
  if (isRefused) return kApplicationFailed;
  if (!isMade) {
    printMessage(error + " [WZ-0904]");
    return kEnvironment;
  }
  if (options.asJson) {
    printJson(options, diagnostics, report);
  } else {
    printMade(options.output, report);
  }
  return kDone;
}

// The same as wz check does it; what packing itself asks for cannot be allowed away.
Diagnostics checkApplication(const PackOptions& options, unsigned engine) {
  CheckOptions how;
  how.engine = engine;
  how.leftOut = options.output;
  std::vector<CheckReport> reports{checkFolder(options.folder, how)};
  dropAllowed(options.allowed, reports);
  return reports.front().diagnostics;
}

void printCheck(const PackOptions& options, const Diagnostics& diagnostics) {
  if (options.asJson && hasErrors(diagnostics)) {
    printJsonFailure("pack", diagnostics);
  }
  if (options.asJson) return;
  for (const Diagnostic& diagnostic : diagnostics) {
    printMessage(textOf(diagnostic));
    if (!diagnostic.evidence.empty()) printMessage("found: " + diagnostic.evidence);
    printMessage("repair: " + repairOf(diagnostic));
  }
}

// Named by its user, or after the application.
std::string outputOf(const PackOptions& options) {
  if (!options.output.empty()) return options.output;
  Findings findings;  // said by the check
  return packaging::readApplicationFolder(options.folder, findings).id + ".zip";
}

int packApplication(const PackOptions& given, const std::string& keys) {
  PackOptions options = given;
  options.output = outputOf(given);
  unsigned engine = 0;
  if (!options.terminal.empty() && !readTerminalEngine(options.terminal, engine)) {
    return kEnvironment;
  }
  const Diagnostics diagnostics = checkApplication(options, engine);
  printCheck(options, diagnostics);
  if (hasErrors(diagnostics)) return kApplicationFailed;
  Findings findings;
  packaging::ApplicationOrder order{
      packaging::readApplicationFolder(options.folder, findings, options.output), options.sponsors,
      options.applicationOnly};
  Progress progress("packing " + options.folder);
  order.watcher = [&progress] { progress.step(); };
  if (order.sponsors.empty()) order.sponsors = order.folder.sponsors;
  if (findings.errors.empty() && !options.applicationOnly) checkSponsors(order.sponsors, findings);
  findings.warnings.clear();  // said by the check
  if (!printFindings(findings)) return kApplicationFailed;
  packaging::PackageSigners signers;
  if (!loadSigners(options.signing, keys, true, !options.applicationOnly, signers)) {
    return kEnvironment;
  }
  return makeVerified(order, options, keys, signers, diagnostics);
}

int packRemovals(const PackOptions& options, const std::string& keys) {
  Findings findings;
  checkSponsors(options.sponsors, findings);
  std::vector<packaging::RemovalOrder> orders;
  std::map<std::string, std::string> seen;
  for (const std::string& id : options.removals) {
    if (const std::string why = packaging::whyNoApplicationId(id); !why.empty()) {
      findings.errors.push_back(
          {"WZ-0711", std::string("the application id ").append(id).append(" ").append(why)});
    }
    if (!seen.emplace(wzapp::toUpper(id), id).second) {
      findings.errors.push_back(
          {"WZ-0902", "the application " + id +
                          " is named twice; the case of letters does not tell two apart"});
    }
    orders.push_back({id, id, "", options.sponsors});
  }
  if (!printFindings(findings)) return kApplicationFailed;
  packaging::PackageSigners signers;
  if (!loadSigners(options.signing, keys, false, true, signers)) return kEnvironment;
  return makeVerified(orders, options, keys, signers, {});
}

}  // namespace

int pack(const PackOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  if (options.folder.empty() == options.removals.empty()) {
    printMessage("name the folder of an application, or applications to remove with --uninstall");
    return kUsage;
  }
  if (options.output.empty() && !options.removals.empty()) {
    printMessage("name the package that removes: -o FILE.zip");
    return kUsage;
  }
  if (!options.output.empty() && !isPackageName(options.output)) {
    printMessage("terminals take packages by names that end in .zip; " + options.output +
                 " is none, so give -o another one");
    return kUsage;
  }
  std::error_code failure;
  if (options.removals.empty() && !std::filesystem::is_directory(options.folder, failure)) {
    printMessage("there is no folder " + options.folder);
    return kEnvironment;
  }
  const std::string keys = findKeyDirectory(options.signing.keys);
  if (keys.empty()) return kUsage;
  return options.removals.empty() ? packApplication(options, keys) : packRemovals(options, keys);
}

}  // namespace wz
