/// Files of key directories, as tests read and change them.
#ifndef WZAPP_TESTS_TOOLS_KEY_FILES_H
#define WZAPP_TESTS_TOOLS_KEY_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/byte_view.h"
#include "tests/builders/file_content.h"
#include "tests/builders/temporary_directory.h"
#include "tests/tools/program.h"

namespace wzapp_test {

/// The whole file; a failure of the test when it cannot be read.
using wzapp::viewOf;

/// The names in a folder, sorted.
inline std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// A key directory, made once for all tests of a program that ask for it.
inline const std::string& madeKeys() {
  struct Keys {
    TemporaryDirectory folder;
    std::string path = folder / "keys";
    Keys() {
      const ProgramResult made = runProgram(DEVKEYS_PROGRAM, {path});
      EXPECT_EQ(made.code, 0) << made.errors;
    }
  };
  static const Keys keys;
  return keys.path;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_TOOLS_KEY_FILES_H
