#include "installer/dependency_check.h"

#include <algorithm>
#include <array>
#include <deque>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "installer/application_manifest.h"
#include "installer/application_removal.h"
#include "installer/dependency_manifest.h"
#include "installer/directories.h"
#include "installer/listing.h"
#include "installer/messages.h"
#include "installer/tree_removal.h"
#include "support/format.h"
#include "support/install_log.h"
#include "support/platform_info.h"
#include "support/text.h"

namespace wzapp {
namespace {

// What manifests compare with: the runtime as the platform numbers it. The library's own version is
// another one, since that tells hosts of the ABI.
constexpr const char* kRuntimeVersion = "2.46.6";

// Directories of other installed software, each a row of sixteen.
constexpr const char* kExporterDirectories[] = {"/home/usr%d/www", "/home/sys%d/www"};
constexpr int kExportersPerRow = 16;

// One check of all installed applications.
class DependencyCheck {
 public:
  explicit DependencyCheck(AppIds& removed)
      : removed_(removed), descriptor_(hardwareDescriptor()), model_(modelName()) {}

  [[nodiscard]] bool run();

 private:
  struct Manifest {
    std::string path;
    NameTable::Number name;       // without ".MFT"
    NameTable::Number exportKey;  // exports nothing once this name has failed
    bool isOnThisPlatform;
    DependencyManifest content;
  };

  // An entry of a root that is to go.
  struct Doomed {
    ListedEntry entry;
    bool isManifest;  // at the top of the application root
    bool isGone = false;
  };

  [[nodiscard]] bool readManifests();
  [[nodiscard]] Finding readDirectory(const char* path);
  [[nodiscard]] bool readManifest(const ListedEntry& entry);

  void collectExports();
  [[nodiscard]] bool checkApplications();
  [[nodiscard]] bool check(const Manifest& manifest) const;
  [[nodiscard]] bool checkBounds(const Manifest& manifest) const;
  [[nodiscard]] bool checkFeatures(const Manifest& manifest) const;
  [[nodiscard]] bool checkPlatform(const Manifest& manifest) const;
  [[nodiscard]] bool supportsThisPlatform(const zelipc::JSObject& root) const;
  void fail(const Manifest& manifest);

  [[nodiscard]] bool hasFailed(const std::string& upperName) const;
  [[nodiscard]] bool isFailedManifest(const std::string& upperName) const;
  [[nodiscard]] bool listFailed(const char* root, bool holdsApplications,
                                std::vector<Doomed>& doomed) const;
  [[nodiscard]] bool removeFailed() const;

  AppIds& removed_;
  const std::string descriptor_;
  const std::string model_;
  const Version runtimeVersion_ = Version(kRuntimeVersion);

  // The manifests in the order in which they were read; those of applications come last. Not a
  // vector, which would have them twice while it grows.
  std::deque<Manifest> manifests_;
  std::size_t firstApplication_ = 0;
  bool isAppRootListed_ = false;
  FeatureTables features_;

  NameTable names_;            // in upper case
  std::vector<char> failing_;  // by number of name
  bool hasAnyFailed_ = false;

  // Rebuilt in every pass.
  Version triggerVersion_;
  std::array<std::vector<char>, kFeatureKindCount> exported_;  // by number of feature
};

// --- Reading ----------------------------------------------------------------------------------

bool isManifest(const ListedEntry& entry) { return manifestStem(toUpper(entry.name)).has_value(); }

// As listDirectory(), the manifests alone: what lies beside them takes no memory while they are
// read.
Finding listManifests(const char* path, std::vector<ListedEntry>& manifests) {
  std::vector<ListedEntry> entries;
  const Finding finding = listDirectory(path, entries);
  manifests.reserve(
      static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), isManifest)));
  std::copy_if(std::make_move_iterator(entries.begin()), std::make_move_iterator(entries.end()),
               std::back_inserter(manifests), isManifest);
  return finding;
}

