// `devkeys`: makes a directory of development keys for a build folder.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include "devkeys/key_directory.h"

namespace {

constexpr int kDone = 0, kUsage = 2, kEnvironment = 3;

int usage() {
  std::fputs(
      "Usage: devkeys [--once] DIR\n"
      "Makes a directory of development keys. DIR must not exist; with --once, one that was made\n"
      "before stays as it is and counts as done, and an empty one is replaced.\n",
      stderr);
  return kUsage;
}

bool isMade(const std::string& directory) {
  std::error_code ignored;
  return std::filesystem::exists(directory + "/" + devkeys::kTableFile, ignored);
}

int run(int argc, char** argv) {
  const bool once = argc > 1 && std::strcmp(argv[1], "--once") == 0;
  const int first = once ? 2 : 1;
  if (argc != first + 1 || argv[first][0] == '-' || argv[first][0] == '\0') return usage();
  const std::string directory = argv[first];
  if (once && isMade(directory)) return kDone;
  if (once) rmdir(directory.c_str());  // empty only: build tools make the folder of what is to come
  std::string error;
  if (devkeys::makeKeyDirectory(directory, error)) return kDone;
  std::fprintf(stderr, "devkeys: %s\n", error.c_str());
  return kEnvironment;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "devkeys: %s\n", problem.what());
    return kEnvironment;
  }
}
