#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "crypto/authorities.h"
#include "packaging/temporary_folders.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/commands.h"
#include "wz/reports/certificate_output.h"
#include "wz/reports/json_output.h"
#include "wz/reports/output.h"
#include "wz/reports/package_report.h"
#include "wz/terminal/install_run.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/terminal_copy.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// ---- In words ----------------------------------------------------------------------------------

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

void printInner(const InnerPackage& inner) {
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

void printWords(const PackageReport& report) {
  printLine("package " + report.file);
  if (!report.refusal.empty()) {
    printLine("  refused: " + report.refusal);
    return;
  }
  for (const PackageEntry& entry : report.entries) {
    printLine("  entry " + entry.name + ", " + sizeText(entry.size));
  }
  for (const PackageCertificate& certificate : report.certificates) {
    printPackageCertificate(certificate);
  }
  for (const InnerPackage& inner : report.inners) printInner(inner);
  if (report.inners.empty()) printLine("  there is no archive in it, so that nothing is installed");
  for (const std::string& warning : report.warnings) printLine("warning: " + warning);
}

// ---- As JSON -----------------------------------------------------------------------------------

template <typename Rows, typename Put>
void putRows(JsonWriter& writer, const char* key, const Rows& rows, const Put& put) {
  writer.Key(key);
  writer.StartArray();
  for (const auto& row : rows) {
    writer.StartObject();
    put(row);
    writer.EndObject();
  }
  writer.EndArray();
}

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

void putInner(JsonWriter& writer, const InnerPackage& inner) {
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

void putReport(JsonWriter& writer, const PackageReport& report) {
  putText(writer, "file", report.file);
  putFlag(writer, "accepted", report.isAccepted());
  if (!report.refusal.empty()) putText(writer, "refusal", report.refusal);
  putEntries(writer, report.entries);
  putRows(writer, "certificates", report.certificates,
          [&writer](const PackageCertificate& certificate) {
            putPackageCertificate(writer, certificate);
          });
  putRows(writer, "archives", report.inners,
          [&writer](const InnerPackage& inner) { putInner(writer, inner); });
  putTexts(writer, "warnings", report.warnings);
}

// ---- On a terminal -----------------------------------------------------------------------------

void printTrial(const InstallOutcome& outcome) {
  printLine(outcome.isDone() ? "this terminal would install it, and what it brings would stay"
                             : "this terminal would not install it, or not keep what it brings");
  printOutcome(outcome);
}

// Inside the copy of the terminal, where the package is really installed.
int installOnCopy(const PackageFiles& files, bool asJson, const std::string& copy) {
  TerminalChange change;
  if (!change.begin(copy) || !files.copyIn()) return kEnvironment;
  const PackageReport& report = files.packages().front().report;
  const InstallOutcome outcome = runInstallation(files.packages(), InstallLog::Display::kNone);
  if (asJson) {
    printJsonObject([&](JsonWriter& writer) {
      putReport(writer, report);
      writer.Key("onTerminal");
      writer.StartObject();
      putOutcome(writer, outcome);
      writer.EndObject();
    });
  } else {
    printWords(report);
    printTrial(outcome);
  }
  return exitCodeOf(outcome);
}

// A process that has entered a terminal stays there, and could not take the copy away again. Only
// one with a single thread can enter: _Fork() runs nothing in the child that could bring a second
// one, as ThreadSanitizer does.
template <typename Body>
int inChild(const Body& body) {
  std::fflush(nullptr);
  const pid_t child = _Fork();
  if (child == 0) {
    packaging::leaveFoldersToParent();
    int code = kEnvironment;
    try {
      code = body();
    } catch (const std::exception& problem) {
      printMessage(problem.what());
    }
    std::fflush(nullptr);
    _exit(code);
  }
  packaging::killBeforeRemoval(child > 0 ? child : 0);
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  packaging::killBeforeRemoval(0);
  return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : kEnvironment;
}

// What a package takes of the terminal while it is installed: itself, the archives that come out of
// it, and what comes out of these.
std::uint64_t neededRoom(const PackageReport& report) {
  std::error_code failure;
  const std::uintmax_t file = std::filesystem::file_size(report.file, failure);
  std::uint64_t room = failure ? 0 : file;
  for (const PackageEntry& entry : report.entries) room += entry.size;
  for (const InnerPackage& inner : report.inners) {
    for (const PackageEntry& entry : inner.entries) room += entry.size;
  }
  return room;
}

int tryOnTerminal(const InspectOptions& options) {
  PackageFiles files;
  if (const int code = files.open({options.file}, EntrySizes::kCounted); code != kDone) return code;
  TerminalCopy copy;
  std::string error;
  if (!copy.make(options.terminal, neededRoom(files.packages().front().report), error)) {
    printMessage(error);
    return kEnvironment;
  }
  return inChild([&] { return installOnCopy(files, options.asJson, copy.directory()); });
}

}  // namespace

int inspect(const InspectOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  std::error_code failure;
  if (!std::filesystem::is_regular_file(options.file, failure)) {
    printMessage("cannot read " + options.file + ": " +
                 (failure ? failure.message() : "it is no file"));
    return kEnvironment;
  }
  if (!options.terminal.empty()) return tryOnTerminal(options);
  const PackageReport report =
      examinePackage(options.file, wzapp::authorities(), EntrySizes::kCounted);
  if (options.asJson) {
    printJsonObject([&report](JsonWriter& writer) { putReport(writer, report); });
  } else {
    printWords(report);
  }
  return report.isAccepted() ? kDone : kApplicationFailed;
}

}  // namespace wz