// False when one of the directories or manifests cannot be read for a passing reason.
bool DependencyCheck::readManifests() {
  for (const char* const row : kExporterDirectories) {
    for (int number = 1; number <= kExportersPerRow; ++number) {
      std::string directory;
      format(directory, row, number);
      if (readDirectory(directory.c_str()) == Finding::kUnknown) return false;  // most do not exist
    }
  }
  firstApplication_ = manifests_.size();
  const Finding appRoot = readDirectory(kAppRoot);
  if (appRoot == Finding::kUnknown) return false;
  isAppRootListed_ = appRoot == Finding::kFound;

  failing_.assign(names_.size(), 0);
  for (std::size_t kind = 0; kind < kFeatureKindCount; ++kind) {
    exported_[kind].assign(features_[kind].size(), 0);
  }
  return true;
}

Finding DependencyCheck::readDirectory(const char* path) {
  std::vector<ListedEntry> manifests;
  const Finding finding = listManifests(path, manifests);
  for (const ListedEntry& entry : manifests) {
    if (!readManifest(entry)) return Finding::kUnknown;
  }
  return finding;
}

bool DependencyCheck::readManifest(const ListedEntry& entry) {
  // One character more than the suffix, which is meant: the exports of SHOP.MFT end with SHO.
  constexpr std::size_t kExportSuffixLength = 5;

  Manifest manifest;
  manifest.path = entry.path();
  zelipc::JSObject root;
  const Finding finding = readManifestJSON(root, manifest.path);
  if (finding == Finding::kUnknown) return false;
  if (finding == Finding::kNone) {
    report("%s not in JSON format, skipping.\n", manifest.path.c_str());
    return true;
  }
  report("Reading %s\n", manifest.path.c_str());
  const std::string upperName = toUpper(entry.name);
  manifest.name = names_.numberOf(*manifestStem(upperName));
  manifest.exportKey = names_.numberOf(upperName.substr(0, upperName.size() - kExportSuffixLength));
  manifest.content = takeDependencies(root, features_);
  manifest.isOnThisPlatform = supportsThisPlatform(root);
  manifests_.push_back(std::move(manifest));
  return true;
}

bool DependencyCheck::supportsThisPlatform(const zelipc::JSObject& root) const {
  const zelipc::JSObject* const platforms = findPlatforms(root);
  if (platforms == nullptr) return true;
  for (std::size_t i = 0; i < elementCount(*platforms); ++i) {
    const std::string platform = platforms->at(i).asString();
    if (platform == descriptor_ || platform == model_) return true;
  }
  return false;
}

// --- A pass -----------------------------------------------------------------------------------

void DependencyCheck::collectExports() {
  triggerVersion_ = Version();
  for (std::vector<char>& exported : exported_) std::fill(exported.begin(), exported.end(), 0);
  const Version* lastVersion = nullptr;
  for (const Manifest& manifest : manifests_) {
    if (failing_[manifest.exportKey] != 0) continue;
    if (manifest.content.exportedVersion) lastVersion = &*manifest.content.exportedVersion;
    for (std::size_t kind = 0; kind < kFeatureKindCount; ++kind) {
      for (const NameTable::Number id : manifest.content.exports[kind]) exported_[kind][id] = 1;
    }
  }
  if (lastVersion != nullptr) triggerVersion_ = *lastVersion;
}

// True when the pass has found applications that fail.
bool DependencyCheck::checkApplications() {
  bool hasFound = false;
  for (std::size_t i = firstApplication_; i < manifests_.size(); ++i) {
    const Manifest& manifest = manifests_[i];
    if (failing_[manifest.name] != 0) continue;
    report(kCheckingLine, manifest.path.c_str());
    if (check(manifest)) continue;
    fail(manifest);
    hasFound = true;
  }
  return hasFound;
}

// Every error of an application is reported, not only the first. None changes the run's result:
// only the failure of what was just installed does.
bool DependencyCheck::check(const Manifest& manifest) const {
  const bool areBoundsKept = checkBounds(manifest);
  const bool areFeaturesThere = checkFeatures(manifest);
  const bool isPlatformSupported = checkPlatform(manifest);
  return areBoundsKept && areFeaturesThere && isPlatformSupported;
}

bool DependencyCheck::checkBounds(const Manifest& manifest) const {
  bool areKept = true;
  for (const auto& [kind, bound] : manifest.content.bounds) {
    const Version& version = kind->isOfRuntime ? runtimeVersion_ : triggerVersion_;
    if (kind->isMinimum ? version >= bound : version <= bound) continue;
    report(kind->exceeded, version.text().c_str(), bound.text().c_str());
    areKept = false;
  }
  return areKept;
}

