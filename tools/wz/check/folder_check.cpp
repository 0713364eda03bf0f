#include "wz/check/folder_check.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "archive/unzip.h"
#include "packaging/application_folder.h"
#include "support/file_system.h"
#include "support/text.h"
#include "wz/check/engine_features.h"
#include "wz/check/json_tree.h"
#include "wz/check/manifest_check.h"
#include "wz/check/references.h"
#include "wz/reports/certificate_cause.h"
#include "wz/reports/screen.h"
#include "wz/words/drop_if.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using packaging::ApplicationFolder;
using packaging::FolderFile;

constexpr std::uintmax_t kVeryLarge = std::uintmax_t{5} << 20;
constexpr std::uintmax_t kLargestKey = std::uintmax_t{64} << 10;

// ---- What is better left out -------------------------------------------------------------------

constexpr std::string_view kVersionControl[] = {"CVS", "SCCS", "RCS", "_darcs", "_MTN"};
constexpr std::string_view kLeftoverNames[] = {"Thumbs.db", "desktop.ini", "ehthumbs.db"};
constexpr std::string_view kLeftoverEndings[] = {"~",     ".swp", ".swo", ".bak",
                                                 ".orig", ".rej", ".tmp"};

bool isLeftover(std::string_view name) {
  const auto ends = [name](std::string_view ending) { return name.ends_with(ending); };
  return std::ranges::find(kLeftoverNames, name) != std::end(kLeftoverNames) ||
         std::ranges::any_of(kLeftoverEndings, ends) ||
         (name.size() > 2 && name.starts_with('#') && name.ends_with('#'));
}

// Signed, as no archive is that an application has for itself.
bool isPackage(const FolderFile& file) {
  if (!wzapp::toUpper(file.name).ends_with(".ZIP")) return false;
  const wzapp::UnZIP archive(file.path);
  return std::ranges::any_of(archive.index(), [](const wzapp::UnZIP::Index::value_type& entry) {
    return wzapp::toUpper(entry.first).ends_with(".P7S");
  });
}

std::string lastPart(const std::string& name) { return name.substr(name.rfind('/') + 1); }

class FolderCheck {
 public:
  FolderCheck(const std::string& path, const CheckOptions& options, CheckReport& report)
      : path_(path), options_(options), report_(report) {}

  void run() {
    packaging::Findings findings;
    const ApplicationFolder folder =
        packaging::readApplicationFolder(path_, findings, options_.leftOut);
    if (!folder.id.empty()) report_.ids.push_back(folder.id);
    listNames(folder);
    checkManifest(folder.manifest);
    takeFindings(findings);
    if (!folder.ownerConfiguration.empty()) {
      checkConfigurationFile({packaging::kOwnerConfiguration, folder.ownerConfiguration});
    }
    Progress progress("checking " + path_, folder.files.size());
    for (const FolderFile& file : folder.files) {
      checkFile(file);
      progress.step();
    }
  }

 private:
  void add(const char* code, const std::string& file, const std::string& message,
           const std::string& evidence = "", TextPlace place = {0, 0}) {
    report_.diagnostics.push_back({code, message, file, "", place.line, place.column, evidence});
  }

  void listNames(const ApplicationFolder& folder) {
    for (const FolderFile& file : folder.files) names_.insert(file.name);
    if (!folder.ownerConfiguration.empty()) names_.insert(packaging::kOwnerConfiguration);
    for (const std::string& name : names_) byUpperName_.emplace(wzapp::toUpper(name), name);
  }

  void checkManifest(const FolderFile& manifest) {
    std::string text;
    if (manifest.path.empty() || !wzapp::readFile(manifest.path.c_str(), text)) return;
    checkManifestText(text, manifest.path, "", report_.diagnostics);
    const JsonText json = readJsonText(text);
    const JsonNode* const desktop = json.isJson ? json.root.find("desktop") : nullptr;
    const JsonNode* const icon = desktop == nullptr ? nullptr : desktop->find("icon");
    if (icon == nullptr || icon->type != JsonNode::Type::kText || icon->text.empty()) return;
    const Target target = targetOf(icon->text, "");
    if (icon->text.find(':') != std::string::npos || names_.contains(target.name)) return;
    add("WZ-0812", manifest.path, "the icon " + icon->text + " is not there", "",
        placeIn(text, icon->offset));
  }

  // What the manifest's text says of itself, with line and column, is not said again.
  void takeFindings(const packaging::Findings& findings) {
    // The second is what the first looks like to those who read less of the text.
    static const std::pair<const char*, const char*> kSame[] = {
        {"WZ-0703", "WZ-0702"}, {"WZ-0703", "WZ-0704"}, {"WZ-0711", "WZ-0710"}};
    std::set<std::string> known;
    for (const Diagnostic& diagnostic : report_.diagnostics) known.insert(diagnostic.code);
    for (const auto& [said, alike] : kSame) {
      if (known.contains(said)) known.insert(alike);
    }
    const auto take = [&](const packaging::Finding& finding) {
      if (known.contains(finding.code)) return;
      report_.diagnostics.push_back({finding.code, finding.text, "", "", 0, 0, ""});
    };
    for (const packaging::Finding& finding : findings.errors) take(finding);
    for (const packaging::Finding& finding : findings.warnings) take(finding);
  }

  void checkConfigurationFile(const FolderFile& file) {
    std::string text;
    if (!wzapp::readFile(file.path.c_str(), text)) return;
    checkConfiguration(text, file.path, "", report_.diagnostics);
  }

