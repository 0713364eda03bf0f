#include <algorithm>

#include "verifier/manifest.h"
#include "verifier/stay_rules.h"

namespace verifier {
namespace {

constexpr std::size_t kEnding = 4;  // of ".MFT"

struct Mode {
  const char* section;
  const char* word;
};
constexpr Mode kInstall{"install", "installing"}, kUninstall{"uninstall", "uninstalling"};

bool isManifestName(const std::string& upperName) {
  return upperName.size() > kEnding && upperName.ends_with(".MFT");
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (std::size_t i = 0; i < texts.size(); ++i) all += (i == 0 ? "" : ",") + texts[i];
  return all;
}

// Whether a manifest lists the terminal's sponsor; the id is that of a refused one too.
bool checkSponsor(StayRun& run, const Mode& mode, const std::string& path, std::string& id) {
  id.clear();
  const std::optional<std::string> text = run.files.read(path);
  const Manifest manifest(text.value_or(""));
  std::vector<std::string> sponsors;
  std::string list;
  if (text && manifest.isJson()) {
    id = manifest.root().member("application").member("id").text();
    for (const Value& value : manifest.root().member("sponsors").elements()) {
      sponsors.push_back(value.text());
    }
    list = joined(sponsors);
  } else {
    if (!text || !manifest.isSections()) {
      report(run.verdict, "WZ-0502", {path});
      return false;
    }
    id = manifest.valueOf(mode.section, "appid");
    list = manifest.valueOf(mode.section, "sponsor");
    sponsors = pieces(list, ',');
  }
  if (!isPlainName(id)) id.clear();
  if (id.empty()) {
    report(run.verdict, "WZ-0501", {path});
    return false;
  }
  const std::string& own = run.terminal.sponsor;
  if (std::find(sponsors.begin(), sponsors.end(), own) != sponsors.end()) return true;
  report(run.verdict, "WZ-0503", {list, mode.word, id, own});
  return false;
}

struct Judged {
  std::set<std::string> valid;        // upper case
  std::set<std::string> toUninstall;  // upper case
};

void judgeFolder(StayRun& run, const std::string& name, Judged& judged) {
  const std::string folder = kManifestRoot + "/" + name;
  const std::string manifest = folder + "/mpmanifest.mft";
  const std::string removal = folder + "/appuninstall.mft";
  std::string id;
  if (!run.files.exists(manifest)) {
    report(run.verdict, "WZ-0504", {manifest});
  } else if (!checkSponsor(run, kInstall, manifest, id) && !id.empty()) {
    run.removed.insert(id);
    id.clear();
  }
  if (!id.empty() && upperCase(id) != upperCase(name)) {
    report(run.verdict, "WZ-0505", {name});
    run.removed.insert(id);
    id.clear();
  }
  if (run.files.exists(removal)) {
    std::string removalId;
    if (!checkSponsor(run, kUninstall, removal, removalId)) {
      report(run.verdict, "WZ-0506", {removal});
      run.files.remove(removal);
      if (!id.empty()) run.removed.insert(id);
    } else if (removalId == id) {
      judged.toUninstall.insert(upperCase(id));
      id.clear();
    }
  }
  if (!id.empty()) judged.valid.insert(upperCase(id));
}

void removeApplication(StayRun& run, const std::string& name) {
  for (const std::string& root : {kApplicationRoot, kDataRoot}) {
    report(run.verdict, "WZ-0520", {root + "/" + name});
    run.files.remove(root + "/" + name);
  }
}

void removeInvalid(StayRun& run, const Judged& judged) {
  for (const std::string& name : run.files.list(kApplicationRoot)) {
    const std::string upper = upperCase(name);
    if (isManifestName(upper)) {
      if (judged.valid.contains(upper.substr(0, upper.size() - kEnding))) continue;
      report(run.verdict, "WZ-0520", {kApplicationRoot + "/" + name});
      run.files.remove(kApplicationRoot + "/" + name);
    } else if (!judged.valid.contains(upper)) {
      if (!judged.toUninstall.contains(upper)) report(run.verdict, "WZ-0507", {upper});
      removeApplication(run, name);
    }
  }
  for (const std::string& name : run.files.list(kManifestRoot)) {
    if (judged.valid.contains(upperCase(name))) continue;
    report(run.verdict, "WZ-0520", {kManifestRoot + "/" + name});
    run.files.remove(kManifestRoot + "/" + name);
  }
}

// Without any marketplace manifest no application may stay.
void removeEverything(StayRun& run) {
  if (!run.files.isFolder(kApplicationRoot)) return;
  for (const std::string& name : run.files.list(kApplicationRoot)) {
    if (!isManifestName(upperCase(name))) report(run.verdict, "WZ-0508", {name});
    report(run.verdict, "WZ-0520", {kApplicationRoot + "/" + name});
  }
  report(run.verdict, "WZ-0520", {kApplicationRoot});
  run.files.remove(kApplicationRoot);
}

}  // namespace

void applyMarketplaceRules(StayRun& run) {
  if (!run.files.isFolder(kManifestRoot)) {
    removeEverything(run);
    return;
  }
  Judged judged;
  for (const std::string& name : run.files.list(kManifestRoot)) judgeFolder(run, name, judged);
  removeInvalid(run, judged);
}

void listApplications(StayRun& run) {
  for (const std::string& name : run.files.list(kManifestRoot)) {
    std::string id;
    if (!checkSponsor(run, kInstall, kManifestRoot + "/" + name + "/mpmanifest.mft", id)) continue;
    if (!id.empty()) run.verdict.stays.insert(id);
  }
}

}  // namespace verifier
