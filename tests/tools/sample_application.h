/// A small application in a folder, for tests to spoil.
#ifndef WZAPP_TESTS_TOOLS_SAMPLE_APPLICATION_H
#define WZAPP_TESTS_TOOLS_SAMPLE_APPLICATION_H

#include <filesystem>
#include <string>

#include "tests/builders/temporary_directory.h"

namespace wzapp_test {

inline constexpr char kShopManifest[] =
    R"({"application": {"id": "shop", "version": "1.2"}, "sponsors": ["123456"],
 "desktop": {"file": "index.html"}})";

class SampleApplication {
 public:
  SampleApplication() {
    write("manifest.mft", kShopManifest);
    write("index.html", "<p>");
    write("img/logo.svg", "<svg/>");
  }

  [[nodiscard]] const std::string& path() const { return folder_.path(); }
  [[nodiscard]] std::string operator/(const std::string& name) const { return folder_ / name; }

  void write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(folder_ / name).parent_path());
    folder_.write(name, content);
  }

 private:
  TemporaryDirectory folder_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_TOOLS_SAMPLE_APPLICATION_H