bool DependencyCheck::checkFeatures(const Manifest& manifest) const {
  bool areThere = true;
  for (std::size_t kind = 0; kind < kFeatureKindCount; ++kind) {
    for (const NameTable::Number id : manifest.content.imports[kind]) {
      if (exported_[kind][id] != 0) continue;
      report(kFeatureKinds[kind].missing, features_[kind].nameOf(id).data());
      areThere = false;
    }
  }
  return areThere;
}

bool DependencyCheck::checkPlatform(const Manifest& manifest) const {
  if (manifest.isOnThisPlatform) return true;
  report("Error: Platform %s or model %s not supported\n", descriptor_.c_str(), model_.c_str());
  return false;
}

void DependencyCheck::fail(const Manifest& manifest) {
  failing_[manifest.name] = 1;
  hasAnyFailed_ = true;
  if (manifest.content.appId) removed_.insert(*manifest.content.appId);
  report("Removing app %s\n", names_.nameOf(manifest.name).data());
}

// --- Clean-up ---------------------------------------------------------------------------------

bool DependencyCheck::hasFailed(const std::string& upperName) const {
  const std::optional<NameTable::Number> number = names_.find(upperName);
  return number && failing_[*number] != 0;
}

bool DependencyCheck::isFailedManifest(const std::string& upperName) const {
  const std::optional<std::string> stem = manifestStem(upperName);
  return stem && hasFailed(*stem);
}

// Adds the entries of a root that are to go. Without the root there are none.
bool DependencyCheck::listFailed(const char* root, bool holdsApplications,
                                 std::vector<Doomed>& doomed) const {
  std::vector<ListedEntry> entries;
  if (listDirectory(root, entries) == Finding::kUnknown) return false;
  for (ListedEntry& entry : entries) {
    const std::string upperName = toUpper(entry.name);
    const bool isManifest = holdsApplications && isFailedManifest(upperName);
    if (isManifest || hasFailed(upperName)) doomed.push_back({std::move(entry), isManifest});
  }
  return true;
}

// The manifest of an application that failed is what makes it fail again in the next run, should
// this one be cut short; so everything else is removed before it.
bool DependencyCheck::removeFailed() const {
  if (!hasAnyFailed_) return true;
  std::vector<Doomed> applications;
  std::vector<Doomed> manifests;
  if (!listFailed(kAppRoot, true, applications)) return false;
  if (!listFailed(kManifestRoot, false, manifests)) return false;
  for (Doomed& doomed : applications) {
    if (!doomed.isManifest) doomed.isGone = removeApplicationInAdvance(doomed.entry);
  }
  for (Doomed& doomed : manifests) doomed.isGone = removeManifestDirectoryInAdvance(doomed.entry);

  for (const Doomed& doomed : applications) {
    if (doomed.isManifest) {
      removeTree(doomed.entry.path(), Quiet::kNothing);
    } else {
      removeApplication(doomed.entry, doomed.isGone);
    }
  }
  for (const Doomed& doomed : manifests) {
    if (!doomed.isGone) removeTree(doomed.entry.path(), Quiet::kNothing);
  }
  return true;
}

bool DependencyCheck::run() {
  report(kDependenciesLine);
  if (!readManifests()) return false;
  while (isAppRootListed_) {
    collectExports();
    if (!checkApplications()) break;
    report("Re-checking dependencies after removing apps\n");
  }
  return removeFailed();
}

}  // namespace

std::string hardwareDescriptor() {
  constexpr int kMonochromeDepth = 1;
  constexpr int kOddWidth = 856;  // a display that applications know by what can be seen of it
  constexpr int kVisibleWidth = 854;

  int width = 0;
  int height = 0;
  int depth = 0;
  displayInfo(width, height, depth);
  if (width == kOddWidth) width = kVisibleWidth;
  std::string descriptor;
  format(descriptor, "%dx%d%c%d%c", width, height, depth == kMonochromeDepth ? 'M' : 'C',
         keyCount(), hasTouchScreen() != 0 ? 'T' : 'N');
  return descriptor;
}

bool checkDependencies(AppIds& removed) { return DependencyCheck(removed).run(); }

}  // namespace wzapp
