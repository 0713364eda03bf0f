/// What a package file holds and what is wrong with it, without installing it.
#ifndef WZ_REPORTS_PACKAGE_REPORT_H
#define WZ_REPORTS_PACKAGE_REPORT_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/reports/acceptance.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/diagnostic.h"

namespace wz {

struct PackageEntry {
  std::string name;
  std::uint64_t size = 0;  ///< octets that came out of it; 0 where sizes are left out
  std::string sha256;      ///< of them, hexadecimal; empty unless digests are asked for
};

struct PackageCertificate {
  std::string entry;
  bool isRead = false;  ///< as a certificate; otherwise `refusal` says why not
  std::string refusal;
  CertificateFacts facts;
  int kind = 0;            ///< what a terminal makes of it; 0: it refuses it
  std::string acceptance;  ///< in words
};

/// One of the checks between a signed archive and its installation.
struct PackageCheck {
  const char* name;
  bool passed = false;
  std::string detail;  ///< what was found, or why it failed
};

/// A name that one application offers and another asks for.
struct Feature {
  std::string id;
  bool isOptional = false;  // of an import
};

struct PackagedManifest {
  std::string entry;
  std::string id, version;
  bool isJson = false;
  std::vector<std::string> sponsors;
  std::vector<Feature> exportedTriggers, exportedInterfaces;
  std::vector<Feature> importedTriggers, importedInterfaces;
  std::vector<std::string> platforms;  ///< none: every one
  std::vector<std::string> versions;   ///< bounds and exports: "triggers_min_version 1.0"
};

enum class InnerKind { kApplication, kMarketplace, kUninstall };

/// The kind in words.
[[nodiscard]] const char* innerKindText(InnerKind kind);

struct InnerReport {
  std::string entry, signatureEntry;
  InnerKind kind = InnerKind::kApplication;
  std::vector<PackageCheck> checks;  ///< in their order, up to the first that failed
  std::vector<PackageEntry> entries;
  std::vector<PackagedManifest> manifests;
  std::string id;           ///< of the application, as the terminal will read it; may be empty
  std::string signerKeyId;  ///< as the signature names it; empty: it cannot be read

  [[nodiscard]] bool isAccepted() const { return !checks.empty() && checks.back().passed; }
};

struct PackageReport {
  std::string file;
  std::string refusal;  ///< why it cannot be read as a package at all; empty: it can
  std::vector<PackageEntry> entries;
  std::vector<PackageCertificate> certificates;
  std::vector<InnerReport> inners;
  std::vector<std::string> warnings;  ///< would be installed, but may not be what was meant
  Diagnostics diagnostics;  ///< what is wrong, in the order of the archive; entries are named

  /// Whether every inner package would be taken by a terminal that has the roots of these
  /// authorities, and there is one.
  [[nodiscard]] bool isAccepted() const;
};

/// Octets as hexadecimal digits.
[[nodiscard]] std::string hexText(std::span<const std::uint8_t> octets);

/// Whether a terminal looks at package files of this name: one that ends in ".zip", with something
/// before it.
[[nodiscard]] bool isPackageName(const std::string& file);

/// What a report is to tell of entries. Counting what comes out of them unpacks all there is once
/// more than the checks do, with digests of it or without.
enum class EntrySizes { kCounted, kDigested, kLeftOut };

/// Examines a package as a terminal does that has the roots of all `authorities`. Archives inside
/// are unpacked into a file without a name in the machine's folder for temporary files.
[[nodiscard]] PackageReport examinePackage(const std::string& file,
                                           std::span<const wzapp::Authority> authorities,
                                           EntrySizes sizes);

}  // namespace wz

#endif  // WZ_REPORTS_PACKAGE_REPORT_H
