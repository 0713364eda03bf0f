#include "installer/dependency_manifest.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "support/app_id.h"

namespace wzapp {
namespace {

using zelipc::JSObject;

// One that is no plain name is missing.
std::optional<std::string> findAppId(const JSObject& application) {
  if (!application.has("id")) return std::nullopt;
  std::string id = application["id"].asString();
  if (!isPlainAppId(id)) return std::nullopt;
  return id;
}

std::optional<Version> findVersion(const JSObject& object, const std::string& key) {
  if (!object.has(key)) return std::nullopt;
  return Version(object[key].asString());
}

// [ { "id": "pay" }, { "id": "print", "optional": true }, ... ]
std::vector<NameTable::Number> takeIds(const JSObject& list, bool withOptional, NameTable& names) {
  std::vector<NameTable::Number> numbers;
  numbers.reserve(elementCount(list));
  for (std::size_t i = 0; i < elementCount(list); ++i) {
    const JSObject& element = list.at(i);
    if (!withOptional && element["optional"].asBool()) continue;
    numbers.push_back(names.numberOf(element["id"].asString()));
  }
  return numbers;
}

}  // namespace

DependencyManifest takeDependencies(const JSObject& root, FeatureTables& features) {
  DependencyManifest manifest;
  manifest.exportedVersion = findVersion(root["exports_sdk"], "triggers_version");
  for (std::size_t kind = 0; kind < kFeatureKindCount; ++kind) {
    const FeatureKind& keys = kFeatureKinds[kind];
    manifest.exports[kind] = takeIds(root[keys.exportsKey], true, features[kind]);
    manifest.imports[kind] = takeIds(root[keys.importsKey], false, features[kind]);
  }
  const JSObject& sdk = root["imports_sdk"];
  manifest.bounds.reserve(std::min(sdk.size(), std::size(kBoundKinds)));
  std::string key;
  for (const BoundKind& kind : kBoundKinds) {
    key = kind.key;
    std::optional<Version> version = findVersion(sdk, key);
    if (version) manifest.bounds.push_back({&kind, std::move(*version)});
  }
  manifest.appId = findAppId(root["application"]);
  return manifest;
}

const JSObject* findPlatforms(const JSObject& root) {
  const JSObject& hardware = root["imports_hardware"];
  return hardware.has("platforms") ? &hardware["platforms"] : nullptr;
}

std::size_t elementCount(const JSObject& value) { return value.isArray() ? value.size() : 0; }

}  // namespace wzapp
