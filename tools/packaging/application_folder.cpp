#include "packaging/application_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "installer/application_manifest.h"
#include "packaging/ignore_rules.h"
#include "packaging/json_problem.h"
#include "runtime/manifest_entry.h"
#include "support/app_id.h"
#include "support/config_file.h"
#include "support/file_system.h"
#include "support/json_file.h"
#include "support/text.h"

namespace packaging {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kManifestEnding = ".MFT";
// "<id>/appuninstall.mft" is the longest name that a package of every application must have room
// for.
constexpr std::size_t kLongestId = kEntryNameLimit - sizeof("/appuninstall.mft");

bool endsInUpperCase(const std::string& text, std::string_view ending) {
  return text.size() >= ending.size() &&
         wzapp::toUpper(text.substr(text.size() - ending.size())) == ending;
}

// ---- Files -------------------------------------------------------------------------------------

class FolderReader {
 public:
  FolderReader(std::string root, const std::string& leftOut, ApplicationFolder& folder,
               Findings& findings)
      : root_(std::move(root)), leftOut_(leftOut), folder_(folder), findings_(findings) {
    std::string text;
    const std::string path = root_ + "/" + kIgnoreFile;
    if (wzapp::readFile(path.c_str(), text)) ignored_ = IgnoreRules(text);
  }

  void readAll() {
    readFolder("");
    const auto byName = [](const FolderFile& a, const FolderFile& b) { return a.name < b.name; };
    std::ranges::sort(folder_.files, byName);
    std::ranges::sort(folder_.leftOut);
  }

 private:
  void readFolder(const std::string& prefix) {
    std::error_code failure;
    fs::directory_iterator entry(root_ + "/" + prefix, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
      takeEntry(prefix + entry->path().filename().string(), entry->path().string());
    }
    if (failure) refuse("WZ-0802", root_ + "/" + prefix, "cannot be read: " + failure.message());
  }

  void takeEntry(const std::string& name, const std::string& path) {
    const std::size_t slash = name.rfind('/');
    if (name[slash == std::string::npos ? 0 : slash + 1] == '.') {
      folder_.leftOut.push_back(name);
      return;
    }
    std::error_code failure;
    const fs::file_status status = fs::symlink_status(path, failure);
    if (status.type() == fs::file_type::none) {
      return refuse("WZ-0802", path, "cannot be read: " + failure.message());
    }
    if (ignored_.isIgnored(name, fs::is_directory(status)) || isLeftOut(path)) {
      folder_.leftOut.push_back(name);
      return;
    }
    if (fs::is_directory(status)) return readFolder(name + "/");
    if (!fs::is_regular_file(status)) {
      refuse("WZ-0803", path,
             fs::is_symlink(status) ? "is a symbolic link; put a copy of the file there"
                                    : "is neither a file nor a folder; take it away");
      return;
    }
    takeFile(name, path);
  }

  void takeFile(const std::string& name, const std::string& path) {
    if (access(path.c_str(), R_OK) != 0) {
      refuse("WZ-0802", path, std::string("cannot be read: ") + std::strerror(errno));
    }
    if (name.find('\\') != std::string::npos) {
      refuse("WZ-0804", path, "has a \\ in its name, which terminals take for a /; rename it");
    }
    if (name == kFolderManifest) return;
    if (name == kOwnerConfiguration) {
      folder_.ownerConfiguration = path;
      return;
    }
    folder_.files.push_back({name, path});
  }

  // By what they are, not by how they are called.
  [[nodiscard]] bool isLeftOut(const std::string& path) const {
    std::error_code failure;
    return !leftOut_.empty() && fs::equivalent(path, leftOut_, failure) && !failure;
  }

  void refuse(const char* code, const std::string& path, const std::string& why) {
    findings_.errors.push_back({code, path + " " + why});
  }

  std::string root_;
  std::string leftOut_;
  IgnoreRules ignored_;
  ApplicationFolder& folder_;
  Findings& findings_;
};

// ---- The manifest ------------------------------------------------------------------------------

std::string jsonProblem(const std::string& text) {
  const std::string why = whyNoJson(text);
  return why.empty() ? "JSON that terminals do not read" : "no JSON: " + why;
}

// Why the manifest was not read, as a second attempt finds it.
std::string whyUnread(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0 && errno == ENOENT) return "is not there";
  if (file < 0) return std::string("cannot be read: ") + std::strerror(errno);
  close(file);
  return "cannot be read, or has more than 1 MiB";
}

