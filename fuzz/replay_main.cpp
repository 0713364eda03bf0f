// Runs a fuzz target on files instead of random inputs: each argument is a file or a folder of
// them.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fuzz/check.h"

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
  FUZZ_CHECK(file.good() || file.eof());
  // Exactly as long as the input, so that a sanitizer sees the first octet too many.
  const auto octets = std::make_unique<std::uint8_t[]>(content.size());
  std::copy(content.begin(), content.end(), octets.get());
  std::printf("%s\n", path.c_str());
  LLVMFuzzerTestOneInput(octets.get(), content.size());
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      replay(argv[i]);
      ++count;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      replay(entry.path());
      ++count;
    }
  }
  std::printf("%d inputs\n", count);
  return count > 0 ? 0 : 1;  // a folder without inputs is a mistake
}
