// What the tests of the archive reader have in common.
#ifndef WZAPP_TESTS_ARCHIVE_ARCHIVE_TEST_H
#define WZAPP_TESTS_ARCHIVE_ARCHIVE_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "archive/unzip.h"
#include "tests/builders/file_content.h"
#include "tests/builders/temporary_directory.h"
#include "tests/builders/zip_builder.h"

namespace wzapp_test {

// Descriptors that this process has open.
int openDescriptors();

// A file without a name that holds `content`; closed at the end.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& content = {});
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();

  [[nodiscard]] int descriptor() const { return descriptor_; }
  // Replaces the content and puts the position to its beginning.
  void assign(const std::string& content) const;
  [[nodiscard]] std::string content() const;

  // Opens it once more, for an archive to write to.
  [[nodiscard]] wzapp::UnZIP::FileOpener opener() const;

 private:
  int descriptor_;
};

// Both digests of an entry, as hexadecimal text.
struct DigestTexts {
  std::string sha1;
  std::string sha256;

  friend bool operator==(const DigestTexts&, const DigestTexts&) = default;
};

// What OpenSSL makes of `content`.
DigestTexts opensslDigests(const std::string& content);

std::string hexText(wzapp::ByteView octets);

// `size` octets that do not pack, the same ones every time.
std::string noise(std::size_t size);

// `size` random letters, which pack to about half of their octets.
std::string letters(std::size_t size);

// The names in the order of the index.
std::vector<std::string> namesOf(const wzapp::UnZIP& archive);

// Operations on the entry `name`, or on the end of the index where there is none; nothing where
// they fail.
std::optional<std::string> readByName(wzapp::UnZIP& archive, const std::string& name);
std::optional<DigestTexts> digestByName(wzapp::UnZIP& archive, const std::string& name);

// Has a directory of its own, and fails a test that leaves a descriptor open.
class ArchiveTest : public testing::Test {
 protected:
  void SetUp() override { descriptors_ = openDescriptors(); }
  void TearDown() override { EXPECT_EQ(openDescriptors(), descriptors_) << "left open or closed"; }

  // Writes the archive and returns its path.
  [[nodiscard]] std::string write(const ZipBuilder& archive) const {
    return directory_.write("archive.zip", archive.build());
  }

  const TemporaryDirectory directory_;

 private:
  int descriptors_ = 0;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_ARCHIVE_ARCHIVE_TEST_H
