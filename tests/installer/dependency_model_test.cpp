// Random terminals: what the dependency check reports and removes is compared with a model that
// reads every rule off the manifests in every pass, with strings, sets and nothing kept.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "installer/dependency_check.h"
#include "support/install_result.h"
#include "tests/builders/upper_case.h"
#include "tests/crypto/random_cases.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using namespace wzapp_test;

// --- Manifests --------------------------------------------------------------------------------

struct Import {
  std::string id;
  bool isOptional;
};

struct Manifest {
  bool isJSON = true;
  std::optional<std::string> version;
  std::map<std::string, std::vector<std::string>> exports;  // by key
  std::map<std::string, std::string> bounds;                // by key
  std::map<std::string, std::vector<Import>> imports;       // by key
  std::optional<std::vector<std::string>> platforms;
  std::optional<std::string> appId;
};

using Folder = std::map<std::string, Manifest>;  // by file name

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

template <class Items, class Write>
std::string joined(const Items& items, const Write& write) {
  std::string text;
  for (const auto& item : items) text += (text.empty() ? "" : ",") + write(item);
  return text;
}

std::string toText(const Manifest& manifest) {
  std::vector<std::string> members;
  const auto member = [&members](const std::string& key, const std::string& value) {
    members.push_back(quoted(key) + ":" + value);
  };
  if (manifest.version) {
    member("exports_sdk", "{\"triggers_version\":" + quoted(*manifest.version) + "}");
  }
  for (const auto& [key, ids] : manifest.exports) {
    member(key,
           "[" + joined(ids, [](const auto& id) { return "{\"id\":" + quoted(id) + "}"; }) + "]");
  }
  member("imports_sdk", "{" + joined(manifest.bounds, [](const auto& bound) {
                          return quoted(bound.first) + ":" + quoted(bound.second);
                        }) + "}");
  for (const auto& [key, imports] : manifest.imports) {
    member(key, "[" + joined(imports, [](const Import& import) {
                  return "{\"id\":" + quoted(import.id) +
                         (import.isOptional ? ",\"optional\":true}" : "}");
                }) + "]");
  }
  if (manifest.platforms) {
    member("imports_hardware", "{\"platforms\":[" + joined(*manifest.platforms, quoted) + "]}");
  }
  if (manifest.appId) member("application", "{\"id\":" + quoted(*manifest.appId) + "}");
  return "{" + joined(members, [](const std::string& text) { return text; }) +
         (manifest.isJSON ? "}" : "");
}

// --- The model --------------------------------------------------------------------------------

bool isManifestName(const std::string& name) {
  return name.size() >= 5 && upper(name).substr(name.size() - 4) == ".MFT";
}

std::vector<int> numbers(const std::string& version) {
  std::vector<int> result;
  std::istringstream stream(version + ".");
  for (std::string piece; std::getline(stream, piece, '.');)
    result.push_back(std::atoi(piece.c_str()));
  return result;
}

struct Outcome {
  Lines lines;
  std::set<std::string> removed;
  std::set<std::string> failing;
};

class Model {
 public:
  explicit Model(std::map<std::string, Folder> folders) : folders_(std::move(folders)) {}

  Outcome run() {
    say("Checking dependencies");
    bool isFirst = true;
    bool again = true;
    while (again) {
      collectExports(isFirst);
      isFirst = false;
      again = fs::exists(kApps) && checkAll();
      if (again) say("Re-checking dependencies after removing apps");
    }
    for (const std::string& name : listed(kApps)) {
      const bool isManifest = name.size() > 4 && upper(name).ends_with(".MFT") &&
                              outcome_.failing.contains(upper(name.substr(0, name.size() - 4)));
      if (!isManifest && outcome_.failing.contains(upper(name)))
        say("Removing " + kData + "/" + name);
    }
    return outcome_;
  }

 private:
  // A directory of that name counts as a manifest that is not JSON.
  [[nodiscard]] const Manifest& find(const std::string& path, const std::string& name) const {
    static const Manifest kNone = [] {
      Manifest manifest;
      manifest.isJSON = false;
      return manifest;
    }();
    const Folder& folder = folders_.at(path);
    const auto found = folder.find(name);
    return found == folder.end() ? kNone : found->second;
  }

  void say(const std::string& line) { outcome_.lines.push_back(line + "\n"); }

