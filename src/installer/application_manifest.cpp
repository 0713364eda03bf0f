#include "installer/application_manifest.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "support/config_file.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "support/json_file.h"
#include "support/text.h"

namespace wzapp {
namespace {

using zelipc::JSObject;

constexpr std::string_view kManifestSuffix = ".MFT";

constexpr char kInstallSection[] = "install";
constexpr char kUninstallSection[] = "uninstall";
constexpr char kAppIdKey[] = "appid";

struct ModeWords {
  const char* section;
  const char* activity;
};

const ModeWords& wordsOf(SponsorMode mode) {
  static constexpr ModeWords kInstallWords = {kInstallSection, "installing"};
  static constexpr ModeWords kUninstallWords = {kUninstallSection, "uninstalling"};
  return mode == SponsorMode::kInstall ? kInstallWords : kUninstallWords;
}

// A manifest is neither: reading would take away what a pipe holds, and a device may never end.
bool isPipeOrDevice(const std::string& path) {
  struct stat status;
  return fileStat(path.c_str(), status) == 0 && !S_ISREG(status.st_mode) &&
         !S_ISDIR(status.st_mode);
}

bool hasAppId(const JSObject& root) {
  return root.has("application") && root["application"].has("id");
}

std::string appIdOf(const JSObject& root) { return root["application"]["id"].asString(); }

// --- Refusals ---------------------------------------------------------------------------------

bool refuseWithoutId(const std::string& path) {
  reportError("Error: app id missing in %s\n", path.c_str());
  return false;
}

bool refuseUnreadable(const std::string& path) {
  reportError("Error: Cannot read '%s', invalid permissions or invalid format\n", path.c_str());
  return false;
}

bool refuseSponsors(const std::string& sponsors, const ModeWords& words, const std::string& appId,
                    const std::string& expected) {
  reportError("Error: Invalid sponsor list '%s' for %s '%s', expecting sponsor '%s'\n",
              sponsors.c_str(), words.activity, appId.c_str(), expected.c_str());
  return false;
}

// --- JSON form --------------------------------------------------------------------------------

std::vector<std::string> sponsorsOf(const JSObject& root) {
  const JSObject& list = root["sponsors"];
  std::vector<std::string> sponsors;
  if (!list.isArray()) return sponsors;
  for (std::size_t i = 0; i < list.size(); ++i) sponsors.push_back(list.at(i).asString());
  return sponsors;
}

std::string joinWithCommas(const std::vector<std::string>& items) {
  std::string joined;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) joined += ',';
    joined += items[i];
  }
  return joined;
}

bool contains(const std::vector<std::string>& items, const std::string& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

bool checkJSON(const JSObject& root, const ModeWords& words, const std::string& path,
               const std::string& sponsor, std::string& appId) {
  appId = appIdOf(root);  // what is missing reads as the empty text
  if (appId.empty()) return refuseWithoutId(path);
  const std::vector<std::string> sponsors = sponsorsOf(root);
  if (contains(sponsors, sponsor)) return true;
  return refuseSponsors(joinWithCommas(sponsors), words, appId, sponsor);
}

// --- Key/value form ---------------------------------------------------------------------------

bool checkConfigFile(const ConfigFile& file, const ModeWords& words, const std::string& path,
                     const std::string& sponsor, std::string& appId) {
  appId = file.getValue(words.section, kAppIdKey, "");
  if (appId.empty()) return refuseWithoutId(path);
  const std::string list = file.getValue(words.section, "sponsor", "");
  std::vector<std::string> sponsors;
  splitString(sponsors, list, ',', true);
  if (contains(sponsors, sponsor)) return true;
  return refuseSponsors(list, words, appId, sponsor);
}

}  // namespace

bool readManifestJSON(JSObject& root, const std::string& path) {
  return !isPipeOrDevice(path) && readJSONFile(root, path);
}

std::string readManifestAppId(const std::string& path) {
  if (isPipeOrDevice(path)) return {};
  JSObject object;
  const bool isJSON = readJSONFile(object, path);
  const JSObject& root = object;
  if (isJSON && hasAppId(root)) return appIdOf(root);

  // What is JSON has no sections; there is no need to look for them.
  const ConfigFile file(path, isJSON ? 1 : 0);
  const std::string appId = file.getValue(kInstallSection, kAppIdKey, "");
  return appId.empty() ? file.getValue(kUninstallSection, kAppIdKey, "") : appId;
}

bool checkManifestSponsor(SponsorMode mode, const std::string& path, const std::string& sponsor,
                          std::string& appId) {
  appId.clear();
  if (isPipeOrDevice(path)) return refuseUnreadable(path);
  const ModeWords& words = wordsOf(mode);
  JSObject root;
  if (readJSONFile(root, path)) return checkJSON(root, words, path, sponsor, appId);

  const ConfigFile file(path);
  if (file.errorLine() != 0) return refuseUnreadable(path);
  return checkConfigFile(file, words, path, sponsor, appId);
}

std::optional<std::string> manifestStem(const std::string& upperName) {
  if (upperName.size() <= kManifestSuffix.size()) return std::nullopt;
  if (!upperName.ends_with(kManifestSuffix)) return std::nullopt;
  return upperName.substr(0, upperName.size() - kManifestSuffix.size());
}

}  // namespace wzapp
