// An application in a folder, a terminal, and `wz run` with both.
#ifndef WZAPP_TESTS_TOOLS_RUN_FIXTURE_H
#define WZAPP_TESTS_TOOLS_RUN_FIXTURE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/builders/test_terminal.h"
#include "tests/tools/program.h"

namespace wzapp_test {

using Arguments = std::vector<std::string>;

constexpr char kAppRoot[] = "/flash/etc/config/wzapp/wz";

class RunTest : public testing::Test {
 protected:
  // A folder with the application "shop", whose desktop page runs `script`.
  std::string shop(const std::string& script) {
    write("desk/shop/manifest.mft",
          R"({"application": {"id": "shop", "version": "1.2"}, "desktop": {"file": "index.html"},)"
          R"( "imports_trigger": [{"id": "PAY", "file": "pay.html"}]})");
    write("desk/shop/index.html", page(script));
    write("desk/shop/pay.html", page("wz.exit(0, {page: 'pay'});"));
    return terminal_.directory() + "/desk/shop";
  }

  // Puts an application of the same id into the terminal.
  void installShop() {
    write(
        "flash/etc/config/wzapp/wz/SHOP.MFT",
        R"({"application": {"id": "shop", "version": "1.2"}, "desktop": {"file": "index.html"}})");
    write("flash/etc/config/wzapp/wz/shop/index.html", page("wz.exit(0, {which: 'installed'});"));
  }

  static std::string page(const std::string& script) {
    return "<!DOCTYPE html><meta charset=utf-8><title>Shop</title><p>Shop</p><script>" + script +
           "</script>";
  }

  void write(const std::string& name, const std::string& content) {
    const std::filesystem::path path = std::filesystem::path(terminal_.directory()) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  Arguments run(const std::string& application, Arguments further = {}) const {
    Arguments arguments{"run", application, "--terminal", terminal_.directory(), "--headless"};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
  }

  // What stands in the application root.
  std::vector<std::string> installed() const {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(terminal_.directory() + kAppRoot)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TemporaryTerminal terminal_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_TOOLS_RUN_FIXTURE_H
