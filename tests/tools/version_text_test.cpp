#include "tools/wz/words/version_text.h"

#include <gtest/gtest.h>

namespace wzapp_test {
namespace {

TEST(VersionTest, DevelopmentKeysAreSaid) {
  EXPECT_EQ(wz::versionText(true), "wz " WZ_VERSION
                                   "\nplatform: workstation\nauthorities: development keys; this "
                                   "build is not for terminals");
}

TEST(VersionTest, WithAProductsOwnAuthoritiesThereIsNothingToSay) {
  EXPECT_EQ(wz::versionText(false), "wz " WZ_VERSION "\nplatform: workstation");
}

}  // namespace
}  // namespace wzapp_test
