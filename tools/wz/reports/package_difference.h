/// Compares what packages bring, or what a package brings with what is installed.
#ifndef WZ_REPORTS_PACKAGE_DIFFERENCE_H
#define WZ_REPORTS_PACKAGE_DIFFERENCE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "wz/reports/json_output.h"
#include "wz/reports/package_report.h"

namespace wz {

struct ContentFile {
  std::uint64_t size = 0;
  std::string sha256;
};

/// An application or a manifest of the marketplace, as a package brings it or a terminal has it.
struct Content {
  InnerKind kind = InnerKind::kApplication;
  std::string id, version;
  std::string signer;  ///< empty: not known, as on a terminal
  std::vector<std::string> sponsors, permissions;
  std::vector<std::string> exportedTriggers, exportedInterfaces;
  std::vector<std::string> importedTriggers, importedInterfaces;
  std::vector<std::string> versions, platforms;
  std::map<std::string, ContentFile> files;
};

using Contents = std::vector<Content>;

/// What the manifest of that id says.
void takeManifest(const PackagedManifest& manifest, Content& content);

/// What a package brings; its report has digests.
[[nodiscard]] Contents contentsOf(const PackageReport& report);

struct ListDifference {
  const char* name;   ///< in JSON
  const char* words;  ///< for people
  std::vector<std::string> added, removed;
};

struct FileDifference {
  std::string name;
  std::uint64_t sizeBefore = 0, sizeNow = 0;
};

struct ContentDifference {
  enum class Kind { kAdded, kRemoved, kChanged, kSame };
  Kind kind = Kind::kSame;
  InnerKind content = InnerKind::kApplication;
  std::string id;
  std::string versionBefore, versionNow;
  bool isDowngrade = false;
  std::string signerBefore, signerNow;  ///< both empty where one is not known
  std::vector<ListDifference> lists;    ///< all of them, in one order
  std::vector<FileDifference> added, removed, changed;
  std::size_t sameFiles = 0;
};

[[nodiscard]] std::vector<ContentDifference> compareContents(const Contents& before,
                                                             const Contents& now);

/// In words, or as the members of an object.
void printDifferences(const std::vector<ContentDifference>& differences);
void putDifferences(JsonWriter& writer, const std::vector<ContentDifference>& differences);

}  // namespace wz

#endif  // WZ_REPORTS_PACKAGE_DIFFERENCE_H
