#include "wz/reports/package_output.h"

#include <algorithm>
#include <string>
#include <vector>

#include "wz/reports/certificate_output.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

// ---- Every detail ------------------------------------------------------------------------------

std::string sizeText(std::uint64_t size) {
  return std::to_string(size) + (size == 1 ? " octet" : " octets");
}

std::string joinedIds(const std::vector<Feature>& features) {
  std::vector<std::string> ids;
  ids.reserve(features.size());
  for (const Feature& feature : features) {
    ids.push_back(feature.id + (feature.isOptional ? " (optional)" : ""));
  }
  return joined(ids);
}

void printIfAny(const char* label, const std::string& text) {
  if (!text.empty()) printLine(std::string("    ") + label + text);
}

void printManifest(const PackagedManifest& manifest) {
  printLine("  manifest " + manifest.entry);
  printLine("    application         " + (manifest.id.empty()
                                              ? "no id: a terminal cannot tell whose it is"
                                              : manifest.id + " " + manifest.version));
  printIfAny("sponsors            ", joined(manifest.sponsors));
  printIfAny("exports triggers    ", joinedIds(manifest.exportedTriggers));
  printIfAny("exports interfaces  ", joinedIds(manifest.exportedInterfaces));
  printIfAny("imports triggers    ", joinedIds(manifest.importedTriggers));
  printIfAny("imports interfaces  ", joinedIds(manifest.importedInterfaces));
  printIfAny("versions            ", joined(manifest.versions));
  printIfAny("platforms           ", joined(manifest.platforms));
  if (!manifest.isJson) printLine("    not JSON, so that its dependencies are not checked");
}

void printPackageCertificate(const PackageCertificate& certificate) {
  printLine("certificate " + certificate.entry);
  if (!certificate.isRead) {
    printLine("  refused: " + certificate.refusal);
    return;
  }
  printCertificate(certificate.facts, certificate.kind, certificate.acceptance, "  ");
}

void printInner(const InnerReport& inner) {
  printLine("archive " + inner.entry + ", " + innerKindText(inner.kind) +
            (inner.id.empty() ? "" : " of " + inner.id));
  for (const PackageCheck& check : inner.checks) {
    printLine(std::string(check.passed ? "  passed  " : "  FAILED  ") + check.name + ": " +
              check.detail);
  }
  for (const PackageEntry& entry : inner.entries) {
    printLine("  entry " + entry.name + ", " + sizeText(entry.size));
  }
  for (const PackagedManifest& manifest : inner.manifests) printManifest(manifest);
}

void printDetails(const PackageReport& report) {
  printLine("");
  printLine("package " + report.file);
  for (const PackageEntry& entry : report.entries) {
    printLine("  entry " + entry.name + ", " + sizeText(entry.size));
  }
  for (const PackageCertificate& certificate : report.certificates) {
    printPackageCertificate(certificate);
  }
  for (const InnerReport& inner : report.inners) printInner(inner);
}

// ---- One screen --------------------------------------------------------------------------------

// The error that decides, or else a warning.
const Diagnostic* verdictOf(const PackageReport& report) {
  const auto error = std::ranges::find_if(report.diagnostics, isError);
  if (error != report.diagnostics.end()) return &*error;
  return report.diagnostics.empty() ? nullptr : &report.diagnostics.front();
}

std::string identityOf(const InnerReport& inner) {
  const auto manifest = std::ranges::find(inner.manifests, inner.id, &PackagedManifest::id);
  std::string text =
      std::string(innerKindText(inner.kind)) + (inner.id.empty() ? "" : " of " + inner.id);
  if (manifest != inner.manifests.end() && !manifest->version.empty())
    text += " " + manifest->version;
  return text;
}

// What the check of this name has found; empty when it was not passed.
std::string detailOf(const InnerReport& inner, std::string_view name) {
  for (const PackageCheck& check : inner.checks) {
    if (check.name == name && check.passed) return check.detail;
  }
  return {};
}

void printPart(const char* label, const std::string& text) {
  if (!text.empty()) printFact("    ", label, text);
}

void printShortly(const InnerReport& inner) {
  printLine("  " + inner.entry + "  " + identityOf(inner) + ", " +
            std::to_string(inner.entries.size()) +
            (inner.entries.size() == 1 ? " file" : " files"));
  printPart("signed by", detailOf(inner, "signer known"));
  for (const PackagedManifest& manifest : inner.manifests) {
    if (manifest.id != inner.id) continue;
    printPart("sponsors", joined(manifest.sponsors));
    printPart("exports triggers", joinedIds(manifest.exportedTriggers));
    printPart("exports interfaces ", joinedIds(manifest.exportedInterfaces));
    printPart("imports triggers", joinedIds(manifest.importedTriggers));
    printPart("imports interfaces ", joinedIds(manifest.importedInterfaces));
    printPart("versions", joined(manifest.versions));
    printPart("platforms", joined(manifest.platforms));
  }
}

