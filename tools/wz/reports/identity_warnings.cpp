#include "wz/reports/identity_warnings.h"

#include <map>

#include "installer/application_manifest.h"
#include "support/text.h"

namespace wz {
namespace {

// "shop.MFT" and "shop/old.mft" -> "SHOP": what a manifest's id should be, in upper case.
std::string upperNameOf(const std::string& entry) {
  const std::size_t slash = entry.find('/');
  std::string upper = wzapp::toUpper(entry.substr(0, slash));
  if (slash != std::string::npos) return upper;
  return wzapp::manifestStem(upper).value_or(upper);
}

std::string owner(const InnerReport& inner, const PackagedManifest& manifest) {
  return inner.entry + ": the manifest " + manifest.entry;
}

template <typename Visit>
void forEachIdentity(const std::vector<InnerReport>& inners, const Visit& visit) {
  for (const InnerReport& inner : inners) {
    for (const PackagedManifest& manifest : inner.manifests) {
      if (!manifest.id.empty()) visit(inner, manifest);
    }
  }
}

}  // namespace

std::vector<std::string> identityWarnings(const std::vector<InnerReport>& inners) {
  std::vector<std::string> warnings;
  std::map<std::string, std::string> owners;  // name of the application that has an id, both upper
  forEachIdentity(inners, [&](const InnerReport& inner, const PackagedManifest& manifest) {
    const std::string name = upperNameOf(manifest.entry);
    const std::string id = wzapp::toUpper(manifest.id);
    if (name != id) {
      warnings.push_back(owner(inner, manifest) + " names the application " + manifest.id +
                         ", which is not the name of its " +
                         (manifest.entry.find('/') == std::string::npos ? "file" : "folder") +
                         ": it would be run with the folder and the stored data of " + manifest.id);
    }
    if (inner.kind != InnerKind::kApplication) return;
    const auto& [known, isNew] = owners.emplace(id, name);
    if (!isNew && known->second != name) {
      warnings.push_back(owner(inner, manifest) + " takes the id " + manifest.id +
                         " of another application in the package");
    }
  });
  return warnings;
}

std::vector<std::string> takenIdWarnings(const std::vector<InnerReport>& inners,
                                         const InstalledApplications& installed) {
  std::vector<std::string> warnings;
  forEachIdentity(inners, [&](const InnerReport& inner, const PackagedManifest& manifest) {
    if (inner.kind != InnerKind::kApplication) return;
    const std::string name = upperNameOf(manifest.entry);
    for (const auto& [otherName, other] : installed) {
      if (!other.isInstalled || otherName == name ||
          wzapp::toUpper(other.id) != wzapp::toUpper(manifest.id)) {
        continue;
      }
      warnings.push_back(owner(inner, manifest) + " takes the id " + manifest.id +
                         " of an application that is installed on the terminal under the name " +
                         otherName);
    }
  });
  return warnings;
}

}  // namespace wz
