#include "tools/wz/words/version_text.h"

#include <gtest/gtest.h>

namespace wzapp_test {
namespace {

TEST(VersionTest, DevelopmentKeysAreSaid) {
  EXPECT_EQ(wz::versionText(true, "one"),
            "wz " WZ_VERSION
            "\nplatform: workstation\nauthorities: development keys; this "
            "build is not for terminals\ntable in force: one");
}

TEST(VersionTest, WithAProductsOwnAuthoritiesThereIsNothingToSay) {
  EXPECT_EQ(wz::versionText(false, "one"),
            "wz " WZ_VERSION "\nplatform: workstation\ntable in force: one");
}

}  // namespace
}  // namespace wzapp_test
