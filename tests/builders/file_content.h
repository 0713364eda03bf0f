// Files as a whole, for tests that compare them.
#ifndef WZAPP_TESTS_BUILDERS_FILE_CONTENT_H
#define WZAPP_TESTS_BUILDERS_FILE_CONTENT_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace wzapp_test {

// Empty, too, for a file that cannot be read.
inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// Makes the folders above it, too.
inline void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_FILE_CONTENT_H
