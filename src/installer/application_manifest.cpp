#include "installer/application_manifest.h"

#include <string_view>
#include <utility>

#include "installer/messages.h"
#include "support/app_id.h"
#include "support/config_file.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "support/json_file.h"
#include "support/security_list.h"
#include "support/terminal_identity.h"
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

Finding reportUnknown(Finding finding, const std::string& path) {
  if (finding == Finding::kUnknown) reportError(kUnreadableManifest, path.c_str());
  return finding;
}

// A manifest is no pipe and no device: reading would take away what a pipe holds, and a device may
// never end.
Finding readText(const std::string& path, std::string& text) {
  text.clear();
  struct stat status;
  const Finding finding = findStatus(path.c_str(), status);
  if (finding != Finding::kFound) return finding;
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) return Finding::kNone;
  return readWholeFile(path.c_str(), text, kMaxManifestSize);
}

// An id that is no plain name is none.
std::string plainOrEmpty(std::string appId) {
  if (!isPlainAppId(appId)) appId.clear();
  return appId;
}

// What is missing reads as the empty text.
std::string appIdOf(const JSObject& root) {
  return plainOrEmpty(root["application"]["id"].asString());
}

std::string appIdOf(const ConfigFile& file, const char* section) {
  return plainOrEmpty(file.getValue(section, kAppIdKey, ""));
}

// --- Refusals ---------------------------------------------------------------------------------

SponsorVerdict refuseWithoutId(const std::string& path) {
  reportError("Error: app id missing in %s\n", path.c_str());
  return SponsorVerdict::kRefused;
}

SponsorVerdict refuseUnreadable(const std::string& path) {
  reportError(kUnreadableManifest, path.c_str());
  return SponsorVerdict::kRefused;
}

SponsorVerdict refuseSponsors(const std::string& sponsors, const ModeWords& words,
                              const std::string& appId, const std::string& expected) {
  reportError("Error: Invalid sponsor list '%s' for %s '%s', expecting sponsor '%s'\n",
              sponsors.c_str(), words.activity, appId.c_str(), expected.c_str());
  return SponsorVerdict::kRefused;
}

// --- JSON form --------------------------------------------------------------------------------

// Both without a copy of the list, which may be long.

bool listsSponsor(const JSObject& root, const std::string& sponsor) {
  const JSObject& list = root["sponsors"];
  if (!list.isArray()) return false;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list.at(i).asString() == sponsor) return true;
  }
  return false;
}

std::string joinSponsors(const JSObject& root) {
  const JSObject& list = root["sponsors"];
  std::string joined;
  if (!list.isArray()) return joined;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i > 0) joined += ',';
    joined += list.at(i).asString();
  }
  return joined;
}

SponsorVerdict checkJSON(const JSObject& root, const ModeWords& words, const std::string& path,
                         const std::string& sponsor, std::string& appId) {
  appId = appIdOf(root);
  if (appId.empty()) return refuseWithoutId(path);
  if (listsSponsor(root, sponsor)) return SponsorVerdict::kAccepted;
  return refuseSponsors(joinSponsors(root), words, appId, sponsor);
}

// --- Key/value form ---------------------------------------------------------------------------

bool isAmong(std::string_view list, std::string_view sponsor) {
  bool isListed = false;
  forEachPiece(list, ',', [&](std::string_view piece) {
    if (trimmed(piece) == sponsor) isListed = true;
  });
  return isListed;
}

SponsorVerdict checkConfigFile(const ConfigFile& file, const ModeWords& words,
                               const std::string& path, const std::string& sponsor,
                               std::string& appId) {
  appId = appIdOf(file, words.section);
  if (appId.empty()) return refuseWithoutId(path);
  const std::string list = file.getValue(words.section, "sponsor", "");
  if (isAmong(list, sponsor)) return SponsorVerdict::kAccepted;
  return refuseSponsors(list, words, appId, sponsor);
}

}  // namespace

Finding findManifest(const std::string& path) {
  struct stat status;
  return reportUnknown(findStatus(path.c_str(), status), path);
}

Finding readManifestJSON(JSObject& root, const std::string& path) {
  std::string text;
  const Finding finding = reportUnknown(readText(path, text), path);
  if (finding != Finding::kFound) return finding;
  return readJSONText(root, text) ? Finding::kFound : Finding::kNone;
}

std::string readManifestAppId(const std::string& path) {
  std::string text;
  if (reportUnknown(readText(path, text), path) != Finding::kFound) return {};
  JSObject object;
  const bool isJSON = readJSONText(object, text);
  const JSObject& root = object;
  if (isJSON) return appIdOf(root);

  const ConfigFile file = ConfigFile::ofText(path, std::move(text));
  const std::string appId = appIdOf(file, kInstallSection);
  return appId.empty() ? appIdOf(file, kUninstallSection) : appId;
}

bool findSponsor(std::string& sponsor) {
  std::string sponsorText;
  if (getTerminalSponsor(sponsor, sponsorText) != Finding::kUnknown) return true;
  reportError("Error: CMDiag failed (ret=%d)\n", kSecurityListEnded);
  return false;
}

SponsorVerdict checkManifestSponsor(SponsorMode mode, const std::string& path,
                                    const std::string& sponsor, std::string& appId) {
  appId.clear();
  std::string text;
  const Finding finding = reportUnknown(readText(path, text), path);
  if (finding == Finding::kUnknown) return SponsorVerdict::kUnknown;
  if (finding == Finding::kNone) return refuseUnreadable(path);
  const ModeWords& words = wordsOf(mode);
  JSObject root;
  if (readJSONText(root, text)) return checkJSON(root, words, path, sponsor, appId);

  const ConfigFile file = ConfigFile::ofText(path, std::move(text));
  if (file.errorLine() != 0) return refuseUnreadable(path);
  return checkConfigFile(file, words, path, sponsor, appId);
}

std::optional<std::string> manifestStem(const std::string& upperName) {
  if (upperName.size() <= kManifestSuffix.size()) return std::nullopt;
  if (!upperName.ends_with(kManifestSuffix)) return std::nullopt;
  return upperName.substr(0, upperName.size() - kManifestSuffix.size());
}

}  // namespace wzapp
