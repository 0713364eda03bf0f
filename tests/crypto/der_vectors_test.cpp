// Published DER texts: what the walker sees of them, and the texts of object identifiers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"
#include "tests/crypto/vector_file.h"

using wzapp_test::hexMember;
using wzapp_test::Octets;
using wzapp_test::readVectors;

namespace wzapp {
namespace {

// [identifier octet, tag number, content length, header length, depth, index, offset]
using Row = std::array<std::int64_t, 7>;

Row rowOf(const DerElement& element) {
  return {element.identifier,
          element.tagNumber,
          element.contentLength,
          element.headerLength,
          element.depth,
          element.index,
          static_cast<std::int64_t>(element.offset)};
}

TEST(DerVectors, WalkSeesEveryElementAndEndsWithOneOfTheCodes) {
  for (const rapidjson::Document& vector : readVectors("der/elements.jsonl")) {
    SCOPED_TRACE(vector["id"].GetString());
    const Octets der = hexMember(vector, "der");
    std::vector<Row> expected;
    for (const auto& element : vector["elements"].GetArray()) {
      Row& row = expected.emplace_back();
      for (rapidjson::SizeType i = 0; i < row.size(); ++i) row[i] = element[i].GetInt64();
    }
    std::vector<int> ends;
    for (const auto& code : vector["end"].GetArray()) ends.push_back(code.GetInt());

    DerWalker walker(der);
    DerElement element;
    std::vector<Row> seen;
    int code = walker.first(element);
    for (; code == 0; code = walker.next(element)) seen.push_back(rowOf(element));

    EXPECT_EQ(seen, expected);
    EXPECT_THAT(ends, testing::Contains(code));
    EXPECT_EQ(element.status, kDerBadHeader);
  }
}

TEST(DerVectors, ObjectIdentifiersConvertToTheirTexts) {
  for (const rapidjson::Document& vector : readVectors("der/oids.jsonl")) {
    const Octets content = hexMember(vector, "content");
    SCOPED_TRACE(vector["content"].GetString());
    char text[128];

    const int needed = oidToText(content, nullptr, 0);
    const int length = oidToText(content, text, sizeof text);

    if (vector["text"].IsNull()) {
      EXPECT_EQ(needed, vector["code"].GetInt());
      EXPECT_EQ(length, vector["code"].GetInt());
      continue;
    }
    EXPECT_EQ(needed, vector["size"].GetInt());
    EXPECT_EQ(length, needed - 1);
    EXPECT_STREQ(text, vector["text"].GetString());
  }
}

TEST(DerVectors, ObjectIdentifiersOfUpToThirtyCharactersAreShort) {
  for (const rapidjson::Document& vector : readVectors("der/oids.jsonl")) {
    const Octets content = hexMember(vector, "content");
    SCOPED_TRACE(vector["content"].GetString());
    ShortOid read;

    const int code = ShortOid::read(content, read);

    if (vector["text"].IsNull()) {
      EXPECT_EQ(code, vector["code"].GetInt());
      continue;
    }
    ASSERT_EQ(code, 0);
    EXPECT_EQ(ShortOid::parse(vector["text"].GetString()), read);
  }
}

}  // namespace
}  // namespace wzapp