// False after an error for a file that a terminal reads in neither form.
bool checkForm(const std::string& path, bool isJson, Findings& findings) {
  static_assert(wzapp::kMaxManifestSize == std::size_t{1} << 20, "the message names it");
  std::string text;
  if (!wzapp::readFile(path.c_str(), text, wzapp::kMaxManifestSize)) {
    findings.errors.push_back({"WZ-0701", path + " " + whyUnread(path) +
                                              "; every application has its manifest there "
                                              "(wz new DIR makes one)"});
    return false;
  }
  if (isJson) return true;
  const std::string trimmedText = wzapp::trim(text);
  if (!trimmedText.empty() && trimmedText[0] == '{') {
    findings.errors.push_back({"WZ-0702", path + " is " + jsonProblem(text)});
    return false;
  }
  const wzapp::ConfigFile config(path);
  if (config.errorLine() != 0) {
    findings.errors.push_back(
        {"WZ-0704", path + " is neither JSON nor sections of keys and values (line " +
                        std::to_string(config.errorLine()) + ")"});
    return false;
  }
  findings.warnings.push_back(
      {"WZ-0705", path + " is not JSON, so that terminals do not check what the application "
                         "imports"});
  return true;
}

void takeSponsors(const std::string& path, bool isJson, const zelipc::JSObject& manifest,
                  ApplicationFolder& folder) {
  if (isJson) {
    const zelipc::JSObject& sponsors = manifest["sponsors"];
    for (std::size_t i = 0; sponsors.isArray() && i < sponsors.size(); ++i) {
      folder.sponsors.push_back(sponsors.at(i).asString());
    }
    return;
  }
  const std::string list = wzapp::ConfigFile(path).getValue("install", "sponsor", "");
  if (!list.empty()) wzapp::splitString(folder.sponsors, list, ',', true);
}

// A page as a manifest names it: a file of the folder, perhaps with a query behind it. False when
// none is named.
bool checkPage(const zelipc::JSObject& entry, const std::string& manifest,
               const std::string& folderPath, Findings& findings) {
  const std::string file = entry["file"].asString();
  if (file.empty()) return false;
  if (file.find("://") != std::string::npos) return true;
  const std::string path = wzapp::joinPath(folderPath, file.substr(0, file.find_first_of("?#")));
  if (access(path.c_str(), R_OK) != 0) {
    findings.warnings.push_back(
        {"WZ-0810", manifest + " names the page " + file + ", which is not there"});
  }
  return true;
}

void checkPages(const zelipc::JSObject& manifest, const std::string& path,
                const std::string& folderPath, Findings& findings) {
  bool isStartable = checkPage(manifest["desktop"], path, folderPath, findings);
  const zelipc::JSObject& triggers = manifest["imports_trigger"];
  for (std::size_t i = 0; triggers.isArray() && i < triggers.size(); ++i) {
    isStartable = checkPage(triggers.at(i), path, folderPath, findings) || isStartable;
  }
  if (!isStartable) {
    findings.warnings.push_back(
        {"WZ-0811", path + " names no page, so that the application could not be started; "
                           "write \"desktop\": {\"file\": \"index.html\"}"});
  }
}

// Installing and running read the id each in a way of its own.
void takeIdentity(const std::string& path, ApplicationFolder& folder, Findings& findings) {
  folder.id = wzapp::readManifestAppId(path);
  const std::string why = whyNoApplicationId(folder.id.empty() ? misnamedId(path) : folder.id);
  if (!why.empty()) {
    findings.errors.push_back(
        {folder.id.empty() ? "WZ-0710" : "WZ-0711", path + ": the application id " + why});
    return;
  }
  wzapp::ManifestEntry entry;
  if (!wzapp::readManifestEntry(path.c_str(), "desktop", entry) || entry.appId != folder.id) {
    findings.errors.push_back({"WZ-0713", path + ": the application would be installed as " +
                                              folder.id + " and run as " +
                                              (entry.appId.empty() ? "nothing" : entry.appId) +
                                              "; write the same id in both places"});
    return;
  }
  folder.version = entry.version;
}