  void collectExports(bool isFirst) {
    version_ = "";
    exported_.clear();
    std::vector<std::string> paths;
    for (const char* kind : {"usr", "sys"}) {
      for (int i = 1; i <= 16; ++i) paths.push_back("/home/" + (kind + std::to_string(i)) + "/www");
    }
    paths.push_back(kApps);
    for (const std::string& path : paths) {
      for (const std::string& name : listed(path)) {
        if (!isManifestName(name)) continue;
        if (outcome_.failing.contains(upper(name.substr(0, name.size() - 5)))) continue;
        const Manifest& manifest = find(path, name);
        if (isFirst && manifest.isJSON) say("Reading " + path + "/" + name);
        if (isFirst && !manifest.isJSON) say(path + "/" + name + " not in JSON format, skipping.");
        if (!manifest.isJSON) continue;
        if (manifest.version) version_ = *manifest.version;
        for (const auto& [key, ids] : manifest.exports)
          exported_[key].insert(ids.begin(), ids.end());
      }
    }
  }

  bool checkAll() {
    bool hasRemoved = false;
    for (const std::string& name : listed(kApps)) {
      if (!isManifestName(name)) continue;
      const std::string id = upper(name.substr(0, name.size() - 4));
      const Manifest& manifest = find(kApps, name);
      if (outcome_.failing.contains(id) || !manifest.isJSON) continue;
      say("Checking " + kApps + "/" + name);
      const std::size_t before = outcome_.lines.size();
      checkOne(manifest);
      if (outcome_.lines.size() == before) continue;
      outcome_.failing.insert(id);
      if (manifest.appId) outcome_.removed.insert(*manifest.appId);
      say("Removing app " + id);
      hasRemoved = true;
    }
    return hasRemoved;
  }

  void checkOne(const Manifest& manifest) {
    checkBounds(manifest, "triggers", "trigger", version_);
    checkBounds(manifest, "wzruntime", "WZ runtime", "2.46.6");
    checkImports(manifest, "trigger");
    checkImports(manifest, "api");
    if (!manifest.platforms) return;
    for (const std::string& platform : *manifest.platforms) {
      if (platform == "480x800C0T" || platform == "T30") return;
    }
    say("Error: Platform 480x800C0T or model T30 not supported");
  }

  void checkBounds(const Manifest& manifest, const std::string& key, const std::string& word,
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

  void checkImports(const Manifest& manifest, const std::string& kind) {
    const auto imports = manifest.imports.find("imports_" + kind);
    if (imports == manifest.imports.end()) return;
    for (const Import& import : imports->second) {
      if (import.isOptional || exported_["exports_" + kind].contains(import.id)) continue;
      say("Error: Missing " + kind + " " + import.id);
    }
  }

  std::map<std::string, Folder> folders_;  // by path
  std::string version_;
  std::map<std::string, std::set<std::string>> exported_;  // by key
  Outcome outcome_;
};

// --- Random terminals -------------------------------------------------------------------------

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}

  int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
  bool oneIn(int chances) { return below(chances) == 0; }
  template <class T>
  const T& of(const std::vector<T>& items) {
    return items[static_cast<std::size_t>(below(static_cast<int>(items.size())))];
  }

 private:
  std::mt19937 engine_;
};

const std::vector<std::string> kStems = {"a",    "ab", "abc", "abcd", "b",  "bc",  "bcd",
                                         "A",    "Ab", "aBC", "c",    "cd", "cde", "cdef",
                                         "cdeg", "d",  "de",  "def",  "e",  "ef",  "e.mft"};
const std::vector<std::string> kIds = {"t0", "t1", "t2", "t3", "t4", "t5", "t6", "t7"};
const std::vector<std::string> kVersions = {"1", "1.0", "1.2", "1.10", "2", "2.46.6", "x", ""};
const std::vector<std::string> kPlatforms = {"T30", "480x800C0T", "T7", "480x800C0N"};