  void checkFile(const FolderFile& file) {
    if (isInFolderToLeaveOut(file)) return;
    if (isLeftover(lastPart(file.name))) {
      add("WZ-0823", file.path, "a leftover of an editor or a system would be packed");
    }
    if (isPackage(file)) add("WZ-0825", file.path, "a package would be packed");
    std::error_code failure;
    const std::uintmax_t size = fs::file_size(file.path, failure);
    if (failure) return;
    if (size > kVeryLarge) {
      add("WZ-0824", file.path, "the file has " + std::to_string(size >> 20) + " MiB");
    }
    std::string text;
    if (size > kVeryLarge || !wzapp::readFile(file.path.c_str(), text)) return;
    if (size <= kLargestKey && isPrivateKey(text)) {
      add("WZ-0820", file.path, "a private key would be packed");
    }
    if (file.name == "confApp.json") checkConfigurationFile(file);
    checkReferences(file, text);
    checkEngine(file, text);
  }

  // One diagnostic for all that is in such a folder.
  bool isInFolderToLeaveOut(const FolderFile& file) {
    std::string above;
    std::string_view rest = file.name;
    for (std::size_t slash = rest.find('/'); slash != std::string_view::npos;
         slash = rest.find('/')) {
      const std::string_view part = rest.substr(0, slash);
      above += (above.empty() ? "" : "/") + std::string(part);
      const bool isModules = part == "node_modules";
      const bool isHistory = std::ranges::find(kVersionControl, part) != std::end(kVersionControl);
      if (isModules || isHistory) {
        if (named_.insert(above).second) {
          add(isModules ? "WZ-0821" : "WZ-0822", path_ + "/" + above,
              isModules ? "the folder node_modules would be packed"
                        : "a folder of version control would be packed");
        }
        return true;
      }
      rest.remove_prefix(slash + 1);
    }
    return false;
  }

  void checkReferences(const FolderFile& file, const std::string& text) {
    for (const Reference& reference : referencesIn(file.name, text)) {
      const Target target = targetOf(reference.address, file.name);
      const TextPlace place = placeIn(text, reference.offset);
      if (target.leaves) {
        add("WZ-0815", file.path, reference.address + " leads out of the application's folder", "",
            place);
        continue;
      }
      if (target.name.empty() || reference.address.ends_with('/') || names_.contains(target.name)) {
        continue;
      }
      const auto other = byUpperName_.find(wzapp::toUpper(target.name));
      if (other != byUpperName_.end()) {
        add("WZ-0814", file.path,
            reference.address + " is written with other letters than the file", other->second,
            place);
      } else {
        add("WZ-0813", file.path, reference.address + " is not there", "", place);
      }
    }
  }

  void checkEngine(const FolderFile& file, const std::string& text) {
    if (options_.engine == 0) return;
    for (const NewerFeature& feature : newerFeaturesIn(file.name, text, options_.engine)) {
      add("WZ-0816", file.path,
          std::string(feature.name) + " needs version " + std::to_string(feature.since) +
              " of the browser, and the terminal has " + std::to_string(options_.engine),
          std::string("MDN's table: ") + feature.source, placeIn(text, feature.offset));
    }
  }

  const std::string& path_;
  const CheckOptions& options_;
  CheckReport& report_;
  std::set<std::string> names_;
  std::map<std::string, std::string> byUpperName_;
  std::set<std::string> named_;  // folders that were complained of
};

// Adds what is wrong with ids beside each other.
void compareIds(const std::vector<CheckReport*>& reports) {
  std::map<std::string, std::string> owners;  // upper-cased id -> file
  for (CheckReport* const report : reports) {
    for (const std::string& id : report->ids) {
      const auto [owner, isNew] = owners.emplace(wzapp::toUpper(id), report->file);
      if (isNew) continue;
      report->diagnostics.push_back({"WZ-0712", "the application id " + id + " is used twice",
                                     report->file, "", 0, 0, "also in " + owner->second});
    }
  }
  for (CheckReport* const report : reports) {
    for (const std::string& id : report->ids) {
      const std::string upperId = wzapp::toUpper(id);
      const auto other = owners.find(upperId.substr(0, upperId.size() - 1));
      if (upperId.size() < 2 || other == owners.end()) continue;
      report->diagnostics.push_back(
          {"WZ-0731",
           "the exports of " + id + " end when the application " + other->first + " fails",
           report->file, "", 0, 0,
           "its id without the last character is that of " + other->second});
    }
  }
}

}  // namespace

CheckReport checkFolder(const std::string& path, const CheckOptions& options) {
  CheckReport report;
  report.file = path;
  FolderCheck(path, options, report).run();
  return report;
}

void dropAllowed(const std::vector<std::string>& allowed, std::vector<CheckReport>& reports) {
  for (CheckReport& report : reports) {
    dropIf(report.diagnostics, [&allowed](const Diagnostic& diagnostic) {
      return std::ranges::find(allowed, diagnostic.code) != allowed.end();
    });
  }
}

void checkTogether(std::vector<CheckReport>& reports) {
  for (const bool arePackages : {false, true}) {
    std::vector<CheckReport*> ofKind;
    for (CheckReport& report : reports) {
      if (report.isPackage == arePackages) ofKind.push_back(&report);
    }
    compareIds(ofKind);
  }
}

}  // namespace wz
