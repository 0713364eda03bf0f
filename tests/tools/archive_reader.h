/// Archives as the library reads them, for the tests of those who write them.
#ifndef WZAPP_TESTS_TOOLS_ARCHIVE_READER_H
#define WZAPP_TESTS_TOOLS_ARCHIVE_READER_H

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "archive/unzip.h"

namespace wzapp_test {

using Contents = std::map<std::string, std::string>;  // of entries, by their names

/// The entries of an archive; none when it cannot be read.
inline Contents contentsOf(const std::string& archive) {
  wzapp::UnZIP zip(archive);
  Contents contents;
  for (auto entry = zip.index().begin(); entry != zip.index().end(); ++entry) {
    std::vector<std::uint8_t> octets;
    EXPECT_TRUE(zip.readEntry(entry, octets)) << entry->first;
    contents[std::string(entry->first)] = std::string(octets.begin(), octets.end());
  }
  return contents;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_TOOLS_ARCHIVE_READER_H