Manifest randomManifest(Dice& dice, bool isApplication) {
  Manifest manifest;
  manifest.isJSON = !dice.oneIn(12);
  if (dice.oneIn(4)) manifest.version = dice.of(kVersions);
  for (const char* key : {"exports_trigger", "exports_api"}) {
    for (int i = dice.below(3); i > 0; --i) manifest.exports[key].push_back(dice.of(kIds));
  }
  if (!isApplication) return manifest;
  for (const char* key : {"triggers_min_version", "triggers_max_version"}) {
    if (dice.oneIn(12)) manifest.bounds[key] = dice.of(kVersions);
  }
  for (const char* key : {"wzruntime_min_version", "wzruntime_max_version"}) {
    if (dice.oneIn(20)) manifest.bounds[key] = dice.of(kVersions);
  }
  for (const char* key : {"imports_trigger", "imports_api"}) {
    for (int i = dice.below(3); i > 0; --i) {
      manifest.imports[key].push_back({dice.of(kIds), dice.oneIn(4)});
    }
  }
  if (dice.oneIn(8)) {
    manifest.platforms.emplace();
    for (int i = dice.below(4); i > 0; --i) manifest.platforms->push_back(dice.of(kPlatforms));
  }
  if (!dice.oneIn(4)) manifest.appId = "id-" + dice.of(kStems);
  return manifest;
}

class RandomTerminalTest : public RulesTest {
 protected:
  void write(const std::string& path, const std::string& name, const Manifest& manifest) {
    folders[path][name] = manifest;
    terminal.writeFile(path + "/" + name, toText(manifest));
  }

  void fill(Dice& dice) {
    fs::remove_all(kConfig);
    for (const auto& [path, folder] : folders) fs::remove_all(path);
    folders.clear();
    for (int i = dice.below(4); i > 0; --i) {
      const std::string user = (dice.oneIn(2) ? "usr" : "sys") + std::to_string(1 + dice.below(16));
      write("/home/" + user + "/www", dice.of(kStems) + ".mft", randomManifest(dice, false));
    }
    for (int i = 2 + dice.below(12); i > 0; --i) {
      const std::string stem = dice.of(kStems);
      const std::string suffix = dice.oneIn(5) ? ".MFT" : ".mft";
      if (!fs::is_directory(kApps + "/" + stem + suffix)) {
        write(kApps, stem + suffix, randomManifest(dice, true));
      }
      if (dice.oneIn(3)) continue;
      if (!fs::exists(kApps + "/" + stem)) installApplication(stem);
      writeMarketplaceManifest(stem, "{}");
    }
  }

  // The names that must stay in a root.
  static std::set<std::string> staying(const std::string& root, const Outcome& outcome,
                                       bool isAppRoot) {
    std::set<std::string> names;
    for (const std::string& name : listed(root)) {
      const std::string id = upper(name);
      const bool isFailedManifest = isAppRoot && id.size() > 4 && id.ends_with(".MFT") &&
                                    outcome.failing.contains(id.substr(0, id.size() - 4));
      if (!isFailedManifest && !outcome.failing.contains(id)) names.insert(name);
    }
    return names;
  }

  static std::set<std::string> namesIn(const std::string& root) {
    const std::vector<std::string> names = listed(root);
    return {names.begin(), names.end()};
  }

  std::map<std::string, Folder> folders;
};

TEST_F(RandomTerminalTest, FaresAsInTheModel) {
  const std::size_t terminals = randomCaseCount(400);
  std::size_t mostPasses = 0;
  for (unsigned seed = 1; seed <= terminals; ++seed) {
    Dice dice(seed);
    fill(dice);
    lines.clear();
    std::set<std::string> removed;
    const Outcome expected = Model(folders).run();
    const std::set<std::string> applications = staying(kApps, expected, true);
    const std::set<std::string> manifests = staying(kManifests, expected, false);

    EXPECT_TRUE(checkDependencies(removed));

    ASSERT_EQ(lines, expected.lines) << "seed " << seed;
    ASSERT_EQ(removed, expected.removed) << "seed " << seed;
    ASSERT_EQ(namesIn(kApps), applications) << "seed " << seed;
    ASSERT_EQ(namesIn(kManifests), manifests) << "seed " << seed;
    ASSERT_EQ(installResult(), kInstallOk) << "seed " << seed;
    mostPasses = std::max(mostPasses, static_cast<std::size_t>(std::count(
                                          lines.begin(), lines.end(),
                                          "Re-checking dependencies after removing apps\n")));
  }
  EXPECT_GE(mostPasses, 3U);  // or the terminals are too dull
}

}  // namespace
}  // namespace wzapp
