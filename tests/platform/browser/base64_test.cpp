#include "workstation/browser/engine/protocol/base64.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

struct Base64Row {
  const char* octets;
  const char* text;
};

// The test vectors of RFC 4648, section 10.
class Base64Test : public testing::TestWithParam<Base64Row> {};

TEST_P(Base64Test, EncodesAndDecodes) {
  std::string octets = "untouched";

  EXPECT_EQ(base64Encode(GetParam().octets), GetParam().text);
  EXPECT_TRUE(base64Decode(GetParam().text, octets));
  EXPECT_EQ(octets, GetParam().octets);
}

INSTANTIATE_TEST_SUITE_P(Vectors, Base64Test,
                         testing::Values(Base64Row{"", ""}, Base64Row{"f", "Zg=="},
                                         Base64Row{"fo", "Zm8="}, Base64Row{"foo", "Zm9v"},
                                         Base64Row{"foob", "Zm9vYg=="},
                                         Base64Row{"fooba", "Zm9vYmE="},
                                         Base64Row{"foobar", "Zm9vYmFy"}));

TEST(Base64AllTest, AllOctetsComeBack) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  std::string back;

  ASSERT_TRUE(base64Decode(base64Encode(all), back));

  EXPECT_EQ(back, all);
}

TEST(Base64AllTest, AnythingElseIsRefusedAndLeavesTheOutput) {
  for (const char* text : {"Z", "Zg=", "Zg", "Z===", "Zm9v!m9v", "=m9v"}) {
    std::string octets = "untouched";
    EXPECT_FALSE(base64Decode(text, octets)) << text;
    EXPECT_EQ(octets, "untouched") << text;
  }
}

}  // namespace
}  // namespace workstation
