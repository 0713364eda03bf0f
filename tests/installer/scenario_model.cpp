#include "tests/installer/scenario_model.h"
#include "tests/builders/upper_case.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace wzapp_test::scenario {
namespace {

const std::string kSourceRoot = "/mnt/flash/system/wz";
const std::string kTemporaryPath = kSourceRoot + "/installer.tmp";
const std::string kConfigRoot = "/mnt/flash/etc/config/wzapp";
const std::string kAppRoot = kConfigRoot + "/wz";
const std::string kManifestRoot = kConfigRoot + "/mp";
const std::string kDataRoot = kConfigRoot + "/fsroot";

bool endsIn(const std::string& name, const std::string& ending) {
  return upper(name).ends_with(ending);
}

std::string withoutEnd(const std::string& text, std::size_t size) {
  return text.substr(0, text.size() - size);
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text + separator);
  for (std::string piece; std::getline(stream, piece, separator);) pieces.push_back(piece);
  return pieces;
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

bool isAbsolute(const std::string& path) {
  if (path.empty()) return false;
  const std::string first = path.substr(0, path.find('/'));
  return first.empty() || first.back() == ':';
}

// A root, and a path with neither links nor backslashes that stays below it.
std::string below(const std::string& root, const std::string& path) {
  std::string result = root;
  for (const std::string& piece : split(path, '/')) {
    if (!piece.empty() && piece != ".") result += "/" + piece;
  }
  return result;
}

// Where an entry goes: no component climbs, and an absolute name stays as it is.
std::string destinationOf(const std::string& name, const std::string& root) {
  std::vector<std::string> pieces = split(name, '/');
  for (std::string& piece : pieces) {
    if (piece == "..") piece = "_";
  }
  std::string path;
  for (const std::string& piece : pieces) path += "/" + piece;
  path.erase(0, 1);
  return isAbsolute(path) ? path : below(root, path);
}

bool liesBelow(const std::string& path, const std::string& root) {
  return path.starts_with("/") && below("", path).starts_with(root + "/");
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool isManifestName(const std::string& name) { return name.size() >= 5 && endsIn(name, ".MFT"); }

std::vector<int> numbers(const std::string& version) {
  std::vector<int> result;
  for (const std::string& piece : split(version, '.')) result.push_back(std::atoi(piece.c_str()));
  return result;
}

}  // namespace

// --- The run ----------------------------------------------------------------------------------

int Model::run() {
  say("Installing to " + kAppRoot);
  std::vector<std::string> toDelete;
  int count = 0;
  if (isFolder(kSourceRoot)) {
    for (const std::string& name : list(kSourceRoot)) {
      const std::string path = kSourceRoot + "/" + name;
      if (name.size() <= 4) {
        toDelete.push_back(path);
      } else if (endsIn(name, ".ZIP")) {
        installPackage(path);
        ++count;
        toDelete.push_back(path);
      }
    }
    applyMarketplaceRules();
    checkDependencies();
    for (const std::string& id : installed_) {
      if (!removed_.contains(id)) continue;
      error("Installation of " + id + " failed");
      break;
    }
    for (const std::string& path : toDelete) {
      if (endsIn(path, ".ZIP")) {
        removeTree(path);
      } else {
        removePlainly(path);
      }
    }
  } else {
    makeFolders(kSourceRoot);
    applyMarketplaceRules();
    checkDependencies();
    result_ = 1;
  }
  listApplications();
  if (count == 0 && result_ == 0) result_ = 1;
  static const char* const kWords[] = {"OK", "NO PACKAGE", "ERROR", "WARNING"};
  say(std::string("Overall result: ") + kWords[result_]);
  return result_;
}

void Model::error(const std::string& text) {
  say("Error: " + text);
  result_ = 2;
}

void Model::warning(const std::string& text) {
  say("Warning: " + text);
  if (result_ == 0) result_ = 3;
}

// --- The tree ---------------------------------------------------------------------------------

bool Model::isFolder(const std::string& path) const {
  const auto node = tree_.find(path);
  return node != tree_.end() && node->second.kind == NodeKind::kFolder;
}

const std::string* Model::contentOf(const std::string& path) const {
  const auto node = tree_.find(path);
  if (node == tree_.end() || node->second.kind != NodeKind::kFile) return nullptr;
  return &node->second.content;
}

std::vector<std::string> Model::list(const std::string& folder) const {
  std::set<std::string> names;
  for (const auto& [path, node] : tree_) {
    if (folderOf(path) == folder) names.insert(path.substr(folder.size() + 1));
  }
  std::vector<std::string> arranged;
  const auto order = orders_.find(folder);
  if (order != orders_.end()) {
    for (const std::string& name : order->second) {
      if (names.erase(name) != 0) arranged.push_back(name);
    }
  }
  arranged.insert(arranged.end(), names.begin(), names.end());  // which the real folder lacks
  return arranged;
}

bool Model::makeFolders(const std::string& path) {
  if (path.empty() || isFolder(path)) return true;
  if (exists(path) || !makeFolders(folderOf(path))) return false;
  tree_[path] = {NodeKind::kFolder, ""};
  return true;
}

void Model::removeTree(const std::string& path) {
  tree_.erase(path);
  std::erase_if(tree_, [&path](const auto& node) { return node.first.starts_with(path + "/"); });
}

void Model::removePlainly(const std::string& path) {
  if (list(path).empty()) tree_.erase(path);
}

// --- Packages ---------------------------------------------------------------------------------

Model::Index Model::indexOf(const ArchiveEntries& entries) {
  Index index;
  for (const ArchiveEntry& entry : entries) {
    std::string name = entry.name;
    std::replace(name.begin(), name.end(), '\\', '/');
    index[name] = &entry;
  }
  return index;
}

void Model::installPackage(const std::string& path) {
  say("Install " + path);
  const std::string* const content = contentOf(path);
  const auto archive = content == nullptr ? facts_.archives.end() : facts_.archives.find(*content);
  if (archive == facts_.archives.end() || archive->second.empty()) {
    error("Failed reading '" + path + "'");
    return;
  }
  rebuildStore();
  const Index index = indexOf(archive->second);
  const auto isSkipped = [](const std::string& name) {
    return name.size() < 5 || name.ends_with("/");
  };
  for (const auto& [name, entry] : index) {
    if (isSkipped(name) || !endsIn(name, ".CRT")) continue;
    if (entry->isBroken || entry->content.empty()) {
      error("Failed to extract '" + name + "'");
      continue;
    }
    const auto facts = facts_.certificates.find(entry->content);
    addCertificate(name, facts == facts_.certificates.end() ? nullptr : &facts->second, 0);
  }
  for (const auto& [name, entry] : index) {
    if (isSkipped(name) || !endsIn(name, ".ZIP")) continue;
    ArchiveEntry named = *entry;
    named.name = name;
    installInner(index, named);
  }
}

void Model::rebuildStore() {
  store_.clear();
  std::set<std::string> wanted;
  for (const auto& [kind, authority] : terminal_.authorities) wanted.insert(authority.issuer);
  for (std::size_t i = 0; i < terminal_.roots.size(); ++i) {
    if (!wanted.contains(terminal_.roots[i].id)) continue;
    say("Adding OS certificate SN=" + terminal_.rootSerials[i]);
    store_[terminal_.roots[i].id] = {1, terminal_.roots[i].key};
  }
  for (std::size_t row = 0; row < terminal_.authorities.size(); ++row) {
    const auto& [kind, authority] = terminal_.authorities[row];
    if (store_.contains(authority.issuer)) {
      addCertificate("SN=20782" + std::to_string(row), &authority, kind);
    }
  }
}

void Model::addCertificate(const std::string& name, const CertificateFacts* facts, int kind) {
  say("Adding certificate " + name);
  const std::string failed = "Failed adding certificate '" + name + "': ";
  if (facts == nullptr) {
    warning("Failed reading certificate '" + name + "': Error -102");
    return;
  }
  if (facts->isExpired) {
    warning(failed + "Expired");
    return;
  }
  const auto issuer = store_.find(facts->issuer);
  if (issuer == store_.end()) {
    warning(failed + "CA not found");
    return;
  }
  if (issuer->second.key != facts->issuerKey) {
    warning(failed + "Validation failed");
    return;
  }
  if (kind == 0 && issuer->second.kind == 2) {
    for (const std::string& permission : facts->permissions) {
      if (permission == "S11") kind = 4;
      if (permission == "S14") kind = 3;
    }
    if (kind == 0) {
      warning(failed + "Invalid file type");
      return;
    }
  } else if (kind == 0) {
    kind = issuer->second.kind;
  }
  store_[facts->id] = {kind, facts->key};
}

void Model::installInner(const Index& index, const ArchiveEntry& entry) {
  const std::string& name = entry.name;
  say("Found " + name);
  const std::string upperName = upper(name);
  const std::string wanted = withoutEnd(upperName, 4) + ".P7S";
  const auto found = std::find_if(index.begin(), index.end(), [&](const auto& row) {
    return upper(row.first) == wanted || upper(row.first) == upperName + ".P7S";
  });
  if (found == index.end()) return error("Signature '" + wanted + "' not found");
  if (found->second->isBroken || found->second->content.empty()) {
    return error("Failed to extract '" + found->first + "'");
  }
  const auto signature = facts_.signatures.find(found->second->content);
  const auto signer =
      signature == facts_.signatures.end() ? store_.end() : store_.find(signature->second.signer);
  if (signer == store_.end()) {
    return error("Signature '" + found->first + "' using unknown certificate");
  }
  const bool isManifest = upperName.ends_with("-O.ZIP") || upperName.ends_with("-U.ZIP");
  if (signer->second.kind != (isManifest ? 4 : 3)) {
    return error("File '" + upperName + "' not signed using " +
                 (isManifest ? "manifest" : "application") + " certificate");
  }
  tree_.erase(kTemporaryPath);  // it is digested while it is copied to there
  if (entry.isBroken) return error("Failed to extract '" + name + "'");
  say("Checking " + name);
  if (signature->second.archive != entry.content || signature->second.key != signer->second.key) {
    return error("Invalid signature");
  }
  say("Extracting " + name);
  const auto archive = facts_.archives.find(entry.content);
  if (archive == facts_.archives.end() || archive->second.empty()) {
    error("Failed reading '" + name + "'");
    installed_.insert("");
  } else {
    installContent(archive->second, !isManifest);
  }
}

void Model::installContent(const ArchiveEntries& entries, bool isApplication) {
  const std::string& root = isApplication ? kAppRoot : kManifestRoot;
  const Index index = indexOf(entries);
  for (const auto& [name, entry] : index) {
    const std::size_t slash = name.find('/');
    if (!isApplication || slash == std::string::npos) continue;
    const std::string old = destinationOf(name.substr(0, slash), root);
    if (liesBelow(old, root)) removeTree(old);
  }
  std::string id;
  for (const auto& [name, entry] : index) {
    if (name.ends_with("/")) continue;
    const std::string destination = destinationOf(name, root);
    if (!writeEntry(*entry, root, destination)) {
      error("Failed to extract '" + name + "' -> '" + destination + "'");
    } else if (endsIn(destination, ".MFT")) {
      id = appIdOf(below("", destination));
    }
  }
  installed_.insert(id);
}

bool Model::writeEntry(const ArchiveEntry& entry, const std::string& root,
                       const std::string& destination) {
  if (!liesBelow(destination, root)) return false;
  const std::string path = below("", destination);
  if (!makeFolders(folderOf(path)) || isFolder(path)) return false;
  tree_[path] = {NodeKind::kFile, entry.isBroken ? "" : entry.content};
  return !entry.isBroken;
}

// --- Manifests --------------------------------------------------------------------------------

const Manifest* Model::jsonOf(const std::string& path) const {
  const std::string* const content = contentOf(path);
  if (content == nullptr) return nullptr;
  const auto manifest = facts_.manifests.find(*content);
  const bool isJSON = manifest != facts_.manifests.end() && manifest->second.isJSON;
  return isJSON ? &manifest->second : nullptr;
}

std::string Model::appIdOf(const std::string& path) const {
  const std::string* const content = contentOf(path);
  if (content == nullptr) return "";
  const auto found = facts_.manifests.find(*content);
  if (found == facts_.manifests.end()) return "";
  const Manifest& manifest = found->second;
  if (manifest.isJSON) return manifest.id.value_or("");
  for (const char* section : {"install", "uninstall"}) {
    const auto id = manifest.appIds.find(section);
    if (id != manifest.appIds.end() && !id->second.empty()) return id->second;
  }
  return "";
}

bool Model::checkSponsor(bool isUninstall, const std::string& path, std::string& id) {
  const auto refuse = [&](const std::string& list) {
    error("Invalid sponsor list '" + list + "' for " +
          (isUninstall ? "uninstalling" : "installing") + " '" + id + "', expecting sponsor '" +
          terminal_.sponsor + "'");
    return false;
  };
  id = "";
  std::string list;
  if (const Manifest* const manifest = jsonOf(path)) {
    id = manifest->id.value_or("");
    if (id.empty()) {
      error("app id missing in " + path);
      return false;
    }
    if (manifest->isSponsorText) return refuse("");
    for (const std::string& sponsor : manifest->sponsors) {
      if (sponsor == terminal_.sponsor) return true;
      list += (list.empty() && &sponsor == &manifest->sponsors.front() ? "" : ",") + sponsor;
    }
    return refuse(list);
  }
  Manifest manifest;  // an empty file is one without keys
  const std::string* const content = contentOf(path);
  const auto found = content == nullptr ? facts_.manifests.end() : facts_.manifests.find(*content);
  if (found != facts_.manifests.end()) manifest = found->second;
  const bool isKnown = found != facts_.manifests.end() || (content != nullptr && content->empty());
  if (!isKnown || manifest.hasInvalidLine) {
    error("Cannot read '" + path + "', invalid permissions or invalid format");
    return false;
  }
  const std::string section = isUninstall ? "uninstall" : "install";
  id = manifest.appIds[section];
  if (id.empty()) {
    error("app id missing in " + path);
    return false;
  }
  list = trimmed(manifest.sponsorLists[section]);
  for (const std::string& sponsor : split(list, ',')) {
    if (trimmed(sponsor) == terminal_.sponsor) return true;
  }
  return refuse(list);
}

// --- The marketplace rules --------------------------------------------------------------------

void Model::applyMarketplaceRules() {
  say("postinstall");
  if (!isFolder(kManifestRoot)) return removeEverything();
  for (const std::string& name : list(kManifestRoot)) {
    judgeManifests(kManifestRoot + "/" + name, name);
  }
  if (isFolder(kAppRoot)) {
    for (const std::string& name : list(kAppRoot)) {
      const std::string path = kAppRoot + "/" + name;
      const std::string upperName = upper(name);
      if (isManifestName(name)) {
        if (valid_.contains(withoutEnd(upperName, 4))) continue;
        say("Removing " + path);
        removeTree(path);
        continue;
      }
      if (valid_.contains(upperName)) continue;
      if (!toUninstall_.contains(upperName)) {
        say("Error: No valid marketplace manifest found for " + upperName);
      }
      say("Removing " + path);
      removeTree(path);
      say("Removing " + kDataRoot + "/" + name);
      removeTree(kDataRoot + "/" + name);
    }
  }
  for (const std::string& name : list(kManifestRoot)) {
    if (valid_.contains(upper(name))) continue;
    say("Removing " + kManifestRoot + "/" + name);
    removeTree(kManifestRoot + "/" + name);
  }
}

void Model::judgeManifests(const std::string& folder, const std::string& name) {
  say("Checking " + name);
  std::string id;
  const auto lose = [&] {
    removed_.insert(id);
    id = "";
  };
  const std::string manifest = folder + "/mpmanifest.mft";
  if (!exists(manifest)) {
    warning(manifest + " not found");
  } else if (!checkSponsor(false, manifest, id) && !id.empty()) {
    lose();
  }
  if (!id.empty() && upper(id) != upper(name)) {
    say("Mismatching directory name " + name);
    lose();
  }
  const std::string uninstall = folder + "/appuninstall.mft";
  if (exists(uninstall)) {
    std::string named;
    if (!checkSponsor(true, uninstall, named)) {
      say("Removing invalid uninstall package " + uninstall);
      removePlainly(uninstall);
      if (!id.empty()) removed_.insert(id);
    } else if (named == id) {
      toUninstall_.insert(upper(id));
      id = "";
    }
  }
  if (!id.empty()) valid_.insert(upper(id));
}

void Model::removeEverything() {
  if (!isFolder(kAppRoot)) return;
  for (const std::string& name : list(kAppRoot)) {
    if (!isManifestName(name)) say("Error: No marketplace manifest found for " + name);
    say("Removing " + kAppRoot + "/" + name);
    // The bare name of a manifest leads to nothing in the working directory: no id to note.
  }
  say("Removing " + kAppRoot);
  removeTree(kAppRoot);
}

// --- The dependency check ---------------------------------------------------------------------

void Model::checkDependencies() {
  say("Checking dependencies");
  bool isFirst = true;
  while (true) {
    collectExports(isFirst);
    isFirst = false;
    if (!isFolder(kAppRoot) || !checkApplications()) break;
    say("Re-checking dependencies after removing apps");
  }
  cleanUp();
}

void Model::collectExports(bool isFirst) {
  version_ = "";
  exported_.clear();
  std::vector<std::string> folders;
  for (const char* kind : {"usr", "sys"}) {
    for (int i = 1; i <= 16; ++i) folders.push_back("/home/" + (kind + std::to_string(i)) + "/www");
  }
  folders.push_back(kAppRoot);
  for (const std::string& folder : folders) {
    if (!isFolder(folder)) continue;
    for (const std::string& name : list(folder)) {
      if (!isManifestName(name) || failing_.contains(upper(withoutEnd(name, 5)))) continue;
      const std::string path = folder + "/" + name;
      const Manifest* const manifest = jsonOf(path);
      if (isFirst && manifest != nullptr) say("Reading " + path);
      if (isFirst && manifest == nullptr) say(path + " not in JSON format, skipping.");
      if (manifest == nullptr) continue;
      if (manifest->version) version_ = *manifest->version;
      for (const auto& [key, ids] : manifest->exports)
        exported_[key].insert(ids.begin(), ids.end());
    }
  }
}

bool Model::checkApplications() {
  bool hasRemoved = false;
  for (const std::string& name : list(kAppRoot)) {
    if (!isManifestName(name)) continue;
    const std::string stem = upper(withoutEnd(name, 4));
    const Manifest* const manifest = jsonOf(kAppRoot + "/" + name);
    if (failing_.contains(stem) || manifest == nullptr) continue;
    say("Checking " + kAppRoot + "/" + name);
    const std::size_t before = lines_.size();
    checkApplication(*manifest);
    if (lines_.size() == before) continue;
    failing_.insert(stem);
    if (manifest->id) removed_.insert(*manifest->id);
    say("Removing app " + stem);
    hasRemoved = true;
  }
  return hasRemoved;
}

void Model::checkApplication(const Manifest& manifest) {
  checkBounds(manifest, "triggers", "trigger", version_);
  checkBounds(manifest, "wzruntime", "WZ runtime", "2.46.6");
  checkImports(manifest, "trigger");
  checkImports(manifest, "api");
  if (!manifest.platforms) return;
  for (const std::string& platform : *manifest.platforms) {
    if (platform == terminal_.descriptor || platform == terminal_.model) return;
  }
  say("Error: Platform " + terminal_.descriptor + " or model " + terminal_.model +
      " not supported");
}

void Model::checkBounds(const Manifest& manifest, const std::string& key, const std::string& word,
                        const std::string& version) {
  const auto low = manifest.bounds.find(key + "_min_version");
  if (low != manifest.bounds.end() && numbers(version) < numbers(low->second)) {
    say("Error: " + word + " version " + version + " less than " + low->second);
  }
  const auto high = manifest.bounds.find(key + "_max_version");
  if (high != manifest.bounds.end() && numbers(version) > numbers(high->second)) {
    say("Error: " + word + " version " + version + " higher than " + high->second);
  }
}

void Model::checkImports(const Manifest& manifest, const std::string& kind) {
  const auto imports = manifest.imports.find("imports_" + kind);
  if (imports == manifest.imports.end()) return;
  for (const Import& import : imports->second) {
    if (import.isOptional || exported_["exports_" + kind].contains(import.id)) continue;
    say("Error: Missing " + kind + " " + import.id);
  }
}

void Model::cleanUp() {
  for (const std::string& name : list(kAppRoot)) {
    if (endsIn(name, ".MFT") && failing_.contains(upper(withoutEnd(name, 4)))) {
      removeTree(kAppRoot + "/" + name);
    } else if (failing_.contains(upper(name))) {
      removeTree(kAppRoot + "/" + name);
      say("Removing " + kDataRoot + "/" + name);
      removeTree(kDataRoot + "/" + name);
    }
  }
  for (const std::string& name : list(kManifestRoot)) {
    if (failing_.contains(upper(name))) removeTree(kManifestRoot + "/" + name);
  }
}

void Model::listApplications() {
  say("List of installed applications:");
  if (!isFolder(kManifestRoot)) return;
  for (const std::string& name : list(kManifestRoot)) {
    std::string id;
    if (checkSponsor(false, kManifestRoot + "/" + name + "/mpmanifest.mft", id)) say(id);
  }
}

}  // namespace wzapp_test::scenario
