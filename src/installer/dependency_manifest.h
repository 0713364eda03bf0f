// What one manifest says about dependencies, in a form that is checked often and quickly.
#ifndef WZAPP_INSTALLER_DEPENDENCY_MANIFEST_H
#define WZAPP_INSTALLER_DEPENDENCY_MANIFEST_H

#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "installer/name_table.h"
#include "installer/version.h"
#include "zelipc/zelipc.h"

namespace wzapp {

// What manifests export to each other. A row tells where a manifest lists it, and what is reported
// when it is missing.
struct FeatureKind {
  const char* exportsKey;
  const char* importsKey;
  const char* missing;  // format: id
};
inline constexpr FeatureKind kFeatureKinds[] = {
    {"exports_trigger", "imports_trigger", "Error: Missing trigger %s\n"},
    {"exports_api", "imports_api", "Error: Missing api %s\n"},
};
inline constexpr std::size_t kFeatureKindCount = std::size(kFeatureKinds);

// The bounds that a manifest sets to versions, in the order in which they are tested.
struct BoundKind {
  const char* key;
  bool isOfRuntime;  // otherwise of the exported triggers
  bool isMinimum;
  const char* exceeded;  // format: version, bound
};
inline constexpr BoundKind kBoundKinds[] = {
    {"triggers_min_version", false, true, "Error: trigger version %s less than %s\n"},
    {"triggers_max_version", false, false, "Error: trigger version %s higher than %s\n"},
    {"wzruntime_min_version", true, true, "Error: WZ runtime version %s less than %s\n"},
    {"wzruntime_max_version", true, false, "Error: WZ runtime version %s higher than %s\n"},
};

using FeatureTables = std::array<NameTable, kFeatureKindCount>;

// A bound that a manifest sets.
struct VersionBound {
  const BoundKind* kind;
  Version version;
};

// As small as it gets: those of all manifests are in memory at once.
struct DependencyManifest {
  std::optional<Version> exportedVersion;  // of the triggers
  std::array<std::vector<NameTable::Number>, kFeatureKindCount> exports;

  std::vector<VersionBound> bounds;                                       // as in kBoundKinds
  std::array<std::vector<NameTable::Number>, kFeatureKindCount> imports;  // but for optional ones
  std::optional<std::string> appId;
};

// Takes from the JSON form of a manifest what it says; a value of another type than expected counts
// as an empty one. `features` numbers what is exported and imported. The only exception is
// std::bad_alloc.
[[nodiscard]] DependencyManifest takeDependencies(const zelipc::JSObject& root,
                                                  FeatureTables& features);

// The list of platforms and models that the manifest supports, a part of `root`; null: every one.
[[nodiscard]] const zelipc::JSObject* findPlatforms(const zelipc::JSObject& root);

// The elements of an array; none of any other value.
[[nodiscard]] std::size_t elementCount(const zelipc::JSObject& value);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_DEPENDENCY_MANIFEST_H
