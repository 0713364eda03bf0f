#include "bench/install/peer_manifests.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

#include "installer/directories.h"
#include "platforminfo/platforminfo.h"
#include "zelsec/zelsec.h"

namespace bench::peer {
namespace {

namespace fs = std::filesystem;
using rapidjson::Document;
using rapidjson::Value;

constexpr char kMarketplaceManifest[] = "mpmanifest.mft";
constexpr char kUninstallManifest[] = "appuninstall.mft";
constexpr char kRuntimeVersion[] = "2.46.6";
constexpr int kModelKey = 68;
constexpr int kSponsorRecords = 4;  // operation of the security service
constexpr int kUsers = 16;

// --- Reading ----------------------------------------------------------------------------------

bool readManifest(const fs::path& path, Document& document) {
  std::FILE* const file = std::fopen(path.c_str(), "rbe");
  if (file == nullptr) return false;
  std::string text;
  std::array<char, 65536> block;
  while (const std::size_t size = std::fread(block.data(), 1, block.size(), file)) {
    text.append(block.data(), size);
  }
  std::fclose(file);
  return !document.Parse(text.data(), text.size()).HasParseError() && document.IsObject();
}

const Value& member(const Value& object, const char* name) {
  static const Value none;
  if (!object.IsObject()) return none;
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? none : found->value;
}

std::string_view text(const Value& value) {
  if (!value.IsString()) return {};
  return {value.GetString(), value.GetStringLength()};
}

// Calls `work` for every element; none if `value` is no array.
template <class Work>
void forEach(const Value& value, Work&& work) {
  if (!value.IsArray()) return;
  for (const Value& element : value.GetArray()) work(element);
}

std::string idOf(const Value& manifest) {
  return std::string(text(member(member(manifest, "application"), "id")));
}

std::string upper(std::string name) {
  std::ranges::transform(name, name.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  });
  return name;
}

bool isManifestName(const std::string& name) { return upper(name).ends_with(".MFT"); }

std::string upperStem(const fs::path& path) { return upper(path.stem()); }

// --- Sponsors ---------------------------------------------------------------------------------

// The id of a manifest that lists the sponsor; empty for any other.
std::string sponsoredId(const fs::path& path, const std::string& sponsor) {
  Document manifest;
  if (!readManifest(path, manifest)) return {};
  bool isListed = false;
  forEach(member(manifest, "sponsors"),
          [&](const Value& element) { isListed = isListed || text(element) == sponsor; });
  return isListed ? idOf(manifest) : std::string();
}

// Upper-case ids of the applications that may stay.
std::set<std::string> sponsoredApplications(const std::string& sponsor) {
  std::set<std::string> valid;
  for (const fs::directory_entry& folder : fs::directory_iterator(wzapp::kManifestRoot)) {
    const std::string name = upper(folder.path().filename());
    std::printf("Checking %s\n", folder.path().filename().c_str());
    const std::string id = upper(sponsoredId(folder.path() / kMarketplaceManifest, sponsor));
    if (id.empty() || id != name) continue;
    const fs::path uninstall = folder.path() / kUninstallManifest;
    if (fs::exists(uninstall) && upper(sponsoredId(uninstall, sponsor)) == id) continue;
    valid.insert(id);
  }
  return valid;
}

void removeEntry(const fs::path& path) {
  std::printf("Removing %s\n", path.c_str());
  fs::remove_all(path);
}

bool removeAllBut(const std::set<std::string>& valid, const char* root) {
  std::vector<fs::path> unwanted;
  for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
    const std::string name = entry.path().filename();
    const std::string id = isManifestName(name) ? upperStem(entry.path()) : upper(name);
    if (!valid.contains(id)) unwanted.push_back(entry.path());
  }
  std::ranges::for_each(unwanted, removeEntry);
  return unwanted.empty();
}

// --- Dependencies -----------------------------------------------------------------------------

struct Manifest {
  fs::path path;
  bool isApplication;  // in the application root, and not part of the terminal's software
  Document document;
  bool isRemoved = false;
};

void collect(const std::string& folder, bool areApplications, std::vector<Manifest>& manifests) {
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
    if (!isManifestName(entry.path().filename())) continue;
    Manifest manifest{entry.path(), areApplications, {}, false};
    if (!readManifest(entry.path(), manifest.document)) continue;
    std::printf("Reading %s\n", entry.path().c_str());
    manifests.push_back(std::move(manifest));
  }
}

std::vector<Manifest> collectManifests() {
  std::vector<Manifest> manifests;
  for (const char* kind : {"usr", "sys"}) {
    for (int user = 1; user <= kUsers; ++user) {
      collect("/home/" + (kind + std::to_string(user)) + "/www", false, manifests);
    }
  }
  collect(wzapp::kAppRoot, true, manifests);
  return manifests;
}

struct Exports {
  std::string triggersVersion;
  std::set<std::string, std::less<>> triggers, interfaces;
};

Exports exportsOf(const std::vector<Manifest>& manifests) {
  Exports exports;
  for (const Manifest& manifest : manifests) {
    if (manifest.isRemoved) continue;
    const Document& document = manifest.document;
    const Value& version = member(member(document, "exports_sdk"), "triggers_version");
    if (version.IsString()) exports.triggersVersion = text(version);
    forEach(member(document, "exports_trigger"),
            [&](const Value& element) { exports.triggers.emplace(text(member(element, "id"))); });
    forEach(member(document, "exports_api"),
            [&](const Value& element) { exports.interfaces.emplace(text(member(element, "id"))); });
  }
  return exports;
}