void readManifest(const std::string& folderPath, ApplicationFolder& folder, Findings& findings) {
  const std::string path = folderPath + "/" + kFolderManifest;
  folder.manifest = {kFolderManifest, path};
  zelipc::JSObject manifest;
  const bool isJson = wzapp::readJSONFile(manifest, path);
  if (!checkForm(path, isJson, findings)) return;
  takeIdentity(path, folder, findings);
  takeSponsors(path, isJson, manifest, folder);
  if (isJson) checkPages(manifest, path, folderPath, findings);
}

// ---- Names -------------------------------------------------------------------------------------

void checkEntryNames(const ApplicationFolder& folder, Findings& findings) {
  for (const FolderFile& file : folder.files) {
    const std::size_t length = folder.id.size() + 1 + file.name.size();
    if (length >= kEntryNameLimit) {
      findings.errors.push_back({"WZ-0805", file.path + " has a name of " + std::to_string(length) +
                                                " octets in the package, its application's folder "
                                                "included, and terminals read at most " +
                                                std::to_string(kEntryNameLimit - 1) +
                                                "; shorten it"});
    }
    // The last manifest that a terminal meets tells it which application it has installed.
    if (endsInUpperCase(file.name, kManifestEnding) &&
        wzapp::readManifestAppId(file.path) != folder.id) {
      findings.errors.push_back(
          {"WZ-0712", file.path +
                          " would be taken for the application's manifest, and does not say "
                          "that its id is " +
                          folder.id + "; give it another ending than .mft"});
    }
  }
}

}  // namespace

ApplicationFolder readApplicationFolder(const std::string& path, Findings& findings,
                                        const std::string& leftOut) {
  ApplicationFolder folder;
  std::error_code failure;
  if (!fs::is_directory(path, failure)) {
    findings.errors.push_back(
        {"WZ-0801", path + " is no folder; name the folder of an application"});
    return folder;
  }
  FolderReader(path, leftOut, folder, findings).readAll();
  readManifest(path, folder, findings);
  if (findings.errors.empty()) checkEntryNames(folder, findings);
  return folder;
}

bool checkManifestForm(const std::string& path, Findings& findings) {
  zelipc::JSObject manifest;
  return checkForm(path, wzapp::readJSONFile(manifest, path), findings);
}

std::string misnamedId(const std::string& manifest) {
  zelipc::JSObject object;
  const bool isJson = wzapp::readJSONFile(object, manifest);
  const zelipc::JSObject& root = object;
  std::vector<std::string> ids;
  if (isJson) {
    ids.push_back(root["application"]["id"].asString());
  } else {
    const wzapp::ConfigFile config(manifest);
    ids = {config.getValue("install", "appid", ""), config.getValue("uninstall", "appid", ""),
           config.getValue("application", "id", "")};
  }
  const auto found = std::ranges::find_if_not(ids, wzapp::isPlainAppId);
  return found == ids.end() ? std::string() : *found;
}

std::string whyNoApplicationId(const std::string& id) {
  if (id.empty()) return "is missing; write \"application\": {\"id\": \"...\"}";
  if (id.size() > kLongestId) {
    return "has " + std::to_string(id.size()) + " octets; a package has room for " +
           std::to_string(kLongestId);
  }
  if (id == "." || id == "..") return "names no folder";
  const bool hasControls = std::ranges::any_of(
      id, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
  if (hasControls || id.find_first_of("/\\") != std::string::npos) {
    return "has a character in it that cannot stand in a folder's name (/, \\ or a control "
           "character)";
  }
  if (wzapp::isAbsolutePath(id)) return "would be taken for a volume; it must not end in a colon";
  if (endsInUpperCase(id, kManifestEnding)) {
    return "ends in .mft, so that its folder would be taken for a manifest";
  }
  return {};
}

std::string whyNoSponsor(const std::string& sponsor) {
  constexpr std::size_t kDigits = 6;
  const bool areDigits = std::ranges::all_of(sponsor, [](char c) { return c >= '0' && c <= '9'; });
  if (sponsor.size() != kDigits || !areDigits) return "is not six digits";
  if (sponsor == "000000") return "is that of no terminal";
  return {};
}

}  // namespace packaging
