// Published archives of other projects (data/ORIGIN.md).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <fstream>

#include "tests/archive/archive_test.h"
#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using testing::IsEmpty;
using wzapp_test::ArchiveTest;
using wzapp_test::contentOf;
using wzapp_test::digestByName;
using wzapp_test::DigestTexts;
using wzapp_test::fromHex;
using wzapp_test::MemoryFile;
using wzapp_test::opensslDigests;
using wzapp_test::readByName;

class UnZIPVectorsTest : public ArchiveTest {
 protected:
  void checkEntry(UnZIP& archive, UnZIP::Entry entry, const rapidjson::Value& expected) const {
    EXPECT_TRUE(std::ranges::equal(entry->first, fromHex(expected["name"].GetString())));
    if (expected.HasMember("build_dependent")) return;

    const std::string target = directory_ / "target";
    const auto digests = digestByName(archive, std::string(entry->first));
    const auto content = readByName(archive, std::string(entry->first));
    const bool isExtracted = archive.extractToFile(entry, target);

    ASSERT_EQ(digests.has_value(), expected["digest_ok"].GetBool());
    EXPECT_EQ(isExtracted, expected["digest_ok"].GetBool());
    if (digests) {
      EXPECT_EQ(digests->sha1, expected["sha1"].GetString());
      EXPECT_EQ(digests->sha256, expected["sha256"].GetString());
      EXPECT_EQ(contentOf(target).size(), expected["size"].GetUint64());
      EXPECT_EQ(opensslDigests(contentOf(target)), digests);
    }
    ASSERT_EQ(content.has_value(), expected["read_ok"].GetBool());
    if (content) {
      EXPECT_EQ(opensslDigests(*content).sha256, expected["read_sha256"].GetString());
      EXPECT_EQ(content->size(), expected["stated_size"].GetUint64());
    }
  }
};

TEST_F(UnZIPVectorsTest, IndexAndContentAreTheExpectedOnes) {
  std::ifstream lines(WZAPP_ARCHIVE_TEST_DATA "/archives.jsonl");
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    rapidjson::Document vector;
    ASSERT_FALSE(vector.Parse(line.data(), line.size()).HasParseError()) << count;
    SCOPED_TRACE(vector["id"].GetString());
    const auto zip = fromHex(vector["zip"].GetString());
    const MemoryFile file(std::string(zip.begin(), zip.end()));

    UnZIP archive(file.descriptor());

    if (!vector["open"].GetBool()) {
      EXPECT_THAT(archive.index(), IsEmpty());
      continue;
    }
    const auto& entries = vector["entries"].GetArray();
    ASSERT_EQ(archive.index().size(), entries.Size());
    auto entry = archive.index().begin();
    for (const auto& expected : entries) checkEntry(archive, entry++, expected);
  }
  EXPECT_EQ(count, 22);
}

}  // namespace
}  // namespace wzapp
