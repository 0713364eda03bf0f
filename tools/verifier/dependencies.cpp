#include "verifier/manifest.h"
#include "verifier/stay_rules.h"

namespace verifier {
namespace {

constexpr std::size_t kShortestName = 5, kEnding = 4;
constexpr const char* kRuntime = "2.46.6";

struct Exports {
  std::string triggerVersion;
  std::set<std::string> triggers, interfaces;
};

struct Check {
  StayRun& run;
  std::set<std::string> failing;  // upper-case names of manifests without their endings
  Exports exports;
  bool isFirstPass = true;
};

bool isManifestName(const std::string& name) {
  return name.size() >= kShortestName && upperCase(name).ends_with(".MFT");
}

void takeExports(const Manifest& manifest, Exports& exports) {
  const Value root = manifest.root();
  if (root.member("exports_sdk").has("triggers_version")) {
    exports.triggerVersion = root.member("exports_sdk").member("triggers_version").text();
  }
  for (const Value& value : root.member("exports_trigger").elements()) {
    exports.triggers.insert(value.member("id").text());
  }
  for (const Value& value : root.member("exports_api").elements()) {
    exports.interfaces.insert(value.member("id").text());
  }
}

void collectExports(Check& check) {
  check.exports = {};
  for (const std::string& text : check.run.terminal.exports) {
    const Manifest manifest(text);
    if (manifest.isJson()) takeExports(manifest, check.exports);
  }
  for (const std::string& name : check.run.files.list(kApplicationRoot)) {
    if (!isManifestName(name)) continue;
    // One character more than the ending: that is how terminals do it.
    if (check.failing.contains(upperCase(name.substr(0, name.size() - kShortestName)))) continue;
    const std::string path = kApplicationRoot + "/" + name;
    const Manifest manifest(check.run.files.read(path).value_or(""));
    if (manifest.isJson()) {
      takeExports(manifest, check.exports);
    } else if (check.isFirstPass) {
      report(check.run.verdict, "WZ-0518", {path});
    }
  }
}

struct Bound {
  const char* lowest;
  const char* highest;
  const char* tooLow;
  const char* tooHigh;
};
constexpr Bound kTriggerBound{"triggers_min_version", "triggers_max_version", "WZ-0510", "WZ-0511"};
constexpr Bound kRuntimeBound{"wzruntime_min_version", "wzruntime_max_version", "WZ-0512",
                              "WZ-0513"};

bool isWithin(Check& check, const Value& imports, const Bound& bound, const std::string& version) {
  bool isGood = true;
  const auto require = [&](const char* key, int refused, const char* code) {
    if (!imports.has(key)) return;
    const std::string limit = imports.member(key).text();
    if (compareVersions(version, limit) != refused) return;
    report(check.run.verdict, code, {version, limit});
    isGood = false;
  };
  require(bound.lowest, -1, bound.tooLow);
  require(bound.highest, 1, bound.tooHigh);
  return isGood;
}

bool hasAll(Check& check, const Value& imports, const std::set<std::string>& exports,
            const char* code) {
  bool isGood = true;
  for (const Value& value : imports.elements()) {
    if (value.member("optional").isTrue() || exports.contains(value.member("id").text())) continue;
    report(check.run.verdict, code, {value.member("id").text()});
    isGood = false;
  }
  return isGood;
}

bool supportsTerminal(Check& check, const Value& hardware) {
  if (!hardware.has("platforms")) return true;
  const Terminal& terminal = check.run.terminal;
  for (const Value& value : hardware.member("platforms").elements()) {
    if (value.text() == terminal.hardware || value.text() == terminal.model) return true;
  }
  report(check.run.verdict, "WZ-0516", {terminal.hardware, terminal.model});
  return false;
}

bool isSatisfied(Check& check, const Value& root) {
  const Value sdk = root.member("imports_sdk");
  bool isGood = isWithin(check, sdk, kTriggerBound, check.exports.triggerVersion);
  isGood = isWithin(check, sdk, kRuntimeBound, kRuntime) && isGood;
  isGood =
      hasAll(check, root.member("imports_trigger"), check.exports.triggers, "WZ-0514") && isGood;
  isGood = hasAll(check, root.member("imports_api"), check.exports.interfaces, "WZ-0515") && isGood;
  return supportsTerminal(check, root.member("imports_hardware")) && isGood;
}

// Whether one more application has failed.
bool checkOnce(Check& check) {
  bool hasRemoved = false;
  for (const std::string& name : check.run.files.list(kApplicationRoot)) {
    if (!isManifestName(name)) continue;
    const std::string upper = upperCase(name.substr(0, name.size() - kEnding));
    const Manifest manifest(check.run.files.read(kApplicationRoot + "/" + name).value_or(""));
    if (check.failing.contains(upper) || !manifest.isJson()) continue;
    if (isSatisfied(check, manifest.root())) continue;
    check.failing.insert(upper);
    const Value application = manifest.root().member("application");
    const std::string id = application.member("id").text();
    if (application.has("id") && isPlainName(id)) check.run.removed.insert(id);
    report(check.run.verdict, "WZ-0517", {upper});
    hasRemoved = true;
  }
  return hasRemoved;
}

void removeFailing(Check& check) {
  InstalledFiles& files = check.run.files;
  for (const std::string& name : files.list(kApplicationRoot)) {
    const std::string upper = upperCase(name);
    const bool isManifest = upper.ends_with(".MFT");
    if (isManifest && check.failing.contains(upper.substr(0, upper.size() - kEnding))) {
      files.remove(kApplicationRoot + "/" + name);
    } else if (check.failing.contains(upper)) {
      files.remove(kApplicationRoot + "/" + name);
      report(check.run.verdict, "WZ-0520", {kDataRoot + "/" + name});
      files.remove(kDataRoot + "/" + name);
    }
  }
  for (const std::string& name : files.list(kManifestRoot)) {
    if (check.failing.contains(upperCase(name))) files.remove(kManifestRoot + "/" + name);
  }
}

}  // namespace

void checkDependencies(StayRun& run) {
  Check check{run, {}, {}};
  do {
    collectExports(check);
    check.isFirstPass = false;
  } while (checkOnce(check));
  removeFailing(check);
}

}  // namespace verifier
