#include "wz/reports/packaged_manifest.h"

#include "installer/application_manifest.h"
#include "runtime/manifest_entry.h"
#include "support/config_file.h"
#include "support/json_file.h"
#include "support/text.h"

namespace wz {
namespace {

using zelipc::JSObject;

std::vector<std::string> textsOf(const JSObject& array) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; array.isArray() && i < array.size(); ++i) {
    texts.push_back(array.at(i).asString());
  }
  return texts;
}

std::vector<Feature> featuresOf(const JSObject& array) {
  std::vector<Feature> features;
  for (std::size_t i = 0; array.isArray() && i < array.size(); ++i) {
    features.push_back({array.at(i)["id"].asString(), array.at(i)["optional"].asBool()});
  }
  return features;
}

void addVersions(const JSObject& section, std::initializer_list<const char*> keys,
                 std::vector<std::string>& versions) {
  for (const char* const key : keys) {
    if (section.has(key)) versions.push_back(std::string(key) + " " + section[key].asString());
  }
}

void takeJson(const JSObject& root, PackagedManifest& manifest) {
  manifest.sponsors = textsOf(root["sponsors"]);
  manifest.exportedTriggers = featuresOf(root["exports_trigger"]);
  manifest.exportedInterfaces = featuresOf(root["exports_api"]);
  manifest.importedTriggers = featuresOf(root["imports_trigger"]);
  manifest.importedInterfaces = featuresOf(root["imports_api"]);
  manifest.platforms = textsOf(root["imports_hardware"]["platforms"]);
  addVersions(root["exports_sdk"], {"triggers_version"}, manifest.versions);
  addVersions(root["imports_sdk"],
              {"triggers_min_version", "triggers_max_version", "wzruntime_min_version",
               "wzruntime_max_version"},
              manifest.versions);
}

void takeSections(const std::string& path, PackagedManifest& manifest) {
  const wzapp::ConfigFile config(path);
  for (const char* const section : {"install", "uninstall"}) {
    const std::string list = config.getValue(section, "sponsor", "");
    if (list.empty()) continue;
    wzapp::splitString(manifest.sponsors, list, ',', true);
    return;
  }
}

}  // namespace

PackagedManifest readPackagedManifest(const std::string& path, const std::string& entry) {
  PackagedManifest manifest;
  manifest.entry = entry;
  manifest.id = wzapp::readManifestAppId(path);
  wzapp::ManifestEntry start;
  if (wzapp::readManifestEntry(path.c_str(), "desktop", start)) manifest.version = start.version;
  JSObject root;
  manifest.isJson = wzapp::readJSONFile(root, path);
  if (manifest.isJson) {
    takeJson(root, manifest);
  } else {
    takeSections(path, manifest);
  }
  return manifest;
}

}  // namespace wz
