// A directory of a test's own, gone with all that is in it when the object goes.
#ifndef WZAPP_TESTS_BUILDERS_TEMPORARY_DIRECTORY_H
#define WZAPP_TESTS_BUILDERS_TEMPORARY_DIRECTORY_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace wzapp_test {

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    path_ = (std::filesystem::temp_directory_path() / "wzapp-test-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp " + path_);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  // Absolute, without "/" at its end.
  [[nodiscard]] const std::string& path() const { return path_; }

  // The path of `name` in it.
  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  // Writes the file `name` and returns its path.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream file(*this / name, std::ios::binary);
    file << content;
    file.close();
    if (!file) throw std::runtime_error("cannot write " + *this / name);
    return *this / name;
  }

 private:
  std::string path_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_TEMPORARY_DIRECTORY_H
