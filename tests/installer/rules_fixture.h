// What the tests of the installer's rules share: a terminal, the log of what is reported, and a
// small language for manifests and trees.
#ifndef WZAPP_TESTS_INSTALLER_RULES_FIXTURE_H
#define WZAPP_TESTS_INSTALLER_RULES_FIXTURE_H

#include <dirent.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/install_log.h"
#include "support/install_result.h"
#include "tests/builders/collected_log.h"
#include "tests/builders/test_terminal.h"

namespace wzapp_test {

inline const std::string kConfig = "/mnt/flash/etc/config/wzapp";
inline const std::string kApps = kConfig + "/wz";
inline const std::string kManifests = kConfig + "/mp";
inline const std::string kData = kConfig + "/fsroot";
inline const std::string kOwnSponsor = "123456";  // testProfile()

// The names in a folder in its own order; none when it cannot be listed.
inline std::vector<std::string> listed(const std::string& folder) {
  std::vector<std::string> names;
  DIR* const stream = opendir(folder.c_str());
  if (stream == nullptr) return names;
  while (const struct dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(stream);
  return names;
}

// Everything below a folder by its path from there, a folder with "/" behind its name.
inline std::set<std::string> treeOf(const std::string& folder) {
  namespace fs = std::filesystem;
  std::set<std::string> tree;
  if (!fs::exists(folder)) return tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const bool isFolder = entry.symlink_status().type() == fs::file_type::directory;
    tree.insert(entry.path().lexically_relative(folder).string() + (isFolder ? "/" : ""));
  }
  return tree;
}

// {"application":{"id":"shop"},"sponsors":["123456"]}
inline std::string manifestFor(const std::string& id, const std::string& sponsor = kOwnSponsor) {
  return R"({"application":{"id":")" + id + R"("},"sponsors":[")" + sponsor + R"("]})";
}

// What is reported of a file that stays.
inline std::string notRemoved(const std::string& path, int error) {
  return "Warning: Failed to remove '" + path + "' (errno=" + std::to_string(error) + ")\n";
}

class RulesTest : public testing::Test {
 protected:
  RulesTest() {
    wzapp::setInstallLog(collectLine, &lines);
    wzapp::setInstallResult(wzapp::kInstallOk);
  }
  ~RulesTest() override {
    wzapp::setInstallLog(nullptr, nullptr);
    wzapp::setInstallResult(wzapp::kInstallOk);
  }

  // An application that is installed under `name`, with data and a page but no manifest.
  void installApplication(const std::string& name) {
    terminal.writeFile(kApps + "/" + name + "/index.html", "<p>");
    terminal.writeFile(kData + "/" + name + "/data", "kept");
  }
  // The same with everything that belongs to it.
  void install(const std::string& name, const std::string& manifest) {
    installApplication(name);
    terminal.writeFile(kApps + "/" + name + ".mft", manifest);
    writeMarketplaceManifest(name, manifestFor(name));
  }
  void writeMarketplaceManifest(const std::string& folder, const std::string& content) {
    terminal.writeFile(kManifests + "/" + folder + "/mpmanifest.mft", content);
  }
  void writeUninstallManifest(const std::string& folder, const std::string& content) {
    terminal.writeFile(kManifests + "/" + folder + "/appuninstall.mft", content);
  }

  [[nodiscard]] std::set<std::string> tree() const { return treeOf(kConfig); }

  TestTerminal terminal;
  Lines lines;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_INSTALLER_RULES_FIXTURE_H
