#include "tests/installer/install_scenario.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

const std::string kExporter = "/home/sys1/www/terminal.mft";

std::string importing(const std::string& id, const std::string& trigger) {
  return R"({"application":{"id":")" + id + R"("},"imports_trigger":[{"id":")" + trigger +
         R"("}]})";
}

PackageBuilder importingPackage(const std::string& id, const std::string& trigger) {
  return withSigners()
      .inner("APP.ZIP", ZipBuilder()
                            .file(id + "/index.html", "<p>" + id)
                            .file(id + ".mft", importing(id, trigger)))
      .signedBy(applicationSigner())
      .inner("APP-O.ZIP", manifestArchive(id))
      .signedBy(manifestSigner());
}

void addTree(const std::string& folder, Snapshot& snapshot) {
  if (!fs::exists(folder)) return;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().string();
    if (entry.is_directory()) {
      snapshot[path + "/"] = "";
      continue;
    }
    std::ifstream file(path, std::ios::binary);
    snapshot[path] = std::string(std::istreambuf_iterator<char>(file), {});
  }
}

}  // namespace

const ScenarioTest::Files& ScenarioTest::installed() {
  static const Files files = {
      {kExporter, R"({"exports_trigger":[{"id":"pay"}]})"},
      {kApps + "/shop/index.html", "<p>old"},
      {kApps + "/shop/old/left.html", "<p>old"},
      {kApps + "/shop.MFT", manifestFor("shop")},
      {kData + "/shop/data", "of the shop"},
      {kManifests + "/shop/mpmanifest.mft", manifestFor("shop")},
      {kApps + "/gone/index.html", "<p>gone"},
      {kApps + "/gone.MFT", manifestFor("gone")},
      {kData + "/gone/data", "of the gone"},
      {kManifests + "/gone/mpmanifest.mft", manifestFor("gone")},
      {kApps + "/lapsed/index.html", "<p>lapsed"},
      {kData + "/lapsed/data", "of the lapsed"},
      {kManifests + "/lapsed/mpmanifest.mft", manifestFor("lapsed", "999999")},
  };
  return files;
}

const ScenarioTest::Files& ScenarioTest::packages() {
  static const Files files = {
      {"shop.zip", applicationPackage("shop").build()},
      {"tool.zip", importingPackage("tool", "pay").build()},
      {"fail.zip", importingPackage("fail", "missing").build()},
      {"gone.zip",
       withSigners()
           .inner("GONE-U.ZIP", ZipBuilder().file("gone/appuninstall.mft", manifestFor("gone")))
           .signedBy(manifestSigner())
           .build()},
      {"bad.zip", "no archive"},
      {"abc", "unread"},
      {"readme.txt", "left alone"},
  };
  return files;
}

void ScenarioTest::prepare() {
  fs::remove_all(kConfig);
  fs::remove_all(kSource);
  for (const auto& [path, content] : installed()) terminal.writeFile(path, content);
  dropPackages();
}

void ScenarioTest::dropPackages() {
  for (const auto& [name, content] : packages()) drop(name, content);
}

Snapshot ScenarioTest::snapshot() const {
  Snapshot result;
  addTree(kConfig, result);
  addTree(kSource, result);
  return result;
}

bool triesEveryPoint() { return std::getenv("WZAPP_EVERY_POINT") != nullptr; }

}  // namespace wzapp_test