// Below 0, 0 or above 0. Fewer components are less.
int compareVersions(const std::string& left, std::string_view right) {
  const auto numbers = [](const std::string& version) {
    std::vector<int> components;
    std::stringstream stream(version);
    for (std::string piece; std::getline(stream, piece, '.');) {
      components.push_back(std::atoi(piece.c_str()));
    }
    return components;
  };
  const std::vector<int> ours = numbers(left);
  const std::vector<int> theirs = numbers(std::string(right));
  return ours < theirs ? -1 : static_cast<int>(ours > theirs);
}

bool isInside(const std::string& version, const Value& minimum, const Value& maximum) {
  return !(minimum.IsString() && compareVersions(version, text(minimum)) < 0) &&
         !(maximum.IsString() && compareVersions(version, text(maximum)) > 0);
}

bool areAllThere(const Value& imports, const std::set<std::string, std::less<>>& exported) {
  bool areThere = true;
  forEach(imports, [&](const Value& element) {
    if (member(element, "optional").IsTrue() || exported.contains(text(member(element, "id")))) {
      return;
    }
    std::printf("Error: Missing %s\n", std::string(text(member(element, "id"))).c_str());
    areThere = false;
  });
  return areThere;
}

bool runsOn(const Value& platforms, std::string_view model) {
  if (!platforms.IsArray()) return true;
  const auto list = platforms.GetArray();
  return std::any_of(list.begin(), list.end(),
                     [model](const Value& platform) { return text(platform) == model; });
}

std::string modelName() {
  std::array<char, 14> answer{};
  unsigned int length = 0;
  platforminfo_get(kModelKey, answer.data(), answer.size() - 1, &length);
  return answer.data();
}

bool isContent(const Document& manifest, const Exports& exports, const std::string& model) {
  const Value& sdk = member(manifest, "imports_sdk");
  return isInside(exports.triggersVersion, member(sdk, "triggers_min_version"),
                  member(sdk, "triggers_max_version")) &&
         isInside(kRuntimeVersion, member(sdk, "wzruntime_min_version"),
                  member(sdk, "wzruntime_max_version")) &&
         areAllThere(member(manifest, "imports_trigger"), exports.triggers) &&
         areAllThere(member(manifest, "imports_api"), exports.interfaces) &&
         runsOn(member(member(manifest, "imports_hardware"), "platforms"), model);
}

// One pass over the applications that are left. False when it removed one.
bool checkOnce(std::vector<Manifest>& manifests, const std::string& model) {
  const Exports exports = exportsOf(manifests);
  bool isUnchanged = true;
  for (Manifest& manifest : manifests) {
    if (!manifest.isApplication || manifest.isRemoved) continue;
    std::printf("Checking %s\n", manifest.path.c_str());
    if (isContent(manifest.document, exports, model)) continue;
    std::printf("Removing app %s\n", manifest.path.stem().c_str());
    manifest.isRemoved = true;
    isUnchanged = false;
  }
  return isUnchanged;
}

}  // namespace

std::string terminalSponsor() {
  // The length of the digits, one digit in each octet from the last to the first, and more.
  std::array<char, 8192> record{};
  unsigned short length = 0;
  std::string sponsor;
  if (CMDiag(kSponsorRecords, record.data(), &length) != 0 || length < 10) return sponsor;
  for (int digit = 9; digit >= 4; --digit) {
    sponsor += static_cast<char>('0' + (record[static_cast<std::size_t>(digit)] & 0x0F));
  }
  return sponsor;
}

std::string applicationId(const std::string& manifest) {
  Document document;
  return readManifest(manifest, document) ? idOf(document) : std::string();
}

bool applySponsorRules(const std::string& sponsor) {
  const std::set<std::string> valid = sponsoredApplications(sponsor);
  const bool areApplicationsLeft = removeAllBut(valid, wzapp::kAppRoot);
  return removeAllBut(valid, wzapp::kManifestRoot) && areApplicationsLeft;
}

bool checkDependencies() {
  std::puts("Checking dependencies");
  const std::string model = modelName();
  std::vector<Manifest> manifests = collectManifests();
  while (!checkOnce(manifests, model)) std::puts("Re-checking dependencies");
  bool isUnchanged = true;
  for (const Manifest& manifest : manifests) {
    if (!manifest.isRemoved) continue;
    isUnchanged = false;
    fs::remove_all(manifest.path);
    const fs::path name = manifest.path.stem();
    for (const char* root : {wzapp::kAppRoot, wzapp::kFileSystemRoot, wzapp::kManifestRoot}) {
      fs::remove_all(root / name);
    }
  }
  return isUnchanged;
}

void listApplications(const std::string& sponsor) {
  std::puts("List of installed applications:");
  for (const fs::directory_entry& folder : fs::directory_iterator(wzapp::kManifestRoot)) {
    const std::string id = sponsoredId(folder.path() / kMarketplaceManifest, sponsor);
    if (!id.empty()) std::puts(id.c_str());
  }
}

}  // namespace bench::peer
