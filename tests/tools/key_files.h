/// Files of key directories, as tests read and change them.
#ifndef WZAPP_TESTS_TOOLS_KEY_FILES_H
#define WZAPP_TESTS_TOOLS_KEY_FILES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

#include "support/byte_view.h"
#include "tests/builders/temporary_directory.h"
#include "tests/tools/program.h"

namespace wzapp_test {

/// The whole file; a failure of the test when it cannot be read.
inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

inline wzapp::ByteView viewOf(const std::string& octets) {
  return {reinterpret_cast<const std::uint8_t*>(octets.data()), octets.size()};
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