void printVerdict(const PackageReport& report) {
  const Diagnostic* const verdict = verdictOf(report);
  if (report.isAccepted()) {
    printLine("accepted: " + report.file);
  } else if (verdict != nullptr) {
    printLine("refused: " + verdict->message);
  }
}

}  // namespace

void printPackage(const PackageReport& report, bool verbose) {
  printVerdict(report);
  printDiagnostics(report.diagnostics, verbose);
  for (const std::string& warning : report.warnings) printLine("warning: " + warning);
  if (verbose) return printDetails(report);
  for (const InnerReport& inner : report.inners) {
    if (inner.isAccepted()) printShortly(inner);
  }
}

void printSecondOpinion(const SecondOpinion& opinion) {
  if (!opinion.wasAsked) return printLine("second verifier: not asked, " + opinion.whyNot);
  if (opinion.differences.empty()) return printLine("second verifier: says the same");
  for (const SecondOpinion::Difference& difference : opinion.differences) {
    printLine("second verifier: DIFFERS over " +
              (difference.entry.empty() ? "the package" : difference.entry) + ": " +
              difference.verifier + "; the library: " + difference.library);
  }
}

// ---- As JSON -----------------------------------------------------------------------------------

namespace {

void putEntries(JsonWriter& writer, const std::vector<PackageEntry>& entries) {
  putRows(writer, "entries", entries, [&writer](const PackageEntry& entry) {
    putText(writer, "name", entry.name);
    putNumber(writer, "octets", entry.size);
  });
}

void putFeatures(JsonWriter& writer, const char* key, const std::vector<Feature>& features) {
  putRows(writer, key, features, [&writer](const Feature& feature) {
    putText(writer, "id", feature.id);
    putFlag(writer, "optional", feature.isOptional);
  });
}

void putManifest(JsonWriter& writer, const PackagedManifest& manifest) {
  putText(writer, "entry", manifest.entry);
  putText(writer, "id", manifest.id);
  putText(writer, "version", manifest.version);
  putFlag(writer, "isJson", manifest.isJson);
  putTexts(writer, "sponsors", manifest.sponsors);
  putFeatures(writer, "exportsTriggers", manifest.exportedTriggers);
  putFeatures(writer, "exportsInterfaces", manifest.exportedInterfaces);
  putFeatures(writer, "importsTriggers", manifest.importedTriggers);
  putFeatures(writer, "importsInterfaces", manifest.importedInterfaces);
  putTexts(writer, "versions", manifest.versions);
  putTexts(writer, "platforms", manifest.platforms);
}

void putPackageCertificate(JsonWriter& writer, const PackageCertificate& certificate) {
  putText(writer, "entry", certificate.entry);
  putFlag(writer, "isCertificate", certificate.isRead);
  if (certificate.isRead) {
    putCertificate(writer, certificate.facts, certificate.kind, certificate.acceptance);
    return;
  }
  putNumber(writer, "kind", 0);
  putText(writer, "refusal", certificate.refusal);
}

void putInner(JsonWriter& writer, const InnerReport& inner) {
  putText(writer, "entry", inner.entry);
  putText(writer, "kind", innerKindText(inner.kind));
  putText(writer, "id", inner.id);
  putText(writer, "signature", inner.signatureEntry);
  putFlag(writer, "accepted", inner.isAccepted());
  putRows(writer, "checks", inner.checks, [&writer](const PackageCheck& check) {
    putText(writer, "name", check.name);
    putFlag(writer, "passed", check.passed);
    putText(writer, "detail", check.detail);
  });
  putEntries(writer, inner.entries);
  putRows(writer, "manifests", inner.manifests,
          [&writer](const PackagedManifest& manifest) { putManifest(writer, manifest); });
}

}  // namespace

void putSecondOpinion(JsonWriter& writer, const SecondOpinion& opinion) {
  writer.Key("secondVerifier");
  writer.StartObject();
  putFlag(writer, "asked", opinion.wasAsked);
  putFlag(writer, "accepted", opinion.isAccepted);
  putRows(writer, "differences", opinion.differences,
          [&writer](const SecondOpinion::Difference& difference) {
            putText(writer, "entry", difference.entry);
            putText(writer, "library", difference.library);
            putText(writer, "verifier", difference.verifier);
          });
  writer.EndObject();
}

void putPackage(JsonWriter& writer, const PackageReport& report) {
  putText(writer, "file", report.file);
  putFlag(writer, "accepted", report.isAccepted());
  putTexts(writer, "warnings", report.warnings);
  if (!report.refusal.empty()) putText(writer, "refusal", report.refusal);
  putEntries(writer, report.entries);
  putRows(writer, "certificates", report.certificates,
          [&writer](const PackageCertificate& certificate) {
            putPackageCertificate(writer, certificate);
          });
  putRows(writer, "archives", report.inners,
          [&writer](const InnerReport& inner) { putInner(writer, inner); });
}

}  // namespace wz
