#include "wz/tamper/expectation.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "installer/directories.h"
#include "support/text.h"

namespace wz {
namespace {

std::string below(const char* root, const std::string& name) {
  return std::string(root) + "/" + name;
}

std::string removing(const std::string& path) { return "Removing " + path; }

void add(Lines& lines, const Lines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

// The rules and the dependency check say what they find as errors, but the run's result is decided
// by whether an application that it brought is gone again.
constexpr std::string_view kSaidOnly[] = {"Error: No valid marketplace manifest found",
                                          "Error: No marketplace manifest found",
                                          "Error: trigger version",
                                          "Error: WZ runtime version",
                                          "Error: Missing trigger",
                                          "Error: Missing api",
                                          "Error: Platform"};

bool countsAsError(const std::string& line) {
  return line.starts_with("Error: ") &&
         std::none_of(std::begin(kSaidOnly), std::end(kSaidOnly),
                      [&line](std::string_view begin) { return line.starts_with(begin); });
}

const char* resultOf(const Lines& lines) {
  if (std::any_of(lines.begin(), lines.end(), countsAsError)) return "ERROR";
  const bool warns = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("Warning: ");
  });
  return warns ? "WARNING" : "OK";
}

Expected concluded(Lines lines, bool isInstalled) {
  const char* const result = resultOf(lines);
  return {std::move(lines), result, isInstalled};
}

std::string installationFailed(const std::string& id) {
  return "Error: Installation of " + id + " failed";
}

}  // namespace

std::string sourcePath(const std::string& name) { return below(wzapp::kSourceDir, name); }
std::string applicationPath(const std::string& name) { return below(wzapp::kAppRoot, name); }
std::string manifestPath(const std::string& name) { return below(wzapp::kManifestRoot, name); }

Expected installed(Lines lines) { return concluded(std::move(lines), true); }

Expected onlyManifest(Lines lines) { return concluded(std::move(lines), false); }

Expected onlyApplication(const std::string& id, Lines lines) {
  add(lines, {"Error: No marketplace manifest found for " + id, removing(applicationPath(id)),
              removing(applicationPath(id + ".MFT")), removing(wzapp::kAppRoot)});
  return concluded(std::move(lines), false);
}

Expected nothing(Lines lines) { return concluded(std::move(lines), false); }

Expected noPackage() { return {{}, "NO PACKAGE", false}; }

Lines strayApplication(const std::string& name) {
  return {"Error: No valid marketplace manifest found for " + wzapp::toUpper(name),
          removing(applicationPath(name)), removing(below(wzapp::kFileSystemRoot, name))};
}

Expected removedByRules(const std::string& id, const std::string& folder, Lines lines,
                        Removal removal) {
  add(lines, strayApplication(id));
  add(lines, {removing(applicationPath(id + ".MFT")), removing(manifestPath(folder))});
  if (removal == Removal::kCounted) lines.push_back(installationFailed(id));
  return concluded(std::move(lines), false);
}

Expected uninstalled(const std::string& id) {
  return concluded({removing(applicationPath(id)), removing(below(wzapp::kFileSystemRoot, id)),
                    removing(applicationPath(id + ".MFT")), removing(manifestPath(id))},
                   false);
}

Expected removedByDependencies(const std::string& id, Lines lines) {
  add(lines, {"Removing app " + wzapp::toUpper(id), removing(below(wzapp::kFileSystemRoot, id)),
              installationFailed(id)});
  return concluded(std::move(lines), false);
}

}  // namespace wz
