#include "wz/workbench/applications.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "packaging/application_folder.h"
#include "support/json_file.h"
#include "support/text.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_layout.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/packaged_manifest.h"
#include "wz/terminal/application.h"

namespace wz {

using zelipc::JSObject;

namespace {

namespace fs = std::filesystem;

JSObject entryOf(const std::string& name, const JSObject& about) {
  JSObject entry = objectWith("entry", name);
  for (const char* const key : {"name", "file"}) {
    if (about.has(key)) entry[key] = about[key];
  }
  if (about["optional"].asBool()) entry["optional"] = JSObject(true);
  entry["parameters"] = JSObject::array();
  return entry;
}

// Where pages begin: the desktop, and each trigger that the application waits for.
JSObject entriesOf(const JSObject& manifest) {
  JSObject entries = JSObject::array();
  if (!manifest["desktop"]["file"].asString().empty()) {
    entries.append(entryOf("desktop", manifest["desktop"]));
  }
  const JSObject& triggers = manifest["imports_trigger"];
  for (std::size_t i = 0; triggers.isArray() && i < triggers.size(); ++i) {
    const std::string id = triggers.at(i)["id"].asString();
    if (!id.empty()) entries.append(entryOf(id, triggers.at(i)));
  }
  return entries;
}

JSObject idsOf(const std::vector<Feature>& features) {
  JSObject list = JSObject::array();
  for (const Feature& feature : features) list.append(JSObject(feature.id));
  return list;
}

JSObject importsOf(const std::vector<Feature>& features) {
  JSObject list = JSObject::array();
  for (const Feature& feature : features) {
    JSObject import = objectWith("id", feature.id);
    import["optional"] = JSObject(feature.isOptional);
    list.append(import);
  }
  return list;
}

// What the manifest at `path` says, of either kind of application.
JSObject describe(const std::string& path) {
  const PackagedManifest manifest = readPackagedManifest(path, "");
  JSObject json;
  const bool isJson = wzapp::readJSONFile(json, path);
  JSObject application = objectWith("id", manifest.id);
  const std::string name = json["desktop"]["name"].asString();
  application["name"] = JSObject(name.empty() ? manifest.id : name);
  application["version"] = JSObject(manifest.version);
  application["icon"] = JSObject(!json["desktop"]["icon"].asString().empty());
  application["sponsors"] = listOf(manifest.sponsors);
  application["entries"] = entriesOf(isJson ? json : JSObject());
  application["exportsTriggers"] = idsOf(manifest.exportedTriggers);
  application["exportsInterfaces"] = idsOf(manifest.exportedInterfaces);
  application["importsTriggers"] = importsOf(manifest.importedTriggers);
  application["importsInterfaces"] = importsOf(manifest.importedInterfaces);
  application["platforms"] = listOf(manifest.platforms);
  application["versions"] = listOf(manifest.versions);
  return application;
}

JSObject describeInstalled(const InstalledApplication& installed,
                           const std::vector<RunningFolder>& running) {
  Application found;
  JSObject application =
      findInstalled(installed.id, found)
          ? describe(found.manifest)
          : describe(std::string(workstation::kApplicationRoot) + "/" + installed.id + ".MFT");
  application["id"] = JSObject(installed.id);
  if (application["name"].asString().empty()) application["name"] = JSObject(installed.id);
  application["version"] = JSObject(installed.version);
  application["source"] = JSObject("installed");
  application["path"] = JSObject(std::string(workstation::kApplicationRoot) + "/" + installed.id);
  application["sponsors"] = listOf(installed.sponsors);
  application["hasMarketplaceManifest"] = JSObject(!installed.marketplaceFolder.empty());
  const auto isStandIn = [&](const RunningFolder& one) {
    return wzapp::toUpper(one.id) == wzapp::toUpper(installed.id);
  };
  application["hasStandIn"] = JSObject(std::any_of(running.begin(), running.end(), isStandIn));
  return application;
}

JSObject describeFolder(const std::string& folder) {
  JSObject application = describe(folder + "/" + kFolderManifest);
  application["source"] = JSObject("folder");
  application["path"] = JSObject(folder);
  const std::string name = fs::path(folder).filename().string();
  if (application["id"].asString().empty()) application["id"] = JSObject(name);
  if (application["name"].asString().empty()) application["name"] = JSObject(name);
  packaging::Findings findings;
  (void)packaging::checkManifestForm(folder + "/" + kFolderManifest, findings);
  if (!findings.errors.empty()) application["problem"] = JSObject(findings.errors.front().text);
  return application;
}

}  // namespace

Problem Applications::addFolder(const std::string& path) {
  std::error_code failure;
  const std::string folder = fs::canonical(path, failure).string();
  if (failure || !fs::is_directory(folder, failure)) return "there is no folder " + path;
  if (!fs::exists(fs::path(folder) / kFolderManifest, failure)) {
    return folder + " is no application's folder: it has no " + kFolderManifest;
  }
  const wzapp::MutexLock lock(mutex_);
  if (std::find(folders_.begin(), folders_.end(), folder) == folders_.end()) {
    folders_.push_back(folder);
  }
  return "";
}

Problem Applications::removeFolder(const std::string& path) {
  const wzapp::MutexLock lock(mutex_);
  const auto found = std::find(folders_.begin(), folders_.end(), path);
  if (found == folders_.end()) return "there is no folder " + path + " here";
  folders_.erase(found);
  return "";
}

std::vector<std::string> Applications::folders() const {
  const wzapp::MutexLock lock(mutex_);
  return folders_;
}

JSObject Applications::all() const {
  JSObject all;
  all["installed"] = JSObject::array();
  const std::vector<RunningFolder> running = runningFolders();
  for (const auto& [upperId, application] : findInstalledApplications()) {
    if (application.isInstalled) all["installed"].append(describeInstalled(application, running));
  }
  all["folders"] = JSObject::array();
  for (const std::string& folder : folders()) all["folders"].append(describeFolder(folder));
  const PackagedManifest own =
      readPackagedManifest(terminal_ + "/" + workstation::kTerminalManifest, "");
  all["terminal"]["exportsTriggers"] = idsOf(own.exportedTriggers);
  all["terminal"]["exportsInterfaces"] = idsOf(own.exportedInterfaces);
  return all;
}

bool Applications::findIcon(const std::string& id, const std::string& folder, std::string& root,
                            std::string& file) const {
  std::string manifest;
  if (!folder.empty()) {
    const std::vector<std::string> known = folders();
    if (std::find(known.begin(), known.end(), folder) == known.end()) return false;
    root = folder;
    manifest = folder + "/" + kFolderManifest;
  } else {
    Application application;
    if (!findInstalled(id, application)) return false;
    root = std::string(workstation::kApplicationRoot) + "/" + application.id;
    manifest = application.manifest;
  }
  JSObject json;
  if (!wzapp::readJSONFile(json, manifest)) return false;
  file = json["desktop"]["icon"].asString();
  return !file.empty();
}

}  // namespace wz
